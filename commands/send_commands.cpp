#include "commands/send_commands.h"

#include <utility>

#include "commands/send_requests.h"
#include "frame/channels.h"
#include "json/text.h"
#include "json/walk.h"

bool arg_reply_and_text(CommandCall& call, std::int64_t& reply_to, std::string_view& text) {
  const std::string_view first = next_arg(call);
  const std::string_view second = next_arg(call);
  text = second.empty() ? first : second;
  if (text.empty()) return false;
  return second.empty() || first.empty() || parse_i64(first, reply_to);
}

void send_tagged(std::string request, std::string_view kind, std::int64_t chat_id,
                 SendCounter& counter, const TdClient& td) {
  td_request(td, std::move(request), make_tag(kind, chat_id, ++counter.sends));
}

void run_send(CommandCall& call, SendCounter& counter, const TdClient& td) {
  std::int64_t chat_id = 0;
  if (!arg_id(call, chat_id)) return reply_usage(call);
  const std::string_view text = trim(call.args);
  if (text.empty()) return reply_usage(call);
  if (!gate_open(call)) return;
  send_tagged(make_send_message_text(chat_id, text, 0), "send", chat_id, counter, td);
  reply_ok(call, "SEND sendMessage");
}

void run_send64(CommandCall& call, SendCounter& counter, const TdClient& td) {
  std::int64_t chat_id = 0;
  std::int64_t reply_to = 0;
  std::string_view text64;
  if (!arg_id(call, chat_id) || !arg_reply_and_text(call, reply_to, text64)) {
    return reply_usage(call);
  }
  if (!gate_open(call)) return;
  std::string text;
  if (!base64_decode(text64, text)) return reply_error(call, "bad_base64");
  send_tagged(make_send_message_text(chat_id, text, reply_to), "send", chat_id, counter, td);
  reply_ok(call, "SEND sendMessage (send64)");
}

void run_edit64(CommandCall& call, const TdClient& td) {
  std::int64_t chat_id = 0;
  std::int64_t message_id = 0;
  if (!arg_id(call, chat_id) || !arg_positive(call, message_id)) return reply_usage(call);
  const std::string_view text64 = next_arg(call);
  if (text64.empty()) return reply_usage(call);
  if (!gate_open(call)) return;
  std::string text;
  if (!base64_decode(text64, text)) return reply_error(call, "bad_base64");
  td_request(td, make_edit_message_text(chat_id, message_id, text),
             make_tag("edit", chat_id, message_id));
  reply_ok(call, "SEND editMessageText (edit64)");
}

void on_sent(const Answer& answer) {
  std::string_view fields = answer.fields;
  const std::int64_t chat_id = next_field_i64(fields);
  const std::int64_t message_id = member_int(answer.text, "id");
  if (chat_id == 0 || message_id < 1) return;
  std::string event = begin_event("send_ok");
  append_int_member(event, "chat_id", chat_id);
  append_int_member(event, "message_id", message_id);
  end_event(event);
}
