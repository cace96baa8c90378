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

Line ends(Span left, Span right, int width) {
  const int room = std::max(width - columns(right.text), 0);
  left.text = clip(left.text, room - 1);
  left.text.append(static_cast<std::size_t>(std::max(room - columns(left.text), 0)), L' ');
  return {std::move(left), std::move(right)};
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
  for (int y = 0; y < box.h && v.first + y < total; ++y) {
    const View::Row& row = v.rows[static_cast<std::size_t>(v.first + y)];
    const bool reversed = lit && v.marked != 0 && row.id == v.marked;
    put({box.y + y, box.x, 1, box.w}, row.line, reversed ? A_REVERSE : A_NORMAL);
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
