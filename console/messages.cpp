// The open chat's messages: how each is laid out in lines, and which of them are seen.
#include <algorithm>

#include "console/screen.h"
#include "console/text.h"

namespace {

std::string file_line(const Event& file, int width) {
  if (file.says("path")) return kGood + "→ " + file.str("path");
  const std::int64_t total = std::max<std::int64_t>(file.num("total"), 1);
  const bool upload = file.str("type") == "upload_progress";
  const std::int64_t done = std::min(file.num(upload ? "uploaded" : "downloaded"), total);
  const int cells = std::clamp(width - 30, 5, 30);
  std::string bar = kGood;
  for (int i = 0; i < cells; ++i) bar += i < cells * done / total ? "█" : "░";
  const char* state = !file.on("active") ? " stopped" : upload ? " up" : "";
  return bar + kPlain + " " + std::to_string(done * 100 / total) + "% of " +
         size_text(file.num("total")) + state;
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
               "{media_h? {media_w}×{media_h}}{media_size?, {media_size:size}}"
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

void add(Layout& l, std::int64_t id, const std::string& line) {
  l.rows.push_back({id, std::string(static_cast<std::size_t>(l.indent), ' ') + line});
}

void lay_out_head(Layout& l, std::int64_t id, const Event& message) {
  const std::string from = in_words(l.m, message, "{forward_from? from {forward_from}}");
  if (message.on("forwarded") || !from.empty()) add(l, id, kDim + "┌ forwarded" + from);
  if (!message.says("reply_to_message_id")) return;
  const Event& to = l.m.message(message.num("reply_to_message_id"));
  std::string text = message.str("reply_quote");
  if (text.empty()) text = sender_name(l.m, to) + ": " + body(l.m, to);
  if (to.members.empty()) text = in_words(l.m, message, "message {reply_to_message_id}");
  add(l, id, kDim + "┌ " + text);
}

void lay_out_text(Layout& l, std::int64_t id, const Event& message) {
  const std::int64_t read = l.m.chat(l.m.open_chat).num("last_read_outbox_message_id");
  const bool pinned = message.on("pinned") || Model::find(l.m.pins, l.m.open_chat).num("id") == id;
  const std::uint64_t sender = static_cast<std::uint64_t>(message.num("sender_user_id"));
  std::string text = l.indent > 0 ? kDim + clock_text(message.num("date"), "%H:%M ") : "";
  text += message.on("outgoing") ? kGood[0] : static_cast<char>(kFirstName + sender % 5);
  text += kBold + sender_name(l.m, message) + ": " + kPlain;
  if (message.str("sending_state") == "failed") text += kBad;
  text += body(l.m, message);
  if (message.says("edit_date")) text += " (edited)";
  if (pinned) text += " (pinned)";
  text += in_words(l.m, message, state_mark(message, id <= read));
  for (std::string& line : wrap(text, l.width, l.indent)) l.rows.push_back({id, std::move(line)});
}

void lay_out_tail(Layout& l, std::int64_t id, const Event& message) {
  const auto file = l.m.files.find(message.num("media_file_id"));
  if (file != l.m.files.end()) add(l, id, file_line(file->second, l.width - l.indent));
  std::string line;
  for (const Reaction& r : reactions(message)) {
    line += (r.chosen ? kGood : kKeyword) + r.emoji + " " + r.count + "  ";
  }
  if (message.says("reply_count")) line += kDim + message.str("reply_count") + " replies";
  if (!line.empty()) add(l, id, line);
}

std::vector<View::Row> lay_out(const Model& m, int width) {
  Layout l = {m, std::max(width, 1), width >= 30 ? 6 : 0, {}};
  std::string day;
  for (const auto& [id, message] : m.messages) {
    const std::string date = kDim + clock_text(message.num("date"), "── %A %e %B %Y ──");
    if (message.says("date") && date != day) l.rows.push_back({0, date});
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
  put(box.top(), ends(" " + chat_title(m, m.open_chat), presence(m, m.open_chat) + " ", box.w),
      bar(kTopBar));
  const std::string pinned = in_words(m, Model::find(m.pins, m.open_chat), "{text}");
  if (!pinned.empty() && box.h > 4) put(box.top(), kWarn + " ▴ " + pinned);
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
  if (rows.empty()) rows.push_back({0, kDim + (c.loading == 0 ? "No messages" : "Loading…")});
  for (int gap = box.h - static_cast<int>(rows.size()); gap > 0; --gap) box.top();
  draw_view(s.messages, box, std::move(rows), true, true);
}
