#include "json/skip.h"

#include "json/skip_blocks.h"
#include "json/x86/kernels.h"

namespace {

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

TARGET_AVX2 std::size_t find_string_end_avx2(std::string_view text, std::size_t pos) {
  return find_string_end_in_blocks<Avx2>(text, pos);
}

}  // namespace

std::size_t find_string_end_sse2(std::string_view text, std::size_t pos) {
  return find_string_end_in_blocks<Sse2>(text, pos);
}

std::size_t skip_to_close_sse2(std::string_view text, std::size_t pos, std::size_t depth,
                               Nesting nesting) {
  return skip_to_close_in_blocks<Sse2>(text, pos, depth, nesting);
}

TARGET_AVX2 std::size_t skip_to_close_avx2(std::string_view text, std::size_t pos,
                                           std::size_t depth, Nesting nesting) {
  return skip_to_close_in_blocks<Avx2>(text, pos, depth, nesting);
}

TARGET_AVX512 std::size_t skip_to_close_avx512(std::string_view text, std::size_t pos,
                                               std::size_t depth, Nesting nesting) {
  return skip_to_close_in_blocks<Avx512>(text, pos, depth, nesting);
}

std::size_t find_string_end(std::string_view text, std::size_t pos) {
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
  if (has_avx2()) return find_string_end_avx2(text, pos);
  return find_string_end_sse2(text, pos);
}

std::size_t skip_to_close(std::string_view text, std::size_t pos, std::size_t depth,
                          Nesting nesting) {
  if (has_avx512()) return skip_to_close_avx512(text, pos, depth, nesting);
  if (has_avx2()) return skip_to_close_avx2(text, pos, depth, nesting);
  return skip_to_close_sse2(text, pos, depth, nesting);
}
