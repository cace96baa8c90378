#include "frame/clock.h"

#include <ctime>

static std::int64_t read_clock_ms(clockid_t clock) {
  timespec now{};
  if (clock_gettime(clock, &now) != 0) return 0;
  return static_cast<std::int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

std::int64_t mono_ms() { return read_clock_ms(CLOCK_MONOTONIC); }

std::int64_t wall_ms() { return read_clock_ms(CLOCK_REALTIME); }
