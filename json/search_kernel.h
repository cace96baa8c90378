// What the search kernels share.
//
// A needle is looked for by two of its bytes, those that are rarest in the texts that pass here.
// Both are compared over a whole block of the text at a time: where the text shifted by the first
// byte's offset equals that byte, and shifted by the second's equals that one, the needle may
// begin, and there alone all of it is compared. So the speed is that of loading the text twice,
// whatever byte is frequent. A text made to match the two bytes everywhere would cost the
// needle's length at each place; when failed comparisons have cost too much, the rest is searched
// with a rolling hash, so that the whole stays linear.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <utility>

#include "json/search.h"

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

struct NeedleSearch {
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

inline NeedleSearch prepare_search(std::string_view text, std::string_view needle,
                                   std::size_t from) {
  const std::size_t length = needle.size();
  NeedleSearch s{text.data(), text.size() - length, needle.data(), length, 0, 0, from};
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

// The rest of a search by a rolling hash: linear whatever the text.
std::size_t search_by_hash(const NeedleSearch& s, std::size_t at);
// The rest of a search four places a step, without vectors.
std::size_t search_words(NeedleSearch& s, std::size_t at);

// The final answer, or kGoOn when the needle does not begin at `at`.
inline std::size_t check_place(NeedleSearch& s, std::size_t at) {
  if (std::memcmp(s.text + at, s.needle, s.length) == 0) return at;
  s.spent += s.length;
  if (s.spent > 4 * (at - s.begin) + 4096) return search_by_hash(s, at + 1);
  return kGoOn;
}

// The answers that need no search: true with `answer` set.
inline bool trivial_search(std::string_view text, std::string_view needle, std::size_t from,
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
