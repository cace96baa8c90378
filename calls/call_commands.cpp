#include "calls/call_commands.h"

#include <string>

#include "calls/call_protocol.h"
#include "frame/channels.h"
#include "json/text.h"
#include "json/walk.h"

static std::string make_create_call(std::int64_t user_id, const CallProtocolSpec& spec) {
  std::string request = "{\"@type\":\"createCall\"";
  append_int_member(request, "user_id", user_id);
  request += ",\"protocol\":" + make_call_protocol(spec) + ",\"is_video\":false}";
  return request;
}

static std::string make_accept_call(std::int64_t call_id, const CallProtocolSpec& spec) {
  std::string request = "{\"@type\":\"acceptCall\"";
  append_int_member(request, "call_id", call_id);
  request += ",\"protocol\":" + make_call_protocol(spec) + "}";
  return request;
}

static std::string make_discard_call(std::int64_t call_id) {
  std::string request = "{\"@type\":\"discardCall\"";
  append_int_member(request, "call_id", call_id);
  request +=
      ",\"is_disconnected\":false,\"invite_link\":\"\",\"duration\":0,\"is_video\":false,"
      "\"connection_id\":0}";
  return request;
}

void run_call_start(CommandCall& call, const TdClient& td) {
  if (!gate_open(call)) return;
  std::int64_t user_id = 0;
  if (!arg_positive(call, user_id)) return refuse_and_log(call, "bad_user_id");
  const CallProtocolSpec spec = get_call_protocol_spec();
  dbg("CALL_PROTO create " + call_protocol_summary_for_log(spec));
  td_request(td, make_create_call(user_id, spec), make_tag("callStart", user_id));
  reply_ok(call, "SEND createCall user_id=" + std::to_string(user_id));
}

void run_call_accept(CommandCall& call, const TdClient& td) {
  if (!gate_open(call)) return;
  std::int64_t call_id = 0;
  if (!arg_positive(call, call_id)) return refuse_and_log(call, "bad_call_id");
  const CallProtocolSpec spec = get_call_protocol_spec();
  dbg("CALL_PROTO accept " + call_protocol_summary_for_log(spec));
  td_request(td, make_accept_call(call_id, spec), make_tag("callAccept", call_id));
  reply_ok(call, "SEND acceptCall call_id=" + std::to_string(call_id));
}

void run_call_mute(CommandCall& call) {
  if (!gate_open(call)) return;
  std::int64_t call_id = 0;
  if (!arg_positive(call, call_id)) return refuse_and_log(call, "bad_call_id");
  std::int64_t mute = 0;
  if (!arg_i64(call, mute) || mute < 0 || mute > 1) {
    refuse_usage(call);
    dbg("ERR call_mute bad_args");
    return;
  }
  refuse_and_log(call, "voip_disabled");
}

void run_call_discard(CommandCall& call, const TdClient& td) {
  if (!gate_open(call)) return;
  std::int64_t call_id = 0;
  if (!arg_positive(call, call_id)) return refuse_and_log(call, "bad_call_id");
  td_request(td, make_discard_call(call_id), make_tag("callDiscard", call_id));
  reply_ok(call, "SEND discardCall call_id=" + std::to_string(call_id) + " duration=0 conn_id=0");
}

void on_call_created(Answer& answer) {
  const std::int64_t user_id = next_field_i64(answer.fields);
  const std::int64_t call_id = member_int(answer.text, "id");
  if (user_id < 1) return;
  std::string event = begin_event("call_created");
  append_int_member(event, "user_id", user_id);
  append_int_member(event, "call_id", call_id);
  end_event(event);
  dbg("TD_OK createCall user_id=" + std::to_string(user_id) +
      " call_id=" + std::to_string(call_id));
}

void on_call_discard_error(TdError& error) {
  if (error.code != 400 || error.message != "Call not found")
    return emit_error_event(kCallError, error);
  std::string event = begin_event("call_discard_gone");
  append_int_member(event, "call_id", next_field_i64(error.fields));
  end_event(event);
  dbg("TD_OK discardCall already_gone extra=" + std::string(error.tag));
}
