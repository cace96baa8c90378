#include "json/skip.h"

#include <cstdint>

#include "json/cpu.h"
#include "json/search.h"

// A block of 64 bytes becomes four masks of 64 bits: quotes, backslashes, opening and closing
// brackets. Arithmetic on the backslashes tells which bytes are escaped; each unescaped quote then
// turns "inside a string" on or off for all that follows it, which is the running exclusive-or of
// the quotes. Brackets inside strings drop out, and the rest is counted: as long as a block has
// fewer closing brackets than are open, the end cannot lie in it.
//
// A backslash outside a string is no JSON; where one is met the rest is walked byte by byte, for
// there it escapes nothing.
namespace {

// '[' and ']' with this bit set are '{' and '}', and nothing else becomes one of these.
constexpr char kBracketFold = 0x20;

// What is known at the beginning of a block.
struct SkipState {
  std::size_t depth;
  std::uint64_t in_string = 0;  // all bits, or none
  std::uint64_t escaped = 0;    // 1: the first byte is escaped
};

// Walks on byte by byte from `pos`.
std::size_t skip_bytes(std::string_view text, std::size_t pos, SkipState state, Nesting nesting) {
  const int fold = nesting == Nesting::kAll ? kBracketFold : 0;
  bool in_string = state.in_string != 0;
  if (state.escaped != 0) ++pos;
  for (; pos < text.size(); ++pos) {
    const char c = text[pos];
    if (c == '"') {
      in_string = !in_string;
    } else if (in_string) {
      if (c == '\\') ++pos;
    } else if ((c | fold) == '{') {
      ++state.depth;
    } else if ((c | fold) == '}' && --state.depth == 0) {
      return pos + 1;
    }
  }
  return kNotFound;
}

#if defined(__SSE2__)

#define ALWAYS_INLINE inline __attribute__((always_inline))

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

// What differs between machines: the masks of 64 bytes, and for each bit whether the number of
// bits set up to it is odd.
struct Sse2 {
  static std::uint64_t mask(__m128i v, unsigned shift) {
    return static_cast<std::uint64_t>(static_cast<unsigned>(_mm_movemask_epi8(v))) << shift;
  }

  static BlockMasks masks(const char* block, char fold) {
    BlockMasks masks{};
    for (unsigned i = 0; i < 64; i += 16) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(block + i));
      const __m128i folded = _mm_or_si128(v, _mm_set1_epi8(fold));
      masks.quotes |= mask(_mm_cmpeq_epi8(v, _mm_set1_epi8('"')), i);
      masks.slashes |= mask(_mm_cmpeq_epi8(v, _mm_set1_epi8('\\')), i);
      masks.opens |= mask(_mm_cmpeq_epi8(folded, _mm_set1_epi8('{')), i);
      masks.closes |= mask(_mm_cmpeq_epi8(folded, _mm_set1_epi8('}')), i);
    }
    return masks;
  }

  static std::uint64_t running_xor(std::uint64_t bits) {
    for (unsigned shift = 1; shift < 64; shift *= 2) bits ^= bits << shift;
    return bits;
  }
};

#if defined(TD_BACKEND_AVX2)

struct Avx2 {
  TARGET_AVX2 static std::uint64_t equal(__m256i low, __m256i high, __m256i byte) {
    const auto mask = [](int bits) { return static_cast<std::uint32_t>(bits); };
    return mask(_mm256_movemask_epi8(_mm256_cmpeq_epi8(low, byte))) |
           static_cast<std::uint64_t>(mask(_mm256_movemask_epi8(_mm256_cmpeq_epi8(high, byte))))
               << 32;
  }

  TARGET_AVX2 static BlockMasks masks(const char* block, char fold) {
    const __m256i low = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(block));
    const __m256i high = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(block + 32));
    const __m256i folding = _mm256_set1_epi8(fold);
    const __m256i low_folded = _mm256_or_si256(low, folding);
    const __m256i high_folded = _mm256_or_si256(high, folding);
    return {equal(low, high, _mm256_set1_epi8('"')), equal(low, high, _mm256_set1_epi8('\\')),
            equal(low_folded, high_folded, _mm256_set1_epi8('{')),
            equal(low_folded, high_folded, _mm256_set1_epi8('}'))};
  }

  // A carry-less product with all ones.
  TARGET_AVX2 static std::uint64_t running_xor(std::uint64_t bits) {
    const __m128i product =
        _mm_clmulepi64_si128(_mm_set_epi64x(0, static_cast<long long>(bits)), _mm_set1_epi8(-1), 0);
    return static_cast<std::uint64_t>(_mm_cvtsi128_si64(product));
  }
};

struct Avx512 {
  TARGET_AVX512 static BlockMasks masks(const char* block, char fold) {
    const __m512i v = _mm512_loadu_si512(block);
    const __m512i folded = _mm512_or_si512(v, _mm512_set1_epi8(fold));
    return {_mm512_cmpeq_epi8_mask(v, _mm512_set1_epi8('"')),
            _mm512_cmpeq_epi8_mask(v, _mm512_set1_epi8('\\')),
            _mm512_cmpeq_epi8_mask(folded, _mm512_set1_epi8('{')),
            _mm512_cmpeq_epi8_mask(folded, _mm512_set1_epi8('}'))};
  }

  TARGET_AVX512 static std::uint64_t running_xor(std::uint64_t bits) {
    return Avx2::running_xor(bits);
  }
};

#endif

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
  if (text.size() < 64) return skip_bytes(text, pos, state, nesting);
  const char fold = nesting == Nesting::kAll ? kBracketFold : '\0';
  for (; pos < text.size(); pos += 64) {
    const std::size_t start = block_start(text, pos);
    const BlockMasks masks = Machine::masks(text.data() + start, fold);
    const std::size_t seen = pos - start;
    const SkipState before = state;
    const std::uint64_t slashes = masks.slashes >> seen;
    const std::uint64_t quotes = (masks.quotes >> seen) & ~find_escaped(slashes, state.escaped);
    const std::uint64_t in_string = Machine::running_xor(quotes) ^ state.in_string;
    if ((slashes & ~in_string) != 0) return skip_bytes(text, pos, before, nesting);
    state.in_string = 0 - (in_string >> 63);
    const std::size_t end = find_close((masks.opens >> seen) & ~in_string,
                                       (masks.closes >> seen) & ~in_string, state.depth);
    if (end != 0) return pos + end;
  }
  return kNotFound;
}

#if defined(TD_BACKEND_AVX2)

TARGET_AVX2 std::size_t find_string_end_avx2(std::string_view text, std::size_t pos) {
  return find_string_end_in_blocks<Avx2>(text, pos);
}

#endif
#endif

}  // namespace

std::size_t find_string_end_plain(std::string_view text, std::size_t pos) {
  while (pos < text.size()) {
    if (text[pos] == '"') return pos;
    pos += text[pos] == '\\' ? 2 : 1;
  }
  return kNotFound;
}

std::size_t skip_to_close_plain(std::string_view text, std::size_t pos, std::size_t depth,
                                Nesting nesting) {
  return skip_bytes(text, pos, SkipState{depth}, nesting);
}

#if defined(__SSE2__)

std::size_t find_string_end_sse2(std::string_view text, std::size_t pos) {
  return find_string_end_in_blocks<Sse2>(text, pos);
}

std::size_t skip_to_close_sse2(std::string_view text, std::size_t pos, std::size_t depth,
                               Nesting nesting) {
  return skip_to_close_in_blocks<Sse2>(text, pos, depth, nesting);
}

#endif
#if defined(TD_BACKEND_AVX2)

TARGET_AVX2 std::size_t skip_to_close_avx2(std::string_view text, std::size_t pos,
                                           std::size_t depth, Nesting nesting) {
  return skip_to_close_in_blocks<Avx2>(text, pos, depth, nesting);
}

TARGET_AVX512 std::size_t skip_to_close_avx512(std::string_view text, std::size_t pos,
                                               std::size_t depth, Nesting nesting) {
  return skip_to_close_in_blocks<Avx512>(text, pos, depth, nesting);
}

#endif

std::size_t find_string_end(std::string_view text, std::size_t pos) {
#if defined(__SSE2__)
  // Most strings are short and hold no escape.
  if (pos + 16 <= text.size()) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text.data() + pos));
    const __m128i quote = _mm_cmpeq_epi8(v, _mm_set1_epi8('"'));
    const __m128i slash = _mm_cmpeq_epi8(v, _mm_set1_epi8('\\'));
    const int stops = _mm_movemask_epi8(_mm_or_si128(quote, slash));
    const std::size_t first = stops == 0 ? 16 : first_bit(static_cast<unsigned>(stops));
    if (first < 16 && text[pos + first] == '"') return pos + first;
    pos += first;
  }
#endif
#if defined(TD_BACKEND_AVX2)
  if (has_avx2()) return find_string_end_avx2(text, pos);
#endif
#if defined(__SSE2__)
  return find_string_end_sse2(text, pos);
#else
  return find_string_end_plain(text, pos);
#endif
}

std::size_t skip_to_close(std::string_view text, std::size_t pos, std::size_t depth,
                          Nesting nesting) {
#if defined(TD_BACKEND_AVX2)
  if (has_avx512()) return skip_to_close_avx512(text, pos, depth, nesting);
  if (has_avx2()) return skip_to_close_avx2(text, pos, depth, nesting);
#endif
#if defined(__SSE2__)
  return skip_to_close_sse2(text, pos, depth, nesting);
#else
  return skip_to_close_plain(text, pos, depth, nesting);
#endif
}
