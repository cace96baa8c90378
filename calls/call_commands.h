// The call commands of the UI and TDLib's answers to them. Unlike the other commands, these look
// at the authorization state before their arguments. Main thread only.
#pragma once

#include "commands/call.h"
#include "frame/answer.h"
#include "frame/tdlib.h"

void run_call_start(CommandCall& call, const TdClient& td);
void run_call_accept(CommandCall& call, const TdClient& td);
// Checks its arguments and refuses: there is no audio engine here that could be muted.
void run_call_mute(CommandCall& call);
void run_call_discard(CommandCall& call, const TdClient& td);

void on_call_created(const Answer& answer);
void on_call_error(const TdError& error);
// A call that is already gone is as good as discarded.
void on_call_discard_error(const TdError& error);
