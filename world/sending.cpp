// What the client does to messages: sends, forwards, edits, deletes, reacts, pins.
#include <sys/stat.h>

#include "world/world.h"

namespace world {

static constexpr std::size_t kMostText = 4096;
static constexpr std::size_t kMostCaption = 1024;
static constexpr std::size_t kMostForwarded = 100;
static constexpr double kAcknowledgeSeconds = 0.1;
static constexpr double kSendSeconds = 0.4;

// ---- contents

// Both of these fill what the message holds, or give the error with which the service would not
// take it.
static std::string read_file(const Json& file, Message& m) {
  const std::string path(file.string("path"));
  struct stat status {};
  if (path.empty()) return refuse("File path must be non-empty");
  if (stat(path.c_str(), &status) != 0)
    return refuse("Can't get stat about the file \"" + path + "\"");
  if (!S_ISREG(status.st_mode)) return refuse("Can't use a directory as a file");
  if (status.st_size == 0) return refuse("File must be non-empty");
  m.file = own_file(path, static_cast<int>(std::min<off_t>(status.st_size, INT32_MAX)));
  return {};
}

static std::string read_content(const Json& content, Message& m) {
  if (content.is_null()) return refuse("Can't send message without content");
  if (content.type() == "inputMessageText") {
    m.text = trim(content["text"].string("text"));
    if (m.text.empty()) return refuse("Message must be non-empty");
    return utf16_length(m.text) > kMostText ? refuse("Message text is too long") : "";
  }
  const auto file =
      std::find_if(content.items.begin(), content.items.end(),
                   [](const Json& member) { return member.type() == "inputFileLocal"; });
  if (file == content.items.end()) return refuse("Message content is not supported here");
  m.content = content_row(content.type().substr(std::string_view("inputMessage").size()));
  m.text = trim(content["caption"].string("text"));
  if (utf16_length(m.text) > kMostCaption) return refuse("Message caption is too long");
  return read_file(*file, m);
}

// ---- sending

static void fail(Chat& chat, Id id, int code, const std::string& why, Id retry_after = 0) {
  const std::string error = error_text(code, why);
  Message& m = change_message(chat, id);
  m.failed = true;
  m.sending = object("messageSendingStateFailed error can_retry retry_after",
                     {error, code == 429, static_cast<double>(retry_after)});
  const std::string text = message_text(chat, m);
  tell("updateMessageSendFailed message old_message_id error", {text, id, error});
  if (last_id(chat) == id) tell_last_message(chat, text);
}

static void succeed(Chat& chat, Id id) {
  Message m = find_message(chat, id);
  changes(chat).messages.erase(id);
  m.sending.clear();
  const Id sent = append_message(chat, m);
  chat.sent_last = date_now();
  tell("updateMessageSendSucceeded message old_message_id", {message_text(chat, sent), id});
  tell_last_message(chat);
  if (chat.number != 0) return be_answered(chat, sent);
  read_outbox(chat, sent);
  receive_message(chat, chat.peer, steer(m.text));
}

static void finish(Chat& chat, Id id) {
  if (find_message(chat, id).id == 0) return;  // deleted meanwhile
  if (const Id wait = slow_wait(chat)) {
    fail(chat, id, 429, "Too Many Requests: retry after " + std::to_string(wait), wait);
  } else if (!can_write(chat)) {
    fail(chat, id, 400, "CHAT_WRITE_FORBIDDEN");
  } else if (const Fault* fault = next_fault("messages.sendMessage")) {
    if (fault->kind == Fault::kError) fail(chat, id, fault->code, fault->message);
  } else {
    succeed(chat, id);
  }
}

// The message as it stands before the service has it; it goes its way from here.
static Id begin_send(Chat& chat, Message m) {
  const Id id = message_id(sent_count(chat) - 1) + ++chat.local_ids;
  m.id = id;
  m.chat = chat.id;
  m.sender = chat.is_channel() ? chat.id : kMe;
  m.outgoing = true;
  m.date = date_now();
  m.sending = object("messageSendingStatePending sending_id=1");
  m.failed = false;
  m.dice = dice_for(id);
  changes(chat).messages[id] = std::move(m);
  chat.listed = true;
  tell_new_message(chat, id);
  later(kAcknowledgeSeconds, [&chat, id] {
    if (is_online() && find_message(chat, id).id != 0)
      tell("updateMessageSendAcknowledged chat_id message_id", {chat.id, id});
  });
  later(kSendSeconds, [&chat, id] { when_online([&chat, id] { finish(chat, id); }); });
  return id;
}

static std::string send_message(Asked& asked) {
  Chat& chat = *asked.chat;
  Message m;
  if (std::string error = read_content(asked.json["input_message_content"], m); !error.empty())
    return error;
  const Message to = find_message(chat, asked.json["reply_to"].number("message_id"));
  m.reply_to = to.id;
  m.thread = to.thread;
  return message_text(chat, begin_send(chat, std::move(m)));
}

static std::string resend_messages(Asked& asked) {
  Chat& chat = *asked.chat;
  std::vector<Message> failed = asked_messages(asked, chat);
  std::vector<Id> old, fresh;
  for (const Message& m : failed) {
    if (!m.failed) return refuse("Message is not failed to send");
    old.push_back(m.id);
  }
  if (failed.empty()) return refuse("There are no messages to resend");
  delete_messages(chat, old);
  for (Message& m : failed) fresh.push_back(begin_send(chat, std::move(m)));
  return messages_text(chat, fresh, fresh.size());
}

static std::string forward_messages(Asked& asked) {
  const Chat* from = told_chat(asked.json.number("from_chat_id"));
  if (from == nullptr) return refuse("Chat to forward messages from not found");
  if (asked.json["message_ids"].items.size() > kMostForwarded)
    return refuse("Too many messages to forward");
  std::vector<Id> ids;
  for (const Message& m : asked_messages(asked, *from)) {
    if (!can_react(*from, m)) continue;  // the same can be forwarded
    const bool again = m.forward_from != 0;
    Message copy;
    copy.content = m.content;
    copy.text = m.text;
    copy.file = m.file;
    copy.seconds = m.seconds;
    copy.forward_from = again ? m.forward_from : m.sender;
    copy.forward_message = again ? m.forward_message : m.sender < 0 ? m.id : 0;
    ids.push_back(begin_send(*asked.chat, std::move(copy)));
  }
  if (ids.empty()) return refuse("There are no messages to forward");
  return messages_text(*asked.chat, ids, ids.size());
}

// ---- changing

static std::string edit_text(Asked& asked) {
  const Message& m = asked.message;
  if (!m.outgoing || !m.sending.empty() || m.forward_from != 0)
    return refuse("Message can't be edited");
  if (!m.is_text()) return refuse("There is no text in the message to edit");
  Message other;
  if (std::string error = read_content(asked.json["input_message_content"], other); !error.empty())
    return error;
  if (other.text == m.text) return refuse("MESSAGE_NOT_MODIFIED");
  edit_message(*asked.chat, m.id, other.text);
  return message_text(*asked.chat, m.id);
}

static std::string delete_some(Asked& asked) {
  Chat& chat = *asked.chat;
  std::vector<Id> ids;
  for (const Message& m : asked_messages(asked, chat)) {
    if (chat.is_super() && !m.outgoing && !chat.is_ruled())
      return refuse("Message can't be deleted");
    ids.push_back(m.id);
  }
  delete_messages(chat, ids);
  return {};
}

static std::string delete_history(Asked& asked) {
  const bool remove = asked.json.boolean("remove_from_chat_list");
  if (asked.chat->is_channel() && !remove) return refuse("Can't delete chat history");
  if (remove) asked.chat->listed = false;
  clear_history(*asked.chat);
  return {};
}

static std::string change_reaction(Asked& asked) {
  const bool add = asked.json.type() == "addMessageReaction";
  const Message& m = asked.message;
  const std::string emoji(asked.json["reaction_type"].string("emoji"));
  if (!can_react(*asked.chat, m)) return refuse("Message can't have reactions");
  if (emoji.empty() || utf16_length(emoji) > 4 || static_cast<unsigned char>(emoji[0]) < 0x80)
    return refuse("The reaction isn't available for the message");
  const bool chosen = std::any_of(m.reactions.begin(), m.reactions.end(),
                                  [&](const Reaction& r) { return r.chosen && r.emoji == emoji; });
  if (chosen != add) react(*asked.chat, m.id, add ? emoji : "", true);
  return {};
}

static std::string pin_message(Asked& asked) {
  Chat& chat = *asked.chat;
  const Message& m = asked.message;
  if ((chat.is_super() && !chat.is_ruled()) || (chat.is_group() && !can_write(chat)))
    return refuse("Not enough rights to manage pinned messages in the chat");
  if (is_service(m) || !m.sending.empty()) return refuse("Message can't be pinned");
  if (!changes(chat).pins.insert(m.id).second) return {};
  tell("updateMessageIsPinned chat_id message_id is_pinned", {chat.id, m.id, true});
  if (!chat.is_group()) return {};
  Message note;
  note.sender = chat.is_channel() ? chat.id : kMe;
  note.outgoing = true;
  note.content = content_row("PinMessage");
  tell_new_message(chat, append_message(chat, note));
  return {};
}

const Requests kSendingRequests = {
    {"sendMessage", kChat | kWritable, send_message},
    {"resendMessages", kChat, resend_messages},
    {"forwardMessages", kChat | kWritable, forward_messages},
    {"editMessageText", kChat | kMessage, edit_text},
    {"deleteMessages", kChat, delete_some},
    {"deleteChatHistory", kChat, delete_history},
    {"addMessageReaction", kChat | kMessage, change_reaction},
    {"removeMessageReaction", kChat | kMessage, change_reaction},
    {"pinChatMessage", kChat | kMessage, pin_message},
};

}  // namespace world
