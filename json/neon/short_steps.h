// As json/plain/short_steps.h, by one look at 16 bytes.
#pragma once

#include <arm_neon.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "json/digits.h"
#include "json/search.h"
#include "json/skip.h"

constexpr std::size_t kLookSize = 16;

inline uint8x16_t load_look(const char* at) {
  return vld1q_u8(reinterpret_cast<const std::uint8_t*>(at));
}
inline uint8x16_t equal(uint8x16_t v, char c) {
  return vceqq_u8(v, vdupq_n_u8(static_cast<std::uint8_t>(c)));
}
// Which of the 16 is the first that passed; kLookSize when none did. Each becomes four bits.
inline std::size_t first_hit(uint8x16_t hits) {
  const uint8x8_t narrowed = vshrn_n_u16(vreinterpretq_u16_u8(hits), 4);
  const std::uint64_t bits = vget_lane_u64(vreinterpret_u64_u8(narrowed), 0);
  return bits == 0 ? kLookSize : static_cast<std::size_t>(__builtin_ctzll(bits)) / 4;
}

inline std::size_t find_short_string_end(std::string_view text, std::size_t pos) {
  if (text.size() - pos >= kLookSize) {
    const uint8x16_t v = load_look(text.data() + pos);
    pos += first_hit(vorrq_u8(equal(v, '"'), equal(v, '\\')));
    if (pos < text.size() && text[pos] == '"') return pos;
  }
  return find_string_end(text, pos);
}

inline std::size_t skip_scalar(std::string_view text, std::size_t pos) {
  const std::size_t begin = pos;
  if (text.size() - pos >= kLookSize) {
    // Any control byte stops the look; what is no space goes on below.
    const uint8x16_t v = load_look(text.data() + pos);
    const uint8x16_t low = vcleq_u8(v, vdupq_n_u8(' '));
    const uint8x16_t folded = vorrq_u8(v, vdupq_n_u8(0x20));  // ']' becomes '}'
    pos += first_hit(vorrq_u8(vorrq_u8(equal(v, ','), low), equal(folded, '}')));
  }
  while (pos < text.size() && !ends_scalar(text[pos])) ++pos;
  return pos == begin || pos == text.size() ? kNotFound : pos;
}
