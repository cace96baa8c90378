#include "frame/loop.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "frame/channels.h"
#include "json/text.h"

constexpr std::size_t kKeptInput = 64 * 1024;
constexpr double kReceiveTimeoutSeconds = 0.2;

static void split_lines(PendingInput& pending, std::vector<std::string>& lines) {
  std::size_t begin = 0;
  while (true) {
    const std::size_t end = pending.bytes.find('\n', std::max(begin, pending.searched));
    if (end == std::string::npos) break;
    lines.emplace_back(pending.bytes, begin, end - begin);
    begin = end + 1;
  }
  pending.bytes.erase(0, begin);
  // A line of megabytes leaves no megabytes behind.
  if (pending.bytes.empty() && pending.bytes.capacity() > kKeptInput) {
    std::string().swap(pending.bytes);
  }
  pending.searched = pending.bytes.size();
}

void read_input_lines(PendingInput& pending, std::vector<std::string>& lines) {
  char buffer[4096];
  while (true) {
    const ssize_t got = read(STDIN_FILENO, buffer, sizeof buffer);
    if (got > 0) {
      pending.bytes.append(buffer, static_cast<std::size_t>(got));
      split_lines(pending, lines);
    } else if (got == 0) {
      return;  // end of input does not stop the backend
    } else if (errno != EINTR) {
      if (errno != EAGAIN) std::fprintf(stderr, "read(stdin) failed: %s\n", std::strerror(errno));
      return;
    }
  }
}

static void run_commands(const std::vector<std::string>& lines, const LoopHooks& hooks,
                         bool& keep_running) {
  for (const std::string& text : lines) {
    const std::string_view line = trim(text);
    if (line.empty()) continue;
    if (line == "quit") {
      print_line("BYE");
      keep_running = false;
      return;
    }
    hooks.command(line);
  }
}

void run_loop(const TdApi& api, const LoopHooks& hooks, bool& keep_running) {
  PendingInput pending;
  std::vector<std::string> lines;
  std::string received;
  while (keep_running) {
    lines.clear();
    read_input_lines(pending, lines);
    run_commands(lines, hooks, keep_running);
    hooks.follow_up();
    const char* text = api.receive(kReceiveTimeoutSeconds);
    if (text == nullptr) continue;
    received.assign(text);  // TDLib's buffer lives only until the next call
    hooks.object(received);
  }
}
