#include "frame/protocol.h"

#include <atomic>
#include <cstring>
#include <string>

#include "frame/channels.h"
#include "frame/events_file.h"
#include "frame/in_flight.h"
#include "frame/version.h"
#include "json/decimal.h"
#include "json/text.h"

int g_protocol = 1;

static std::atomic<std::int64_t> g_event_number{0};  // of the last event
static std::int64_t g_lost_events = 0;               // since the last "events_lost"
static bool g_begun = false;                         // "hello" has been tried
static std::int64_t g_missed_events = 0;             // before, for want of a reader

static_assert(std::atomic<std::int64_t>::is_always_lock_free, "the signal handler loads it");

std::int64_t next_event_number() { return g_event_number.load(std::memory_order_relaxed) + 1; }

void emit_hello() {
  if (!at_level2()) return;
  g_begun = true;
  std::string event = begin_event("hello");
  append_int_member(event, "protocol", g_protocol);
  append_string_member(event, "version", kVersion);
  append_string_member(event, "mode", g_hub_mode ? "hub" : "ui");
  end_event(event);
}

void count_missed_events() {
  g_event_number = g_event_number + g_missed_events;
  g_lost_events += g_missed_events;
  g_missed_events = 0;
}

void emit_goodbye(std::string_view reason) {
  if (!at_level2()) return;
  std::string event = begin_event("goodbye");
  append_string_member(event, "reason", reason);
  end_event(event);
}

namespace {

// What closes a line, from its end to its begin. On the stack, for it belongs to every event.
class LineEnd {
 public:
  LineEnd(std::int64_t command, std::int64_t number) {
    put("}\n");
    put(",\"seq\":", number);
    if (command != 0) put(",\"cmd\":", command);
  }
  std::string_view text() const {
    return {begin_, static_cast<std::size_t>(text_ + sizeof text_ - begin_)};
  }

 private:
  void put(std::string_view word) {
    begin_ -= word.size();
    std::memcpy(begin_, word.data(), word.size());
  }
  void put(std::string_view key, std::int64_t value) {
    begin_ = put_decimal(begin_, value);
    put(key);
  }

  char text_[2 * (7 + kDecimalMax) + 2];
  char* begin_ = text_ + sizeof text_;
};

}  // namespace

static LineFate write_with_number(int fd, std::string_view json, std::int64_t command,
                                  std::int64_t number) {
  const LineEnd end(command, number);
  json.remove_suffix(1);
  const LineFate fate = write_line(fd, json, end.text());
  if (fate == LineFate::kWhole) events_file_grew(json.size() + end.text().size());
  return fate;
}

// One of which nothing was written takes no number, so that a gap is as long as the count says.
static void tell_losses(int fd) {
  std::string event = "{\"type\":\"events_lost\"";
  append_int_member(event, "count", g_lost_events);
  event += '}';
  const std::int64_t number = next_event_number();
  const std::int64_t told = g_lost_events;
  g_event_number = number;
  g_lost_events = 0;
  const LineFate fate = write_with_number(fd, event, 0, number);
  if (fate == LineFate::kWhole) return;
  g_lost_events = told;
  if (fate == LineFate::kTorn) {
    ++g_lost_events;
  } else {
    g_event_number = number - 1;
  }
}

void write_numbered_event(int fd, std::string_view json) {
  if (!g_begun) {
    ++g_missed_events;
    return;
  }
  if (g_lost_events > 0) tell_losses(fd);
  const std::int64_t number = next_event_number();
  g_event_number = number;
  if (write_with_number(fd, json, current_command(), number) != LineFate::kWhole) ++g_lost_events;
}
