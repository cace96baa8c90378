#include "commands/history_answers.h"

#include <string>

#include "commands/td_errors.h"
#include "frame/channels.h"
#include "state/message.h"
#include "state/message_events.h"
#include "state/message_page.h"

namespace {

// "message" for each message of the page; how many.
std::int64_t emit_page(const HistoryLoad& load, MessagePage page) {
  std::int64_t count = 0;
  MessagePreview message;
  std::int64_t sender_user_id = 0;
  for (; next_message(page, kFullMessage, message, sender_user_id); ++count) {
    emit_message_event(load.chat_id, load.gen, message, find_sender(sender_user_id));
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
      " mode=" + (load.clear ? "clear" : "append") +
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
    emit_history_end_event(load, page.total_count);
  }
  log_page(load, count, page.total_count, question.attempt);
}

}  // namespace

void on_history(const Answer& answer, HistoryLoads& loads, Timers& timers, const TdClient& td) {
  HistoryLoad load;
  if (!parse_history_extra(answer.fields, load)) return;
  const MessagePage page = open_message_page(answer.text);
  SilentQuestion question;
  if (take_silent_question(load, loads, question)) return on_silent_answer(load, question, page);

  const int attempt = load_attempt(loads, load);
  const std::int64_t count = emit_page(load, page);
  if (schedule_repetition(load, count, loads, timers, td)) emit_history_clear_event(load);
  log_page(load, count, page.total_count, attempt);
  emit_history_end_event(load, page.total_count);
}

void on_history_error(const TdError& error, HistoryLoads& loads) {
  report_td_error(error);
  HistoryLoad load;
  SilentQuestion question;
  if (!parse_history_extra(error.fields, load)) return;
  // A silent question belongs to a series that has had its end.
  if (take_silent_question(load, loads, question)) return;
  forget_failed_load(loads, load);
  emit_history_end_event(load, 0);
}
