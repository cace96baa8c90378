// The step of a walk from key to key as TDLib writes them, for json/walk.cpp alone, where a
// processor's folder of kernels has none of its own.
#pragma once

#include <cstddef>
#include <string_view>

#include <short_steps.h>  // this processor's

#include "json/search.h"
#include "json/walk.h"

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
