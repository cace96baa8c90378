// The short steps of a walk, for json/walk.cpp alone: what stands between two keys as TDLib writes
// it. Each kind of processor has its own in its folder of kernels, or this one.
#pragma once

#include <cstddef>
#include <string_view>

#include "json/digits.h"
#include "json/find_quote.h"
#include "json/search.h"
#include "json/walk.h"

// As find_string_end, without the calls: keys and most strings are short.
inline std::size_t find_short_string_end(std::string_view text, std::size_t pos) {
  const char* quote = find_quote(text.data() + pos, text.data() + text.size());
  return quote == nullptr ? kNotFound : static_cast<std::size_t>(quote - text.data());
}

// A number or literal reaches to what may stand behind one. At the end of the text nobody can
// tell whether it is whole.
inline std::size_t skip_scalar(std::string_view text, std::size_t pos) {
  const std::size_t begin = pos;
  while (pos < text.size() && !ends_scalar(text[pos])) ++pos;
  return pos == begin || pos == text.size() ? kNotFound : pos;
}

// The step from one member to the next without blanks, where the walk begins, or stands between
// members or before a string, number or literal. False for everything else; the value may have
// been passed then.
inline bool next_compact_key(ObjectWalk& walk, std::string_view& key) {
  const std::string_view text = walk.text;
  std::size_t pos = walk.pos;
  if (walk.stage == WalkStage::kAtValue) {
    const bool is_string = text[pos] == '"';
    pos = is_string ? find_short_string_end(text, pos + 1) : skip_scalar(text, pos);
    if (pos == kNotFound) return false;
    if (is_string) ++pos;
    walk.pos = pos;
    walk.stage = WalkStage::kBetween;
  }
  if (text.size() - pos < 2 || text[pos] != (pos == 0 ? '{' : ',') || text[pos + 1] != '"') {
    return false;
  }
  const std::size_t begin = pos + 2;
  const std::size_t end = find_short_string_end(text, begin);
  if (end == kNotFound || text.size() - end < 3 || text[end + 1] != ':' ||
      static_cast<unsigned char>(text[end + 2]) <= ' ') {
    return false;
  }
  key = text.substr(begin, end - begin);
  walk.pos = end + 2;
  walk.stage = WalkStage::kAtValue;
  return true;
}
