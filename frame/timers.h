// Deadlines of the main loop: looked at once an iteration. Main thread only.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

struct Timer {
  std::int64_t due_ms = 0;     // mono_ms
  std::uint64_t sequence = 0;  // among equal deadlines the first set comes first
  std::function<void()> fire;
};

struct Timers {
  std::vector<Timer> heap;  // earliest deadline first
  std::uint64_t next_sequence = 0;
};

// `fire` runs once, at the first look at or after `due_ms`. There is no cancelling: who sets a
// timer checks in `fire` whether what it waited for still stands.
void add_timer(Timers& timers, std::int64_t due_ms, std::function<void()> fire);
// Fires what is due now; what a timer adds meanwhile waits for the next look.
void run_due_timers(Timers& timers);
// When the first one is due, or -1 when there is none.
std::int64_t next_timer_ms(const Timers& timers);
