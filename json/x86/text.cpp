#include "json/kernels.h"
#include "json/x86/kernels.h"

std::size_t find_escaped_byte(std::string_view text, std::size_t pos) {
  for (; text.size() - pos >= 16; pos += 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text.data() + pos));
    const __m128i control = _mm_cmpeq_epi8(_mm_min_epu8(v, _mm_set1_epi8(0x1F)), v);
    const __m128i quote = _mm_cmpeq_epi8(v, _mm_set1_epi8('"'));
    const __m128i slash = _mm_cmpeq_epi8(v, _mm_set1_epi8('\\'));
    const __m128i any = _mm_or_si128(control, _mm_or_si128(quote, slash));
    const auto mask = static_cast<unsigned>(_mm_movemask_epi8(any));
    if (mask != 0) return pos + static_cast<unsigned>(__builtin_ctz(mask));
  }
  return find_escaped_byte_plain(text, pos);
}
