// Four bytes of a text in one 32-bit word, for the portable kernels. A test gives a word whose
// lowest set bit belongs to the first byte that passes it; bits above that one may be wrong, and 0
// says that no byte does.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

constexpr std::uint32_t kEveryByte = 0x01010101;
constexpr std::uint32_t kHighBits = kEveryByte << 7;

// The bytes in text order from the lowest on, whatever the processor's order is: compilers make
// one load of it where that is the processor's own.
inline std::uint32_t load_word(const char* at) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  std::uint32_t word = 0;
  std::memcpy(&word, at, sizeof word);
  return word;
#else
  const auto byte = [at](unsigned i) {
    return static_cast<std::uint32_t>(static_cast<unsigned char>(at[i])) << 8 * i;
  };
  return byte(0) | byte(1) | byte(2) | byte(3);
#endif
}

// kHighBits is still to be masked out.
inline std::uint32_t zero_bytes(std::uint32_t word) { return (word - kEveryByte) & ~word; }

// Tests for ASCII characters, to be joined by | and then given to `ascii_hits`: none of them is
// passed by a byte above 0x7f, which is taken out once for all. `limit` is at most 0x80.
inline std::uint32_t equals(std::uint32_t word, char c) {
  return (word ^ (kEveryByte * static_cast<unsigned char>(c))) - kEveryByte;
}
inline std::uint32_t is_below(std::uint32_t word, unsigned limit) {
  return word - kEveryByte * limit;
}
inline std::uint32_t ascii_hits(std::uint32_t word, std::uint32_t tests) {
  return tests & ~word & kHighBits;
}

// Offset of the first byte that passed.
inline std::size_t first_byte(std::uint32_t hits) {
  return static_cast<std::size_t>(__builtin_ctz(hits)) / 8;
}
