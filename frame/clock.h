// The clocks. Every timer of the program uses mono_ms.
#pragma once

#include <cstdint>

// Milliseconds of the monotonic clock; 0 when the clock cannot be read.
std::int64_t mono_ms();
// Milliseconds of the wall clock since 1970; 0 when the clock cannot be read.
std::int64_t wall_ms();
