#include "frame/channels.h"

#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "frame/events_file.h"
#include "frame/files.h"
#include "frame/protocol.h"
#include "json/scan.h"
#include "json/text.h"

bool g_hub_mode = false;
bool g_verbose_stdout = true;
std::atomic<bool> g_log_to_stderr{false};
std::atomic<int> g_log_fd{-1};
std::atomic<int> g_log_mirror_fd{-1};
std::atomic<int> g_events_fd{-1};
std::atomic<int> g_db_lock_fd{-1};

void write_best_effort(int fd, const char* buf, std::size_t len) {
  while (len > 0) {
    const ssize_t written = write(fd, buf, len);
    if (written > 0) {
      buf += written;
      len -= static_cast<std::size_t>(written);
    } else if (written == 0 || errno != EINTR) {
      return;
    }
  }
}

// The descriptors that lines go to, and whether the last line on each was cut off.
static std::atomic<int> g_stdout_fd{STDOUT_FILENO};
static std::atomic<int> g_stderr_fd{STDERR_FILENO};
static struct {
  std::atomic<int>& fd;
  std::atomic<bool> cut;
} g_lines[] = {{g_events_fd, {false}},
               {g_log_fd, {false}},
               {g_log_mirror_fd, {false}},
               {g_stdout_fd, {false}},
               {g_stderr_fd, {false}}};

void set_line_cut(int fd, bool cut) {
  for (auto& line : g_lines) {
    if (line.fd == fd) line.cut = cut;
  }
}

bool take_line_cut(int fd) {
  for (auto& line : g_lines) {
    if (line.fd == fd) return line.cut && line.cut.exchange(false);
  }
  return false;
}

static iovec part_of(std::string_view text) {
  return {const_cast<char*>(text.data()), text.size()};  // writev only reads
}

LineFate write_line(int fd, std::string_view text, std::string_view end) {
  const bool heals = take_line_cut(fd);
  iovec parts[] = {part_of(heals ? "\n" : ""), part_of(text), part_of(end)};
  const std::size_t before = parts[0].iov_len;
  const std::size_t total = before + text.size() + end.size();
  std::size_t out = 0;
  while (out < total) {
    const ssize_t written = writev(fd, parts, 3);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) break;
    out += static_cast<std::size_t>(written);
    auto rest = static_cast<std::size_t>(written);
    for (iovec& part : parts) {
      const std::size_t gone = std::min(rest, part.iov_len);
      part.iov_base = static_cast<char*>(part.iov_base) + gone;
      part.iov_len -= gone;
      rest -= gone;
    }
  }
  if (out == total) return LineFate::kWhole;
  // A line feed that went alone has healed what was before, and nothing is torn.
  set_line_cut(fd, out == 0 ? heals : out > before);
  return out > before ? LineFate::kTorn : LineFate::kNothing;
}

// Text that comes from elsewhere must not look like a line of its own.
static bool is_control(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }

void write_line_best_effort(int fd, const char* prefix, const char* msg) {
  if (fd < 0) return;
  if (msg == nullptr) msg = "(null)";
  char line[2048];
  constexpr std::size_t kTextMax = sizeof line - 1;  // the last byte is the NUL's
  const std::size_t prefix_len = std::min(std::strlen(prefix), kTextMax);
  std::copy_n(prefix, prefix_len, line);
  // One byte beyond what fits is enough to know that the line is too long.
  const std::size_t msg_len = strnlen(msg, kTextMax - prefix_len + 1);
  const bool fits = prefix_len + msg_len + 1 <= kTextMax;
  const std::size_t copied = fits ? msg_len : kTextMax - prefix_len;
  std::memcpy(line + prefix_len, msg, copied);
  std::replace_if(line + prefix_len, line + prefix_len + copied, is_control, ' ');
  line[prefix_len + copied] = fits ? '\n' : '\0';
  (void)write_line(fd, {line, prefix_len + copied}, {line + prefix_len + copied, 1});
}

void dbg(const char* msg) {
  if (g_log_to_stderr) write_line_best_effort(STDERR_FILENO, "[backend] ", msg);
  write_line_best_effort(g_log_fd, "[backend] ", msg);
  write_line_best_effort(g_log_mirror_fd, "[backend] ", msg);
}

static bool is_acknowledgement(std::string_view line) {
  return line == "PONG" || line == "BYE" || json_starts_with(line, "OK ") ||
         json_starts_with(line, "ERR ") || json_starts_with(line, "TD_ERROR ");
}

void print_line(std::string_view line) {
  if (!g_verbose_stdout && is_acknowledgement(line)) return;
  if (std::none_of(line.begin(), line.end(), is_control)) {
    (void)write_line(STDOUT_FILENO, line, "\n");
    return;
  }
  std::string plain(line);
  std::replace_if(plain.begin(), plain.end(), is_control, ' ');
  (void)write_line(STDOUT_FILENO, plain, "\n");
}

// In hub mode only what a notification needs leaves; a line whose type cannot be told does, too.
static bool passes_hub_filter(std::string_view json) {
  static constexpr std::string_view kKey = "\"type\":\"";
  static constexpr std::string_view kPassed[] = {"auth_state",  "chat_unread",
                                                 "call_update", "hub_notify_message",
                                                 "td_error",    "events_rotated"};
  static constexpr std::string_view kPassedToo[] = {
      "hello",           "goodbye",    "events_lost",         "command_end",
      "command_refused", "auth_error", "hub_notify_withdrawn"};
  const std::size_t key = json.find(kKey);
  if (key == std::string_view::npos) return true;
  const std::size_t begin = key + kKey.size();
  const std::size_t end = json.find('"', begin);
  if (end == std::string_view::npos || end == begin) return true;
  const std::string_view type = json.substr(begin, end - begin);
  if (std::find(std::begin(kPassed), std::end(kPassed), type) != std::end(kPassed)) return true;
  return at_level2() &&
         std::find(std::begin(kPassedToo), std::end(kPassedToo), type) != std::end(kPassedToo);
}

void emit_event_json_line(std::string_view json) {
  if (g_files_wait) open_waiting_files();
  const int fd = g_events_fd;
  // At level 2 what is written before a FIFO has its reader is numbered, and told as lost.
  if (fd < 0 && !(g_files_wait && at_level2())) return;
  if (g_hub_mode && !passes_hub_filter(json)) return;
  if (at_level2()) return write_numbered_event(fd, json);
  if (write_line(fd, json, "\n") == LineFate::kWhole) events_file_grew(json.size() + 1);
}

std::string begin_event(std::string_view type, std::size_t reserved) {
  std::string event;
  event.reserve(reserved);
  event += "{\"type\":\"";
  event += type;
  event += '"';
  return event;
}

void end_event(std::string& event) {
  event += '}';
  emit_event_json_line(event);
}

void emit_event_type_state(std::string_view type, std::string_view key, std::string_view value) {
  std::string json;
  json.reserve(16 + type.size() + key.size() + value.size());
  json += "{\"type\":\"";
  append_json_escaped(json, type);
  json += "\",\"";
  append_json_escaped(json, key);
  json += "\":\"";
  append_json_escaped(json, value);
  json += "\"}";
  emit_event_json_line(json);
}
