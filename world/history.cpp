// Questions about messages: history, threads, pins, search. All answers come from the same
// messages, so that what one shows another finds.
#include "world/world.h"

namespace world {

static constexpr Id kMostMessages = 100;
static constexpr int kMostLooked = 200000;  // messages that one search looks at

static Id asked_limit(const Asked& asked) {
  return std::clamp<Id>(asked.json.number("limit"), 1, kMostMessages);
}

// Where a page begins; without a message behind the newest.
static Id asked_from(const Asked& asked) {
  const Id from = asked.json.number("from_message_id");
  return from == 0 ? INT64_MAX : from;
}

// ---- pages

// The ids of a page as TDLib walks: `offset` below 0 begins with that many newer ones.
template <class Next, class Previous>
static std::vector<Id> page(const Asked& asked, Id limit, Next next, Previous previous) {
  const Id from = asked_from(asked);
  Id newer = from == INT64_MAX ? 0 : -asked.json.number("offset");
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
  const bool plain = !is_service(m), sent = m.sending.empty();
  const bool free = plain && sent && chat.kind != ChatKind::kSecret;
  return object(
      "messageProperties can_be_copied=%a can_be_deleted_only_for_self=%b "
      "can_be_deleted_for_all_users=%c can_be_edited=%d can_be_forwarded=%e can_be_pinned=%f "
      "can_be_replied=%g can_be_replied_in_another_chat=%e can_be_saved=%a "
      "can_get_message_thread=%h can_report_chat=%i",
      {plain, !chat.is_super(), m.outgoing || chat.is_ruled() || !chat.is_group(),
       m.outgoing && m.is_text() && sent && m.forward_from == 0, free,
       plain && sent && (!chat.is_super() || chat.is_ruled()), can_write(chat) && sent,
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

static constexpr std::string_view kWithText[] = {"Text",     "Photo",     "Video",
                                                 "Document", "Animation", "Audio"};

// Most filters are called like the one content that they let pass.
static bool passes(const Chat& chat, const Message& m, std::string_view filter) {
  if (filter == "Url") return m.is_text() && m.text.find("https://") != std::string::npos;
  if (filter == "Pinned") return is_pinned(chat, m.id);
  return filter.empty() || filter == "Empty" || filter == content_name(m.content);
}

static bool says(const Message& m, const std::string& wanted) {
  return wanted.empty() || (to_lower_ascii(m.text).find(wanted) != std::string::npos &&
                            std::find(std::begin(kWithText), std::end(kWithText),
                                      content_name(m.content)) != std::end(kWithText));
}

static std::string search_chat_messages(Asked& asked) {
  Chat& chat = *asked.chat;
  std::string_view filter = asked.json["filter"].type();
  filter.remove_prefix(std::min(filter.size(), std::string_view("searchMessagesFilter").size()));
  const std::string wanted = to_lower_ascii(asked.json["query"].text);
  const Id limit = asked_limit(asked), from = asked_from(asked);
  Id found = 0, total = 0, next_from = 0;
  int looked = 0;
  List list;
  for (Id id = last_id(chat); id != 0 && looked < kMostLooked; id = previous_id(chat, id)) {
    ++looked;
    const Message m = find_message(chat, id);
    if (!passes(chat, m, filter) || !says(m, wanted)) continue;
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
  if (is_sent_id(newest) && (chat.open || asked.json.boolean("force_read")))
    read_inbox(chat, newest);
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
