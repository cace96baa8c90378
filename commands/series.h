// Numbered series of events, and which of them still wait for an answer of TDLib: a second answer
// to the same question adds nothing to what has ended. Main thread only.
#pragma once

#include <cstdint>
#include <unordered_set>

struct SeriesNumbers {
  std::int64_t last = 0;
  std::unordered_set<std::int64_t> awaited;
};

// A new series, whose answer is awaited.
inline std::int64_t begin_series(SeriesNumbers& numbers) {
  numbers.awaited.insert(++numbers.last);
  return numbers.last;
}

// The series goes on: another answer is awaited.
inline void continue_series(SeriesNumbers& numbers, std::int64_t number) {
  numbers.awaited.insert(number);
}

// False when the series has had its answer. A number that was never given is let through.
inline bool take_series_answer(SeriesNumbers& numbers, std::int64_t number) {
  return numbers.awaited.erase(number) != 0 || number > numbers.last;
}
