#include "commands/chat_find_commands.h"

#include <string>

#include "frame/channels.h"
#include "json/text.h"
#include "json/walk.h"

static std::string make_search_public_chat(std::string_view username) {
  std::string request = "{\"@type\":\"searchPublicChat\"";
  append_string_member(request, "username", username);
  request += '}';
  return request;
}

static std::string make_create_private_chat(std::int64_t user_id) {
  std::string request = "{\"@type\":\"createPrivateChat\"";
  append_int_member(request, "user_id", user_id);
  append_bool_member(request, "force", true);
  request += '}';
  return request;
}

static std::string begin_resolve_event(std::string_view type, std::string_view username) {
  std::string event = begin_event(type);
  append_string_member(event, "username", username);
  return event;
}

void run_resolve(CommandCall& call, const TdClient& td) {
  call.args = trim(call.args);
  if (!call.args.empty() && call.args.front() == '@') call.args.remove_prefix(1);
  const std::string username(next_arg(call));
  if (username.empty()) return reply_usage(call);
  if (!gate_open(call)) return;
  td_request(td, make_search_public_chat(username), "resolve:" + username);
  reply_ok(call, "SEND searchPublicChat");
}

void on_resolve(const Answer& answer, ChatTable& chats) {
  const std::int64_t chat_id = record_chat(chats, answer.text);
  if (chat_id == 0) return;
  std::string event = begin_resolve_event("tg_resolve", answer.fields);
  append_int_member(event, "chat_id", chat_id);
  append_int_member(event, "photo_small_id",
                    extract_chat_photo_small_file_id(find_chat_object(answer.text)));
  end_event(event);
  dbg("RESOLVE ok");
}

void on_resolve_error(const TdError& error) {
  std::string event = begin_resolve_event("tg_resolve_error", error.fields);
  append_error_members_always(event, error);
  end_event(event);
  dbg("TD_ERROR resolve");
}

void run_open_user_chat(CommandCall& call, const ChatTable& chats, const TdClient& td) {
  std::int64_t user_id = 0;
  if (!arg_id(call, user_id)) return reply_usage(call);
  if (!gate_open(call)) return;
  const std::int64_t chat_id = private_chat_of(chats, user_id);
  if (chat_id == 0) {
    td_request(td, make_create_private_chat(user_id), make_tag("openUserChat", user_id));
    return reply_ok(call, "SEND createPrivateChat (open_user_chat)");
  }
  std::string event = begin_event("open_user_chat");
  append_int_member(event, "user_id", user_id);
  append_int_member(event, "chat_id", chat_id);
  end_event(event);
  reply_ok(call, "HIT peer_user_chat_id_cache (open_user_chat)");
}

void on_open_user_chat(const Answer& answer, ChatTable& chats) {
  std::string_view fields = answer.fields;
  const std::int64_t user_id = next_field_i64(fields);
  const std::int64_t chat_id = record_chat(chats, answer.text);
  if (user_id == 0 || chat_id == 0) return;
  std::string event = begin_event("open_user_chat");
  append_int_member(event, "user_id", user_id);
  append_int_member(event, "chat_id", chat_id);
  append_string_member(event, "title", chat_title(chats, chat_id));
  end_event(event);
}

void on_open_user_chat_error(const TdError& error) {
  std::string_view fields = error.fields;
  std::string event = begin_event("open_user_chat_error");
  append_int_member(event, "user_id", next_field_i64(fields));
  append_error_members_always(event, error);
  end_event(event);
  dbg("TD_ERROR createPrivateChat (open_user_chat)");
}
