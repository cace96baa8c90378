// What is done to single messages: deleted, reacted to, pinned, looked at, forwarded; and what
// comes back of it. Main thread only.
#pragma once

#include <string_view>

#include "commands/call.h"
#include "commands/pinned_commands.h"
#include "frame/answer.h"
#include "frame/tdlib.h"

void run_forward(CommandCall& call, const TdClient& td);
void run_delete(CommandCall& call, const TdClient& td);
void run_react(CommandCall& call, const TdClient& td);
void run_pin(CommandCall& call, const TdClient& td);
void run_props(CommandCall& call, const TdClient& td);
void run_preview(CommandCall& call, const TdClient& td);

// Tells that the message is pinned, and asks for the chat's pinned message anew.
void on_pinned(const Answer& answer, PinnedLoads& pinned, const TdClient& td);
void on_reacted(const Answer& answer);
void on_message_properties(const Answer& answer);
void on_message_preview(const Answer& answer);

// The error event of a command whose tag has chat and message id: both, code and message.
void report_message_error(std::string_view event_type, const TdError& error);
void on_delete_error(const TdError& error);
void on_react_error(const TdError& error);
