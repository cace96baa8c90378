// The open chat's messages: how each is laid out in lines.
#include <algorithm>

#include "console/screen.h"

namespace {

std::string file_line(const Event& file, int width) {
  if (file.says("path")) return kGood + "→ " + file.str("path");
  const bool upload = file.str("type") == "upload_progress";
  const auto total = static_cast<double>(std::max<std::int64_t>(file.num("total"), 1));
  const auto done = static_cast<double>(file.num(upload ? "uploaded" : "downloaded"));
  const int percent = static_cast<int>(std::clamp(done / total, 0.0, 1.0) * 100);
  const int cells = std::clamp(width - 30, 5, 30);
  std::string bar = kGood;
  for (int i = 0; i < cells; ++i) bar += i < cells * percent / 100 ? "█" : "░";
  const char* state = !file.on("active") ? " stopped" : upload ? " up" : "";
  return bar + kPlain + " " + std::to_string(percent) + "% of " + size_text(file.num("total")) +
         state;
}

const char* state_mark(const Event& message, bool read) {
  if (message.str("sending_state") == "failed") return " ✗ not sent: {error}";
  if (message.str("sending_state") == "pending") return " …";
  if (!message.on("outgoing")) return "";
  return read ? " ✓✓" : " ✓";
}

// Its media and its text, but for one that merely stands for the media.
std::string body(const Client& c, const Event& message) {
  const std::string& text = message.str("text");
  const std::string media =
      in_words(c, message,
               "{media_type?[{media_type:spaced}{media_name? {media_name}}"
               "{media_h? {media_w}×{media_h}}{media_size?, {media_size:size}}"
               "{media_duration?, {media_duration:length}}]}");
  if (text.empty()) return media.empty() ? "[no text]" : media;
  if (media.empty()) return text;
  return text.front() == '[' && text.back() == ']' ? media : media + " " + text;
}

// The line above a message that was forwarded, and above one that answers another.
std::vector<std::string> heads(const Client& c, const Event& message) {
  std::vector<std::string> lines;
  if (message.on("forwarded") || message.says("forward_from")) {
    lines.push_back(in_words(c, message, "forwarded{forward_from? from {forward_from}}"));
  }
  if (message.says("reply_to_message_id")) {
    const Event& to = c.message(message.num("reply_to_message_id"));
    lines.push_back(message.says("reply_quote") ? message.str("reply_quote")
                    : to.members.empty() ? in_words(c, message, "message {reply_to_message_id}")
                                         : sender_name(c, to) + ": " + body(c, to));
  }
  return lines;
}

std::string whole_text(const Client& c, const Event& message, bool with_clock) {
  const bool read = message.num("id") <= c.chat(c.open_chat).num("last_read_outbox_message_id");
  std::string text = with_clock ? kDim + clock_text(message.num("date"), "%H:%M ") : "";
  text += (message.on("outgoing") ? kGood : kKeyword) + kBold + sender_name(c, message) + ": ";
  text += kPlain;
  if (message.str("sending_state") == "failed") text += kBad;
  text += body(c, message);
  text += in_words(c, message, "{edit_date? (edited)}{pinned? (pinned)}");
  return text + in_words(c, message, state_mark(message, read));
}

std::string tail(const Client& c, const Event& message) {
  std::string line;
  for (const std::string_view item : array_items(message.str("reactions"))) {
    Event e;
    if (!read_object(item, e)) continue;
    line += in_words(c, e, (e.on("chosen") ? kGood : kKeyword) + "{emoji} {count}  ");
  }
  return line + in_words(c, message, "{reply_count?" + kDim + "{reply_count} replies}");
}

}  // namespace

std::vector<View::Row> lay_out_messages(const Client& c, int width) {
  std::vector<View::Row> rows;
  const int indent = width >= 30 ? 6 : 0;  // columns of the clock
  const std::string margin(static_cast<std::size_t>(indent), ' ');
  std::string day;
  for (const auto& [id, message] : c.messages) {
    const std::string date = clock_text(message.num("date"), "── %A %e %B %Y ──");
    if (message.says("date") && date != day) rows.push_back({0, kDim + date});
    if (message.says("date")) day = date;
    for (const std::string& head : heads(c, message)) {
      rows.push_back({id, margin + kDim + "┌ " + head});
    }
    for (std::string& line : wrap(whole_text(c, message, indent > 0), std::max(width, 1), indent)) {
      rows.push_back({id, std::move(line)});
    }
    const auto file = c.files.find(message.num("media_file_id"));
    if (file != c.files.end()) {
      rows.push_back({id, margin + file_line(file->second, width - indent)});
    }
    const std::string last = tail(c, message);
    if (!last.empty()) rows.push_back({id, margin + last});
  }
  return rows;
}
