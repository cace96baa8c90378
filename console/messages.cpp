// The open chat's messages: how each is laid out in lines, and which of them are seen.
#include <algorithm>

#include "console/paint.h"
#include "console/screen.h"
#include "console/text.h"

namespace {

struct MessageLine {
  std::int64_t id = 0;  // 0: belongs to no message
  Line line;
};

std::wstring duration_text(std::int64_t seconds) {
  const std::int64_t rest = seconds % 60;
  return std::to_wstring(seconds / 60) + (rest < 10 ? L":0" : L":") + std::to_wstring(rest);
}

std::wstring media_text(const Message& m) {
  std::string out = "[" + m.media_type;
  std::replace(out.begin(), out.end(), '_', ' ');
  if (!m.media_name.empty()) out += " " + m.media_name;
  if (m.w > 0 && m.h > 0) out += " " + std::to_string(m.w) + "×" + std::to_string(m.h);
  if (m.size > 0) out += ", " + size_text(m.size);
  std::wstring text = widen(out);
  if (m.duration > 0) text += L", " + duration_text(m.duration);
  return text + L"]";
}

Line file_line(const File& file, int width) {
  if (!file.path.empty()) return {{L"→ " + widen(file.path), colour(kGood)}};
  const std::int64_t total = std::max<std::int64_t>(file.total, 1);
  const std::int64_t done = std::min(file.done, total);
  const int cells = std::clamp(width - 30, 5, 30);
  const auto full = static_cast<std::size_t>(done * cells / total);
  const std::wstring rest =
      L" " + std::to_wstring(done * 100 / total) + L"% of " + widen(size_text(file.total));
  return {{std::wstring(full, L'█'), colour(kGood)},
          {std::wstring(static_cast<std::size_t>(cells) - full, L'░'), dim()},
          {rest + (file.active ? file.upload ? L" up" : L"" : L" stopped"), A_NORMAL}};
}

std::wstring state_mark(const Message& m, std::int64_t id, std::int64_t read_outbox) {
  if (m.state == "failed") return L" ✗ not sent: " + widen(m.error);
  if (m.state == "pending") return L" …";
  if (m.state == "acked") return L" ✓";
  return !m.outgoing ? L"" : id <= read_outbox ? L" ✓✓" : L" ✓";
}

// The words of a message that stand between its media and its marks.
std::wstring body(const Message& m) {
  const bool substitute =
      !m.media_type.empty() && m.text.size() > 2 && m.text.front() == '[' && m.text.back() == ']';
  std::wstring text = m.media_type.empty() ? L"" : media_text(m);
  if (!substitute && !m.text.empty()) text += (text.empty() ? L"" : L" ") + widen(m.text);
  if (text.empty()) text = L"[" + widen(m.content_type) + L"]";
  return text;
}

struct Layout {
  std::vector<MessageLine>& lines;
  const Model& model;
  int width;
  int indent;  // columns of the clock
};

void add(Layout& l, std::int64_t id, Line line, bool indented = true) {
  if (indented) {
    line.insert(line.begin(), {std::wstring(static_cast<std::size_t>(l.indent), L' '), A_NORMAL});
  }
  l.lines.push_back({id, std::move(line)});
}

void lay_out_head(Layout& l, std::int64_t id, const Message& m) {
  if (!m.forward_from.empty() || m.forwarded) {
    const std::string& from = m.forward_from;
    add(l, id, {{L"┌ forwarded" + (from.empty() ? L"" : L" from " + widen(from)), dim()}});
  }
  if (m.reply_to == 0) return;
  const auto to = l.model.messages.find(m.reply_to);
  std::wstring text = widen(m.reply_quote);
  if (text.empty() && to != l.model.messages.end()) {
    text = widen(sender_name(l.model, l.model.open_chat, to->second)) + L": " + body(to->second);
  }
  add(l, id, {{L"┌ " + (text.empty() ? L"message " + std::to_wstring(m.reply_to) : text), dim()}});
}

void lay_out_text(Layout& l, std::int64_t id, const Message& m) {
  const auto chat = l.model.chats.find(l.model.open_chat);
  std::wstring name = widen(sender_name(l.model, l.model.open_chat, m)) + L": ";
  std::wstring text = name + body(m);
  if (m.edit_date > 0) text += L" (edited)";
  if (m.pinned || id == l.model.pinned_id) text += L" (pinned)";
  text += state_mark(m, id, chat == l.model.chats.end() ? 0 : chat->second.read_outbox);
  const attr_t attr = m.state == "failed" ? colour(kBad) : static_cast<attr_t>(A_NORMAL);
  bool first = true;
  for (std::wstring& line : wrap(text, std::max(l.width - l.indent, 1))) {
    if (first && line.compare(0, name.size(), name) == 0) {
      const attr_t whose = m.outgoing ? colour(kGood) | A_BOLD : name_colour(m.sender_user);
      add(l, id, {{name, whose}, {line.substr(name.size()), attr}});
    } else {
      add(l, id, {{std::move(line), attr}});
    }
    if (first && l.indent > 0) {
      l.lines.back().line[0] = {widen(clock_text(m.date)) + L" ", dim()};
    }
    first = false;
  }
}

void lay_out_tail(Layout& l, std::int64_t id, const Message& m) {
  const auto file = l.model.files.find(m.file);
  if (m.file != 0 && file != l.model.files.end()) {
    add(l, id, file_line(file->second, l.width - l.indent));
  }
  Line line;
  for (const Reaction& r : m.reactions) {
    line.push_back({widen(r.emoji + " " + std::to_string(r.count)),
                    r.chosen ? colour(kGood) | A_BOLD : colour(kKeyword)});
    line.push_back({L"  ", A_NORMAL});
  }
  if (m.reply_count > 0) line.push_back({std::to_wstring(m.reply_count) + L" replies", dim()});
  if (!line.empty()) add(l, id, std::move(line));
}

std::vector<MessageLine> lay_out(const Model& model, int width) {
  std::vector<MessageLine> lines;
  Layout l = {lines, model, width, width >= 30 ? 6 : 0};
  std::string day;
  for (const auto& [id, m] : model.messages) {
    if (const std::string date = clock_text(m.date, "%A %e %B %Y"); m.date > 0 && date != day) {
      add(l, 0, {{L"── " + widen(date) + L" ──", dim()}});
      day = date;
    }
    lay_out_head(l, id, m);
    lay_out_text(l, id, m);
    lay_out_tail(l, id, m);
  }
  return lines;
}

// The first line to be drawn, so that the marked message stands where it stood, or at the
// nearest place where it can be seen.
int first_line(Screen& s, const std::vector<MessageLine>& lines, int height) {
  const auto find = [&](std::int64_t id) {
    const auto is = [&](const MessageLine& line) { return line.id == id; };
    return static_cast<int>(std::find_if(lines.begin(), lines.end(), is) - lines.begin());
  };
  const int total = static_cast<int>(lines.size());
  const int last = std::max(total - height, 0);
  const int begin = s.message == 0 ? total : find(s.message);
  if (begin == total) return last;
  int end = begin;
  while (end < total && lines[static_cast<std::size_t>(end)].id == s.message) ++end;
  int row = s.drawn_row;
  if (s.message != s.drawn_message) {
    const int before = s.drawn_message == 0 ? total : find(s.drawn_message);
    row = before == total ? begin - last : row + begin - before;
  }
  const int spare = height - (end - begin);
  row = std::clamp(row, std::min(spare, 0), std::max(spare, 0));
  const int first = std::clamp(begin - row, 0, std::max(last, begin - row));
  s.drawn_row = begin - first;
  s.drawn_rows = end - begin;
  return first;
}

}  // namespace

void draw_messages(const Client& c, Screen& s, Box box) {
  const Model& m = c.model;
  put_ends(box.y, box.x, box.w, {L" " + widen(chat_title(m, m.open_chat)), A_BOLD},
           {widen(presence(m, m.open_chat)) + L" ", A_NORMAL}, colour(kBar));
  ++box.y;
  --box.h;
  if (m.pinned_id != 0 && box.h > 4) {
    put(box.y, box.x, box.w, {{L" ▴ " + widen(m.pinned_text), colour(kWarn)}});
    ++box.y;
    --box.h;
  }
  // A marked message that is gone leaves the mark to its neighbour.
  if (s.message != 0 && !m.messages.empty() && m.messages.count(s.message) == 0 &&
      m.history_loaded && c.paging == 0 && c.open_commands.empty()) {
    const auto next = m.messages.lower_bound(s.message);
    s.message = next == m.messages.end() ? m.messages.rbegin()->first : next->first;
  }
  const std::vector<MessageLine> lines = lay_out(m, box.w - 1);
  const int first = first_line(s, lines, box.h);
  s.drawn_message = s.message;
  s.view = box;
  s.view_ids.clear();
  const int gap = std::max(0, box.h - static_cast<int>(lines.size()));  // few ones stand below
  for (int row = 0; row < box.h; ++row) {
    const auto at = static_cast<std::size_t>(std::max(0, first + row - gap));
    const bool there = row >= gap && at < lines.size();
    s.view_ids.push_back(there ? lines[at].id : 0);
    if (!there) continue;
    put(box.y + row, box.x + 1, box.w - 1, lines[at].line,
        s.message != 0 && lines[at].id == s.message ? A_REVERSE : A_NORMAL);
  }
  if (m.messages.empty()) {
    put(box.y + box.h / 2, box.x + 1, box.w - 1,
        {{m.history_loaded ? L"No messages" : L"Loading…", dim()}});
  }
}
