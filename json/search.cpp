#include "json/search.h"

#include "json/kernels.h"
#include "json/search_kernel.h"
#include "json/words.h"

std::size_t search_by_hash(const NeedleSearch& s, std::size_t at) {
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

// Four places a step, in plain 32-bit arithmetic. A byte of `differ` is zero where both bytes
// match; the usual test for a zero byte may call a neighbour zero too, which check_place() sorts
// out.
std::size_t search_words(NeedleSearch& s, std::size_t at) {
  const std::uint32_t first = kEveryByte * static_cast<unsigned char>(s.needle[s.first]);
  const std::uint32_t second = kEveryByte * static_cast<unsigned char>(s.needle[s.second]);
  for (; at + 3 <= s.last; at += 4) {
    const std::uint32_t differ =
        (load_word(s.text + at + s.first) ^ first) | (load_word(s.text + at + s.second) ^ second);
    if ((zero_bytes(differ) & kHighBits) == 0) continue;
    for (std::size_t i = at; i < at + 4; ++i) {
      if (s.text[i + s.first] != s.needle[s.first]) continue;
      const std::size_t found = check_place(s, i);
      if (found != kGoOn) return found;
    }
  }
  for (; at <= s.last; ++at) {
    if (s.text[at + s.first] != s.needle[s.first]) continue;
    const std::size_t found = check_place(s, at);
    if (found != kGoOn) return found;
  }
  return kNotFound;
}

std::size_t find_bytes_plain(std::string_view text, std::string_view needle, std::size_t from) {
  std::size_t answer = kNotFound;
  if (trivial_search(text, needle, from, answer)) return answer;
  NeedleSearch s = prepare_search(text, needle, from);
  return search_words(s, from);
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
