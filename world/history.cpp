// Questions about messages: history, threads, pins, search. All answers come from the same
// messages, so that what one shows another finds.
#include <algorithm>

#include "world/world.h"

namespace world {

static constexpr Id kMostMessages = 100;
static constexpr int kMostLooked = 200000;  // messages that one search looks at

static Id asked_limit(const Asked& asked) {
  return std::clamp<Id>(asked.json.number("limit"), 1, kMostMessages);
}

// ---- pages

// The ids of a page as TDLib walks: `offset` below 0 begins with that many newer ones.
template <class Next, class Previous>
static std::vector<Id> page(const Asked& asked, Id limit, Next next, Previous previous) {
  const Id asked_from = asked.json.number("from_message_id");
  const Id from = asked_from == 0 ? INT64_MAX : asked_from;
  Id newer = asked_from == 0 ? 0 : -asked.json.number("offset");
  Id at = previous(newer > 0 ? from + 1 : from);
  if (at == from) --newer;
  for (Id id = at; newer > 0 && (id = next(id)) != 0; --newer) at = id;
  std::vector<Id> ids;
  for (; at != 0 && static_cast<Id>(ids.size()) < limit; at = previous(at)) ids.push_back(at);
  return ids;
}

static std::string get_chat_history(Asked& asked) {
  Chat& chat = *asked.chat;
  // What is on the disk at first is the last message; the rest has to come from afar.
  const bool first = !chat.read_once && asked.json.number("from_message_id") == 0;
  chat.read_once = true;
  const auto ids = page(
      asked, first ? 1 : asked_limit(asked), [&](Id id) { return next_id(chat, id); },
      [&](Id id) { return previous_id(chat, id); });
  return messages_text(chat, ids, ids.size());
}

static std::string get_message(Asked& asked) {
  const std::string text = message_text(*asked.chat, asked.json.number("message_id"));
  return text.empty() ? error_text(404, "Not Found") : text;
}

static std::string get_pinned_message(Asked& asked) {
  const auto& pins = changes(*asked.chat).pins;
  return pins.empty() ? error_text(404, "Not Found") : message_text(*asked.chat, *pins.rbegin());
}

static std::string get_properties(Asked& asked) {
  const Chat& chat = *asked.chat;
  const Message& m = asked.message;
  const bool plain = !content_is_service(m.content), sent = m.sending.empty();
  const bool free = plain && sent && chat.kind != ChatKind::kSecret;
  return object(
      "messageProperties can_be_copied=%a can_be_deleted_only_for_self=%b "
      "can_be_deleted_for_all_users=%c can_be_edited=%d can_be_forwarded=%e can_be_pinned=%f "
      "can_be_replied=%g can_be_replied_in_another_chat=%e can_be_saved=%a "
      "can_get_message_thread=%h can_report_chat=%i",
      {plain, !is_super(chat), m.outgoing || is_ruled(chat) || !is_group(chat),
       m.outgoing && is_text(m) && sent && m.forward_from == 0, free,
       plain && sent && (!is_super(chat) || is_ruled(chat)), can_write(chat) && sent,
       sent && find_thread(chat, m).headed, !m.outgoing});
}

// ---- threads

static std::string get_thread(Asked& asked) {
  const Thread thread = find_thread(*asked.chat, asked.message);
  if (thread.root == 0 || find_message(*thread.chat, thread.root).id == 0)
    return refuse("Message has no thread");
  tell_chat(*thread.chat);
  return object("messageThreadInfo chat_id message_thread_id reply_info messages",
                {thread.chat->id, thread.root, reply_info_text(thread_ids(thread)),
                 "[" + message_text(*thread.chat, thread.root) + "]"});
}

static std::string get_thread_history(Asked& asked) {
  const Thread thread = find_thread(*asked.chat, asked.message);
  if (thread.root == 0) return refuse("Message has no thread");
  const auto all = thread_ids(thread);
  const auto ids = page(
      asked, asked_limit(asked),
      [&](Id id) {
        const auto at = std::upper_bound(all.begin(), all.end(), id);
        return at == all.end() ? 0 : *at;
      },
      [&](Id id) {
        const auto at = std::lower_bound(all.begin(), all.end(), id);
        return at == all.begin() ? 0 : *std::prev(at);
      });
  return messages_text(*thread.chat, ids, all.size());
}

// ---- search

// The content types that a filter lets pass; those that look at something else are in passes().
static constexpr struct {
  std::string_view filter;  // without "searchMessagesFilter"
  std::string_view types;
} kFilters[] = {
    {"Photo", "messagePhoto"},
    {"Video", "messageVideo"},
    {"PhotoAndVideo", "messagePhoto messageVideo"},
    {"Document", "messageDocument"},
    {"Audio", "messageAudio"},
    {"Animation", "messageAnimation"},
    {"VoiceNote", "messageVoiceNote"},
    {"VideoNote", "messageVideoNote"},
    {"VoiceAndVideoNote", "messageVoiceNote messageVideoNote"},
    {"Poll", "messagePoll"},
    {"ChatPhoto", "messageChatChangePhoto"},
};
static constexpr std::string_view kWithText =
    "messageText messagePhoto messageVideo messageDocument messageAnimation messageAudio";

static bool has_type(std::string_view types, const Message& m) {
  const std::string_view type = content_type(m.content);
  const std::size_t end = types.find(type) + type.size();
  return types.find(type) != std::string_view::npos && (end == types.size() || types[end] == ' ');
}

static bool passes(const Chat& chat, const Message& m, std::string_view filter) {
  filter.remove_prefix(std::min(filter.size(), std::string_view("searchMessagesFilter").size()));
  if (filter == "Url") return is_text(m) && m.text.find("https://") != std::string::npos;
  if (filter == "Pinned") return is_pinned(chat, m.id);
  if (filter == "Mention") return m.mention;
  if (filter == "UnreadMention") return m.mention && m.id > chat.last_read_inbox;
  if (filter == "FailedToSend") return m.failed;
  for (const auto& row : kFilters) {
    if (row.filter == filter) return has_type(row.types, m);
  }
  return filter.empty() || filter == "Empty";
}

static bool matches(const Chat& chat, const Message& m, const Json& request) {
  const Json& sender = request["sender_id"];
  const Id from = sender.number("user_id") + sender.number("chat_id");
  const std::string wanted = to_lower_ascii(request["query"].text);
  return (from == 0 || m.sender == from) && passes(chat, m, request["filter"].type()) &&
         (wanted.empty() ||
          (has_type(kWithText, m) && to_lower_ascii(m.text).find(wanted) != std::string::npos));
}

static std::string search_chat_messages(Asked& asked) {
  Chat& chat = *asked.chat;
  const Id limit = asked_limit(asked), asked_from = asked.json.number("from_message_id");
  const Id from = asked_from == 0 ? INT64_MAX : asked_from;
  Id found = 0, total = 0, next_from = 0;
  int looked = 0;
  List list;
  for (Id id = last_id(chat); id != 0 && looked < kMostLooked; id = previous_id(chat, id)) {
    ++looked;
    const Message m = find_message(chat, id);
    if (!matches(chat, m, asked.json)) continue;
    ++total;
    if (id >= from || found == limit) continue;
    list.next() += message_text(chat, m);
    if (++found == limit) next_from = id;
  }
  return object("foundChatMessages total_count messages next_from_message_id",
                {total, list.done(), next_from});
}

// ---- reading

static std::string view_messages(Asked& asked) {
  Chat& chat = *asked.chat;
  Id newest = 0;
  for (const Message& m : asked_messages(asked, chat)) newest = std::max(newest, m.id);
  if (!chat.open && !asked.json.boolean("force_read")) return {};
  if (is_sent_id(newest)) read_inbox(chat, newest);
  return {};
}

const Requests kHistoryRequests = {
    {"getChatHistory", kChat | kPage | kReadable, get_chat_history},
    {"getMessage", kChat, get_message},
    {"getMessageProperties", kChat | kMessage, get_properties},
    {"getMessageThread", kChat | kMessage, get_thread},
    {"getMessageThreadHistory", kChat | kMessage | kPage, get_thread_history},
    {"getChatPinnedMessage", kChat, get_pinned_message},
    {"searchChatMessages", kChat | kLimit | kReadable, search_chat_messages},
    {"viewMessages", kChat, view_messages},
};

}  // namespace world
