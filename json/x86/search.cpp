#include "json/search.h"

#include "json/search_kernel.h"
#include "json/x86/kernels.h"

namespace {

// Checks the places whose bits are set, lowest first.
std::size_t check_places(NeedleSearch& s, std::size_t at, std::uint32_t places) {
  for (; places != 0; places &= places - 1) {
    const std::size_t found = check_place(s, at + static_cast<unsigned>(__builtin_ctz(places)));
    if (found != kGoOn) return found;
  }
  return kGoOn;
}

std::uint32_t places16(const char* at, const NeedleSearch& s, __m128i first, __m128i second) {
  const auto load = [](const char* p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
  };
  const __m128i both = _mm_and_si128(_mm_cmpeq_epi8(load(at + s.first), first),
                                     _mm_cmpeq_epi8(load(at + s.second), second));
  return static_cast<std::uint32_t>(_mm_movemask_epi8(both));
}

// Needs at least 16 places from `at` on. The last block reaches back over places seen before.
std::size_t search_sse2(NeedleSearch& s, std::size_t at) {
  const __m128i first = _mm_set1_epi8(s.needle[s.first]);
  const __m128i second = _mm_set1_epi8(s.needle[s.second]);
  for (; at + 15 <= s.last; at += 16) {
    const std::uint32_t places = places16(s.text + at, s, first, second);
    if (places == 0) continue;
    const std::size_t found = check_places(s, at, places);
    if (found != kGoOn) return found;
  }
  if (at > s.last) return kNotFound;
  const std::size_t back = s.last - 15;
  const std::uint32_t places = places16(s.text + back, s, first, second) >> (at - back);
  const std::size_t found = check_places(s, at, places);
  return found == kGoOn ? kNotFound : found;
}

TARGET_AVX2 inline __m256i equal32(const char* at, __m256i byte) {
  return _mm256_cmpeq_epi8(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(at)), byte);
}
TARGET_AVX2 inline __m256i either(__m256i a, __m256i b) { return _mm256_or_si256(a, b); }
TARGET_AVX2 inline bool none(__m256i v) { return _mm256_testz_si256(v, v) != 0; }

// Checks the 32 places from `at` on, but for the lowest `skip`.
TARGET_AVX2 inline std::size_t block32(NeedleSearch& s, std::size_t at, std::size_t skip,
                                       __m256i first, __m256i second) {
  const char* p = s.text + at;
  const __m256i both = _mm256_and_si256(equal32(p + s.first, first), equal32(p + s.second, second));
  const auto places = static_cast<std::uint32_t>(_mm256_movemask_epi8(both));
  return check_places(s, at + skip, places >> skip);
}

// As search_sse2, for at least 32 places. In the long run the text is loaded aligned for the first
// byte, 128 places a step, and the second byte is compared only where the first occurs.
TARGET_AVX2 std::size_t search_avx2(NeedleSearch& s, std::size_t at) {
  const __m256i first = _mm256_set1_epi8(s.needle[s.first]);
  const __m256i second = _mm256_set1_epi8(s.needle[s.second]);
  if (at + 159 <= s.last) {
    const std::size_t found = block32(s, at, 0, first, second);
    if (found != kGoOn) return found;
    at += 32 - (reinterpret_cast<std::uintptr_t>(s.text + at + s.first) & 31);
    for (; at + 127 <= s.last; at += 128) {
      const char* p = s.text + at + s.first;
      const __m256i a = equal32(p, first);
      const __m256i b = equal32(p + 32, first);
      const __m256i c = equal32(p + 64, first);
      const __m256i d = equal32(p + 96, first);
      if (none(either(either(a, b), either(c, d)))) continue;
      p = s.text + at + s.second;
      const __m256i places[] = {_mm256_and_si256(a, equal32(p, second)),
                                _mm256_and_si256(b, equal32(p + 32, second)),
                                _mm256_and_si256(c, equal32(p + 64, second)),
                                _mm256_and_si256(d, equal32(p + 96, second))};
      if (none(either(either(places[0], places[1]), either(places[2], places[3])))) continue;
      for (std::size_t i = 0; i < 4; ++i) {
        const std::size_t hit = check_places(
            s, at + 32 * i, static_cast<std::uint32_t>(_mm256_movemask_epi8(places[i])));
        if (hit != kGoOn) return hit;
      }
    }
  }
  for (; at + 31 <= s.last; at += 32) {
    const std::size_t found = block32(s, at, 0, first, second);
    if (found != kGoOn) return found;
  }
  if (at > s.last) return kNotFound;
  const std::size_t back = s.last - 31;
  const std::size_t found = block32(s, back, at - back, first, second);
  return found == kGoOn ? kNotFound : found;
}

}  // namespace

std::size_t find_bytes_sse2(std::string_view text, std::string_view needle, std::size_t from) {
  std::size_t answer = kNotFound;
  if (trivial_search(text, needle, from, answer)) return answer;
  NeedleSearch s = prepare_search(text, needle, from);
  return s.last - from >= 15 ? search_sse2(s, from) : search_words(s, from);
}

std::size_t find_bytes(std::string_view text, std::string_view needle, std::size_t from) {
  std::size_t answer = kNotFound;
  if (trivial_search(text, needle, from, answer)) return answer;
  NeedleSearch s = prepare_search(text, needle, from);
  const std::size_t places = s.last - from + 1;
  if (places >= 32 && has_avx2()) return search_avx2(s, from);
  return places >= 16 ? search_sse2(s, from) : search_words(s, from);
}
