#include "frame/td_errors.h"

#include <unistd.h>

#include <string>

#include "frame/channels.h"
#include "json/text.h"

namespace {

constexpr std::size_t kLoggedMessageBytes = 160;

void append_code_and_message(std::string& event, const TdError& error, ErrorMessage message) {
  append_int_member(event, "code", error.code);
  if (message == ErrorMessage::kIfAny && error.message.empty()) return;
  append_string_member(event, "message", error.message);
}

void append_error_member(std::string& event, const ErrorMember& member, const TdError& error,
                         std::string_view& fields) {
  switch (member.source) {
    case ErrorMember::kNumber: return append_int_member(event, member.key, next_field_i64(fields));
    case ErrorMember::kText: return append_string_member(event, member.key, next_field(fields));
    case ErrorMember::kRest: return append_string_member(event, member.key, fields);
    case ErrorMember::kTag: return append_string_member(event, member.key, error.tag);
    case ErrorMember::kFixed: return append_string_member(event, member.key, member.text);
  }
}

void append_log_mark(std::string& line, char mark, const ErrorEvent& row, const TdError& error) {
  std::string_view fields = error.fields;
  switch (mark) {
    case 'a': line += row.members[0].text; break;
    case 'f': append_i64(line, next_field_i64(fields)); break;
    case 't': line += error.tag; break;
    case 'c': append_i64(line, error.code); break;
    case 'm': line += error.message; break;
    case 's':
      line.append(error.message, 0, kLoggedMessageBytes);
      if (error.message.size() > kLoggedMessageBytes) line += "...";
      break;
    default: break;
  }
}

void log_error(const ErrorEvent& row, const TdError& error) {
  std::string line;
  for (std::size_t i = 0; i < row.log.size(); ++i) {
    if (row.log[i] == '%' && i + 1 < row.log.size()) {
      append_log_mark(line, row.log[++i], row, error);
    } else {
      line += row.log[i];
    }
  }
  dbg(line);
}

}  // namespace

void report_td_error_text(const TdError& error) {
  dbg("TD_ERROR (see json below)");
  std::string line(error.text);
  line += '\n';
  write_best_effort(STDERR_FILENO, line.data(), line.size());
  print_line("TD_ERROR " + std::string(error.text));
}

void report_td_error(const TdError& error) {
  report_td_error_text(error);
  std::string event = begin_event("td_error");
  append_string_member(event, "json", error.text);
  end_event(event);
}

void emit_error_event(const ErrorEvent& row, const TdError& error) {
  if (!row.type.empty()) {
    std::string event = begin_event(row.type);
    std::string_view fields = error.fields;
    for (const ErrorMember& member : row.members) {
      if (!member.key.empty()) append_error_member(event, member, error, fields);
    }
    append_code_and_message(event, error, row.message);
    end_event(event);
  }
  if (!row.log.empty()) log_error(row, error);
}

void emit_action_error(std::string_view action, std::int64_t chat_id, const TdError& error) {
  std::string event = begin_event("action_error");
  append_string_member(event, "action", action);
  append_int_member(event, "chat_id", chat_id);
  append_code_and_message(event, error, ErrorMessage::kIfAny);
  end_event(event);
}
