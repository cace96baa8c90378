#include "frame/channels.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

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

void write_line_best_effort(int fd, const char* prefix, const char* msg) {
  if (fd < 0) return;
  if (msg == nullptr) msg = "(null)";
  char line[2048];
  constexpr std::size_t kTextMax = sizeof line - 1;  // the last byte is the NUL's
  const std::size_t prefix_len = std::min(std::strlen(prefix), kTextMax);
  std::memcpy(line, prefix, prefix_len);
  // One byte beyond what fits is enough to know that the line is too long.
  const std::size_t msg_len = strnlen(msg, kTextMax - prefix_len + 1);
  if (prefix_len + msg_len + 1 <= kTextMax) {
    std::memcpy(line + prefix_len, msg, msg_len);
    line[prefix_len + msg_len] = '\n';
    write_best_effort(fd, line, prefix_len + msg_len + 1);
    return;
  }
  std::memcpy(line + prefix_len, msg, std::min(msg_len, kTextMax - prefix_len));
  line[kTextMax] = '\0';
  write_best_effort(fd, line, sizeof line);
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
  write_best_effort(STDOUT_FILENO, line.data(), line.size());
  write_best_effort(STDOUT_FILENO, "\n", 1);
}

// In hub mode only what a notification needs leaves; a line whose type cannot be told does, too.
static bool passes_hub_filter(std::string_view json) {
  static constexpr std::string_view kKey = "\"type\":\"";
  static constexpr std::string_view kPassed[] = {"auth_state", "chat_unread", "call_update",
                                                 "hub_notify_message", "td_error"};
  const std::size_t key = json.find(kKey);
  if (key == std::string_view::npos) return true;
  const std::size_t begin = key + kKey.size();
  const std::size_t end = json.find('"', begin);
  if (end == std::string_view::npos || end == begin) return true;
  const std::string_view type = json.substr(begin, end - begin);
  return std::find(std::begin(kPassed), std::end(kPassed), type) != std::end(kPassed);
}

void emit_event_json_line(std::string_view json) {
  const int fd = g_events_fd;
  if (fd < 0) return;
  if (g_hub_mode && !passes_hub_filter(json)) return;
  write_best_effort(fd, json.data(), json.size());
  write_best_effort(fd, "\n", 1);
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
