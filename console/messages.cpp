// The open chat's messages: how each is laid out in lines, and which of them are seen.
#include <algorithm>

#include "console/screen.h"
#include "console/text.h"

namespace {

struct MessageLine {
  std::int64_t id;  // its message; negative for the day above that message
  Line line;
};

Line file_line(const Event& file, int width) {
  if (file.says("path")) return {{L"→ " + widen(file.str("path")), colour(kGood)}};
  const std::int64_t total = std::max<std::int64_t>(file.num("total"), 1);
  const bool upload = file.str("type") == "upload_progress";
  const std::int64_t done = std::min(file.num(upload ? "uploaded" : "downloaded"), total);
  const auto cells = static_cast<std::size_t>(std::clamp(width - 30, 5, 30));
  const auto full = cells * static_cast<std::size_t>(done) / static_cast<std::size_t>(total);
  const std::string words = " " + std::to_string(done * 100 / total) + "% of " +
                            size_text(file.num("total")) +
                            (!file.on("active") ? " stopped"
                             : upload           ? " up"
                                                : "");
  return {{std::wstring(full, L'█'), colour(kGood)},
          {std::wstring(cells - full, L'░'), colour(kDim)},
          {widen(words)}};
}

const char* state_mark(const Event& message, bool read) {
  if (message.str("sending_state") == "failed") return " ✗ not sent: {error}";
  if (message.str("sending_state") == "pending") return " …";
  if (!message.on("outgoing")) return "";
  return read ? " ✓✓" : " ✓";
}

// Its media and its text, but for one that merely stands for the media.
std::string body(const Model& m, const Event& message) {
  const std::string& text = message.str("text");
  const bool substitute = message.says("media_type") && text[0] == '[' && text.back() == ']';
  const std::string media =
      in_words(m, message,
               "{media_type?[{media_type:spaced}{media_name? {media_name}}"
               "{media_w? {media_w}×{media_h}}{media_size?, {media_size:size}}"
               "{media_duration?, {media_duration:length}}]}");
  if (media.empty()) return text.empty() ? "[no text]" : text;
  return media + (substitute || text.empty() ? "" : " " + text);
}

struct Layout {
  const Model& m;
  int width;
  int indent;  // columns of the clock
  std::vector<MessageLine> lines;
};

void add(Layout& l, std::int64_t id, Line line) {
  line.insert(line.begin(), {std::wstring(static_cast<std::size_t>(l.indent), L' ')});
  l.lines.push_back({id, std::move(line)});
}

void lay_out_head(Layout& l, std::int64_t id, const Event& message) {
  const std::string from = in_words(l.m, message, "{forward_from? from {forward_from}}");
  if (message.on("forwarded") || !from.empty()) {
    add(l, id, {{L"┌ forwarded" + widen(from), colour(kDim)}});
  }
  if (!message.says("reply_to_message_id")) return;
  const Event& to = l.m.message(message.num("reply_to_message_id"));
  std::string text = message.str("reply_quote");
  if (text.empty()) text = sender_name(l.m, to) + ": " + body(l.m, to);
  if (to.members.empty()) text = in_words(l.m, message, "message {reply_to_message_id}");
  add(l, id, {{L"┌ " + widen(text), colour(kDim)}});
}

void lay_out_text(Layout& l, std::int64_t id, const Event& message) {
  const std::int64_t read = l.m.chat(l.m.open_chat).num("last_read_outbox_message_id");
  const bool failed = message.str("sending_state") == "failed";
  const bool pinned = message.on("pinned") || Model::find(l.m.pins, l.m.open_chat).num("id") == id;
  const std::string marks = std::string(message.says("edit_date") ? " (edited)" : "") +
                            (pinned ? " (pinned)" : "") +
                            in_words(l.m, message, state_mark(message, id <= read));
  Line line;
  if (l.indent > 0)
    line.push_back({widen(clock_text(message.num("date"), "%H:%M ")), colour(kDim)});
  line.push_back({widen(sender_name(l.m, message) + ": "),
                  message.on("outgoing") ? colour(kGood) | A_BOLD
                                         : name_colour(message.num("sender_user_id"))});
  line.push_back({widen(body(l.m, message) + marks), failed ? colour(kBad) : A_NORMAL});
  for (Line& part : wrap(line, l.width, l.indent)) l.lines.push_back({id, std::move(part)});
}

void lay_out_tail(Layout& l, std::int64_t id, const Event& message) {
  const auto file = l.m.files.find(message.num("media_file_id"));
  if (file != l.m.files.end()) add(l, id, file_line(file->second, l.width - l.indent));
  Line line;
  for (const Reaction& r : reactions(message)) {
    line.push_back({widen(r.emoji + " " + r.count + "  "),
                    r.chosen ? colour(kGood) | A_BOLD : colour(kKeyword)});
  }
  if (message.says("reply_count")) {
    line.push_back({widen(message.str("reply_count") + " replies"), colour(kDim)});
  }
  if (!line.empty()) add(l, id, std::move(line));
}

std::vector<MessageLine> lay_out(const Model& m, int width) {
  Layout l = {m, std::max(width, 1), width >= 30 ? 6 : 0, {}};
  std::string day;
  for (const auto& [id, message] : m.messages) {
    const std::string date = clock_text(message.num("date"), "── %A %e %B %Y ──");
    if (message.says("date") && date != day)
      l.lines.push_back({-id, {{widen(date), colour(kDim)}}});
    if (message.says("date")) day = date;
    lay_out_head(l, id, message);
    lay_out_text(l, id, message);
    lay_out_tail(l, id, message);
  }
  return std::move(l.lines);
}

// The first line to be drawn: what stood at the top stays there, but for the least movement that
// shows the marked message. Of one that is taller than the window a part is shown.
int first_line(Screen& s, const std::vector<MessageLine>& lines, int height) {
  const int total = static_cast<int>(lines.size());
  const int last = std::max(total - height, 0);
  const auto find = [&](std::int64_t id) {
    const auto is = [&](const MessageLine& line) { return line.id == id; };
    return static_cast<int>(std::find_if(lines.begin(), lines.end(), is) - lines.begin());
  };
  int first = last;
  s.hidden_above = s.hidden_below = 0;
  if (const int begin = find(s.message); s.message != 0 && begin < total) {
    int end = begin;
    while (end < total && lines[static_cast<std::size_t>(end)].id == s.message) ++end;
    const int top = find(s.top);
    if (top < total) first = top + s.top_line + s.scroll;
    first = std::clamp(first, std::min(begin, end - height), std::max(begin, end - height));
    first = std::clamp(first, 0, last);
    s.hidden_above = std::max(first - begin, 0);
    s.hidden_below = std::max(end - first - height, 0);
  }
  s.scroll = 0;
  s.top = total > 0 ? lines[static_cast<std::size_t>(first)].id : 0;
  s.top_line = first - find(s.top);
  return first;
}

}  // namespace

void draw_messages(const Client& c, Screen& s, Box box) {
  const Model& m = c.model;
  put_ends(box.top(), {L" " + widen(chat_title(m, m.open_chat)), A_BOLD},
           {widen(presence(m, m.open_chat)) + L" "}, colour(kBar));
  const Event& pinned = Model::find(m.pins, m.open_chat);
  if (pinned.says("id") && box.h > 4) {
    put(box.top(), {{L" ▴ " + widen(pinned.str("text")), colour(kWarn)}});
  }
  // A marked message that is gone leaves the mark to its neighbour.
  if (s.message != 0 && !m.messages.empty() && m.messages.count(s.message) == 0 &&
      c.open_commands.empty()) {
    const auto next = m.messages.lower_bound(s.message);
    s.message = next == m.messages.end() ? m.messages.rbegin()->first : next->first;
  }
  s.page = box.h;
  s.places.push_back({box, kMessages, 0});
  if (m.messages.empty()) {
    put({box.y + box.h / 2, box.x + 1, 1, box.w - 1},
        {{c.loading == 0 ? L"No messages" : L"Loading…", colour(kDim)}});
    return;
  }
  const std::vector<MessageLine> lines = lay_out(m, box.w - 1);
  auto at = static_cast<std::size_t>(first_line(s, lines, box.h));
  for (int gap = box.h - static_cast<int>(lines.size()); gap > 0; --gap) box.top();
  for (; at < lines.size() && box.h > 0; ++at) {
    const Box line = box.top();
    const bool marked = s.message != 0 && lines[at].id == s.message;
    s.places.push_back({line, kMessages, std::max<std::int64_t>(lines[at].id, 0)});
    put({line.y, line.x + 1, 1, line.w - 1}, lines[at].line, marked ? A_REVERSE : A_NORMAL);
  }
}
