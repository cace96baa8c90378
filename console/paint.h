// Coloured text on the terminal: lines of it, and views of rows of which one can be marked.
#pragma once

#include <ncurses.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "console/text.h"

enum Bar : short { kTopBar = 8, kCallBar, kNoticeBar };  // pairs of colours, for whole lines
inline attr_t bar(Bar pair) { return static_cast<attr_t>(COLOR_PAIR(pair)) | A_BOLD; }

struct Box {
  int y = 0, x = 0, h = 0, w = 0;
  bool holds(int py, int px) const { return py >= y && py < y + h && px >= x && px < x + w; }
  // Takes a line off the top, or off the bottom.
  Box top() { return {y++, x, h-- > 0 ? 1 : 0, w}; }
  Box bottom() { return {y + --h, x, h >= 0 ? 1 : 0, w}; }
};

void start_curses();
// Draws the text into the first line of the box, filled up with blanks; `over` is added to all of
// it.
void put(const Box& box, std::string_view text, attr_t over = A_NORMAL);
// Text at the left, as much of it as the text at the right leaves room for.
std::string ends(std::string_view left, const std::string& right, int width);
// Lines of at most so many columns, broken at blanks where there are any; all but the first are
// indented.
std::vector<std::string> wrap(std::string_view text, int width, int indent = 0);

// The chats, the messages, or a list to choose from.
struct View {
  struct Row {
    std::int64_t id;  // several lines of one id are one row; 0: the line belongs to none
    std::string line;
  };
  std::int64_t marked = 0;  // 0: none

  // As it was drawn last.
  Box box;
  std::vector<Row> rows;
  int first = 0;           // the line at the top
  int begin = 0, end = 0;  // lines of the marked row
  std::int64_t drawn = 0;  // which it was
  int scroll = 0;          // lines to go down by in the next picture

  std::int64_t id_at(int y) const;
};
// The mark stays where it was, and is seen; of a row that is taller than the box a part is. Without
// a mark the view stands at its end when `from_end`. `lit`: the mark is shown as such.
void draw_view(View& view, const Box& box, std::vector<View::Row> rows, bool from_end, bool lit);
// Marks the row above (-1) or below (1), or shows more of one that is taller than the box. False
// when there is none.
bool move_mark(View& view, int by);
