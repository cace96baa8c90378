// The open chat's messages: how each is laid out in lines, and which of them are seen.
#include <algorithm>

#include "console/screen.h"
#include "console/text.h"

namespace {

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
  std::vector<View::Row> rows;
};

void add(Layout& l, std::int64_t id, Line line) {
  line.insert(line.begin(), {std::wstring(static_cast<std::size_t>(l.indent), L' ')});
  l.rows.push_back({id, std::move(line)});
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
  for (Line& part : wrap(line, l.width, l.indent)) l.rows.push_back({id, std::move(part)});
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

std::vector<View::Row> lay_out(const Model& m, int width) {
  Layout l = {m, std::max(width, 1), width >= 30 ? 6 : 0, {}};
  std::string day;
  for (const auto& [id, message] : m.messages) {
    const std::string date = clock_text(message.num("date"), "── %A %e %B %Y ──");
    if (message.says("date") && date != day) l.rows.push_back({0, {{widen(date), colour(kDim)}}});
    if (message.says("date")) day = date;
    lay_out_head(l, id, message);
    lay_out_text(l, id, message);
    lay_out_tail(l, id, message);
  }
  return std::move(l.rows);
}

}  // namespace

void draw_messages(const Client& c, Screen& s, Box box) {
  const Model& m = c.model;
  put(box.top(),
      ends({L" " + widen(chat_title(m, m.open_chat)), A_BOLD},
           {widen(presence(m, m.open_chat)) + L" "}, box.w),
      colour(kBar));
  const Event& pinned = Model::find(m.pins, m.open_chat);
  if (pinned.says("id") && box.h > 4) {
    put(box.top(), {{L" ▴ " + widen(pinned.str("text")), colour(kWarn)}});
  }
  // A marked message that is gone leaves the mark to its neighbour.
  std::int64_t& marked = s.messages.marked;
  if (marked != 0 && !m.messages.empty() && m.messages.count(marked) == 0 &&
      c.open_commands.empty()) {
    const auto next = m.messages.lower_bound(marked);
    marked = next == m.messages.end() ? m.messages.rbegin()->first : next->first;
  }
  ++box.x;
  --box.w;
  std::vector<View::Row> rows = lay_out(m, box.w);
  if (rows.empty()) {
    rows.push_back({0, {{c.loading == 0 ? L"No messages" : L"Loading…", colour(kDim)}}});
  }
  for (int gap = box.h - static_cast<int>(rows.size()); gap > 0; --gap) box.top();
  draw_view(s.messages, box, std::move(rows), true, true);
}
