// A chat's pinned message and the list of all of them. Main thread only.
#pragma once

#include <cstdint>
#include <string>

#include "commands/series.h"
#include "frame/answer.h"
#include "frame/command.h"
#include "frame/tdlib.h"

struct PinnedLoads {
  SeriesNumbers lists;        // a generation a pinned list
  std::int64_t requests = 0;  // for single pinned messages; the second field of their tags
};

std::string make_get_chat_pinned_message(std::int64_t chat_id);

// Asks for the chat's pinned message; the answer becomes "pinned_message" or "pinned_none".
void request_pinned_message(std::int64_t chat_id, PinnedLoads& loads, const TdClient& td);
void on_pinned_message(Answer& answer);
void on_pinned_message_error(TdError& error);

void run_pinned_list(CommandCall& call, PinnedLoads& loads, const TdClient& td);
void on_pinned_list(Answer& answer, PinnedLoads& loads);
void on_pinned_list_error(TdError& error, PinnedLoads& loads);
