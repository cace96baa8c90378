#include "frame/in_flight.h"

#include <algorithm>
#include <memory>
#include <unordered_map>
#include <vector>

#include "frame/channels.h"
#include "frame/protocol.h"
#include "json/text.h"

namespace {

struct Failure {
  bool refused = false;  // by us; otherwise `code` is the library's
  std::int64_t code = 0;
  std::string error;
};

// A small record: a client may have very many open at once.
struct InFlight {
  std::string_view word;
  std::vector<std::uint32_t> unanswered;  // numbers of its requests
  std::uint32_t holds = 0;
  bool line_handled = false;
  std::unique_ptr<Failure> failure;
};

std::unordered_map<std::int64_t, InFlight> g_in_flight;
std::int64_t g_current_command = 0;
std::uint32_t g_last_number = 0;  // of all requests: an id that is open again meets no old answer

InFlight* find(std::int64_t id) {
  const auto it = g_in_flight.find(id);
  return it == g_in_flight.end() ? nullptr : &it->second;
}

void note_failure(bool refused, std::int64_t code, std::string_view error) {
  InFlight* command = find(g_current_command);
  if (command == nullptr || command->failure != nullptr) return;
  command->failure.reset(new Failure{refused, code, std::string(error)});
}

// Its own id stands in the second place, and not again at the end.
void emit_command_end(std::int64_t id, std::string_view word, const Failure* failure) {
  std::string event = begin_event("command_end");
  append_int_member(event, "cmd", id);
  append_string_member(event, "command", word);
  append_bool_member(event, "ok", failure == nullptr);
  if (failure != nullptr) {
    if (!failure->refused) append_int_member(event, "code", failure->code);
    append_string_member(event, "error", failure->error);
  }
  const std::int64_t before = exchange_current_command(0);
  end_event(event);
  (void)exchange_current_command(before);
}

// The digits in front of `end`; false when there are none.
bool digits_before(std::string_view text, std::size_t end, std::size_t& begin) {
  begin = end;
  while (begin > 0 && text[begin - 1] >= '0' && text[begin - 1] <= '9') --begin;
  return begin < end;
}

}  // namespace

std::int64_t current_command() { return g_current_command; }

std::int64_t exchange_current_command(std::int64_t id) {
  return std::exchange(g_current_command, id);
}

bool command_is_open(std::int64_t id) { return find(id) != nullptr; }

std::size_t open_commands() { return g_in_flight.size(); }

void open_command(std::int64_t id, std::string_view word) { g_in_flight[id].word = word; }

void note_refusal(std::string_view reason) { note_failure(true, 0, reason); }

void note_td_error(std::int64_t code, std::string_view message) {
  note_failure(false, code, message);
}

void end_command_if_over(std::int64_t id) {
  const auto it = g_in_flight.find(id);
  if (it == g_in_flight.end()) return;
  const InFlight& command = it->second;
  if (!command.line_handled || !command.unanswered.empty() || command.holds > 0) return;
  emit_command_end(id, command.word, command.failure.get());
  g_in_flight.erase(it);
}

void end_of_line(std::int64_t id) {
  if (InFlight* command = find(id)) command->line_handled = true;
  end_command_if_over(id);
}

void emit_refused_end(std::int64_t id, std::string_view word, std::string_view reason) {
  const Failure failure{true, 0, std::string(reason)};
  emit_command_end(id, word, &failure);
}

void close_all_commands() {
  // In the order of their ids, so that equal runs end alike.
  std::vector<std::int64_t> ids;
  ids.reserve(g_in_flight.size());
  for (const auto& [id, command] : g_in_flight) ids.push_back(id);
  std::sort(ids.begin(), ids.end());
  for (const std::int64_t id : ids) emit_refused_end(id, find(id)->word, "closed");
  g_in_flight.clear();
}

std::string tag_of_request(std::string_view tag) {
  std::string whole(tag);
  if (!at_level2()) return whole;
  InFlight* command = find(g_current_command);
  if (command == nullptr) {
    if (tag.find('#') != std::string_view::npos) whole += "#0.0";
    return whole;
  }
  const std::uint32_t number = ++g_last_number;
  command->unanswered.push_back(number);
  whole += '#';
  append_i64(whole, g_current_command);
  whole += '.';
  append_i64(whole, number);
  return whole;
}

RequestRef take_request(std::string& tag) {
  RequestRef request;
  if (!at_level2()) return request;
  std::size_t number_at = 0;
  std::size_t id_at = 0;
  const std::string_view text = tag;
  if (!digits_before(text, text.size(), number_at) || number_at == 0 ||
      text[number_at - 1] != '.' || !digits_before(text, number_at - 1, id_at) || id_at == 0 ||
      text[id_at - 1] != '#') {
    return request;
  }
  std::int64_t id = 0;
  std::int64_t number = 0;
  (void)parse_i64(text.substr(id_at, number_at - 1 - id_at), id);
  (void)parse_i64(text.substr(number_at), number);
  tag.resize(id_at - 1);
  const InFlight* command = find(id);
  if (command == nullptr) return request;
  const auto& open = command->unanswered;
  const auto is_it = [number](std::uint32_t n) { return n == number; };
  if (std::any_of(open.begin(), open.end(), is_it)) {
    request = {id, static_cast<std::uint32_t>(number)};
  }
  return request;
}

void end_of_answer(const RequestRef& request) {
  InFlight* command = find(request.command);
  if (command == nullptr) return;
  auto& open = command->unanswered;
  const auto it = std::find(open.begin(), open.end(), request.number);
  if (it != open.end()) {
    *it = open.back();
    open.pop_back();
  }
  end_command_if_over(request.command);
}

CommandHold CommandHold::of_current() {
  InFlight* command = find(g_current_command);
  if (command == nullptr) return {};
  ++command->holds;
  return CommandHold(g_current_command);
}

void CommandHold::release() {
  const std::int64_t id = std::exchange(id_, 0);
  InFlight* command = id == 0 ? nullptr : find(id);
  if (command == nullptr) return;
  --command->holds;
  end_command_if_over(id);
}
