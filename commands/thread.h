// The comment thread of a channel post. Main thread only.
#pragma once

#include "commands/history_loads.h"
#include "frame/answer.h"
#include "frame/command.h"
#include "frame/td_errors.h"
#include "frame/tdlib.h"

inline constexpr ErrorEvent kThreadOpenError{"thread_open_error",
                                             {{"channel_chat_id"}, {"post_message_id"}, {}},
                                             ErrorMessage::kAlways,
                                             "TD_ERROR threadOpen"};

void run_thread_open(CommandCall& call, HistoryLoads& loads, const TdClient& td);
// The thread is known: its first load, under the generation that "thread_open" took.
void on_thread_info(Answer& answer, HistoryLoads& loads, const TdClient& td);

void run_thread_more(CommandCall& call, HistoryLoads& loads, const TdClient& td);
