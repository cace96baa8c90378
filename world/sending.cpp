// What the client does to messages: sends, forwards, edits, deletes, reacts, pins.
#include <sys/stat.h>

#include <algorithm>

#include "world/requests.h"
#include "world/schema.h"

namespace world {

static constexpr std::size_t kMostText = 4096;
static constexpr std::size_t kMostCaption = 1024;
static constexpr Id kSlowSeconds = 30;
static constexpr double kAcknowledgeSeconds = 0.1;
static constexpr double kSendSeconds = 0.4;

static bool is_slow(const Chat& chat) {
  return chat.role != nullptr &&
         std::string_view(chat.role->traits).find("slow") != std::string_view::npos;
}

static bool is_offline() { return g_world.connection != "connectionStateReady"; }

// ---- contents

namespace {

struct Input {
  std::string_view type;
  const char* content;
  const char* file;  // the member with the InputFile; null for text
};

}  // namespace

static constexpr Input kInputs[] = {
    {"inputMessageText", "messageText", nullptr},
    {"inputMessagePhoto", "messagePhoto", "photo"},
    {"inputMessageVideo", "messageVideo", "video"},
    {"inputMessageDocument", "messageDocument", "document"},
    {"inputMessageVoiceNote", "messageVoiceNote", "voice_note"},
    {"inputMessageVideoNote", "messageVideoNote", "video_note"},
    {"inputMessageAudio", "messageAudio", "audio"},
    {"inputMessageAnimation", "messageAnimation", "animation"},
};

static std::string_view trim(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(" \n\t\r");
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(" \n\t\r") + 1 - begin);
}

// Fills what the message holds; the error text when the service would not take it.
static std::string read_content(const Json& content, Message& m) {
  if (content.kind == Json::kNull) return error_text(400, "Can't send message without content");
  const Input* input = nullptr;
  for (const Input& row : kInputs) {
    if (row.type == content.type()) input = &row;
  }
  if (input == nullptr) return error_text(400, "Message content is not supported here");
  m.content = content_row(input->content);
  const Json& text = content[input->file == nullptr ? "text" : "caption"];
  m.text = trim(text.string("text"));
  if (input->file == nullptr) {
    if (m.text.empty()) return error_text(400, "Message must be non-empty");
    if (utf16_length(m.text) > kMostText) return error_text(400, "Message text is too long");
    return {};
  }
  if (utf16_length(m.text) > kMostCaption) return error_text(400, "Message caption is too long");
  // A photo comes in a nested object, other files directly.
  const Json& member = content[input->file];
  const Json& file = member.type().substr(0, 9) == "inputFile" ? member : member[input->file];
  if (file.type() == "inputFileId") {
    m.file = static_cast<int>(file.number("id"));
    return {};
  }
  const std::string path(file.string("path"));
  struct stat status {};
  if (path.empty()) return error_text(400, "File path must be non-empty");
  if (stat(path.c_str(), &status) != 0)
    return error_text(400, "Can't get stat about the file \"" + path + "\"");
  if (!S_ISREG(status.st_mode)) return error_text(400, "Can't use a directory as a file");
  if (status.st_size == 0) return error_text(400, "File must be non-empty");
  m.file = own_file(path);
  return {};
}

// ---- sending

// Why nothing can be sent to the chat; empty when it can.
static std::string refusal(const Chat& chat) {
  if (chat.kind == ChatKind::kDeleted) return error_text(400, "USER_DELETED");
  if (chat.standing == Standing::kBanned)
    return error_text(400, "Have no write access to the chat");
  if (!can_write(chat)) {
    return error_text(400, is_channel(chat) ? "Need administrator rights in the channel chat"
                                            : "Have no write access to the chat");
  }
  return {};
}

static void fail(Chat& chat, Id id, int code, std::string_view why, int retry_after) {
  static const Shape shape("updateMessageSendFailed", "message old_message_id error");
  Message& m = change_message(chat, id);
  m.state = Message::kFailed;
  m.error_code = code;
  m.error = why;
  m.retry_after = retry_after;
  tell(shape.text({message_text(chat, m), id, error_text(code, why)}));
  if (last_id(chat) == id) tell_last_message(chat);
}

static void succeed(Chat& chat, Id id) {
  static const Shape shape("updateMessageSendSucceeded", "message old_message_id");
  Message m = change_message(chat, id);
  const auto pending = chat.changes->messages.find(id);
  if (pending == chat.changes->messages.end() || m.id == 0) return;
  chat.changes->messages.erase(pending);
  m.state = Message::kSent;
  const Id sent = append_message(chat, m);
  chat.sent_last = date_now();
  tell(shape.text({message_text(chat, find_message(chat, sent)), id}));
  place_chat(chat, false);
  tell_last_message(chat);
  if (chat.number == 0) {
    receive_message(chat, chat.peer, steer(m.text));
  } else {
    be_answered(chat, sent);
  }
}

static void finish(Chat& chat, Id id) {
  if (find_message(chat, id).id == 0) return;  // deleted meanwhile
  if (is_offline()) {
    later(1, [&chat, id] { finish(chat, id); });
    return;
  }
  const Id wait = chat.sent_last + kSlowSeconds - date_now();
  if (is_slow(chat) && chat.sent_last != 0 && wait > 0) {
    fail(chat, id, 429, "Too Many Requests: retry after " + std::to_string(wait),
         static_cast<int>(wait));
  } else if (!can_write(chat)) {
    fail(chat, id, 400, "CHAT_WRITE_FORBIDDEN", 0);
  } else if (const Fault* fault = next_fault("messages.sendMessage")) {
    fail(chat, id, fault->code, fault->message, 0);
  } else {
    succeed(chat, id);
  }
}

// The message as it stands before the service has it; it goes its way from here.
static Id begin_send(Chat& chat, Message m) {
  static const Shape acknowledged("updateMessageSendAcknowledged", "chat_id message_id");
  const Id sent = chat.first_messages + static_cast<Id>(chat.dates.size());
  m.id = message_id(sent - 1) + ++chat.local_ids;
  m.chat = chat.id;
  m.sender = is_channel(chat) ? chat.id : kMe;
  m.outgoing = true;
  m.date = date_now();
  m.state = Message::kPending;
  m.dice = mix(g_world.settings.seed, static_cast<std::uint64_t>(m.id));
  changes(chat).messages[m.id] = m;
  chat.listed = true;
  tell_new_message(chat, m.id);
  const Id id = m.id;
  later(kAcknowledgeSeconds, [&chat, id] {
    if (!is_offline() && find_message(chat, id).id != 0) tell(acknowledged.text({chat.id, id}));
  });
  later(kSendSeconds, [&chat, id] { finish(chat, id); });
  return id;
}

std::string send_message(const Json& request) {
  Chat* chat = asked_chat(request);
  if (chat == nullptr) return no_chat_text();
  Message m;
  std::string error = refusal(*chat);
  if (error.empty()) error = read_content(request["input_message_content"], m);
  if (!error.empty()) return error;
  const Json& reply = request["reply_to"];
  const Message to = find_message(*chat, reply.number("message_id"));
  m.reply_to = to.id;
  if (to.id != 0) m.thread = to.thread;
  m.quote = reply["quote"]["text"].string("text");
  m.topic = static_cast<int>(request["topic_id"].number("forum_topic_id"));
  const Id id = begin_send(*chat, std::move(m));
  return message_text(*chat, find_message(*chat, id));
}

std::string resend_messages(const Json& request) {
  Chat* chat = asked_chat(request);
  if (chat == nullptr) return no_chat_text();
  std::vector<Id> failed, fresh;
  for (const Json& item : request["message_ids"].items) {
    const Message m = find_message(*chat, number_of(item));
    if (m.id == 0) return no_message_text();
    if (m.state != Message::kFailed) return error_text(400, "Message is not failed to send");
    failed.push_back(m.id);
  }
  if (failed.empty()) return error_text(400, "There are no messages to resend");
  std::vector<Message> again;
  again.reserve(failed.size());
  for (const Id id : failed) again.push_back(find_message(*chat, id));
  delete_messages(*chat, failed);
  for (Message& m : again) {
    m.error.clear();
    fresh.push_back(begin_send(*chat, std::move(m)));
  }
  return messages_text(*chat, fresh, static_cast<int>(fresh.size()));
}

std::string forward_messages(const Json& request) {
  Chat* chat = asked_chat(request);
  Chat* from = find_chat(request.number("from_chat_id"));
  if (chat == nullptr) return no_chat_text();
  if (from == nullptr || !from->told)
    return error_text(400, "Chat to forward messages from not found");
  std::string error = refusal(*chat);
  if (!error.empty()) return error;
  const auto& asked = request["message_ids"].items;
  if (asked.size() > 100) return error_text(400, "Too many messages to forward");
  std::vector<Id> ids;
  for (const Json& item : asked) {
    Message m = find_message(*from, number_of(item));
    if (m.id == 0 || m.state != Message::kSent || content_is_service(m.content) ||
        from->kind == ChatKind::kSecret)
      continue;
    if (!request.boolean("send_copy") && m.forward_from == 0) {
      m.forward_from = m.sender;
      m.forward_message = m.sender < 0 ? m.id : 0;
    }
    m.reply_to = m.reply_chat = m.thread = m.edit_date = 0;
    m.topic = 0;
    m.quote.clear();
    m.reactions.clear();
    ids.push_back(begin_send(*chat, std::move(m)));
  }
  if (ids.empty()) return error_text(400, "There are no messages to forward");
  return messages_text(*chat, ids, static_cast<int>(ids.size()));
}

std::string edit_text(const Json& request) {
  Chat* chat = asked_chat(request);
  if (chat == nullptr) return no_chat_text();
  const Message m = find_message(*chat, request.number("message_id"));
  if (m.id == 0) return no_message_text();
  if (!m.outgoing || m.state != Message::kSent || m.forward_from != 0)
    return error_text(400, "Message can't be edited");
  if (content_type(m.content) != "messageText")
    return error_text(400, "There is no text in the message to edit");
  Message other;
  std::string error = read_content(request["input_message_content"], other);
  if (!error.empty()) return error;
  if (other.text == m.text) return error_text(400, "MESSAGE_NOT_MODIFIED");
  edit_message(*chat, m.id, other.text);
  return message_text(*chat, find_message(*chat, m.id));
}

std::string delete_some_messages(const Json& request) {
  Chat* chat = asked_chat(request);
  if (chat == nullptr) return no_chat_text();
  std::vector<Id> ids;
  const bool rules =
      chat->standing == Standing::kOwner || chat->standing == Standing::kAdministrator;
  for (const Json& item : request["message_ids"].items) {
    const Message m = find_message(*chat, number_of(item));
    if (m.id == 0) continue;
    if (is_super(*chat) && !m.outgoing && !rules)
      return error_text(400, "Message can't be deleted");
    ids.push_back(m.id);
  }
  delete_messages(*chat, ids);
  return ok_text();
}

std::string delete_history(const Json& request) {
  static const Shape shape("updateChatReadInbox",
                           "chat_id last_read_inbox_message_id unread_count=0");
  Chat* chat = asked_chat(request);
  if (chat == nullptr) return no_chat_text();
  if (is_super(*chat) && !request.boolean("remove_from_chat_list") && is_channel(*chat)) {
    return error_text(400, "Can't delete chat history");
  }
  std::vector<Id> last;
  for (Id id = last_id(*chat); id != 0 && last.size() < 100; id = previous_id(*chat, id))
    last.push_back(id);
  if (request.boolean("remove_from_chat_list")) chat->listed = false;
  chat->cleared = std::max(chat->cleared, last.empty() ? 0 : last[0]);
  chat->last_read_inbox = chat->cleared;
  chat->unread = 0;
  Changes& known = changes(*chat);
  known.messages.erase(known.messages.begin(), known.messages.upper_bound(chat->cleared));
  known.pins.clear();
  std::string list = "[";
  for (const Id id : last) {
    if (list.size() > 1) list += ',';
    append_number(list, id);
  }
  static const Shape deleted("updateDeleteMessages", "chat_id message_ids is_permanent=true");
  if (!last.empty()) tell(deleted.text({chat->id, list + "]"}));
  tell(shape.text({chat->id, chat->last_read_inbox}));
  tell_mentions(*chat);
  place_chat(*chat, true);
  static const Shape nothing("updateChatLastMessage", "chat_id positions");
  tell(nothing.text({chat->id, positions_text(*chat)}));
  return ok_text();
}

// ---- reactions and pins

static std::string change_reaction(const Json& request, bool add) {
  Chat* chat = asked_chat(request);
  if (chat == nullptr) return no_chat_text();
  const Message m = find_message(*chat, request.number("message_id"));
  if (m.id == 0) return no_message_text();
  const std::string emoji(request["reaction_type"].string("emoji"));
  if (content_is_service(m.content) || m.state != Message::kSent ||
      chat->kind == ChatKind::kSecret) {
    return error_text(400, "Message can't have reactions");
  }
  if (emoji.empty() || utf16_length(emoji) > 4 || static_cast<unsigned char>(emoji[0]) < 0x80)
    return error_text(400, "The reaction isn't available for the message");
  auto& reactions = change_message(*chat, m.id).reactions;
  const auto found = std::find_if(reactions.begin(), reactions.end(),
                                  [&](const Reaction& r) { return r.emoji == emoji; });
  const bool chosen = found != reactions.end() && found->chosen;
  if (chosen == add) return ok_text();
  if (!add) {
    found->chosen = false;
    if (--found->count == 0) reactions.erase(found);
  } else {
    for (auto i = reactions.begin(); i != reactions.end();) {
      const bool drop = i->chosen && --i->count == 0;
      i->chosen = false;
      i = drop ? reactions.erase(i) : i + 1;
    }
    const auto at = std::find_if(reactions.begin(), reactions.end(),
                                 [&](const Reaction& r) { return r.emoji == emoji; });
    if (at == reactions.end()) {
      reactions.push_back({emoji, 1, true});
    } else {
      ++at->count;
      at->chosen = true;
    }
  }
  tell_interaction(*chat, m.id);
  return ok_text();
}

std::string add_reaction(const Json& request) { return change_reaction(request, true); }
std::string remove_reaction(const Json& request) { return change_reaction(request, false); }

static std::string change_pin(const Json& request, bool pin) {
  static const Shape shape("updateMessageIsPinned", "chat_id message_id is_pinned");
  Chat* chat = asked_chat(request);
  if (chat == nullptr) return no_chat_text();
  const Message m = find_message(*chat, request.number("message_id"));
  if (m.id == 0) return no_message_text();
  const bool rules =
      chat->standing == Standing::kOwner || chat->standing == Standing::kAdministrator;
  if ((is_super(*chat) && !rules) || (is_group(*chat) && !can_write(*chat)))
    return error_text(400, "Not enough rights to manage pinned messages in the chat");
  if (content_is_service(m.content) || m.state != Message::kSent)
    return error_text(400, "Message can't be pinned");
  auto& pins = changes(*chat).pins;
  if (pin ? !pins.insert(m.id).second : pins.erase(m.id) == 0) return ok_text();
  tell(shape.text({chat->id, m.id, pin}));
  if (pin && is_group(*chat)) {
    Message note;
    note.sender = is_channel(*chat) ? chat->id : kMe;
    note.outgoing = true;
    note.content = content_row("messagePinMessage");
    tell_new_message(*chat, append_message(*chat, note));
  }
  return ok_text();
}

std::string pin_message(const Json& request) { return change_pin(request, true); }
std::string unpin_message(const Json& request) { return change_pin(request, false); }

}  // namespace world
