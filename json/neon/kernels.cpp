// AArch64, where NEON is always there. Only skipping gains by it: a search compares two bytes of
// the needle and goes on, which the portable one does in a fraction of a step a byte.
#include "json/kernels.h"

#include <arm_neon.h>

#include "json/search.h"
#include "json/skip_blocks.h"

namespace {

struct Neon {
  // One bit a byte: each byte keeps the bit of its place among eight, and three rounds of adding
  // neighbours bring eight bytes into one.
  static std::uint64_t join(uint8x16_t a, uint8x16_t b, uint8x16_t c, uint8x16_t d) {
    const uint8x16_t places = vreinterpretq_u8_u64(vdupq_n_u64(0x8040201008040201));
    const uint8x16_t ab = vpaddq_u8(vandq_u8(a, places), vandq_u8(b, places));
    const uint8x16_t cd = vpaddq_u8(vandq_u8(c, places), vandq_u8(d, places));
    const uint8x16_t abcd = vpaddq_u8(ab, cd);
    return vgetq_lane_u64(vreinterpretq_u64_u8(vpaddq_u8(abcd, abcd)), 0);
  }

  static BlockMasks masks(const char* block, char fold) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(block);
    const uint8x16_t v[4] = {vld1q_u8(bytes), vld1q_u8(bytes + 16), vld1q_u8(bytes + 32),
                             vld1q_u8(bytes + 48)};
    const uint8x16_t folding = vdupq_n_u8(static_cast<std::uint8_t>(fold));
    const uint8x16_t folded[4] = {vorrq_u8(v[0], folding), vorrq_u8(v[1], folding),
                                  vorrq_u8(v[2], folding), vorrq_u8(v[3], folding)};
    const auto equal = [](const uint8x16_t(&in)[4], char c) {
      const uint8x16_t byte = vdupq_n_u8(static_cast<std::uint8_t>(c));
      return join(vceqq_u8(in[0], byte), vceqq_u8(in[1], byte), vceqq_u8(in[2], byte),
                  vceqq_u8(in[3], byte));
    };
    return {equal(v, '"'), equal(v, '\\'), equal(folded, '{'), equal(folded, '}')};
  }

  static std::uint64_t running_xor(std::uint64_t bits) {
    for (unsigned shift = 1; shift < 64; shift *= 2) bits ^= bits << shift;
    return bits;
  }
};

// Four bits a byte, set where one of the two tests holds among the 16 bytes at `at`.
std::uint64_t find_quote_or_slash(const char* at) {
  const uint8x16_t v = vld1q_u8(reinterpret_cast<const std::uint8_t*>(at));
  const uint8x16_t hits = vorrq_u8(vceqq_u8(v, vdupq_n_u8('"')), vceqq_u8(v, vdupq_n_u8('\\')));
  return vget_lane_u64(vreinterpret_u64_u8(vshrn_n_u16(vreinterpretq_u16_u8(hits), 4)), 0);
}

}  // namespace

std::size_t find_bytes(std::string_view text, std::string_view needle, std::size_t from) {
  return find_bytes_plain(text, needle, from);
}

std::size_t find_string_end(std::string_view text, std::size_t pos) {
  // Most strings are short and hold no escape.
  while (pos + 16 <= text.size()) {
    const std::uint64_t hits = find_quote_or_slash(text.data() + pos);
    if (hits == 0) {
      pos += 16;
      continue;
    }
    pos += first_bit(hits) / 4;
    if (text[pos] == '"') return pos;
    pos += 2;
  }
  return find_string_end_plain(text, pos);
}

std::size_t skip_to_close(std::string_view text, std::size_t pos, std::size_t depth,
                          Nesting nesting) {
  return skip_to_close_in_blocks<Neon>(text, pos, depth, nesting);
}

std::size_t find_escaped_byte(std::string_view text, std::size_t pos) {
  return find_escaped_byte_plain(text, pos);
}

std::vector<TextKernels> text_kernels() {
  return {{"in use", find_bytes, find_string_end, skip_to_close, find_escaped_byte},
          {"plain", find_bytes_plain, find_string_end_plain, skip_to_close_plain,
           find_escaped_byte_plain}};
}
