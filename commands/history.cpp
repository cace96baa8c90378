#include "commands/history.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "frame/channels.h"
#include "frame/td_errors.h"
#include "json/text.h"
#include "json/walk.h"
#include "state/message.h"
#include "state/message_events.h"

namespace {

constexpr std::int64_t kMaxLimit = 100;  // of one load
constexpr std::int64_t kMaxNewer = 99;
constexpr std::int64_t kOpenLimit = 30;
constexpr std::int64_t kAroundLimit = 81;  // a message with 40 on each side
constexpr std::int64_t kAroundSide = 40;

std::string make_close_chat(std::int64_t chat_id) {
  return make_id_request("closeChat", "chat_id", chat_id);
}

std::string make_view_message(std::int64_t chat_id, std::int64_t message_id) {
  std::string json = "{\"@type\":\"viewMessages\"";
  append_int_member(json, "chat_id", chat_id);
  json += ",\"message_ids\":[";
  append_i64(json, message_id);
  json += "],\"source\":{\"@type\":\"messageSourceChatHistory\"},\"force_read\":true}";
  return json;
}

// How many of the page's messages, which begin with the newest, a load of newer ones passes over:
// the library may give more than were asked for, and those next to its beginning count.
std::int64_t count_too_new(const HistoryLoad& load, MessagePage page) {
  std::int64_t count = 0;
  for (std::string_view message; next_message(page, message);) {
    if (member_int(message, "id", 0) > load.from_message_id) ++count;
  }
  return count - load.limit;
}

// "message" for each message of the page that the load asked for; how many.
std::int64_t emit_page(const HistoryLoad& load, MessagePage page) {
  std::int64_t count = 0;
  std::int64_t too_new = load.newer ? count_too_new(load, page) : 0;
  MessagePreview message;
  std::int64_t sender_user_id = 0;
  while (next_message(page, kFullMessage, message, sender_user_id)) {
    if (load.newer && (message.id <= load.from_message_id || too_new-- > 0)) continue;
    ++count;
    emit_message_event(load.chat_id, load.gen, message, find_sender(message, sender_user_id));
  }
  return count;
}

std::int64_t count_messages(MessagePage page) {
  std::int64_t count = 0;
  for (std::string_view message; next_message(page, message);) ++count;
  return count;
}

void log_page(const HistoryLoad& load, std::int64_t count, std::int64_t total_count, int attempt) {
  dbg("HISTORY chat_id=" + std::to_string(load.chat_id) + " gen=" + std::to_string(load.gen) +
      " mode=" +
      (load.clear   ? "clear"
       : load.newer ? "newer"
                    : "append") +
      " from=" + std::to_string(load.from_message_id) + " limit=" + std::to_string(load.limit) +
      " emitted=" + std::to_string(count) + " total_count=" + std::to_string(total_count) +
      " attempt=" + std::to_string(attempt));
}

// Takes the load's silent question out when one is under way.
bool take_silent_question(const HistoryLoad& load, HistoryLoads& loads, SilentQuestion& question) {
  const auto it = loads.silent_questions.find(load.gen);
  if (it == loads.silent_questions.end() || it->second.chat_id != load.chat_id || !load.clear) {
    return false;
  }
  question = it->second;
  loads.silent_questions.erase(it);
  return true;
}

void on_silent_answer(const HistoryLoad& load, const SilentQuestion& question,
                      const MessagePage& page) {
  std::int64_t count = 0;
  if (!question.dropped && count_messages(page) > question.shown) {
    emit_history_clear_event(load);
    count = emit_page(load, page);
    emit_history_end_event(load, page.total_count, count);
  }
  log_page(load, count, page.total_count, question.attempt);
}

}  // namespace

std::string make_get_chat_history(std::int64_t chat_id, std::int64_t from_message_id,
                                  std::int64_t limit) {
  return make_get_chat_history_with_offset(chat_id, from_message_id, 0, limit);
}

std::string make_get_chat_history_with_offset(std::int64_t chat_id, std::int64_t from_message_id,
                                              std::int64_t offset, std::int64_t limit) {
  std::string json = "{\"@type\":\"getChatHistory\"";
  append_int_member(json, "chat_id", chat_id);
  append_int_member(json, "from_message_id", from_message_id);
  append_int_member(json, "offset", offset);
  append_int_member(json, "limit", limit);
  json += ",\"only_local\":false}";
  return json;
}

std::string make_open_chat(std::int64_t chat_id) {
  return make_id_request("openChat", "chat_id", chat_id);
}

void run_open(CommandCall& call, HistoryLoads& loads, PinnedLoads& pinned, OpenChat& open_chat,
              const TdClient& td) {
  std::int64_t chat_id = 0;
  if (!arg_id(call, chat_id)) return refuse_usage(call);
  std::int64_t anchor = 0;
  const std::string_view piece = next_arg(call);
  if (!piece.empty() && (!parse_i64(piece, anchor) || anchor < 1)) return refuse_usage(call);
  if (!gate_open(call)) return;
  open_chat.chat_id = chat_id;
  const HistoryLoad load{chat_id, begin_series(loads.series), true, anchor,
                         anchor == 0 ? kOpenLimit : kAroundLimit};
  emit_history_begin_event(load);
  td_request(td, make_open_chat(chat_id), make_tag("open", chat_id));
  send_history_request(load,
                       make_get_chat_history_with_offset(
                           chat_id, anchor, anchor == 0 ? 0 : -kAroundSide, load.limit),
                       loads, td);
  request_pinned_message(chat_id, pinned, td);
  reply_ok(call, "SEND openChat + getChatHistory + getChatPinnedMessage");
}

void run_close(CommandCall& call, HistoryLoads& loads, OpenChat& open_chat, const TdClient& td) {
  std::int64_t chat_id = 0;
  if (!arg_id(call, chat_id)) return refuse_usage(call);
  if (!gate_open(call)) return;
  if (open_chat.chat_id == chat_id) open_chat.chat_id = 0;
  drop_clear_load(loads, chat_id);
  td_request(td, make_close_chat(chat_id), make_tag("close", chat_id));
  reply_ok(call, "SEND closeChat");
}

void run_history(CommandCall& call, HistoryLoads& loads, PinnedLoads& pinned, const TdClient& td) {
  std::int64_t chat_id = 0;
  std::int64_t limit = 30;
  if (!arg_id(call, chat_id) || !arg_optional_i64(call, limit)) return refuse_usage(call);
  limit = clamp_i64(limit, 1, kMaxLimit);
  if (!gate_open(call)) return;
  const HistoryLoad load{chat_id, begin_series(loads.series), true, 0, limit};
  emit_history_begin_event(load);
  send_history_request(load, make_get_chat_history(chat_id, 0, limit), loads, td);
  request_pinned_message(chat_id, pinned, td);
  reply_ok(call, "SEND getChatHistory + getChatPinnedMessage");
}

void run_history_more(CommandCall& call, HistoryLoads& loads, const TdClient& td) {
  std::int64_t chat_id = 0;
  std::int64_t from = 0;
  std::int64_t limit = 50;
  if (!arg_id(call, chat_id) || !arg_positive(call, from) || !arg_optional_i64(call, limit)) {
    return refuse_usage(call);
  }
  limit = clamp_i64(limit, 1, kMaxLimit);
  if (!gate_open(call)) return;
  drop_silent_questions(loads, chat_id);
  const HistoryLoad load{chat_id, begin_series(loads.series), false, from, limit};
  emit_history_begin_event(load);
  send_history_request(load, make_get_chat_history_with_offset(chat_id, from, -1, limit), loads,
                       td);
  reply_ok(call, "SEND getChatHistory (more)");
}

void run_history_newer(CommandCall& call, HistoryLoads& loads, const TdClient& td) {
  std::int64_t chat_id = 0;
  std::int64_t from = 0;
  std::int64_t limit = 50;
  if (!arg_id(call, chat_id) || !arg_positive(call, from) || !arg_optional_i64(call, limit)) {
    return refuse_usage(call);
  }
  limit = clamp_i64(limit, 1, kMaxLimit);
  if (!gate_open(call)) return;
  drop_silent_questions(loads, chat_id);
  HistoryLoad load{chat_id, begin_series(loads.series), false, from, limit};
  load.newer = true;
  emit_history_begin_event(load);
  // The library counts the message asked from among the newer ones, takes 99 of them at most, and
  // wants room for one that is older; both are passed over.
  const std::int64_t asked = std::min(limit + 1, kMaxNewer);
  send_history_request(load, make_get_chat_history_with_offset(chat_id, from, -asked, asked + 1),
                       loads, td);
  reply_ok(call, "SEND getChatHistory (newer)");
}

void run_history_jump(CommandCall& call, HistoryLoads& loads, const TdClient& td) {
  std::int64_t chat_id = 0;
  std::int64_t message_id = 0;
  std::int64_t before = 40;
  std::int64_t after = 40;
  if (!arg_id(call, chat_id) || !arg_positive(call, message_id) ||
      !arg_optional_i64(call, before) || !arg_optional_i64(call, after)) {
    return refuse_usage(call);
  }
  before = clamp_i64(before, 0, kMaxLimit - 1);
  after = clamp_i64(after, 0, kMaxLimit - 1);
  if (before + after + 1 > kMaxLimit) before = kMaxLimit - 1 - after;
  if (!gate_open(call)) return;
  const HistoryLoad load{chat_id, begin_series(loads.series), true, message_id, before + after + 1};
  emit_history_begin_event(load);
  send_history_request(
      load, make_get_chat_history_with_offset(chat_id, message_id, -after, load.limit), loads, td);
  reply_ok(call, "SEND getChatHistory (jump/around)");
}

void run_read(CommandCall& call, const TdClient& td) {
  std::int64_t chat_id = 0;
  std::int64_t message_id = 0;
  if (!arg_id(call, chat_id) || !arg_positive(call, message_id)) return refuse_usage(call);
  if (!gate_open(call)) return;
  td_request(td, make_view_message(chat_id, message_id), make_tag("read", chat_id, message_id));
  reply_ok(call, "SEND viewMessages(force_read)");
}

void on_read(Answer& answer) {
  const std::int64_t chat_id = next_field_i64(answer.fields);
  if (chat_id != 0) dbg("TD_OK read chat_id=" + std::to_string(chat_id));
}

void on_history(Answer& answer, HistoryLoads& loads, Timers& timers, const TdClient& td) {
  HistoryLoad load;
  if (!parse_history_extra(answer.fields, load)) return;
  if (!take_series_answer(loads.series, load.gen)) return;
  const MessagePage page = open_message_page(answer.text);
  SilentQuestion question;
  if (take_silent_question(load, loads, question)) return on_silent_answer(load, question, page);

  const int attempt = load_attempt(loads, load);
  const std::int64_t count = emit_page(load, page);
  if (schedule_repetition(load, count, loads, timers, td)) emit_history_clear_event(load);
  log_page(load, count, page.total_count, attempt);
  emit_history_end_event(load, page.total_count, count);
}

void on_history_error(TdError& error, HistoryLoads& loads) {
  report_td_error(error);
  HistoryLoad load;
  SilentQuestion question;
  if (!parse_history_extra(error.fields, load)) return;
  if (!take_series_answer(loads.series, load.gen)) return;
  // A silent question belongs to a series that has had its end.
  if (take_silent_question(load, loads, question)) return;
  forget_failed_load(loads, load);
  emit_history_end_event(load, 0, 0);
}
