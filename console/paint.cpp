#include "console/paint.h"

#include <algorithm>
#include <tuple>

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
  // They have the numbers of their marks in texts.
  init_pair(kDim[0], COLORS >= 256 ? 245 : COLOR_WHITE, -1);
  init_pair(kGood[0], COLOR_GREEN, -1);
  init_pair(kBad[0], COLOR_RED, -1);
  init_pair(kWarn[0], COLOR_YELLOW, -1);
  init_pair(kKeyword[0], COLOR_CYAN, -1);
}

void put(const Box& box, std::string_view text, attr_t over) {
  const int width = std::min(box.w, getmaxx(stdscr) - box.x);
  if (box.h < 1 || box.y < 0 || box.y >= getmaxy(stdscr) || width < 1) return;
  attr_t attr = over;
  attrset(attr);
  mvhline(box.y, box.x, ' ', width);
  move(box.y, box.x);
  std::string line(text);
  std::replace(line.begin(), line.end(), '\n', ' ');
  line = visible(clip(line, width)) + kPlain;
  auto run = line.begin();
  for (auto end = run; (end = std::find_if(run, line.end(), is_colour)) != line.end();) {
    addnstr(&*run, static_cast<int>(end - run));
    attr = *end == kPlain[0]  ? over
           : *end == kBold[0] ? attr | A_BOLD
                              : (attr & ~A_COLOR) | static_cast<attr_t>(COLOR_PAIR(*end));
    attrset(attr);
    run = end + 1;
  }
  attrset(A_NORMAL);
}

std::int64_t View::id_at(int y) const {
  const int at = top + y - box.y;
  const bool there = at >= 0 && at < static_cast<int>(rows.size());
  return there ? rows[static_cast<std::size_t>(at)].id : 0;
}

std::pair<int, int> View::marked_lines() const {
  const auto is_marked = [&](const Row& row) { return marked != 0 && row.id == marked; };
  const auto begin = std::find_if(rows.begin(), rows.end(), is_marked);
  const auto end = std::find_if_not(begin, rows.end(), is_marked);
  return {static_cast<int>(begin - rows.begin()), static_cast<int>(end - rows.begin())};
}

void View::mark(std::int64_t id) {
  marked = id;
  const auto [begin, end] = marked_lines();
  if (begin < end)
    top = std::clamp(top, std::min(begin, end - box.h), std::max(begin, end - box.h));
  top = std::clamp(top, 0, std::max(static_cast<int>(rows.size()) - box.h, 0));
}

void draw_view(View& v, const Box& box, std::vector<View::Row> rows, bool from_end, bool lit) {
  const int line = v.marked_lines().first - v.top;
  v.box = box;
  v.rows = std::move(rows);
  auto [begin, end] = v.marked_lines();
  const std::int64_t neighbour = v.id_at(box.y + line);
  if (begin == end && v.marked != 0 && neighbour != 0) v.marked = neighbour;
  std::tie(begin, end) = v.marked_lines();
  v.top = begin < end ? begin - line : from_end ? end : 0;
  v.mark(v.marked);
  Box left = box;
  for (auto row = v.rows.begin() + v.top; row != v.rows.end() && left.h > 0; ++row) {
    const bool reversed = lit && v.marked != 0 && row->id == v.marked;
    put(left.top(), row->line, reversed ? A_REVERSE : A_NORMAL);
  }
}

bool move_mark(View& v, int by) {
  const auto [begin, end] = v.marked_lines();
  const int hidden = by < 0 ? v.top - begin : end - v.top - v.box.h;
  if (begin < end && v.box.h > 0 && hidden > 0) {
    v.top += by * std::min(hidden, v.box.h / 2 + 1);
    return true;
  }
  const int total = static_cast<int>(v.rows.size());
  for (int at = by < 0 ? begin : begin < end ? end - 1 : -1; (at += by) >= 0 && at < total;) {
    const std::int64_t id = v.rows[static_cast<std::size_t>(at)].id;
    if (id == 0) continue;
    v.mark(id);
    return true;
  }
  return false;
}
