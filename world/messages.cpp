// Messages: those of the beginning follow from the seed, the chat and their number; what has
// been changed or written since is kept with the chat.
#include <algorithm>

#include "world/requests.h"
#include "world/schema.h"
#include "world/world.h"

namespace world {

static constexpr Id kSecondsBetween = 400;
static constexpr int kThreadLength = 16;  // every 16th message of a supergroup begins a thread
static constexpr const char* kEmoji[] = {"\xF0\x9F\x91\x8D", "\xE2\x9D\xA4", "\xF0\x9F\x94\xA5",
                                         "\xF0\x9F\x98\x81", "\xF0\x9F\x91\x8E"};

std::uint64_t mix(std::uint64_t a, std::uint64_t b) {
  std::uint64_t x = a * 0x9E3779B97F4A7C15u + b;
  x = (x ^ x >> 30) * 0xBF58476D1CE4E5B9u;
  x = (x ^ x >> 27) * 0x94D049BB133111EBu;
  return x ^ x >> 31;
}

Changes& changes(Chat& chat) {
  if (chat.changes == nullptr) chat.changes = std::make_unique<Changes>();
  return *chat.changes;
}

static Id sent_count(const Chat& chat) {
  return chat.first_messages + static_cast<Id>(chat.dates.size());
}

static Id date_of(const Chat& chat, Id index) {
  if (index >= chat.first_messages)
    return chat.dates[static_cast<std::size_t>(index - chat.first_messages)];
  const Id back = chat.first_messages - 1 - index;
  return kFirstDate - 600 - chat.number * Id{37} - back * kSecondsBetween;
}

static Id random_sender(const Chat& chat, std::uint64_t dice) {
  if (is_channel(chat)) return chat.id;
  const bool mine = (dice & 7) == 0 && chat.first_standing != Standing::kLeft &&
                    chat.first_standing != Standing::kBanned;
  if (!is_group(chat)) return (dice & 7) < 3 ? kMe : chat.peer;
  if (mine) return kMe;
  return kMe + 2 +
         static_cast<Id>((dice >> 3) %
                         static_cast<unsigned>(std::clamp(chat.first_members, 2, 30)));
}

static bool has_role_trait(const Chat& chat, std::string_view trait) {
  return chat.role != nullptr &&
         std::string_view(chat.role->traits).find(trait) != std::string_view::npos;
}

static bool has_threads(const Chat& chat) { return chat.kind == ChatKind::kSupergroup; }

static Id thread_of(const Chat& chat, Id index, std::uint64_t dice) {
  if (!has_threads(chat)) return 0;
  const Id root = index - index % kThreadLength;
  if (root == index) return message_id(index);
  return dice >> 40 & 1 ? message_id(root) : 0;
}

static void add_context(const Chat& chat, Id index, std::uint64_t dice, Message& m) {
  const std::uint64_t more = mix(dice, 3);
  if (m.thread != 0 && m.thread != m.id) {
    m.reply_to = m.thread;
  } else if (more % 9 == 0 && index > 12) {
    m.reply_to = message_id(index - 1 - static_cast<Id>(more >> 8 & 7));
    if (more >> 16 & 1) m.quote = "as I said";
    if ((more >> 20 & 7) == 0 && g_world.chats.size() > 14 && chat.id != g_world.chats[14].id &&
        chat.kind != ChatKind::kSecret) {
      m.reply_chat = g_world.chats[14].id;
      m.reply_to = message_id(5);
    }
  } else if (more % 23 == 1 && chat.kind != ChatKind::kSecret) {
    const bool channel = (more >> 32 & 1) && g_world.chats.size() > 17;
    m.forward_from = channel ? g_world.chats[17].id : kMe + 2 + static_cast<Id>((more >> 8) % 9);
    if (channel) m.forward_message = message_id(static_cast<Id>((more >> 40) % 100));
  }
  if (is_group(chat) && more % 6 == 2) {
    for (unsigned i = 0; i <= (more >> 48) % 3; ++i) {
      m.reactions.push_back(
          {kEmoji[(more >> 50) % 3 + i], 1 + static_cast<int>((more >> (52 + i)) % 9), false});
    }
  }
}

static Message roll_message(const Chat& chat, Id index);

// A channel's post as it was written, at the head of its thread in the discussion group.
static void forward_post(const Chat& chat, Id index, Message& m) {
  const bool head = index % kThreadLength == 0 && index < chat.first_messages;
  if (!head || !has_role_trait(chat, "linked")) return;
  const Chat& channel = g_world.chats[static_cast<std::size_t>(chat.number - 1)];
  if (index / kThreadLength >= channel.first_messages) return;
  const Message post = roll_message(channel, index / kThreadLength);
  m.sender = channel.id;
  m.outgoing = false;
  m.content = post.content;
  m.text = post.text;
  m.dice = post.dice;
  m.reply_to = 0;
  m.forward_from = channel.id;
  m.forward_message = post.id;
}

static Message roll_message(const Chat& chat, Id index) {
  const std::uint64_t dice =
      mix(g_world.settings.seed ^ static_cast<std::uint64_t>(chat.number) << 32,
          static_cast<std::uint64_t>(index));
  Message m;
  m.id = message_id(index);
  m.chat = chat.id;
  m.dice = dice;
  m.date = date_of(chat, index);
  m.sender = random_sender(chat, dice);
  m.outgoing =
      m.sender == kMe || (is_channel(chat) && chat.first_standing == Standing::kAdministrator);
  m.content = has_role_trait(chat, "gallery") ? static_cast<int>(index % content_count())
                                              : random_content(dice >> 8);
  if (content_is_service(m.content) && !is_group(chat)) m.content = 0;
  m.text = some_text(dice >> 20);
  if (chat.number == 0) {
    m.content = 0;
    m.sender = chat.peer;
    m.outgoing = false;
    m.text = "This is the chat that steers the world. Write help to see the words.";
    return m;
  }
  if (chat.kind == ChatKind::kForum) m.topic = 1 + static_cast<int>(dice >> 44 & 1);
  m.thread = content_is_service(m.content) ? 0 : thread_of(chat, index, dice);
  if (!content_is_service(m.content)) add_context(chat, index, dice, m);
  if (has_threads(chat)) forward_post(chat, index, m);
  return m;
}

Message find_message(const Chat& chat, Id id) {
  if (id <= chat.cleared) return {};
  if (chat.changes != nullptr) {
    const auto changed = chat.changes->messages.find(id);
    if (changed != chat.changes->messages.end()) return changed->second;
    if (chat.changes->gone.count(id) != 0) return {};
  }
  const Id index = message_index(id);
  if (!is_sent_id(id) || index < 0 || index >= sent_count(chat)) return {};
  return roll_message(chat, index);
}

static bool is_gone(const Chat& chat, Id id) {
  return id <= chat.cleared || (chat.changes != nullptr && chat.changes->gone.count(id) != 0);
}

Id previous_id(const Chat& chat, Id before) {
  Id index = std::min(message_index(before - 1), sent_count(chat) - 1);
  while (index >= 0 && is_gone(chat, message_id(index))) --index;
  const Id sent = index < 0 ? 0 : message_id(index);
  if (chat.changes != nullptr) {
    auto own = chat.changes->messages.lower_bound(before);
    while (own != chat.changes->messages.begin()) {
      --own;
      if (own->first <= sent) break;
      if (!is_sent_id(own->first)) return own->first;
    }
  }
  return sent > chat.cleared ? sent : 0;
}

Id next_id(const Chat& chat, Id after) {
  after = std::max(after, chat.cleared);
  Id index = message_index(after) + 1;
  while (index < sent_count(chat) && is_gone(chat, message_id(index))) ++index;
  const Id sent = index < sent_count(chat) ? message_id(index) : 0;
  if (chat.changes != nullptr) {
    for (auto own = chat.changes->messages.upper_bound(after); own != chat.changes->messages.end();
         ++own) {
      if (sent != 0 && own->first >= sent) break;
      if (!is_sent_id(own->first)) return own->first;
    }
  }
  return sent;
}

Id last_id(const Chat& chat) { return previous_id(chat, INT64_MAX); }

Message& change_message(Chat& chat, Id id) {
  auto& messages = changes(chat).messages;
  const auto found = messages.find(id);
  return found != messages.end() ? found->second
                                 : messages.emplace(id, find_message(chat, id)).first->second;
}

int count_unread(const Chat& chat) {
  int unread = 0;
  for (Id id = next_id(chat, chat.last_read_inbox); id != 0; id = next_id(chat, id)) {
    unread += !find_message(chat, id).outgoing;
  }
  return unread;
}

// ---- texts

static int count_replies(const Chat& chat, Id root, Id& last) {
  int count = 0;
  const auto look = [&](Id id) {
    if (id == root || is_gone(chat, id)) return;
    const Message m = find_message(chat, id);
    if (m.id == 0 || m.thread != root) return;
    ++count;
    last = std::max(last, id);
  };
  const Id index = message_index(root);
  for (Id i = index + 1; i < index + kThreadLength && i < sent_count(chat); ++i)
    look(message_id(i));
  if (chat.changes != nullptr) {
    for (auto i = chat.changes->messages.upper_bound(message_id(index + kThreadLength - 1));
         i != chat.changes->messages.end(); ++i) {
      look(i->first);
    }
  }
  return count;
}

static std::string reactions_text(const Message& m) {
  static const Shape shape("messageReactions", "reactions");
  static const Shape reaction("messageReaction", "type total_count is_chosen");
  static const Shape emoji("reactionTypeEmoji", "emoji");
  if (m.reactions.empty()) return {};
  std::string list;
  for (const Reaction& r : m.reactions) {
    list += list.empty() ? '[' : ',';
    reaction.append(list, {emoji.text({r.emoji}), r.count, r.chosen});
  }
  return shape.text({list + "]"});
}

// The thread that a message heads: in its own chat, or below a channel's post in the group.
bool thread_head(const Chat& chat, const Message& m, Chat*& where, Id& root) {
  where = find_chat(chat.id);
  root = m.id;
  if (is_channel(chat) && has_role_trait(chat, "linked")) {
    where = &g_world.chats[static_cast<std::size_t>(chat.number) + 1];
    root = message_id(message_index(m.id) * kThreadLength);
    return find_message(*where, root).forward_message == m.id;
  }
  return has_threads(chat) && m.thread == m.id;
}

std::string interaction_text(Chat& chat, const Message& m) {
  static const Shape shape("messageInteractionInfo",
                           "view_count forward_count reply_info reactions");
  static const Shape replies("messageReplyInfo", "reply_count last_message_id");
  Chat* where = nullptr;
  Id root = 0, last = 0;
  std::string reply_info;
  if (thread_head(chat, m, where, root)) {
    const int count = count_replies(*where, root, last);
    reply_info = replies.text({count, last});
  }
  const std::string reactions = reactions_text(m);
  if (!is_channel(chat) && reply_info.empty() && reactions.empty()) return {};
  const Id views = is_channel(chat) ? static_cast<Id>(m.dice % 5000) + 1 : 0;
  return shape.text({views, views / 50, reply_info, reactions});
}

static std::string forward_text(const Message& m) {
  static const Shape shape("messageForwardInfo", "origin date");
  static const Shape user("messageOriginUser", "sender_user_id");
  static const Shape channel("messageOriginChannel", "chat_id message_id");
  if (m.forward_from == 0) return {};
  if (m.forward_from > 0) {
    tell_person(m.forward_from);
    return shape.text({user.text({m.forward_from}), m.date - 5000});
  }
  if (Chat* from = find_chat(m.forward_from)) tell_chat(*from);
  return shape.text({channel.text({m.forward_from, m.forward_message}), m.date - 5000});
}

static std::string reply_text(const Message& m) {
  static const Shape shape("messageReplyToMessage",
                           "chat_id message_id quote origin origin_send_date content");
  static const Shape quote("textQuote", "text position is_manual=true");
  static const Shape user("messageOriginUser", "sender_user_id");
  static const Shape from_chat("messageOriginChat", "sender_chat_id");
  if (m.reply_to == 0) return {};
  const std::string quoted = m.quote.empty() ? "" : quote.text({formatted_text(m.quote), 0});
  if (m.reply_chat == 0) return shape.text({m.chat, m.reply_to, quoted, "", 0, ""});
  Chat* other = find_chat(m.reply_chat);
  tell_chat(*other);
  const Message to = find_message(*other, m.reply_to);
  if (to.id == 0) return shape.text({m.reply_chat, 0, quoted, "", 0, ""});
  std::string content;
  append_content(content, *other, to);
  if (to.sender > 0) tell_person(to.sender);
  return shape.text({m.reply_chat, m.reply_to, quoted,
                     to.sender > 0 ? user.text({to.sender}) : from_chat.text({to.sender}), to.date,
                     content});
}

static std::string sending_text(const Message& m) {
  static const Shape pending("messageSendingStatePending", "sending_id");
  static const Shape failed("messageSendingStateFailed", "error can_retry retry_after");
  if (m.state == Message::kSent) return {};
  if (m.state == Message::kPending) return pending.text({1});
  return failed.text(
      {error_text(m.error_code, m.error), m.error_code == 429, static_cast<double>(m.retry_after)});
}

static std::string topic_text(const Message& m) {
  static const Shape thread("messageTopicThread", "message_thread_id");
  static const Shape forum("messageTopicForum", "forum_topic_id");
  if (m.topic != 0) return forum.text({m.topic});
  return m.thread != 0 ? thread.text({m.thread}) : std::string();
}

std::string message_text(Chat& chat, const Message& m) {
  static const Shape shape(
      "message",
      "id sender_id chat_id sending_state is_outgoing is_pinned can_be_saved=true is_channel_post "
      "contains_unread_mention date edit_date forward_info interaction_info reply_to topic_id "
      "author_signature media_album_id content");
  const bool pinned = chat.changes != nullptr && chat.changes->pins.count(m.id) != 0;
  std::string content;
  append_content(content, chat, m);
  return shape.text({m.id, sender_text(m.sender), m.chat, sending_text(m), m.outgoing, pinned,
                     is_channel(chat), m.mention && m.id > chat.last_read_inbox, m.date,
                     m.edit_date, forward_text(m),
                     m.state == Message::kSent ? interaction_text(chat, m) : "", reply_text(m),
                     topic_text(m), "", 0, content});
}

std::string messages_text(Chat& chat, const std::vector<Id>& ids, int total) {
  static const Shape shape("messages", "total_count messages");
  std::string list = "[";
  for (const Id id : ids) {
    if (list.size() > 1) list += ',';
    list += message_text(chat, find_message(chat, id));
  }
  return shape.text({total, list + "]"});
}

// ---- what happens to them

static void tell_unread(Chat& chat) {
  static const Shape shape("updateChatReadInbox",
                           "chat_id last_read_inbox_message_id unread_count");
  tell(shape.text({chat.id, chat.last_read_inbox, chat.unread}));
}

// Mentions that are not read yet are among what was written since the beginning.
void tell_mentions(Chat& chat) {
  static const Shape shape("updateChatUnreadMentionCount", "chat_id unread_mention_count");
  int count = 0;
  if (chat.changes != nullptr) {
    const auto& messages = chat.changes->messages;
    for (auto i = messages.upper_bound(chat.last_read_inbox); i != messages.end(); ++i)
      count += i->second.mention;
  }
  if (count == chat.mentions) return;
  chat.mentions = count;
  tell(shape.text({chat.id, count}));
}

// The chat has got a last message of its own; places and counts follow.
static void tell_new(Chat& chat, const Message& m) {
  static const Shape shape("updateNewMessage", "message");
  tell(shape.text({message_text(chat, m)}));
  if (!m.outgoing) {
    ++chat.unread;
    tell_unread(chat);
    if (m.mention) tell_mentions(chat);
  }
  place_chat(chat, false);
  tell_last_message(chat);
}

void tell_new_message(Chat& chat, Id id) { tell_new(chat, find_message(chat, id)); }

Id receive_next(Chat& chat) {
  tell_chat(chat);
  chat.dates.push_back(static_cast<std::int32_t>(date_now()));
  const Id id = message_id(sent_count(chat) - 1);
  const Message m = find_message(chat, id);
  // Nothing comes from the account itself that it has not written.
  if (m.outgoing && m.sender == kMe) {
    Message& other = change_message(chat, id);
    other.sender = is_group(chat) ? kMe + 2 : chat.peer;
    other.outgoing = false;
    tell_new(chat, other);
  } else {
    tell_new(chat, m);
  }
  return id;
}

Id append_message(Chat& chat, Message m) {
  chat.dates.push_back(static_cast<std::int32_t>(date_now()));
  m.id = message_id(sent_count(chat) - 1);
  m.chat = chat.id;
  m.date = date_now();
  m.dice = mix(g_world.settings.seed, static_cast<std::uint64_t>(m.id ^ chat.id));
  if (has_threads(chat) && m.reply_to != 0 && m.reply_chat == 0)
    m.thread = find_message(chat, m.reply_to).thread;
  changes(chat).messages[m.id] = m;
  return m.id;
}

Id receive_message(Chat& chat, Id sender, std::string_view text, Id reply_to) {
  tell_chat(chat);
  Message m;
  m.sender = sender;
  m.text = text;
  m.reply_to = reply_to;
  m.outgoing = sender == kMe;
  m.mention = sender != kMe && text.find("@robin_reed") != std::string_view::npos;
  const Id id = append_message(chat, std::move(m));
  tell_new(chat, find_message(chat, id));
  return id;
}

void tell_interaction(Chat& chat, Id id) {
  static const Shape shape("updateMessageInteractionInfo", "chat_id message_id interaction_info");
  if (chat.told) tell(shape.text({chat.id, id, interaction_text(chat, find_message(chat, id))}));
}

void delete_messages(Chat& chat, const std::vector<Id>& ids) {
  static const Shape shape("updateDeleteMessages", "chat_id message_ids is_permanent=true");
  std::string list = "[";
  std::set<Id> heads;
  const Id last = last_id(chat);
  bool last_gone = false, unread = false;
  for (const Id id : ids) {
    const Message m = find_message(chat, id);
    if (m.id == 0) continue;
    if (m.thread != 0 && m.thread != id) heads.insert(m.thread);
    last_gone |= id == last;
    if (!m.outgoing && id > chat.last_read_inbox && chat.unread > 0) {
      --chat.unread;
      unread = true;
    }
    changes(chat).messages.erase(id);
    changes(chat).pins.erase(id);
    if (is_sent_id(id)) changes(chat).gone.insert(id);
    if (list.size() > 1) list += ',';
    append_number(list, id);
  }
  if (list.size() == 1 || !chat.told) return;
  tell(shape.text({chat.id, list + "]"}));
  if (unread) tell_unread(chat);
  tell_mentions(chat);
  if (last_gone) {
    place_chat(chat, false);
    tell_last_message(chat);
  }
  for (const Id head : heads) {
    if (find_message(chat, head).id != 0) tell_interaction(chat, head);
  }
}

void edit_message(Chat& chat, Id id, std::string_view text) {
  static const Shape content_update("updateMessageContent", "chat_id message_id new_content");
  static const Shape edited("updateMessageEdited", "chat_id message_id edit_date");
  Message& m = change_message(chat, id);
  m.text = text;
  m.edit_date = date_now();
  std::string content;
  append_content(content, chat, m);
  tell(content_update.text({chat.id, id, content}));
  tell(edited.text({chat.id, id, m.edit_date}));
  if (id == last_id(chat)) tell_last_message(chat);
}

void read_inbox(Chat& chat, Id up_to) {
  if (up_to <= chat.last_read_inbox) return;
  chat.last_read_inbox = up_to;
  chat.unread = count_unread(chat);
  tell_unread(chat);
  tell_mentions(chat);
}

void read_outbox(Chat& chat, Id up_to) {
  static const Shape shape("updateChatReadOutbox", "chat_id last_read_outbox_message_id");
  if (up_to <= chat.last_read_outbox) return;
  chat.last_read_outbox = up_to;
  tell(shape.text({chat.id, up_to}));
}

}  // namespace world
