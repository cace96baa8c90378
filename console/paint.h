// Spans of coloured text on the terminal, and the colours that the screen uses.
#pragma once

#include <ncurses.h>

#include <cstdint>
#include <string>
#include <vector>

enum Colour : short {
  kBar = 1,
  kDim,
  kGood,
  kBad,
  kWarn,
  kKeyword,
  kFirstName,  // and five more
  kColours = kFirstName + 6,
};

inline attr_t colour(int pair) { return static_cast<attr_t>(COLOR_PAIR(pair)); }
inline attr_t dim() { return colour(kDim); }
inline attr_t name_colour(std::int64_t id) {
  return colour(kFirstName + static_cast<int>(static_cast<std::uint64_t>(id) % 6)) | A_BOLD;
}

struct Span {
  std::wstring text;
  attr_t attr = A_NORMAL;
};
using Line = std::vector<Span>;

// Draws the spans into so many columns, filled up with blanks; `over` is added to all of them.
void put(int y, int x, int width, const Line& line, attr_t over = A_NORMAL);
// Text at the left, as much of it as the text at the right leaves room for.
void put_ends(int y, int x, int width, const Span& left, const Span& right, attr_t over);
