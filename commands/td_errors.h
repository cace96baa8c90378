// What the UI hears of an error answer that no command claims, and the error events that several
// commands share.
#pragma once

#include <cstdint>
#include <string_view>

#include "frame/answer.h"

// The error as it came: on standard error, as a "TD_ERROR" reply line and as "td_error".
void report_td_error(const TdError& error);

// {"type":"action_error","action":...,"chat_id":...,"code":...} with the message unless empty.
void emit_action_error(std::string_view action, std::int64_t chat_id, const TdError& error);
// The same for an error whose tag's first field is the chat id; and its log line.
void report_action_error(std::string_view action, const TdError& error);
