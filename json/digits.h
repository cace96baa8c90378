// Blanks and decimal digits, the same for every reader.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

inline bool is_space(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
inline bool is_digit(char c) { return c >= '0' && c <= '9'; }

// What may stand behind a number or literal.
inline bool ends_scalar(char c) { return c == ',' || c == '}' || c == ']' || is_space(c); }

// The library writes no spaces, so mostly the first comparison decides.
inline std::size_t skip_spaces(std::string_view text, std::size_t pos) {
  while (pos < text.size() && text[pos] <= ' ' && is_space(text[pos])) ++pos;
  return pos;
}

// Reads the digits from `pos` on behind those that `value` holds, wrapping in 64 bits; gives the
// offset of the first byte that is none. Ids are long, so eight digits are tried at once: they
// are checked together, then pairs, fours and all eight are joined by one multiplication each.
inline std::size_t read_digits(std::string_view text, std::size_t pos, std::uint64_t& value) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  while (text.size() - pos >= 8) {
    std::uint64_t v = 0;
    std::memcpy(&v, text.data() + pos, 8);
    const std::uint64_t high = 0xF0F0F0F0F0F0F0F0;
    // A digit is 3 in its high half, and still when 6 is added.
    if (((v & high) | ((v + 0x0606060606060606) & high) >> 4) != 0x3333333333333333) break;
    v = (v & 0x0F0F0F0F0F0F0F0F) * 2561 >> 8;
    v = (v & 0x00FF00FF00FF00FF) * 6553601 >> 16;
    v = (v & 0x0000FFFF0000FFFF) * 42949672960001 >> 32;
    value = value * 100000000 + v;
    pos += 8;
  }
#endif
  for (; pos < text.size() && is_digit(text[pos]); ++pos) {
    value = value * 10 + static_cast<std::uint64_t>(text[pos] - '0');
  }
  return pos;
}

inline std::int64_t with_sign(std::uint64_t magnitude, bool negative) {
  return static_cast<std::int64_t>(negative ? 0 - magnitude : magnitude);
}
