#include "commands/td_errors.h"

#include <unistd.h>

#include <string>

#include "frame/channels.h"
#include "json/text.h"

void report_td_error(const TdError& error) {
  dbg("TD_ERROR (see json below)");
  std::string line(error.text);
  line += '\n';
  write_best_effort(STDERR_FILENO, line.data(), line.size());
  print_line("TD_ERROR " + std::string(error.text));
  std::string event = begin_event("td_error");
  append_string_member(event, "json", error.text);
  end_event(event);
}

void emit_action_error(std::string_view action, std::int64_t chat_id, const TdError& error) {
  std::string event = begin_event("action_error");
  append_string_member(event, "action", action);
  append_int_member(event, "chat_id", chat_id);
  append_error_members(event, error);
  end_event(event);
}

void report_action_error(std::string_view action, const TdError& error) {
  std::string_view fields = error.fields;
  const std::int64_t chat_id = next_field_i64(fields);
  emit_action_error(action, chat_id, error);
  dbg("TD_ERROR action=" + std::string(action) + " chat_id=" + std::to_string(chat_id));
}
