#include "json/search.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <utility>

#include "json/cpu.h"

// A needle is looked for by two of its bytes, those that are rarest in the texts that pass here.
// Both are compared over a whole block of the text at a time: where the text shifted by the first
// byte's offset equals that byte, and shifted by the second's equals that one, the needle may
// begin, and there alone all of it is compared. So the speed is that of loading the text twice,
// whatever byte is frequent. A text made to match the two bytes everywhere would cost the
// needle's length at each place; when failed comparisons have cost too much, the rest is searched
// with a rolling hash, so that the whole stays linear.
namespace {

// Most frequent first, counted over updates and pages. A byte not listed is rarer than all.
constexpr std::string_view kFrequent =
    "\"e0ta,i1:son_ldup5r2mc4398y67fg\\@hv {}b-AwxzBSOkTVFj/DIEQGHUMRqJCZN+LYWPK[]X.;'&?=!";

// In steps of 16, so that an offset below 16 can be added.
constexpr std::array<std::uint16_t, 256> make_rarity() {
  std::array<std::uint16_t, 256> rarity{};
  for (std::uint16_t& value : rarity) value = 255 * 16;
  std::uint16_t rank = 0;
  for (const char c : kFrequent) {
    rarity[static_cast<unsigned char>(c)] = rank;
    rank = static_cast<std::uint16_t>(rank + 16);
  }
  return rarity;
}
constexpr std::array<std::uint16_t, 256> kRarity = make_rarity();

// So many bytes of a needle are looked at when its two are chosen: its last, where a
// type's name or a key says what makes it different. One is taken from each half of them: two
// short chains of comparisons take less time than one long, and no branch depends on the bytes.
constexpr std::size_t kChoice = 12;
// Answer of a block without the needle.
constexpr std::size_t kGoOn = kNotFound - 1;

struct Search {
  const char* text;
  std::size_t last;  // the last place where the needle can begin
  const char* needle;
  std::size_t length;  // at least 2
  std::size_t first;   // offsets of the two bytes in the needle
  std::size_t second;
  std::size_t begin;      // where the search began
  std::size_t spent = 0;  // bytes of needle compared in vain
};

// The greatest rarity among some bytes, and in its low four bits where it stands.
inline unsigned find_rarest(const char* bytes, std::size_t count) {
  unsigned best = 0;
  for (unsigned at = 0; at < count; ++at) {
    best = std::max(best, kRarity[static_cast<unsigned char>(bytes[at])] + at);
  }
  return best;
}

Search prepare(std::string_view text, std::string_view needle, std::size_t from) {
  const std::size_t length = needle.size();
  Search s{text.data(), text.size() - length, needle.data(), length, 0, 0, from};
  // A half of constant length is unrolled.
  constexpr std::size_t kHalf = kChoice / 2;
  const bool whole = length < kChoice;
  const std::size_t begin = whole ? 0 : length - kChoice;
  const std::size_t middle = whole ? length / 2 : begin + kHalf;
  const char* bytes = needle.data();
  const unsigned a = whole ? find_rarest(bytes, middle) : find_rarest(bytes + begin, kHalf);
  const unsigned b =
      whole ? find_rarest(bytes + middle, length - middle) : find_rarest(bytes + middle, kHalf);
  s.first = begin + a % 16;
  s.second = middle + b % 16;
  if (b > a) std::swap(s.first, s.second);
  return s;
}

std::size_t search_by_hash(const Search& s, std::size_t at) {
  if (at > s.last) return kNotFound;
  constexpr std::uint32_t kBase = 16777619;
  const auto byte = [](char c) {
    return static_cast<std::uint32_t>(static_cast<unsigned char>(c));
  };
  std::uint32_t wanted = 0;
  std::uint32_t hash = 0;
  std::uint32_t leaving = 1;  // weight of the byte that leaves the window
  for (std::size_t i = 0; i < s.length; ++i) {
    wanted = wanted * kBase + byte(s.needle[i]);
    hash = hash * kBase + byte(s.text[at + i]);
    leaving *= kBase;
  }
  for (;; ++at) {
    if (hash == wanted && std::memcmp(s.text + at, s.needle, s.length) == 0) return at;
    if (at == s.last) return kNotFound;
    hash = hash * kBase + byte(s.text[at + s.length]) - leaving * byte(s.text[at]);
  }
}

// The final answer, or kGoOn when the needle does not begin at `at`.
std::size_t check(Search& s, std::size_t at) {
  if (std::memcmp(s.text + at, s.needle, s.length) == 0) return at;
  s.spent += s.length;
  if (s.spent > 4 * (at - s.begin) + 4096) return search_by_hash(s, at + 1);
  return kGoOn;
}

// Four places a step, in plain 32-bit arithmetic. A byte of `differ` is zero where both bytes
// match; the usual test for a zero byte may call a neighbour zero too, which check() sorts out.
std::size_t search_words(Search& s, std::size_t at) {
  constexpr std::uint32_t kOnes = 0x01010101;
  const std::uint32_t first = kOnes * static_cast<unsigned char>(s.needle[s.first]);
  const std::uint32_t second = kOnes * static_cast<unsigned char>(s.needle[s.second]);
  for (; at + 3 <= s.last; at += 4) {
    std::uint32_t a = 0;
    std::uint32_t b = 0;
    std::memcpy(&a, s.text + at + s.first, 4);
    std::memcpy(&b, s.text + at + s.second, 4);
    const std::uint32_t differ = (a ^ first) | (b ^ second);
    if (((differ - kOnes) & ~differ & (kOnes << 7)) == 0) continue;
    for (std::size_t i = at; i < at + 4; ++i) {
      if (s.text[i + s.first] != s.needle[s.first]) continue;
      const std::size_t found = check(s, i);
      if (found != kGoOn) return found;
    }
  }
  for (; at <= s.last; ++at) {
    if (s.text[at + s.first] != s.needle[s.first]) continue;
    const std::size_t found = check(s, at);
    if (found != kGoOn) return found;
  }
  return kNotFound;
}

#if defined(__SSE2__)

// Checks the places whose bits are set, lowest first.
std::size_t check_places(Search& s, std::size_t at, std::uint32_t places) {
  for (; places != 0; places &= places - 1) {
    const std::size_t found = check(s, at + static_cast<unsigned>(__builtin_ctz(places)));
    if (found != kGoOn) return found;
  }
  return kGoOn;
}

std::uint32_t places16(const char* at, const Search& s, __m128i first, __m128i second) {
  const auto load = [](const char* p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
  };
  const __m128i both = _mm_and_si128(_mm_cmpeq_epi8(load(at + s.first), first),
                                     _mm_cmpeq_epi8(load(at + s.second), second));
  return static_cast<std::uint32_t>(_mm_movemask_epi8(both));
}

// Needs at least 16 places from `at` on. The last block reaches back over places seen before.
std::size_t search_sse2(Search& s, std::size_t at) {
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

#endif

#if defined(TD_BACKEND_AVX2)

TARGET_AVX2 inline __m256i equal32(const char* at, __m256i byte) {
  return _mm256_cmpeq_epi8(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(at)), byte);
}
TARGET_AVX2 inline __m256i either(__m256i a, __m256i b) { return _mm256_or_si256(a, b); }
TARGET_AVX2 inline bool none(__m256i v) { return _mm256_testz_si256(v, v) != 0; }

// Checks the 32 places from `at` on, but for the lowest `skip`.
TARGET_AVX2 inline std::size_t block32(Search& s, std::size_t at, std::size_t skip, __m256i first,
                                       __m256i second) {
  const char* p = s.text + at;
  const __m256i both = _mm256_and_si256(equal32(p + s.first, first), equal32(p + s.second, second));
  const auto places = static_cast<std::uint32_t>(_mm256_movemask_epi8(both));
  return check_places(s, at + skip, places >> skip);
}

// As search_sse2, for at least 32 places. In the long run the text is loaded aligned for the first
// byte, 128 places a step, and the second byte is compared only where the first occurs.
TARGET_AVX2 std::size_t search_avx2(Search& s, std::size_t at) {
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

#endif

// The answers that need no search: true with `answer` set.
bool trivial_search(std::string_view text, std::string_view needle, std::size_t from,
                    std::size_t& answer) {
  answer = kNotFound;
  if (from > text.size() || text.size() - from < needle.size()) return true;
  if (needle.size() > 1) return false;
  if (needle.empty()) {
    answer = from;
  } else if (from < text.size()) {
    const void* at = std::memchr(text.data() + from, needle.front(), text.size() - from);
    if (at != nullptr)
      answer = static_cast<std::size_t>(static_cast<const char*>(at) - text.data());
  }
  return true;
}

}  // namespace

std::size_t find_bytes_plain(std::string_view text, std::string_view needle, std::size_t from) {
  std::size_t answer = kNotFound;
  if (trivial_search(text, needle, from, answer)) return answer;
  Search s = prepare(text, needle, from);
  return search_words(s, from);
}

#if defined(__SSE2__)

std::size_t find_bytes_sse2(std::string_view text, std::string_view needle, std::size_t from) {
  std::size_t answer = kNotFound;
  if (trivial_search(text, needle, from, answer)) return answer;
  Search s = prepare(text, needle, from);
  return s.last - from >= 15 ? search_sse2(s, from) : search_words(s, from);
}

#endif

std::size_t find_bytes(std::string_view text, std::string_view needle, std::size_t from) {
#if defined(TD_BACKEND_AVX2)
  std::size_t answer = kNotFound;
  if (trivial_search(text, needle, from, answer)) return answer;
  Search s = prepare(text, needle, from);
  const std::size_t places = s.last - from + 1;
  if (places >= 32 && has_avx2()) return search_avx2(s, from);
  return places >= 16 ? search_sse2(s, from) : search_words(s, from);
#elif defined(__SSE2__)
  return find_bytes_sse2(text, needle, from);
#else
  return find_bytes_plain(text, needle, from);
#endif
}

// What is looked for from the end mostly stands there: windows from the end on, each larger than
// the one before, are searched forwards.
std::size_t find_last_bytes(std::string_view text, std::string_view needle) {
  if (needle.size() > text.size()) return kNotFound;
  std::size_t end = text.size() - needle.size() + 1;  // places from here on have been looked at
  for (std::size_t width = 256; end > 0; width *= 4) {
    const std::size_t begin = end > width ? end - width : 0;
    const std::string_view window = text.substr(0, end - 1 + needle.size());
    std::size_t last = kNotFound;
    for (std::size_t at = find_bytes(window, needle, begin); at != kNotFound;
         at = find_bytes(window, needle, at + 1)) {
      last = at;
    }
    if (last != kNotFound) return last;
    end = begin;
  }
  return kNotFound;
}
