// As json/plain/short_steps.h, by one look at 16 bytes.
#pragma once

#include <emmintrin.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "json/digits.h"
#include "json/search.h"
#include "json/skip.h"

// Bit i is set where byte i of the 16 at `at` passes the test.
template <class Test>
inline std::uint32_t mask16(const char* at, Test test) {
  return static_cast<std::uint32_t>(
      _mm_movemask_epi8(test(_mm_loadu_si128(reinterpret_cast<const __m128i*>(at)))));
}

inline __m128i equal(__m128i v, char c) { return _mm_cmpeq_epi8(v, _mm_set1_epi8(c)); }

// As find_string_end. Keys and most strings are short and hold no escape: those take one look at
// 16 bytes.
inline std::size_t find_short_string_end(std::string_view text, std::size_t pos) {
  if (text.size() - pos >= 16) {
    const std::uint32_t stops = mask16(
        text.data() + pos, [](__m128i v) { return _mm_or_si128(equal(v, '"'), equal(v, '\\')); });
    if (stops == 0) return find_string_end(text, pos + 16);
    const std::size_t first = pos + static_cast<unsigned>(__builtin_ctz(stops));
    return text[first] == '"' ? first : find_string_end(text, first);
  }
  return find_string_end(text, pos);
}

// A number or literal reaches to what may stand behind one. At the end of the text nobody can
// tell whether it is whole.
inline std::size_t skip_scalar(std::string_view text, std::size_t pos) {
  const std::size_t begin = pos;
  if (text.size() - pos >= 16) {
    // Any control byte stops the look; what is no space goes on below.
    const std::uint32_t ends = mask16(text.data() + pos, [](__m128i v) {
      const __m128i low = _mm_cmpeq_epi8(_mm_min_epu8(v, _mm_set1_epi8(' ')), v);
      const __m128i folded = _mm_or_si128(v, _mm_set1_epi8(0x20));  // ']' becomes '}'
      return _mm_or_si128(_mm_or_si128(equal(v, ','), low), equal(folded, '}'));
    });
    pos += ends == 0 ? 16 : static_cast<unsigned>(__builtin_ctz(ends));
  }
  while (pos < text.size() && !ends_scalar(text[pos])) ++pos;
  return pos == begin || pos == text.size() ? kNotFound : pos;
}
