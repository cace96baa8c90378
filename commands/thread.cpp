#include "commands/thread.h"

#include "commands/history.h"
#include "frame/channels.h"
#include "frame/td_errors.h"
#include "json/text.h"
#include "json/walk.h"

namespace {

constexpr std::int64_t kMaxThreadLimit = 100;  // of one load
constexpr std::int64_t kDefaultOpenLimit = 60;

constexpr ErrorEvent kThreadOpenError{"thread_open_error",
                                      {{"channel_chat_id"}, {"post_message_id"}, {}},
                                      ErrorMessage::kAlways,
                                      "TD_ERROR threadOpen"};

std::string make_get_message_thread(std::int64_t chat_id, std::int64_t message_id) {
  std::string json = "{\"@type\":\"getMessageThread\"";
  append_int_member(json, "chat_id", chat_id);
  append_int_member(json, "message_id", message_id);
  json += '}';
  return json;
}

std::string make_get_message_thread_history(std::int64_t chat_id, std::int64_t message_id,
                                            std::int64_t from_message_id, std::int64_t offset,
                                            std::int64_t limit) {
  std::string json = "{\"@type\":\"getMessageThreadHistory\"";
  append_int_member(json, "chat_id", chat_id);
  append_int_member(json, "message_id", message_id);
  append_int_member(json, "from_message_id", from_message_id);
  append_int_member(json, "offset", offset);
  append_int_member(json, "limit", limit);
  json += '}';
  return json;
}

}  // namespace

void run_thread_open(CommandCall& call, HistoryLoads& loads, const TdClient& td) {
  std::int64_t chat_id = 0;
  std::int64_t message_id = 0;
  std::int64_t limit = kDefaultOpenLimit;
  if (!arg_id(call, chat_id) || !arg_positive(call, message_id) || !arg_optional_i64(call, limit)) {
    return refuse_usage(call);
  }
  limit = clamp_i64(limit, 1, kMaxThreadLimit);
  if (!gate_open(call)) return;
  std::string tag = make_tag("threadOpen", chat_id, message_id, begin_series(loads.series));
  tag += ':';
  append_i64(tag, limit);
  td_request(td, make_get_message_thread(chat_id, message_id), tag);
  reply_ok(call, "SEND getMessageThread");
}

void on_thread_info(Answer& answer, HistoryLoads& loads, const TdClient& td) {
  const std::string_view whole_fields = answer.fields;
  const std::int64_t channel_chat_id = next_field_i64(answer.fields);
  const std::int64_t post_message_id = next_field_i64(answer.fields);
  const std::int64_t gen = next_field_i64(answer.fields);
  const std::int64_t limit = next_field_i64(answer.fields, kDefaultOpenLimit);
  if (channel_chat_id == 0 || post_message_id < 1 || gen < 1) return;
  if (!take_series_answer(loads.series, gen)) return;
  const std::int64_t thread_chat_id = member_int(answer.text, "chat_id", 0);
  const std::int64_t thread_id = member_int(answer.text, "message_thread_id", 0);
  if (thread_chat_id == 0 || thread_id < 1) {
    // Nothing to load from; the UI, which waits for the thread, is told.
    return emit_error_event(kThreadOpenError,
                            {answer.text, answer.tag, whole_fields, 0, "thread not found"});
  }
  std::string event = begin_event("thread_info");
  append_int_member(event, "channel_chat_id", channel_chat_id);
  append_int_member(event, "post_message_id", post_message_id);
  append_int_member(event, "thread_chat_id", thread_chat_id);
  append_int_member(event, "message_thread_id", thread_id);
  append_int_member(event, "gen", gen);
  end_event(event);

  td_request(td, make_open_chat(thread_chat_id), make_tag("open", thread_chat_id));
  const HistoryLoad load{thread_chat_id, gen, true, 0, limit};
  emit_history_begin_event(load);
  send_history_request(
      load, make_get_message_thread_history(thread_chat_id, thread_id, 0, 0, limit), loads, td);
  dbg("SEND getMessageThreadHistory (thread_open)");
}

void on_thread_open_error(const TdError& error, HistoryLoads& loads) {
  std::string_view fields = error.fields;
  (void)next_field(fields);
  (void)next_field(fields);
  if (!take_series_answer(loads.series, next_field_i64(fields))) return;
  emit_error_event(kThreadOpenError, error);
}

void run_thread_more(CommandCall& call, HistoryLoads& loads, const TdClient& td) {
  std::int64_t chat_id = 0;
  std::int64_t thread_id = 0;
  std::int64_t from = 0;
  std::int64_t limit = 50;
  if (!arg_id(call, chat_id) || !arg_positive(call, thread_id) || !arg_positive(call, from) ||
      !arg_optional_i64(call, limit)) {
    return refuse_usage(call);
  }
  limit = clamp_i64(limit, 1, kMaxThreadLimit);
  if (!gate_open(call)) return;
  drop_silent_questions(loads, chat_id);
  const HistoryLoad load{chat_id, begin_series(loads.series), false, from, limit};
  emit_history_begin_event(load);
  send_history_request(load, make_get_message_thread_history(chat_id, thread_id, from, 0, limit),
                       loads, td);
  reply_ok(call, "SEND getMessageThreadHistory (more)");
}
