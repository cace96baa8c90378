// The end of a string four bytes at a time, for the portable kernels and steps.
#pragma once

#include <cstdint>

#include "json/words.h"

// The quote that ends the string at `at`, or null. Strings are mostly longer than a word, and
// within one only two bytes matter; two words at once gain nothing.
inline const char* find_quote(const char* at, const char* end) {
  if (end - at >= 4) {
    const char* const last_word = end - 4;
    do {
      const std::uint32_t word = load_word(at);
      const std::uint32_t hits = ascii_hits(word, equals(word, '"') | equals(word, '\\'));
      at += 4;
      if (__builtin_expect(hits == 0, 1)) continue;
      at -= 4 - first_byte(hits);
      if (*at == '"') return at;
      if (end - at < 2) return nullptr;
      at += 2;
    } while (at <= last_word);
  }
  while (at < end && *at != '"') {
    if (*at == '\\' && ++at == end) break;
    ++at;
  }
  return at < end ? at : nullptr;
}
