// Coloured text on the terminal: lines of it, and views of rows of which one can be marked.
#pragma once

#include <ncurses.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "console/text.h"

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

// The chats, the messages, the raw lines, or a list to choose from.
struct View {
  struct Row {
    std::int64_t id;  // several lines of one id are one row; 0: the line belongs to none
    std::string line;
  };
  std::int64_t marked = 0;  // 0: none

  // As it was drawn last.
  Box box;
  std::vector<Row> rows;
  int top = 0;  // the row's line at the top of the box

  std::int64_t id_at(int y) const;
  // The row is marked, and as much of it as can be is in the box.
  void mark(std::int64_t id);
  // The lines of the marked row, from `first` up to `second`; both the number of lines without one.
  std::pair<int, int> marked_lines() const;
};
// The mark stays where it was, and is seen; of a row that is taller than the box a part is. Where
// the marked row is gone its neighbour is marked. Without one the view stands at its end when
// `from_end`, else at its begin. `lit`: the mark is shown as such.
void draw_view(View& view, const Box& box, std::vector<View::Row> rows, bool from_end, bool lit);
// Marks the row above (-1) or below (1), or shows more of one that is taller than the box. False
// when there is none.
bool move_mark(View& view, int by);
