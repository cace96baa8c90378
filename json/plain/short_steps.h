// Behind a short string and behind a number or literal, for json/walk.cpp alone. A processor with
// vectors has its own in its folder of kernels.
#pragma once

#include <cstddef>
#include <string_view>

#include "json/digits.h"
#include "json/find_quote.h"
#include "json/search.h"

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
