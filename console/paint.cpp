#include "console/paint.h"

#include <algorithm>

#include "console/text.h"

void start_curses() {
  initscr();
  cbreak();
  noecho();
  nonl();
  keypad(stdscr, TRUE);
  nodelay(stdscr, TRUE);
  set_escdelay(25);
  mousemask(BUTTON1_PRESSED | BUTTON1_CLICKED | BUTTON4_PRESSED | BUTTON5_PRESSED, nullptr);
  mouseinterval(0);
  start_color();
  use_default_colors();
  const bool many = COLORS >= 256;
  init_pair(kBar, COLOR_WHITE, many ? short{24} : short{COLOR_BLUE});
  init_pair(kDim, many ? short{245} : short{COLOR_WHITE}, -1);
  init_pair(kGood, COLOR_GREEN, -1);
  init_pair(kBad, COLOR_RED, -1);
  init_pair(kWarn, COLOR_YELLOW, -1);
  init_pair(kKeyword, COLOR_CYAN, -1);
  short pair = kFirstName;
  for (const int name : {COLOR_CYAN, COLOR_MAGENTA, COLOR_YELLOW, COLOR_BLUE, COLOR_RED}) {
    init_pair(pair++, static_cast<short>(name), -1);
  }
}

void put(const Box& box, const Line& line, attr_t over) {
  const int width = std::min(box.w, getmaxx(stdscr) - box.x);
  if (box.h < 1 || box.y < 0 || box.y >= getmaxy(stdscr) || width < 1) return;
  attrset(over);
  mvhline(box.y, box.x, ' ', width);
  move(box.y, box.x);
  int used = 0;
  for (const Span& span : line) {
    std::wstring text = span.text;
    std::replace(text.begin(), text.end(), L'\n', L' ');
    text = clip(text, width - used);
    attrset(span.attr | over);
    addwstr(text.c_str());
    used += columns(text);
  }
  attrset(A_NORMAL);
}

void put_ends(const Box& box, Span left, const Span& right, attr_t over) {
  const int room = std::max(box.w - columns(right.text), 0);
  left.text = clip(left.text, room - 1);
  put({box.y, box.x, box.h, room}, {left}, over);
  put({box.y, box.x + room, box.h, box.w - room}, {right}, over);
}

std::vector<Line> wrap(const Line& line, int width, int indent) {
  std::wstring text;
  std::vector<attr_t> attrs;
  for (const Span& span : line) {
    text += span.text;
    attrs.resize(text.size(), span.attr);
  }
  std::vector<Line> lines;
  for (std::size_t begin = 0; begin < text.size() || lines.empty();) {
    lines.emplace_back();
    if (lines.size() > 1)
      lines.back().push_back({std::wstring(static_cast<std::size_t>(indent), L' ')});
    int room = width - (lines.size() > 1 ? indent : 0);
    std::size_t end = begin;
    std::size_t blank = std::wstring::npos;
    for (; end < text.size() && text[end] != L'\n'; ++end) {
      if (text[end] == L' ') blank = end;
      if ((room -= columns({&text[end], 1})) < 0) break;
    }
    std::size_t next = end;
    const bool overfull = end < text.size() && text[end] != L'\n';
    if (overfull && blank != std::wstring::npos && blank > begin + (end - begin) / 2) {
      next = end = blank;
    }
    if (next < text.size() && (text[next] == L'\n' || text[next] == L' ')) ++next;
    if (next == begin) next = ++end;  // not even one has room
    for (std::size_t i = begin; i < end && i < text.size(); ++i) {
      if (i == begin || attrs[i] != attrs[i - 1]) lines.back().push_back({L"", attrs[i]});
      lines.back().back().text += text[i];
    }
    begin = next;
  }
  return lines;
}
