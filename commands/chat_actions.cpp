#include "commands/chat_actions.h"

#include <string>

#include "frame/channels.h"
#include "frame/td_errors.h"
#include "json/text.h"
#include "state/chat_events.h"
#include "state/notifications.h"

namespace {

std::string make_delete_chat_history(std::int64_t chat_id, bool remove_from_chat_list) {
  std::string request = "{\"@type\":\"deleteChatHistory\"";
  append_int_member(request, "chat_id", chat_id);
  append_bool_member(request, "remove_from_chat_list", remove_from_chat_list);
  append_bool_member(request, "revoke", false);
  request += '}';
  return request;
}

// The one argument that all these commands have. False when the refusal has been told.
bool take_chat_id(CommandCall& call, std::int64_t& chat_id) {
  if (!arg_id(call, chat_id)) {
    refuse_usage(call);
    return false;
  }
  return gate_open(call);
}

void log_ok(std::string_view what, std::int64_t chat_id) {
  dbg("TD_OK " + std::string(what) + " chat_id=" + std::to_string(chat_id));
}

void remove_locally(ChatTable& chats, std::int64_t chat_id) {
  forget_chat_row(chats, chat_id);
  emit_chat_id_event("chat_deleted", chat_id);
  withdraw_notification(chats, chat_id, kEveryMessage);
}

}  // namespace

void run_join(CommandCall& call, const TdClient& td) {
  std::int64_t chat_id = 0;
  if (!take_chat_id(call, chat_id)) return;
  td_request(td, make_id_request("joinChat", "chat_id", chat_id), make_tag("join", chat_id));
  reply_ok(call, "SEND joinChat");
}

void on_joined(Answer& answer, ChatTable& chats) {
  const std::int64_t chat_id = next_field_i64(answer.fields);
  if (chat_id == 0) return;
  set_chat_member(chats, chat_id, true);
  emit_chat_id_event("chat_joined", chat_id);
  log_ok("join", chat_id);
}

void run_leave(CommandCall& call, const TdClient& td) {
  std::int64_t chat_id = 0;
  if (!take_chat_id(call, chat_id)) return;
  td_request(td, make_id_request("leaveChat", "chat_id", chat_id), make_tag("leave", chat_id));
  reply_ok(call, "SEND leaveChat");
}

void on_left(Answer& answer, ChatTable& chats) {
  const std::int64_t chat_id = next_field_i64(answer.fields);
  if (chat_id == 0) return;
  set_chat_member(chats, chat_id, false);
  emit_chat_id_event("chat_left", chat_id);
  withdraw_notification(chats, chat_id, kEveryMessage);
  log_ok("leave", chat_id);
}

void run_clear_history(CommandCall& call, const TdClient& td) {
  std::int64_t chat_id = 0;
  if (!take_chat_id(call, chat_id)) return;
  td_request(td, make_delete_chat_history(chat_id, false), make_tag("clearHistory", chat_id));
  reply_ok(call, "SEND deleteChatHistory (clear)");
}

void on_history_cleared(Answer& answer) {
  const std::int64_t chat_id = next_field_i64(answer.fields);
  if (chat_id == 0) return;
  emit_chat_id_event("history_cleared", chat_id);
  log_ok("clearHistory", chat_id);
}

void run_delete_chat(CommandCall& call, ChatTable& chats, const TdClient& td) {
  std::int64_t chat_id = 0;
  if (!take_chat_id(call, chat_id)) return;
  if (chat_filtered(chats, chat_id)) {
    remove_locally(chats, chat_id);
    return reply_ok(
        call, "DELETE_CHAT local_remove chat_id=" + std::to_string(chat_id) + " reason=not_member");
  }
  td_request(td, make_delete_chat_history(chat_id, true), make_tag("deleteChatHistory", chat_id));
  reply_ok(call, "SEND deleteChatHistory (remove)");
}

void on_chat_deleted(Answer& answer, ChatTable& chats) {
  const std::int64_t chat_id = next_field_i64(answer.fields);
  if (chat_id == 0) return;
  remove_locally(chats, chat_id);
  log_ok("deleteChatHistory", chat_id);
}

void on_delete_chat_error(const TdError& error, ChatTable& chats) {
  std::string_view fields = error.fields;
  const std::int64_t chat_id = next_field_i64(fields);
  if (chat_id == 0 || !chat_filtered(chats, chat_id)) {
    return emit_error_event(action_error("delete_chat"), error);
  }
  remove_locally(chats, chat_id);
  dbg("TD_ERROR deleteChatHistory chat_id=" + std::to_string(chat_id) + " fallback=local_remove");
}
