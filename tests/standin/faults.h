// The page through which a test has one call of the program that it started fail.
#pragma once

#include <atomic>
#include <cstdint>

enum class FaultKind : std::int32_t {
  kNone,
  kShort,   // of a line's bytes only the first is written
  kTorn,    // the same, and the next write fails with EIO
  kFails,   // the write fails with `error`
  kMalloc,  // malloc gives nothing once
  kMemory,  // from here on neither malloc nor mmap gives anything
};

// Lives in a mapped file whose path is in the environment variable TD_FAULTS. Writes are those to
// standard output and to regular files; allocations count from the first write on.
struct Faults {
  std::atomic<FaultKind> fault;
  std::atomic<std::int32_t> error;
  std::atomic<std::int32_t> at;  // the call that fails, from 1 on
  std::atomic<std::int32_t> writes;
  std::atomic<std::int32_t> allocations;
};
