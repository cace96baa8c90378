// What a history load asks for, how its series of events is framed, and the loads that may have to
// ask again: TDLib answers with little or nothing while it is still fetching a chat's messages.
//
// Every answer ends its series with "history_end" at once. Beyond that, an answer to a "clear" load
//  - without messages: the request goes out again after 1400 ms and, still without messages, once
//    more after 2600 ms. Each answer is a series of its own under the same generation.
//  - with fewer messages than asked for, from the newest on: the request goes out once more after
//    1400 ms, silently. Only an answer with more messages is shown; it replaces the first.
// A newer "clear" load of the chat, or closing it, ends all that; asking for older messages ends
// the silent question, whose answer would wipe them.
//
// Main thread only.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

#include "commands/series.h"
#include "frame/in_flight.h"
#include "frame/tdlib.h"
#include "frame/timers.h"

// One load: the fields of its tag and of its begin and end events.
struct HistoryLoad {
  std::int64_t chat_id = 0;
  std::int64_t gen = 0;
  bool clear = false;  // replaces what the UI shows; false: adds to it
  std::int64_t from_message_id = 0;
  std::int64_t limit = 0;
  bool newer = false;  // adds newer messages, at level 2; never with `clear`
};

// A "clear" load until its answer has been enough.
struct ClearLoad {
  enum class Awaits { kAnswer, kRepetition, kSilentQuestion };
  std::int64_t gen = 0;
  std::string request;  // kept whole: its tag does not hold offset and thread
  std::string tag;
  Awaits awaits = Awaits::kAnswer;
  int attempt = 1;         // the answer to come, or the last one
  bool paged = false;      // older messages were asked for: no silent question any more
  std::int64_t shown = 0;  // messages of the answer that was too short
  CommandHold hold;        // while a repetition is scheduled
};

// A silent question whose answer is still to come.
struct SilentQuestion {
  std::int64_t chat_id = 0;
  int attempt = 0;
  std::int64_t shown = 0;
  bool dropped = false;  // its answer is passed over
};

struct HistoryLoads {
  SeriesNumbers series;                                               // a generation a load
  std::unordered_map<std::int64_t, ClearLoad> clear_loads;            // by chat id
  std::unordered_map<std::int64_t, SilentQuestion> silent_questions;  // by generation
};

std::string make_history_extra(const HistoryLoad& load);
// `fields`: the tag behind its prefix. False when it is no history tag.
bool parse_history_extra(std::string_view fields, HistoryLoad& load);

void emit_history_begin_event(const HistoryLoad& load);
void emit_history_clear_event(const HistoryLoad& load);
// `came`: how many messages the answer brought.
void emit_history_end_event(const HistoryLoad& load, std::int64_t total_count, std::int64_t came);

// Sends the load's request, complete but for its tag. Of a "clear" load it is kept for repetitions,
// in the place of an older one of the same chat.
void send_history_request(const HistoryLoad& load, std::string request, HistoryLoads& loads,
                          const TdClient& td);
// Older messages of the chat are being added to what the UI shows.
void drop_silent_questions(HistoryLoads& loads, std::int64_t chat_id);
// The chat is closed, or shown anew.
void drop_clear_load(HistoryLoads& loads, std::int64_t chat_id);

// The load was answered with an error.
void forget_failed_load(HistoryLoads& loads, const HistoryLoad& load);

// The attempt that an answer to `load` belongs to: 1 unless the load is the chat's last "clear"
// one.
int load_attempt(HistoryLoads& loads, const HistoryLoad& load);
// For an answer to `load` with `count` messages: sends the request again later if it must. True
// when the answer had no messages and the load goes on.
bool schedule_repetition(const HistoryLoad& load, std::int64_t count, HistoryLoads& loads,
                         Timers& timers, const TdClient& td);
