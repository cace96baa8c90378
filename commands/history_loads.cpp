#include "commands/history_loads.h"

#include <utility>

#include "frame/answer.h"
#include "frame/channels.h"
#include "frame/clock.h"
#include "frame/protocol.h"
#include "json/text.h"

namespace {

constexpr std::int64_t kFirstRepetitionMs = 1400;
constexpr std::int64_t kLaterRepetitionMs = 2600;
constexpr int kLastAttempt = 3;  // of a load whose answers are empty

std::string begin_load_event(std::string_view type, const HistoryLoad& load) {
  std::string event = begin_event(type);
  append_int_member(event, "chat_id", load.chat_id);
  append_int_member(event, "gen", load.gen);
  return event;
}

void append_load_members(std::string& event, const HistoryLoad& load) {
  append_bool_member(event, "clear", load.clear);
  append_int_member(event, "from_message_id", load.from_message_id);
  append_int_member(event, "limit", load.limit);
}

// The timer of a load that may have been replaced or dropped meanwhile.
void repeat_clear_load(std::int64_t chat_id, std::int64_t gen, HistoryLoads& loads,
                       const TdClient& td) {
  const auto it = loads.clear_loads.find(chat_id);
  if (it == loads.clear_loads.end() || it->second.gen != gen) return;
  ClearLoad& load = it->second;
  const bool silently = load.awaits == ClearLoad::Awaits::kSilentQuestion;
  continue_series(loads.series, gen);
  const CommandHold hold = std::move(load.hold);
  as_command(hold.command(), [&] { td_request(td, load.request, load.tag); });
  dbg("SEND getChatHistory (retry:clear)");
  ++load.attempt;
  load.awaits = ClearLoad::Awaits::kAnswer;
  if (!silently) return;
  loads.silent_questions[gen] = {chat_id, load.attempt, load.shown, false};
  loads.clear_loads.erase(it);
}

}  // namespace

std::string make_history_extra(const HistoryLoad& load) {
  std::string tag = make_tag("history", load.chat_id, load.gen);
  tag += load.clear ? ":clear:" : load.newer ? ":newer:" : ":append:";
  append_i64(tag, load.from_message_id);
  tag += ':';
  append_i64(tag, load.limit);
  return tag;
}

bool parse_history_extra(std::string_view fields, HistoryLoad& load) {
  load.chat_id = next_field_i64(fields);
  load.gen = next_field_i64(fields);
  const std::string_view mode = next_field(fields);
  load.clear = mode == "clear";
  load.newer = at_level2() && mode == "newer";
  const bool known_mode = load.clear || load.newer || mode == "append";
  if (load.chat_id == 0 || load.gen < 1 || !known_mode) return false;
  load.from_message_id = next_field_i64(fields, -1);
  load.limit = next_field_i64(fields);
  return load.from_message_id >= 0 && load.limit >= 1 && fields.empty();
}

void emit_history_begin_event(const HistoryLoad& load) {
  std::string event = begin_load_event("history_begin", load);
  append_load_members(event, load);
  if (load.newer) append_bool_member(event, "newer", true);
  end_event(event);
}

void emit_history_clear_event(const HistoryLoad& load) {
  emit_event_json_line(begin_load_event("history_clear", load) + "}");
}

void emit_history_end_event(const HistoryLoad& load, std::int64_t total_count, std::int64_t came) {
  std::string event = begin_load_event("history_end", load);
  append_load_members(event, load);
  append_int_member(event, "total_count", total_count);
  if (at_level2()) append_bool_member(event, "has_more", came > 0);
  end_event(event);
}

void send_history_request(const HistoryLoad& load, std::string request, HistoryLoads& loads,
                          const TdClient& td) {
  std::string tag = make_history_extra(load);
  continue_series(loads.series, load.gen);
  td_request(td, request, tag);
  if (!load.clear) return;
  drop_clear_load(loads, load.chat_id);
  ClearLoad& kept = loads.clear_loads[load.chat_id];
  kept.gen = load.gen;
  kept.request = std::move(request);
  kept.tag = std::move(tag);
}

void drop_silent_questions(HistoryLoads& loads, std::int64_t chat_id) {
  for (auto& [gen, question] : loads.silent_questions) {
    if (question.chat_id == chat_id) question.dropped = true;
  }
  const auto it = loads.clear_loads.find(chat_id);
  if (it == loads.clear_loads.end()) return;
  it->second.paged = true;
  if (it->second.awaits == ClearLoad::Awaits::kSilentQuestion) loads.clear_loads.erase(it);
}

void drop_clear_load(HistoryLoads& loads, std::int64_t chat_id) {
  drop_silent_questions(loads, chat_id);
  loads.clear_loads.erase(chat_id);
}

// The load's record while it is the chat's last "clear" load; else null.
static ClearLoad* find_clear_load(HistoryLoads& loads, const HistoryLoad& load) {
  const auto it = loads.clear_loads.find(load.chat_id);
  const bool is_last = load.clear && it != loads.clear_loads.end() && it->second.gen == load.gen;
  return is_last ? &it->second : nullptr;
}

void forget_failed_load(HistoryLoads& loads, const HistoryLoad& load) {
  if (find_clear_load(loads, load) != nullptr) loads.clear_loads.erase(load.chat_id);
}

int load_attempt(HistoryLoads& loads, const HistoryLoad& load) {
  const ClearLoad* kept = find_clear_load(loads, load);
  return kept == nullptr ? 1 : kept->attempt;
}

bool schedule_repetition(const HistoryLoad& load, std::int64_t count, HistoryLoads& loads,
                         Timers& timers, const TdClient& td) {
  ClearLoad* kept = find_clear_load(loads, load);
  if (kept == nullptr || kept->awaits != ClearLoad::Awaits::kAnswer) return false;
  const bool repeat = count == 0 && kept->attempt < kLastAttempt;
  const bool ask_silently =
      count > 0 && count < load.limit && load.from_message_id == 0 && !kept->paged;
  if (!repeat && !ask_silently) {
    loads.clear_loads.erase(load.chat_id);
    return false;
  }
  kept->awaits = repeat ? ClearLoad::Awaits::kRepetition : ClearLoad::Awaits::kSilentQuestion;
  kept->shown = count;
  kept->hold = CommandHold::of_current();
  const std::int64_t wait_ms =
      repeat && kept->attempt > 1 ? kLaterRepetitionMs : kFirstRepetitionMs;
  dbg("history: scheduling getChatHistory retry");
  add_timer(timers, mono_ms() + wait_ms, [&loads, td, chat_id = load.chat_id, gen = load.gen] {
    repeat_clear_load(chat_id, gen, loads, td);
  });
  return repeat;
}
