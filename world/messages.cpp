// Messages: those of the beginning follow from the seed, the chat and their number; what has
// been changed or written since is kept with the chat.
#include <utility>

#include "world/world.h"

namespace world {

static constexpr Id kSecondsBetween = 400;
static constexpr int kThreadLength = 16;  // every 16th message of a supergroup begins a thread
static constexpr const char* kEmoji[] = {"👍", "❤", "🔥", "😁", "👎"};
static constexpr int kMentionEvery = 24;  // so many texts in a group, one names the account
static constexpr std::string_view kMyName = "@robin_reed";

std::uint64_t mix(std::uint64_t a, std::uint64_t b) {
  std::uint64_t x = a * 0x9E3779B97F4A7C15u + b;
  x = (x ^ x >> 30) * 0xBF58476D1CE4E5B9u;
  x = (x ^ x >> 27) * 0x94D049BB133111EBu;
  return x ^ x >> 31;
}

std::uint64_t dice_for(Id what) {
  return mix(g_world.settings.seed, static_cast<std::uint64_t>(what));
}

Changes& changes(Chat& chat) {
  if (chat.changes == nullptr) chat.changes = std::make_unique<Changes>();
  return *chat.changes;
}

const Changes& changes(const Chat& chat) {
  static const Changes none;
  return chat.changes != nullptr ? *chat.changes : none;
}

Id sent_count(const Chat& chat) { return chat.role.messages + static_cast<Id>(chat.dates.size()); }

// ---- as the seed has them

static Id date_of(const Chat& chat, Id index) {
  const Id since = index - chat.role.messages;
  if (since >= 0) return chat.dates[static_cast<std::size_t>(since)];
  return kFirstDate - 600 - chat.number * Id{37} + (since + 1) * kSecondsBetween;
}

static Id roll_sender(const Chat& chat, std::uint64_t dice) {
  if (chat.is_channel()) return chat.id;
  if (!chat.is_group()) return (dice & 7) < 3 ? kMe : chat.peer;
  if ((dice & 7) == 0 && !is_outside(chat.role.standing)) return kMe;
  return kAnn + roll(dice >> 3, std::clamp(chat.role.members, 2, 30));
}

static bool has_threads(const Chat& chat) { return chat.kind == ChatKind::kSuper; }

static Id thread_of(const Chat& chat, Id index, std::uint64_t dice) {
  if (!has_threads(chat)) return 0;
  const Id root = index - index % kThreadLength;
  return root == index || (dice >> 40 & 1) != 0 ? message_id(root) : 0;
}

// What it answers, where it was forwarded from, and the reactions to it.
static void add_context(const Chat& chat, Id index, std::uint64_t dice, Message& m) {
  const std::uint64_t more = mix(dice, 3);
  const bool secret = chat.kind == ChatKind::kSecret;
  if (m.thread != 0 && m.thread != m.id) {
    m.reply_to = m.thread;
  } else if (more % 9 == 0 && index > 12) {
    m.reply_to = message_id(index - 1 - roll(more >> 8, 8));
    if (more >> 16 & 1) m.quote = "as I said";
    if ((more >> 20 & 7) == 0 && chat.number != 14 && !secret) {
      m.reply_chat = g_world.chats[14].id;
      m.reply_to = message_id(5);
    }
  } else if (more % 23 == 1 && !secret) {
    const bool channel = (more >> 32 & 1) != 0;
    m.forward_from = channel ? g_world.chats[17].id : kAnn + roll(more >> 8, 9);
    if (channel) m.forward_message = message_id(roll(more >> 40, 100));
  }
  if (more % 37 == 4) m.edit_date = m.date + 60;
  if (!chat.is_group() || more % 6 != 2) return;
  for (unsigned i = 0; i <= (more >> 48) % 3; ++i) {
    m.reactions.push_back({kEmoji[(more >> 50) % 3 + i], 1 + roll(more >> (52 + i), 9), false});
  }
}

static Message roll_message(const Chat& chat, Id index);

// A channel's post as it was written, at the head of its thread in the discussion group.
static void forward_post(const Chat& chat, Id index, Message& m) {
  if (index % kThreadLength != 0 || index >= chat.role.messages || !chat.has("linked")) return;
  const Chat& channel = linked_chat(chat);
  if (index / kThreadLength >= channel.role.messages) return;
  const Message post = roll_message(channel, index / kThreadLength);
  m.sender = m.forward_from = channel.id;
  m.forward_message = post.id;
  m.thread = m.id;
  m.outgoing = m.mention = false;
  m.content = post.content;
  m.text = post.text;
  m.dice = post.dice;
  m.reply_to = 0;
}

static Message roll_message(const Chat& chat, Id index) {
  const std::uint64_t seed = g_world.settings.seed ^ static_cast<std::uint64_t>(chat.number) << 32;
  const std::uint64_t dice = mix(seed, static_cast<std::uint64_t>(index));
  Message m;
  m.id = message_id(index);
  m.chat = chat.id;
  m.dice = dice;
  m.date = date_of(chat, index);
  if (chat.number == 0) {
    m.sender = chat.peer;
    m.text = "This is the chat that steers the world. Write help to see the words.";
    return m;
  }
  const bool named = chat.has("named") && index == chat.role.messages - 2;
  m.sender = named ? kAnn : roll_sender(chat, dice);
  m.outgoing =
      m.sender == kMe || (chat.is_channel() && chat.role.standing == Standing::kAdministrator);
  m.content =
      chat.has("gallery") ? static_cast<int>(index % content_count()) : random_content(dice >> 8);
  if (named || (is_service(m) && !chat.is_group())) m.content = 0;
  m.text = some_text(dice >> 20);
  if (chat.kind == ChatKind::kForum) m.topic = 1 + roll(dice >> 44, 2);
  if (!is_service(m)) {
    m.thread = thread_of(chat, index, dice);
    add_context(chat, index, dice, m);
  }
  m.mention = chat.is_group() && !chat.is_channel() && !m.outgoing && m.is_text() &&
              (named || mix(dice, 5) % kMentionEvery == 0);
  if (m.mention) m.text = std::string(kMyName) + " " + m.text;
  if (has_threads(chat)) forward_post(chat, index, m);
  return m;
}

// ---- as they are now

static bool is_gone(const Chat& chat, Id id) {
  return id <= chat.cleared || changes(chat).gone.count(id) != 0;
}

Message find_message(const Chat& chat, Id id) {
  if (is_gone(chat, id)) return {};
  const auto& messages = changes(chat).messages;
  if (const auto changed = messages.find(id); changed != messages.end()) return changed->second;
  const Id index = message_index(id);
  if (!is_sent_id(id) || index < 0 || index >= sent_count(chat)) return {};
  return roll_message(chat, index);
}

Id previous_id(const Chat& chat, Id before) {
  const Id cleared = message_index(chat.cleared);
  Id index = std::min(message_index(before - 1), sent_count(chat) - 1);
  while (index > cleared && is_gone(chat, message_id(index))) --index;
  const Id sent = index > cleared ? message_id(index) : 0;
  const auto& own = changes(chat).messages;
  for (auto i = own.lower_bound(before); i != own.begin() && std::prev(i)->first > sent; --i)
    if (!is_sent_id(std::prev(i)->first)) return std::prev(i)->first;
  return sent;
}

Id next_id(const Chat& chat, Id after) {
  after = std::max(after, chat.cleared);
  Id index = message_index(after) + 1;
  while (index < sent_count(chat) && is_gone(chat, message_id(index))) ++index;
  const Id sent = index < sent_count(chat) ? message_id(index) : 0;
  const auto& own = changes(chat).messages;
  for (auto i = own.upper_bound(after); i != own.end() && (sent == 0 || i->first < sent); ++i)
    if (!is_sent_id(i->first)) return i->first;
  return sent;
}

Id last_id(const Chat& chat) { return previous_id(chat, INT64_MAX); }

std::vector<Id> newest_ids(const Chat& chat, std::size_t count) {
  std::vector<Id> ids;
  for (Id id = last_id(chat); id != 0 && ids.size() < count; id = previous_id(chat, id))
    ids.push_back(id);
  return ids;
}

bool is_pinned(const Chat& chat, Id id) { return changes(chat).pins.count(id) != 0; }

Message& change_message(Chat& chat, Id id) {
  auto& messages = changes(chat).messages;
  const auto found = messages.find(id);
  return found != messages.end() ? found->second
                                 : messages.emplace(id, find_message(chat, id)).first->second;
}

void count_unread(Chat& chat) {
  chat.unread = chat.mentions = 0;
  for (Id id = next_id(chat, chat.last_read_inbox); id != 0; id = next_id(chat, id)) {
    const Message m = find_message(chat, id);
    chat.unread += !m.outgoing;
    chat.mentions += m.mention;
  }
}

Thread find_thread(const Chat& chat, const Message& m) {
  if (chat.is_channel() && chat.has("linked")) {
    Chat& group = linked_chat(chat);
    const Id root = message_id(message_index(m.id) * kThreadLength);
    if (find_message(group, root).forward_message == m.id) return {&group, root, true};
  }
  return {find_chat(chat.id), m.thread, m.thread == m.id && m.id != 0};
}

std::vector<Id> thread_ids(const Thread& thread) {
  const Chat& chat = *thread.chat;
  std::vector<Id> ids;
  const auto look = [&](Id id) {
    if (find_message(chat, id).thread == thread.root) ids.push_back(id);
  };
  // Those of the seed stand close behind their head, others anywhere.
  const Id end = message_id(message_index(thread.root) + kThreadLength);
  for (Id id = next_id(chat, thread.root - 1); id != 0 && id < end; id = next_id(chat, id))
    look(id);
  const auto& own = changes(chat).messages;
  for (auto i = own.lower_bound(end); i != own.end(); ++i) look(i->first);
  return ids;
}

// ---- what happens to them

// What is unread has changed, and perhaps the number of mentions.
static void tell_unread(Chat& chat) {
  tell("updateChatReadInbox chat_id last_read_inbox_message_id unread_count",
       {chat.id, chat.last_read_inbox, chat.unread});
  if (std::exchange(chat.told_mentions, chat.mentions) != chat.mentions)
    tell("updateChatUnreadMentionCount chat_id unread_mention_count", {chat.id, chat.mentions});
}

void tell_new_message(Chat& chat, Id id) {
  const Message m = find_message(chat, id);
  const std::string text = message_text(chat, m);
  tell("updateNewMessage message", {text});
  if (!m.outgoing) {
    ++chat.unread;
    chat.mentions += m.mention;
    tell_unread(chat);
  }
  tell_last_message(chat, text);
}

void receive_next(Chat& chat) {
  tell_chat(chat);
  chat.dates.push_back(static_cast<std::int32_t>(date_now()));
  const Id id = message_id(sent_count(chat) - 1);
  // Nothing comes from the account itself that it has not written.
  if (find_message(chat, id).sender == kMe) {
    Message& other = change_message(chat, id);
    other.sender = chat.is_group() ? kAnn : chat.peer;
    other.outgoing = false;
  }
  tell_new_message(chat, id);
}

Id append_message(Chat& chat, Message m) {
  chat.dates.push_back(static_cast<std::int32_t>(date_now()));
  m.id = message_id(sent_count(chat) - 1);
  m.chat = chat.id;
  m.date = date_now();
  m.dice = dice_for(m.id ^ chat.id);
  if (has_threads(chat) && m.reply_to != 0 && m.reply_chat == 0)
    m.thread = find_message(chat, m.reply_to).thread;
  const Id id = m.id;
  changes(chat).messages[id] = std::move(m);
  return id;
}

void receive_message(Chat& chat, Id sender, std::string_view text, Id reply_to) {
  tell_chat(chat);
  Message m;
  m.sender = sender;
  m.text = text;
  m.reply_to = reply_to;
  m.mention = text.find(kMyName) != std::string_view::npos;
  tell_new_message(chat, append_message(chat, std::move(m)));
}

static void tell_interaction(Chat& chat, Id id) {
  tell("updateMessageInteractionInfo chat_id message_id interaction_info",
       {chat.id, id, interaction_text(chat, find_message(chat, id))});
}

static void tell_deleted(const Chat& chat, const std::vector<Id>& ids) {
  tell("updateDeleteMessages chat_id message_ids is_permanent=true", {chat.id, ids_text(ids)});
}

void delete_messages(Chat& chat, const std::vector<Id>& ids) {
  std::set<Id> heads;
  const Id last = last_id(chat);
  const int unread = chat.unread;
  std::vector<Id> deleted;
  for (const Id id : ids) {
    const Message m = find_message(chat, id);
    if (m.id == 0) continue;
    deleted.push_back(id);
    if (m.thread != id) heads.insert(m.thread);
    changes(chat).messages.erase(id);
    changes(chat).pins.erase(id);
    if (is_sent_id(id)) changes(chat).gone.insert(id);
  }
  if (deleted.empty()) return;
  tell_deleted(chat, deleted);
  count_unread(chat);
  if (chat.unread != unread) tell_unread(chat);
  if (last_id(chat) != last) tell_last_message(chat);
  for (const Id head : heads) {
    if (find_message(chat, head).id != 0) tell_interaction(chat, head);
  }
}

void clear_history(Chat& chat) {
  // The client asks for the others again, and there are none.
  const std::vector<Id> newest = newest_ids(chat, 100);
  if (!newest.empty()) chat.cleared = chat.last_read_inbox = newest[0];
  chat.unread = chat.mentions = 0;
  Changes& known = changes(chat);
  known.messages.erase(known.messages.begin(), known.messages.upper_bound(chat.cleared));
  known.pins.clear();
  if (!newest.empty()) tell_deleted(chat, newest);
  tell_unread(chat);
  place_chat(chat, true);
  tell_last_message(chat);
}

void edit_message(Chat& chat, Id id, std::string_view text) {
  Message& m = change_message(chat, id);
  m.text = text;
  m.edit_date = date_now();
  tell("updateMessageContent chat_id message_id new_content", {chat.id, id, content_text(chat, m)});
  tell("updateMessageEdited chat_id message_id edit_date", {chat.id, id, m.edit_date});
  if (id == last_id(chat)) tell_last_message(chat);
}

bool can_react(const Chat& chat, const Message& m) {
  return m.id != 0 && m.sending.empty() && !is_service(m) && chat.kind != ChatKind::kSecret;
}

void react(Chat& chat, Id id, const std::string& emoji, bool own) {
  auto& reactions = change_message(chat, id).reactions;
  for (Reaction& r : reactions) {
    if (own && r.chosen) --r.count;
    if (own) r.chosen = false;
  }
  auto at = std::find_if(reactions.begin(), reactions.end(),
                         [&](const Reaction& r) { return r.emoji == emoji; });
  if (!emoji.empty()) {
    if (at == reactions.end()) at = reactions.insert(at, {emoji, 0, false});
    ++at->count;
    at->chosen |= own;
  }
  reactions.erase(std::remove_if(reactions.begin(), reactions.end(),
                                 [](const Reaction& r) { return r.count == 0; }),
                  reactions.end());
  tell_interaction(chat, id);
}

void read_inbox(Chat& chat, Id up_to) {
  if (up_to <= chat.last_read_inbox) return;
  chat.last_read_inbox = up_to;
  count_unread(chat);
  tell_unread(chat);
}

void read_outbox(Chat& chat, Id up_to) {
  if (up_to <= chat.last_read_outbox) return;
  chat.last_read_outbox = up_to;
  tell("updateChatReadOutbox chat_id last_read_outbox_message_id", {chat.id, up_to});
}

}  // namespace world
