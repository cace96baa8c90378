// The step of a walk from key to key on 64-bit x86, by looks at 32 bytes.
#pragma once

#include <emmintrin.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "json/walk.h"

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
