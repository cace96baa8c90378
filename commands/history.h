// A chat opened, paged through, jumped into, marked read and closed; and the pages of messages
// that its loads are answered with. Main thread only.
#pragma once

#include <cstdint>
#include <string>

#include "commands/history_loads.h"
#include "commands/pinned.h"
#include "frame/answer.h"
#include "frame/command.h"
#include "frame/tdlib.h"
#include "frame/timers.h"
#include "state/chats.h"

std::string make_get_chat_history(std::int64_t chat_id, std::int64_t from_message_id,
                                  std::int64_t limit);
// A negative offset asks for so many messages newer than `from_message_id`, too.
std::string make_get_chat_history_with_offset(std::int64_t chat_id, std::int64_t from_message_id,
                                              std::int64_t offset, std::int64_t limit);
std::string make_open_chat(std::int64_t chat_id);

void run_open(CommandCall& call, HistoryLoads& loads, PinnedLoads& pinned, OpenChat& open_chat,
              const TdClient& td);
void run_close(CommandCall& call, HistoryLoads& loads, OpenChat& open_chat, const TdClient& td);
void run_history(CommandCall& call, HistoryLoads& loads, PinnedLoads& pinned, const TdClient& td);
void run_history_more(CommandCall& call, HistoryLoads& loads, const TdClient& td);
void run_history_newer(CommandCall& call, HistoryLoads& loads, const TdClient& td);  // level 2
void run_history_jump(CommandCall& call, HistoryLoads& loads, const TdClient& td);

void run_read(CommandCall& call, const TdClient& td);
void on_read(Answer& answer);

void on_history(Answer& answer, HistoryLoads& loads, Timers& timers, const TdClient& td);
void on_history_error(TdError& error, HistoryLoads& loads);
