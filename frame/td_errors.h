// What the UI hears of an error answer: the general "td_error", or an event of the command's own,
// described by a row. Main thread only.
#pragma once

#include <cstdint>
#include <string_view>

#include "frame/answer.h"

// The error as it came: on standard error, as a "TD_ERROR" reply line and as "td_error".
void report_td_error(const TdError& error);
// The same without the event, for those who tell it by another one.
void report_td_error_text(const TdError& error);

// Where a member of an error event comes from.
struct ErrorMember {
  enum Source {
    kNumber,  // the tag's next field as a number, 0 when it is none
    kText,    // the tag's next field as text
    kRest,    // all that is left of the tag
    kTag,     // the whole tag
    kFixed,   // `text`
  };
  std::string_view key;
  Source source = kNumber;
  std::string_view text = {};
};

enum class ErrorMessage { kIfAny, kAlways };

// One event for errors: its type, its members in front of "code" and "message", whether the
// message is there when it is empty, and the log line. In the log line stand for themselves:
// %a the fixed member, %f the tag's first field as a number, %t the tag, %c the code, %m the
// message, %s the message cut to 160 bytes.
struct ErrorEvent {
  std::string_view type;  // empty: the log line only
  ErrorMember members[3];
  ErrorMessage message = ErrorMessage::kAlways;
  std::string_view log;  // empty: none
};

void emit_error_event(const ErrorEvent& row, const TdError& error);

// {"type":"action_error","action":...,"chat_id":...,"code":...} with the message unless empty.
void emit_action_error(std::string_view action, std::int64_t chat_id, const TdError& error);
// The same as a row, for a tag whose first field is the chat id; with a log line.
constexpr ErrorEvent action_error(std::string_view action) {
  return {"action_error",
          {{"action", ErrorMember::kFixed, action}, {"chat_id"}, {}},
          ErrorMessage::kIfAny,
          "TD_ERROR action=%a chat_id=%f"};
}
