// The skipper of processors with vectors, the same for all of them.
//
// A block of 64 bytes becomes four masks of 64 bits: quotes, backslashes, opening and closing
// brackets. Arithmetic on the backslashes tells which bytes are escaped; each unescaped quote then
// turns "inside a string" on or off for all that follows it, which is the running exclusive-or of
// the quotes. Brackets inside strings drop out, and the rest is counted: as long as a block has
// fewer closing brackets than are open, the end cannot lie in it.
//
// A backslash outside a string is no JSON; where one is met the rest is walked byte by byte, for
// there it escapes nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "json/kernels.h"
#include "json/search.h"

#define ALWAYS_INLINE inline __attribute__((always_inline))

// '[' and ']' with this bit set are '{' and '}', and nothing else becomes one of these.
constexpr char kBracketFold = 0x20;

// What is known at the beginning of a block.
struct SkipState {
  std::size_t depth;
  std::uint64_t in_string = 0;  // all bits, or none
  std::uint64_t escaped = 0;    // 1: the first byte is escaped, which it can be in a string only
};

// What a processor's masks() gives of 64 bytes, one bit each.
struct BlockMasks {
  std::uint64_t quotes;
  std::uint64_t slashes;
  std::uint64_t opens;
  std::uint64_t closes;
};

ALWAYS_INLINE std::size_t first_bit(std::uint64_t bits) {
  return static_cast<std::size_t>(__builtin_ctzll(bits));
}
ALWAYS_INLINE std::size_t count_bits(std::uint64_t bits) {
  return static_cast<std::size_t>(__builtin_popcountll(bits));
}

// The bytes that a backslash before them makes ordinary; `carry` goes from block to block. In a
// run of backslashes every other one escapes, beginning with the first. Taking the run from
// itself moved up by one, with all odd bits set, borrows through the run and so leaves its odd or
// its even bits, as it began on one or the other.
ALWAYS_INLINE std::uint64_t find_escaped(std::uint64_t slashes, std::uint64_t& carry) {
  if (slashes == 0) {
    const std::uint64_t escaped = carry;
    carry = 0;
    return escaped;
  }
  constexpr std::uint64_t kOdd = 0xAAAAAAAAAAAAAAAA;
  const std::uint64_t starts = slashes & ~carry;
  const std::uint64_t codes = (((starts << 1) | kOdd) - starts) ^ kOdd;
  const std::uint64_t escaped = codes ^ (slashes | carry);
  carry = (codes & slashes) >> 63;
  return escaped;
}

// Offset just past the bracket that brings the depth to nothing, or 0 when none in the block does.
ALWAYS_INLINE std::size_t find_close(std::uint64_t opens, std::uint64_t closes,
                                     std::size_t& depth) {
  const std::size_t closing = count_bits(closes);
  if (closing >= depth) {
    std::size_t closed = 0;
    for (std::uint64_t rest = closes; rest != 0; rest &= rest - 1) {
      const std::uint64_t before = (rest & (0 - rest)) - 1;
      if (depth + count_bits(opens & before) == ++closed) return first_bit(rest) + 1;
    }
  }
  depth += count_bits(opens) - closing;
  return 0;
}

// Byte by byte from a block's beginning on.
inline std::size_t skip_to_close_from(std::string_view text, std::size_t pos,
                                      const SkipState& state, Nesting nesting) {
  if (state.in_string != 0) {
    pos = find_string_end_plain(text, pos + static_cast<std::size_t>(state.escaped));
    if (pos == kNotFound) return kNotFound;
    ++pos;
  }
  return skip_to_close_plain(text, pos, state.depth, nesting);
}

// Where a block begins that is to show the bytes from `pos` on: the last one of a text reaches
// back over bytes seen before, and their bits are shifted out.
ALWAYS_INLINE std::size_t block_start(std::string_view text, std::size_t pos) {
  return text.size() - pos >= 64 ? pos : text.size() - 64;
}

template <class Machine>
ALWAYS_INLINE std::size_t find_string_end_in_blocks(std::string_view text, std::size_t pos) {
  if (text.size() < 64) return find_string_end_plain(text, pos);
  std::uint64_t carry = 0;
  for (; pos < text.size(); pos += 64) {
    const std::size_t start = block_start(text, pos);
    const BlockMasks masks = Machine::masks(text.data() + start, 0);
    const std::size_t seen = pos - start;
    const std::uint64_t quotes =
        (masks.quotes >> seen) & ~find_escaped(masks.slashes >> seen, carry);
    if (quotes != 0) return pos + first_bit(quotes);
  }
  return kNotFound;
}

template <class Machine>
ALWAYS_INLINE std::size_t skip_to_close_in_blocks(std::string_view text, std::size_t pos,
                                                  std::size_t depth, Nesting nesting) {
  SkipState state{depth};
  if (text.size() < 64) return skip_to_close_plain(text, pos, depth, nesting);
  const char fold = nesting == Nesting::kAll ? kBracketFold : '\0';
  for (; pos < text.size(); pos += 64) {
    const std::size_t start = block_start(text, pos);
    const BlockMasks masks = Machine::masks(text.data() + start, fold);
    const std::size_t seen = pos - start;
    const SkipState before = state;
    const std::uint64_t slashes = masks.slashes >> seen;
    const std::uint64_t quotes = (masks.quotes >> seen) & ~find_escaped(slashes, state.escaped);
    const std::uint64_t in_string = Machine::running_xor(quotes) ^ state.in_string;
    if ((slashes & ~in_string) != 0) return skip_to_close_from(text, pos, before, nesting);
    state.in_string = 0 - (in_string >> 63);
    const std::size_t end = find_close((masks.opens >> seen) & ~in_string,
                                       (masks.closes >> seen) & ~in_string, state.depth);
    if (end != 0) return pos + end;
  }
  return kNotFound;
}
