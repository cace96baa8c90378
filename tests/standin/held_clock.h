// The page through which a test holds the clock of the program that it started.
#pragma once

#include <atomic>
#include <cstdint>

// Lives in a mapped file whose path is in the environment variable TD_HELD_CLOCK.
struct HeldClock {
  std::atomic<std::int64_t> mono_ns;
  std::atomic<std::int64_t> wall_ns;
};
