// The call commands of the UI and TDLib's answers to them. Unlike the other commands, these look
// at the authorization state before their arguments. Main thread only.
#pragma once

#include "frame/answer.h"
#include "frame/command.h"
#include "frame/td_errors.h"
#include "frame/tdlib.h"

inline constexpr ErrorEvent kCallError{"call_error",
                                       {{"extra", ErrorMember::kTag}, {}, {}},
                                       ErrorMessage::kIfAny,
                                       "TD_ERROR call extra=%t code=%c"};

void run_call_start(CommandCall& call, const TdClient& td);
void run_call_accept(CommandCall& call, const TdClient& td);
// Checks its arguments and refuses: there is no audio engine here that could be muted.
void run_call_mute(CommandCall& call);
void run_call_discard(CommandCall& call, const TdClient& td);

void on_call_created(Answer& answer);
// A call that is already gone is as good as discarded.
void on_call_discard_error(TdError& error);
