// The comment thread of a channel post. Main thread only.
#pragma once

#include "commands/history_loads.h"
#include "frame/answer.h"
#include "frame/command.h"
#include "frame/tdlib.h"

void run_thread_open(CommandCall& call, HistoryLoads& loads, const TdClient& td);
// The thread is known: its first load, under the generation that "thread_open" took.
void on_thread_info(Answer& answer, HistoryLoads& loads, const TdClient& td);
void on_thread_open_error(const TdError& error, HistoryLoads& loads);

void run_thread_more(CommandCall& call, HistoryLoads& loads, const TdClient& td);
