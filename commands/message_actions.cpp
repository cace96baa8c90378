#include "commands/message_actions.h"

#include <string>
#include <vector>

#include "commands/send.h"
#include "frame/channels.h"
#include "json/text.h"
#include "json/walk.h"
#include "state/message.h"
#include "state/message_events.h"

namespace {

constexpr std::size_t kShownArgBytes = 64;  // of malformed arguments, in the log

bool arg_chat_and_message(CommandCall& call, std::int64_t& chat_id, std::int64_t& message_id) {
  return arg_id(call, chat_id) && arg_positive(call, message_id);
}

// A request about one message, up to its closing brace.
std::string begin_message_request(std::string_view method, std::int64_t chat_id,
                                  std::int64_t message_id) {
  std::string json = "{\"@type\":\"";
  json += method;
  json += '"';
  append_int_member(json, "chat_id", chat_id);
  append_int_member(json, "message_id", message_id);
  return json;
}

std::string make_delete_messages(std::int64_t chat_id, const std::vector<std::int64_t>& ids,
                                 bool revoke) {
  std::string json = "{\"@type\":\"deleteMessages\"";
  append_int_member(json, "chat_id", chat_id);
  append_message_ids(json, ids);
  append_bool_member(json, "revoke", revoke);
  json += '}';
  return json;
}

std::string make_reaction_type_emoji(std::string_view emoji) {
  std::string json = "{\"@type\":\"reactionTypeEmoji\"";
  append_string_member(json, "emoji", emoji);
  json += '}';
  return json;
}

std::string make_message_reaction(std::int64_t chat_id, std::int64_t message_id,
                                  std::string_view emoji, bool add) {
  std::string json = begin_message_request(add ? "addMessageReaction" : "removeMessageReaction",
                                           chat_id, message_id);
  json += ",\"reaction_type\":";
  json += make_reaction_type_emoji(emoji);
  if (add) json += ",\"is_big\":false,\"update_recent_reactions\":true";
  json += '}';
  return json;
}

std::string make_pin_chat_message(std::int64_t chat_id, std::int64_t message_id,
                                  bool disable_notification, bool only_for_self) {
  std::string json = begin_message_request("pinChatMessage", chat_id, message_id);
  append_bool_member(json, "disable_notification", disable_notification);
  append_bool_member(json, "only_for_self", only_for_self);
  json += '}';
  return json;
}

std::string chat_and_message_words(std::int64_t chat_id, std::int64_t message_id) {
  return "chat_id=" + std::to_string(chat_id) + " msg_id=" + std::to_string(message_id);
}

// The message that a tag's first two fields name; false when one of its ids is missing.
bool take_message_fields(std::string_view& fields, std::int64_t& chat_id,
                         std::int64_t& message_id) {
  chat_id = next_field_i64(fields);
  message_id = next_field_i64(fields);
  return chat_id != 0 && message_id >= 1;
}

void refuse_react(const CommandCall& call, std::string_view args) {
  refuse_usage(call);
  std::string line = "ERR react usage arg=";
  line += args.substr(0, kShownArgBytes);
  if (args.size() > kShownArgBytes) line += "...";
  dbg(line);
}

}  // namespace

void run_forward(CommandCall& call, const TdClient& td) {
  std::int64_t chat_id = 0;
  std::int64_t from_chat_id = 0;
  std::vector<std::int64_t> ids;
  if (!arg_id(call, chat_id) || !arg_id(call, from_chat_id) || !arg_message_ids(call, ids)) {
    return refuse_usage(call);
  }
  if (!gate_open(call)) return;
  td_request(td, make_forward_messages(chat_id, from_chat_id, ids),
             make_tag("forward", chat_id, from_chat_id));
  reply_ok(call, "SEND forwardMessages");
}

void run_delete(CommandCall& call, const TdClient& td) {
  std::int64_t chat_id = 0;
  if (!arg_id(call, chat_id)) return refuse_usage(call);
  const std::string_view scope = next_arg(call);
  const bool revoke = scope == "all";
  std::vector<std::int64_t> ids;
  if ((!revoke && scope != "self") || !arg_message_ids(call, ids)) return refuse_usage(call);
  if (!gate_open(call)) return;
  td_request(td, make_delete_messages(chat_id, ids, revoke),
             make_tag("delete", chat_id) + ":" + std::string(scope));
  reply_ok(call, revoke ? "SEND deleteMessages revoke=1" : "SEND deleteMessages revoke=0");
}

void run_react(CommandCall& call, const TdClient& td) {
  const std::string_view args = call.args;
  std::int64_t chat_id = 0;
  std::int64_t message_id = 0;
  if (!arg_chat_and_message(call, chat_id, message_id)) return refuse_react(call, args);
  const std::string emoji(next_text(call));
  const std::string mode(next_arg(call));
  const bool add = mode == "add";
  if (emoji.empty() || (!add && mode != "remove")) return refuse_react(call, args);
  if (!gate_open(call)) return;
  const std::string words = chat_and_message_words(chat_id, message_id) + " emoji=" + emoji;
  dbg("CMD react " + words + " mode=" + mode);
  td_request(td, make_message_reaction(chat_id, message_id, emoji, add),
             make_tag("react", chat_id, message_id) + ":" + mode);
  reply_ok(call, (add ? "SEND addMessageReaction " : "SEND removeMessageReaction ") + words);
}

void run_pin(CommandCall& call, const TdClient& td) {
  std::int64_t chat_id = 0;
  std::int64_t message_id = 0;
  if (!arg_chat_and_message(call, chat_id, message_id)) return refuse_usage(call);
  const bool disable_notification = next_arg(call) == "1";
  const bool only_for_self = next_arg(call) == "1";
  if (!gate_open(call)) return;
  td_request(td, make_pin_chat_message(chat_id, message_id, disable_notification, only_for_self),
             make_tag("pin", chat_id, message_id));
  reply_ok(call, "SEND pinChatMessage " + chat_and_message_words(chat_id, message_id) +
                     " disable_notification=" + (disable_notification ? "1" : "0") +
                     " only_for_self=" + (only_for_self ? "1" : "0"));
}

void run_props(CommandCall& call, const TdClient& td) {
  std::int64_t chat_id = 0;
  std::int64_t message_id = 0;
  if (!arg_chat_and_message(call, chat_id, message_id)) return refuse_usage(call);
  if (!gate_open(call)) return;
  td_request(td, begin_message_request("getMessageProperties", chat_id, message_id) + "}",
             make_tag("props", chat_id, message_id));
  reply_ok(call, "SEND getMessageProperties");
}

void run_preview(CommandCall& call, const TdClient& td) {
  std::int64_t chat_id = 0;
  std::int64_t message_id = 0;
  if (!arg_chat_and_message(call, chat_id, message_id)) return refuse_usage(call);
  if (!gate_open(call)) return;
  td_request(td, begin_message_request("getMessage", chat_id, message_id) + "}",
             make_tag("preview", chat_id, message_id));
  reply_ok(call, "SEND getMessage (preview)");
}

void on_pinned(Answer& answer, PinnedLoads& pinned, const TdClient& td) {
  std::int64_t chat_id = 0;
  std::int64_t message_id = 0;
  if (!take_message_fields(answer.fields, chat_id, message_id)) return;
  std::string event = begin_event("pin_ok");
  append_int_member(event, "chat_id", chat_id);
  append_int_member(event, "id", message_id);
  end_event(event);
  dbg("TD_OK pinChatMessage chat_id=" + std::to_string(chat_id));
  request_pinned_message(chat_id, pinned, td);
}

void on_reacted(Answer& answer) {
  std::int64_t chat_id = 0;
  std::int64_t message_id = 0;
  if (!take_message_fields(answer.fields, chat_id, message_id) || answer.fields.empty()) return;
  std::string event = begin_event("reaction_ok");
  append_int_member(event, "chat_id", chat_id);
  append_int_member(event, "id", message_id);
  append_string_member(event, "mode", next_field(answer.fields));
  end_event(event);
  dbg("TD_OK react " + chat_and_message_words(chat_id, message_id));
}

void on_message_properties(Answer& answer) {
  static constexpr std::string_view kProperties[] = {
      "can_be_deleted_only_for_self",
      "can_be_deleted_for_all_users",
      "can_be_edited",
      "can_be_forwarded",
      "can_be_replied",
      "can_be_copied",
      "can_be_pinned",
  };
  std::int64_t chat_id = 0;
  std::int64_t message_id = 0;
  if (!take_message_fields(answer.fields, chat_id, message_id)) return;
  std::string event = begin_event("message_properties");
  append_int_member(event, "chat_id", chat_id);
  append_int_member(event, "id", message_id);
  for (const std::string_view key : kProperties) {
    append_bool_member(event, key, member_true(answer.text, key));
  }
  end_event(event);
}

void on_message_preview(Answer& answer) {
  const std::int64_t chat_id = next_field_i64(answer.fields);
  MessagePreview message;
  std::int64_t sender_user_id = 0;
  if (chat_id == 0 || !parse_first_message(answer.text, kFullMessage, message, sender_user_id)) {
    return;
  }
  emit_message_preview_event(chat_id, message, find_sender(message, sender_user_id));
}
