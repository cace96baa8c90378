#include "console/paint.h"

#include <algorithm>

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
  const short grey = many ? short{245} : short{COLOR_WHITE};
  const short blue = many ? short{24} : short{COLOR_BLUE};
  // The colours of texts have the numbers of their marks.
  const short pairs[][3] = {{kDim[0], grey, -1},
                            {kGood[0], COLOR_GREEN, -1},
                            {kBad[0], COLOR_RED, -1},
                            {kWarn[0], COLOR_YELLOW, -1},
                            {kKeyword[0], COLOR_CYAN, -1},
                            {kTopBar, COLOR_WHITE, blue},
                            {kCallBar, COLOR_BLACK, COLOR_GREEN},
                            {kNoticeBar, COLOR_BLACK, COLOR_YELLOW}};
  for (const auto& [pair, front, behind] : pairs) init_pair(pair, front, behind);
  short pair = kFirstName;
  for (const short name : {short{COLOR_CYAN}, short{COLOR_MAGENTA}, short{COLOR_YELLOW},
                           short{COLOR_BLUE}, short{COLOR_RED}}) {
    init_pair(pair++, name, -1);
  }
}

void put(const Box& box, std::string_view text, attr_t over) {
  const int width = std::min(box.w, getmaxx(stdscr) - box.x);
  if (box.h < 1 || box.y < 0 || box.y >= getmaxy(stdscr) || width < 1) return;
  std::wstring wide = widen(text);
  std::replace(wide.begin(), wide.end(), L'\n', L' ');
  attr_t attr = over;
  attrset(attr);
  mvhline(box.y, box.x, ' ', width);
  move(box.y, box.x);
  std::wstring run;
  for (const wchar_t c : clip(wide, width) + L'\1') {
    if (!is_colour(c)) {
      run += c;
      continue;
    }
    attrset(attr);
    addwstr(run.c_str());
    run.clear();
    attr = c == kPlain[0]  ? over
           : c == kBold[0] ? attr | A_BOLD
                           : (attr & ~A_COLOR) | static_cast<attr_t>(COLOR_PAIR(c));
  }
  attrset(A_NORMAL);
}

std::string ends(std::string_view left, const std::string& right, int width) {
  const int room = std::max(width - columns(widen(right)), 0);
  const std::wstring text = clip(widen(left), room - 1);
  const auto gap = static_cast<std::size_t>(std::max(room - columns(text), 0));
  return narrow(text) + kPlain + std::string(gap, ' ') + right;
}

std::vector<std::string> wrap(std::string_view text, int width, int indent) {
  const std::wstring wide = widen(text);
  std::vector<std::string> lines;
  std::wstring colours;  // those that hold where the line begins
  for (std::size_t begin = 0; begin < wide.size() || lines.empty();) {
    int room = width - (lines.empty() ? 0 : indent);
    std::size_t end = begin;
    std::size_t blank = begin;
    for (; end < wide.size() && wide[end] != L'\n'; ++end) {
      if (wide[end] == L' ') blank = end;
      if ((room -= columns({&wide[end], 1})) < 0) break;
    }
    std::size_t next = end;
    const bool overfull = end < wide.size() && wide[end] != L'\n';
    // A long word is rather broken than put on a line of its own behind half an empty one.
    if (overfull && blank > begin + (end - begin) / 2) next = end = blank;
    if (next < wide.size() && (wide[next] == L'\n' || wide[next] == L' ')) ++next;
    if (next == begin) next = end = std::min(begin + 1, wide.size());  // not even one has room
    const std::wstring part = wide.substr(begin, end - begin);
    const auto blanks = static_cast<std::size_t>(lines.empty() ? 0 : indent);
    lines.push_back(std::string(blanks, ' ') + narrow(colours + part));
    for (const wchar_t c : part) {
      if (c == kPlain[0]) colours.clear();
      if (is_colour(c) && c != kPlain[0]) colours += c;
    }
    begin = next;
  }
  return lines;
}

std::int64_t View::id_at(int y) const {
  const int at = first + y - box.y;
  const bool there = at >= 0 && at < static_cast<int>(rows.size());
  return there ? rows[static_cast<std::size_t>(at)].id : 0;
}

void draw_view(View& v, const Box& box, std::vector<View::Row> rows, bool from_end, bool lit) {
  v.box = box;
  v.rows = std::move(rows);
  const int total = static_cast<int>(v.rows.size());
  const int last = std::max(total - box.h, 0);
  const auto is_marked = [&](const View::Row& row) { return row.id == v.marked; };
  const auto begin = std::find_if(v.rows.begin(), v.rows.end(), is_marked);
  if (v.marked == 0 || begin == v.rows.end()) {
    v.first = from_end ? last : v.first;
    v.drawn = 0;
  } else {
    const int before = v.begin;
    v.begin = static_cast<int>(begin - v.rows.begin());
    v.end = static_cast<int>(std::find_if_not(begin, v.rows.end(), is_marked) - v.rows.begin());
    v.first += v.scroll + (v.marked == v.drawn ? v.begin - before : 0);
    const int at_end = v.end - box.h;
    v.first = std::clamp(v.first, std::min(v.begin, at_end), std::max(v.begin, at_end));
    v.drawn = v.marked;
  }
  v.scroll = 0;
  v.first = std::clamp(v.first, 0, last);
  Box left = box;
  for (auto row = v.rows.begin() + v.first; row != v.rows.end() && left.h > 0; ++row) {
    const bool reversed = lit && v.marked != 0 && row->id == v.marked;
    put(left.top(), row->line, reversed ? A_REVERSE : A_NORMAL);
  }
}

bool move_mark(View& v, int by) {
  const int top = v.first + v.scroll;
  const int hidden = by < 0 ? top - v.begin : v.end - top - v.box.h;
  if (v.marked != 0 && v.marked == v.drawn && hidden > 0) {
    v.scroll += by * std::min(hidden, v.box.h / 2 + 1);
    return true;
  }
  const auto total = static_cast<std::ptrdiff_t>(v.rows.size());
  const auto is_marked = [&](const View::Row& row) { return v.marked != 0 && row.id == v.marked; };
  const auto found = std::find_if(v.rows.begin(), v.rows.end(), is_marked) - v.rows.begin();
  for (auto at = found < total ? found : by < 0 ? total : -1; (at += by) >= 0 && at < total;) {
    const std::int64_t id = v.rows[static_cast<std::size_t>(at)].id;
    if (id == 0 || id == v.marked) continue;
    v.marked = id;
    return true;
  }
  return false;
}
