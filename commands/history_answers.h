// The pages of messages that the loads of a chat's history are answered with. Main thread only.
#pragma once

#include "commands/history_loads.h"
#include "frame/answer.h"
#include "frame/tdlib.h"
#include "frame/timers.h"

void on_history(const Answer& answer, HistoryLoads& loads, Timers& timers, const TdClient& td);
void on_history_error(const TdError& error, HistoryLoads& loads);
