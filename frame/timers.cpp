#include "frame/timers.h"

#include <algorithm>
#include <utility>

#include "frame/clock.h"

static bool fires_later(const Timer& a, const Timer& b) {
  return a.due_ms != b.due_ms ? a.due_ms > b.due_ms : a.sequence > b.sequence;
}

void add_timer(Timers& timers, std::int64_t due_ms, std::function<void()> fire) {
  timers.heap.push_back({due_ms, timers.next_sequence++, std::move(fire)});
  std::push_heap(timers.heap.begin(), timers.heap.end(), fires_later);
}

void run_due_timers(Timers& timers) {
  if (timers.heap.empty()) return;
  const std::int64_t now_ms = mono_ms();
  const std::uint64_t end = timers.next_sequence;
  while (!timers.heap.empty()) {
    const Timer& first = timers.heap.front();
    if (first.due_ms > now_ms || first.sequence >= end) return;
    std::pop_heap(timers.heap.begin(), timers.heap.end(), fires_later);
    const Timer due = std::move(timers.heap.back());
    timers.heap.pop_back();
    due.fire();
  }
}

std::int64_t next_timer_ms(const Timers& timers) {
  return timers.heap.empty() ? -1 : timers.heap.front().due_ms;
}
