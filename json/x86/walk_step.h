// The short steps of a walk on 64-bit x86, by looks at 16 or 32 bytes. As json/plain/walk_step.h,
// which says what each does.
#pragma once

#include <emmintrin.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "json/digits.h"
#include "json/search.h"
#include "json/skip.h"
#include "json/walk.h"

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

// Where bytes that matter stand among the 32 from one place on, a bit each.
struct Look {
  std::uint32_t quotes = 0;
  std::uint32_t slashes = 0;
  std::uint32_t ends = 0;  // what may stand behind a scalar
};
inline constexpr std::size_t kLookSize = 32;

inline Look look_at(const char* at) {
  Look look;
  for (unsigned i = 0; i < kLookSize; i += 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at + i));
    const auto bits = [i](__m128i hits) {
      return static_cast<std::uint32_t>(_mm_movemask_epi8(hits)) << i;
    };
    const __m128i folded = _mm_or_si128(v, _mm_set1_epi8(0x20));  // both closing brackets are '}'
    const __m128i closes = _mm_cmpeq_epi8(folded, _mm_set1_epi8('}'));
    const __m128i blanks = _mm_cmpeq_epi8(_mm_min_epu8(v, _mm_set1_epi8(' ')), v);
    const __m128i commas = _mm_cmpeq_epi8(v, _mm_set1_epi8(','));
    look.quotes |= bits(_mm_cmpeq_epi8(v, _mm_set1_epi8('"')));
    look.slashes |= bits(_mm_cmpeq_epi8(v, _mm_set1_epi8('\\')));
    look.ends |= bits(_mm_or_si128(commas, _mm_or_si128(closes, blanks)));
  }
  return look;
}

inline constexpr std::size_t kNoBit = kLookSize;
inline std::size_t first_bit(std::uint32_t bits) {
  return bits == 0 ? kNoBit : static_cast<std::size_t>(__builtin_ctz(bits));
}
inline std::uint32_t bits_below(std::size_t count) {
  return count >= kLookSize ? ~std::uint32_t{0} : (std::uint32_t{1} << count) - 1;
}

// The step from one member to the next as TDLib writes it, without blanks and with a short value
// and a short key: both end within one look, or the key within a second. False, and nothing done,
// for everything else.
inline bool next_compact_key(ObjectWalk& walk, std::string_view& key) {
  const std::string_view text = walk.text;
  std::size_t pos = walk.pos;
  // The second look begins at most one look and two bytes on.
  if (text.size() < 2 * kLookSize + 4 || pos > text.size() - (2 * kLookSize + 4)) return false;
  Look look = look_at(text.data() + pos);
  std::size_t used = 0;
  if (walk.stage == WalkStage::kAtValue) {
    if (text[pos] == '"') {
      used = first_bit(look.quotes & ~std::uint32_t{1}) + 1;
      if (used > kNoBit || (look.slashes & bits_below(used)) != 0) return false;
    } else {
      used = first_bit(look.ends);
      if (used == 0 || used == kNoBit) return false;
    }
    pos += used;
  }
  if (text[pos] != (pos == 0 ? '{' : ',') || text[pos + 1] != '"') return false;
  pos += 2;
  used += 2;
  std::uint32_t quotes = used < kLookSize ? look.quotes >> used : 0;
  if (quotes == 0) {
    look = look_at(text.data() + pos);
    used = 0;
    quotes = look.quotes;
  }
  const std::size_t length = first_bit(quotes);
  if (length == kNoBit || (look.slashes >> used & bits_below(length)) != 0) return false;
  const char* behind = text.data() + pos + length;
  if (behind[1] != ':' || static_cast<unsigned char>(behind[2]) <= ' ') return false;
  key = text.substr(pos, length);
  walk.pos = pos + length + 2;
  walk.stage = WalkStage::kAtValue;
  return true;
}
