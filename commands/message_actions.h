// What is done to single messages: deleted, reacted to, pinned, looked at, forwarded; and what
// comes back of it. Main thread only.
#pragma once

#include <string_view>

#include "commands/pinned.h"
#include "frame/answer.h"
#include "frame/command.h"
#include "frame/tdlib.h"

void run_forward(CommandCall& call, const TdClient& td);
void run_delete(CommandCall& call, const TdClient& td);
void run_react(CommandCall& call, const TdClient& td);
void run_pin(CommandCall& call, const TdClient& td);
void run_props(CommandCall& call, const TdClient& td);
void run_preview(CommandCall& call, const TdClient& td);

// Tells that the message is pinned, and asks for the chat's pinned message anew.
void on_pinned(Answer& answer, PinnedLoads& pinned, const TdClient& td);
void on_reacted(Answer& answer);
void on_message_properties(Answer& answer);
void on_message_preview(Answer& answer);
