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
  kFirstName,  // and four more
};

inline attr_t colour(int pair) { return static_cast<attr_t>(COLOR_PAIR(pair)); }
inline attr_t name_colour(std::int64_t id) {
  return colour(kFirstName + static_cast<int>(static_cast<std::uint64_t>(id) % 5)) | A_BOLD;
}

struct Span {
  std::wstring text;
  attr_t attr = A_NORMAL;
};
using Line = std::vector<Span>;

struct Box {
  int y = 0, x = 0, h = 0, w = 0;
  bool holds(int py, int px) const { return py >= y && py < y + h && px >= x && px < x + w; }
  // Takes a line off the top, or off the bottom.
  Box top() { return {y++, x, h-- > 0 ? 1 : 0, w}; }
  Box bottom() { return {y + --h, x, h >= 0 ? 1 : 0, w}; }
};

void start_curses();
// Draws the spans into the first line of the box, filled up with blanks; `over` is added to all of
// them.
void put(const Box& box, const Line& line, attr_t over = A_NORMAL);
// Text at the left, as much of it as the text at the right leaves room for.
void put_ends(const Box& box, Span left, const Span& right, attr_t over);
// Lines of at most so many columns, broken at blanks where there are any; all but the first are
// indented.
std::vector<Line> wrap(const Line& line, int width, int indent = 0);
