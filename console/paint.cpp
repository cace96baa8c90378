#include "console/paint.h"

#include <algorithm>

#include "console/text.h"

void put(int y, int x, int width, const Line& line, attr_t over) {
  int lines = 0;
  int right = 0;
  getmaxyx(stdscr, lines, right);
  width = std::min(width, right - x);
  if (y < 0 || y >= lines || x < 0 || width <= 0) return;
  int used = 0;
  ::move(y, x);
  for (const Span& span : line) {
    std::wstring text = span.text;
    std::replace(text.begin(), text.end(), L'\n', L' ');
    text = clip(text, width - used);
    attrset(span.attr | over);
    addnwstr(text.c_str(), static_cast<int>(text.size()));
    used += columns(text);
  }
  attrset(over);
  if (used < width)
    addnwstr(std::wstring(static_cast<std::size_t>(width - used), L' ').c_str(), -1);
  attrset(A_NORMAL);
}

void put_ends(int y, int x, int width, const Span& left, const Span& right, attr_t over) {
  const int room = width - columns(right.text);
  Span cut = left;
  std::replace(cut.text.begin(), cut.text.end(), L'\n', L' ');
  cut.text = clip(cut.text, room - 1);
  cut.text.append(static_cast<std::size_t>(std::max(0, room - columns(cut.text))), L' ');
  put(y, x, width, {cut, right}, over);
}
