// Questions about messages: history, threads, pins, search. All answers come from the same
// messages, so that what one shows another finds.
#include <algorithm>

#include "world/requests.h"
#include "world/schema.h"

namespace world {

static constexpr int kMostMessages = 100;
static constexpr int kMostLooked = 200000;  // messages that one search looks at

std::string no_chat_text() { return error_text(400, "Chat not found"); }
std::string no_message_text() { return error_text(400, "Message not found"); }

static bool can_read(const Chat& chat) { return chat.standing != Standing::kBanned; }

// Walks from `from` as TDLib does: `offset` below 0 begins with that many newer ones.
template <class Next, class Previous>
static std::vector<Id> walk(Id from, Id offset, Id limit, Next next, Previous previous) {
  if (from == 0) from = INT64_MAX;
  Id at = previous(from == INT64_MAX || offset >= 0 ? from : from + 1);
  if (from != INT64_MAX && offset < 0) {
    if (at == from) ++offset;
    for (; offset < 0; ++offset) {
      const Id newer = next(at);
      if (newer == 0) break;
      at = newer;
    }
  }
  for (; offset > 0 && at != 0; --offset) at = previous(at);
  std::vector<Id> ids;
  for (; at != 0 && static_cast<Id>(ids.size()) < limit; at = previous(at)) ids.push_back(at);
  return ids;
}

static std::string check_page(const Json& request) {
  const Id limit = request.number("limit"), offset = request.number("offset");
  if (limit <= 0) return error_text(400, "Parameter limit must be positive");
  if (offset > 0) return error_text(400, "Parameter offset must be non-positive");
  if (offset < -99) return error_text(400, "Parameter offset must be greater than -100");
  if (offset < 0 && limit <= -offset)
    return error_text(400, "Parameter limit must be greater than -offset");
  if (request.number("from_message_id") < 0)
    return error_text(400, "Invalid value of parameter from_message_id specified");
  return {};
}

std::string get_chat_history(const Json& request) {
  Chat* chat = asked_chat(request);
  if (chat == nullptr) return no_chat_text();
  std::string error = check_page(request);
  if (!error.empty()) return error;
  if (!can_read(*chat)) return error_text(400, "Can't access the chat");
  Id limit = std::min<Id>(request.number("limit"), kMostMessages);
  // What is on the disk at first is the last message; the rest has to come from afar.
  if (!chat->read_once && request.number("from_message_id") == 0) limit = 1;
  chat->read_once = true;
  const auto ids = walk(
      request.number("from_message_id"), request.number("offset"), limit,
      [&](Id id) { return next_id(*chat, id); }, [&](Id id) { return previous_id(*chat, id); });
  return messages_text(*chat, ids, static_cast<int>(ids.size()));
}

std::string get_message(const Json& request) {
  Chat* chat = asked_chat(request);
  if (chat == nullptr) return no_chat_text();
  const Message m = find_message(*chat, request.number("message_id"));
  return m.id == 0 ? error_text(404, "Not Found") : message_text(*chat, m);
}

std::string get_message_properties(const Json& request) {
  static const Shape shape(
      "messageProperties",
      "can_be_copied can_be_deleted_only_for_self can_be_deleted_for_all_users can_be_edited "
      "can_be_forwarded can_be_pinned can_be_replied can_be_replied_in_another_chat can_be_saved "
      "can_get_message_thread can_report_chat");
  Chat* chat = asked_chat(request);
  if (chat == nullptr) return no_chat_text();
  const Message m = find_message(*chat, request.number("message_id"));
  if (m.id == 0) return no_message_text();
  Chat* where = nullptr;
  Id root = 0;
  const bool plain = !content_is_service(m.content), sent = m.state == Message::kSent;
  const bool rules =
      chat->standing == Standing::kOwner || chat->standing == Standing::kAdministrator;
  const bool text = content_type(m.content) == "messageText";
  return shape.text({plain, !is_super(*chat), m.outgoing || rules || !is_group(*chat),
                     m.outgoing && text && sent && m.forward_from == 0,
                     plain && sent && chat->kind != ChatKind::kSecret,
                     plain && sent && (!is_super(*chat) || rules), can_write(*chat) && sent,
                     plain && sent && chat->kind != ChatKind::kSecret, plain,
                     sent && thread_head(*chat, m, where, root), !m.outgoing});
}

// ---- threads

std::string get_message_thread(const Json& request) {
  static const Shape shape("messageThreadInfo", "chat_id message_thread_id reply_info messages");
  static const Shape replies("messageReplyInfo", "reply_count last_message_id");
  Chat* chat = asked_chat(request);
  if (chat == nullptr) return no_chat_text();
  const Message m = find_message(*chat, request.number("message_id"));
  Chat* where = nullptr;
  Id root = 0;
  if (m.id == 0) return no_message_text();
  if (!thread_head(*chat, m, where, root)) {
    root = m.thread;
    where = chat;
    if (root == 0 || find_message(*chat, root).id == 0)
      return error_text(400, "Message has no thread");
  }
  tell_chat(*where);
  const Message head = find_message(*where, root);
  int count = 0;
  Id last = 0;
  for (Id id = next_id(*where, root); id != 0; id = next_id(*where, id)) {
    if (message_index(id) > message_index(root) + 16 && where->changes == nullptr) break;
    if (find_message(*where, id).thread != root) continue;
    ++count;
    last = id;
  }
  return shape.text(
      {where->id, root, replies.text({count, last}), "[" + message_text(*where, head) + "]"});
}

std::string get_message_thread_history(const Json& request) {
  Chat* chat = asked_chat(request);
  if (chat == nullptr) return no_chat_text();
  std::string error = check_page(request);
  if (!error.empty()) return error;
  const Message asked = find_message(*chat, request.number("message_id"));
  Chat* where = chat;
  Id root = asked.thread;
  if (asked.id == 0) return no_message_text();
  if (!thread_head(*chat, asked, where, root)) root = asked.thread;
  if (root == 0) return error_text(400, "Message has no thread");
  std::vector<Id> thread;  // oldest first
  const Id generated_end =
      message_id(std::max<Id>(message_index(root) + 16, where->first_messages));
  for (Id id = root; id != 0; id = next_id(*where, id)) {
    if (find_message(*where, id).thread == root) thread.push_back(id);
    if (message_index(id) >= message_index(root) + 16 && id < generated_end) id = generated_end - 1;
  }
  const auto ids = walk(
      request.number("from_message_id"), request.number("offset"),
      std::min<Id>(request.number("limit"), kMostMessages),
      [&](Id id) {
        const auto at = std::upper_bound(thread.begin(), thread.end(), id);
        return at == thread.end() ? 0 : *at;
      },
      [&](Id id) {
        const auto at = std::lower_bound(thread.begin(), thread.end(), id);
        return at == thread.begin() ? 0 : *std::prev(at);
      });
  return messages_text(*where, ids, static_cast<int>(thread.size()));
}

std::string get_pinned_message(const Json& request) {
  Chat* chat = asked_chat(request);
  if (chat == nullptr) return no_chat_text();
  if (chat->changes == nullptr || chat->changes->pins.empty()) return error_text(404, "Not Found");
  return message_text(*chat, find_message(*chat, *chat->changes->pins.rbegin()));
}

// ---- search

static std::string lower(std::string_view text) {
  std::string out(text);
  for (char& c : out) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c;
  return out;
}

static bool is_of_kind(const Chat& chat, const Message& m, std::string_view filter) {
  struct Kind {
    std::string_view filter;
    std::string_view types;
  };
  static constexpr Kind kKinds[] = {
      {"searchMessagesFilterPhoto", "messagePhoto"},
      {"searchMessagesFilterVideo", "messageVideo"},
      {"searchMessagesFilterPhotoAndVideo", "messagePhoto messageVideo"},
      {"searchMessagesFilterDocument", "messageDocument"},
      {"searchMessagesFilterAudio", "messageAudio"},
      {"searchMessagesFilterAnimation", "messageAnimation"},
      {"searchMessagesFilterVoiceNote", "messageVoiceNote"},
      {"searchMessagesFilterVideoNote", "messageVideoNote"},
      {"searchMessagesFilterVoiceAndVideoNote", "messageVoiceNote messageVideoNote"},
      {"searchMessagesFilterPoll", "messagePoll"},
      {"searchMessagesFilterChatPhoto", "messageChatChangePhoto"},
  };
  if (filter == "searchMessagesFilterUrl")
    return m.text.find("https://") != std::string::npos && content_type(m.content) == "messageText";
  if (filter == "searchMessagesFilterPinned")
    return chat.changes != nullptr && chat.changes->pins.count(m.id) != 0;
  if (filter == "searchMessagesFilterMention" || filter == "searchMessagesFilterUnreadMention")
    return m.mention;
  if (filter == "searchMessagesFilterFailedToSend") return m.state == Message::kFailed;
  for (const Kind& kind : kKinds) {
    if (kind.filter == filter)
      return (" " + std::string(kind.types) + " ")
                 .find(" " + std::string(content_type(m.content)) + " ") != std::string::npos;
  }
  return filter.empty() || filter == "searchMessagesFilterEmpty";
}

static bool has_text(const Message& m, const std::string& wanted) {
  if (wanted.empty()) return true;
  std::string content = std::string(content_type(m.content));
  static constexpr std::string_view kWithText[] = {"messageText",      "messagePhoto",
                                                   "messageVideo",     "messageDocument",
                                                   "messageAnimation", "messageAudio"};
  for (const std::string_view type : kWithText) {
    if (type == content) return lower(m.text).find(wanted) != std::string::npos;
  }
  return false;
}

static bool matches(const Chat& chat, const Message& m, const Json& request,
                    const std::string& wanted) {
  const Json& sender = request["sender_id"];
  const Id from = sender.number("user_id") + sender.number("chat_id");
  return is_of_kind(chat, m, request["filter"].type()) && has_text(m, wanted) &&
         (from == 0 || m.sender == from);
}

std::string search_chat_messages(const Json& request) {
  static const Shape shape("foundChatMessages", "total_count messages next_from_message_id");
  Chat* chat = asked_chat(request);
  if (chat == nullptr) return no_chat_text();
  if (request.number("limit") <= 0) return error_text(400, "Parameter limit must be positive");
  if (!can_read(*chat)) return error_text(400, "Can't access the chat");
  const Id limit = std::min<Id>(request.number("limit"), kMostMessages);
  const Id from = request.number("from_message_id");
  const std::string wanted = lower(request.string("query"));
  Id found = 0, total = 0, next_from = 0;
  int looked = 0;
  std::string list = "[";
  for (Id id = last_id(*chat); id != 0 && looked < kMostLooked;
       id = previous_id(*chat, id), ++looked) {
    const Message m = find_message(*chat, id);
    if (!matches(*chat, m, request, wanted)) continue;
    ++total;
    if ((from != 0 && id >= from) || found == limit) continue;
    ++found;
    next_from = id;
    if (list.size() > 1) list += ',';
    list += message_text(*chat, m);
  }
  return shape.text({total, list + "]", found == limit ? next_from : 0});
}

// In all chats: the newest first, chat by chat; no more pages.
std::string search_messages(const Json& request) {
  static const Shape shape("foundMessages", "total_count messages");
  const std::string wanted = lower(request.string("query"));
  const Id limit = std::clamp<Id>(request.number("limit"), 1, kMostMessages);
  std::string list = "[";
  Id found = 0;
  for (const auto& place : g_world.list) {
    Chat& chat = *find_chat(place.second);
    int looked = 0;
    for (Id id = last_id(chat); id != 0 && found < limit && looked < 500;
         id = previous_id(chat, id), ++looked) {
      const Message m = find_message(chat, id);
      if (!matches(chat, m, request, wanted)) continue;
      tell_chat(chat);
      if (list.size() > 1) list += ',';
      list += message_text(chat, m);
      ++found;
    }
    if (found == limit) break;
  }
  return shape.text({found, list + "]"});
}

std::string search_public_chat(const Json& request) {
  std::string_view name = request.string("username");
  if (!name.empty() && name[0] == '@') name.remove_prefix(1);
  Chat* chat = name.size() < 3 ? nullptr : find_username(name);
  if (chat == nullptr)
    return error_text(400, name.size() < 3 ? "Username is invalid" : "USERNAME_NOT_OCCUPIED");
  tell_chat(*chat);
  return chat_text(*chat);
}

static std::string chats_found(std::string_view query, Id limit, bool known) {
  static const Shape shape("chats", "total_count chat_ids");
  const std::string wanted = lower(query);
  std::string list = "[";
  Id found = 0;
  for (Chat& chat : g_world.chats) {
    if (found == limit || wanted.empty()) break;
    if ((chat.order != 0) != known || lower(chat_title(chat)).find(wanted) == std::string::npos)
      continue;
    tell_chat(chat);
    if (found++ > 0) list += ',';
    append_number(list, chat.id);
  }
  return shape.text({found, list + "]"});
}

std::string search_public_chats(const Json& request) {
  if (utf16_length(request.string("query")) < 4) return chats_found("", 0, false);
  return chats_found(request.string("query"), 10, false);
}

std::string search_chats(const Json& request) {
  return chats_found(request.string("query"), request.number("limit"), true);
}

// ---- reading

std::string view_messages(const Json& request) {
  static const Shape marked("updateChatIsMarkedAsUnread", "chat_id is_marked_as_unread=false");
  Chat* chat = asked_chat(request);
  if (chat == nullptr) return no_chat_text();
  Id newest = 0;
  for (const Json& id : request["message_ids"].items) {
    if (find_message(*chat, number_of(id)).id != 0) newest = std::max(newest, number_of(id));
  }
  if (!chat->open && !request.boolean("force_read")) return ok_text();
  if (is_sent_id(newest)) read_inbox(*chat, newest);
  if (chat->marked_unread) {
    chat->marked_unread = false;
    tell(marked.text({chat->id}));
  }
  return ok_text();
}

}  // namespace world
