#include "console/backend.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace {

constexpr int kLookEvery = 50;  // milliseconds: a file cannot be waited for

std::string events_path(const Backend& backend) { return backend.dir + "/events"; }

void replace_fd(int& fd, int with = -1) {
  if (fd >= 0) close(fd);
  fd = with;
}

bool make_directory(Backend& backend) {
  const char* base = std::getenv("TMPDIR");
  std::string name = std::string(base && *base ? base : "/tmp") + "/td_console-XXXXXX";
  if (backend.dir.empty() && mkdtemp(name.data())) backend.dir = name;
  return !backend.dir.empty();
}

void open_events(Backend& backend) {
  const std::string path = events_path(backend);
  replace_fd(backend.events, open(path.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC, 0600));
}

// In the process to be: in a group of its own, for a Ctrl-C at the terminal is the console's
// business.
[[noreturn]] void become(const Backend& backend, int in, int out) {
  setpgid(0, 0);
  dup2(in, STDIN_FILENO);
  dup2(out, STDOUT_FILENO);
  dup2(out, STDERR_FILENO);
  signal(SIGPIPE, SIG_DFL);
  const std::string events = events_path(backend);
  setenv("BACKEND_EVENTS_FILE", events.c_str(), 1);
  setenv("BACKEND_PROTOCOL", "2", 1);
  setenv("BACKEND_WAKE_ON_INPUT", "1", 1);
  setenv("BACKEND_EXIT_ON_EOF", "1", 1);
  setenv("BACKEND_EVENTS_MAX_BYTES", "4000000", 0);
  execl(backend.program.c_str(), backend.program.c_str(), nullptr);
  _exit(127);
}

void read_events(Backend& backend, const OnLine& on_event) {
  bool rotated = false;  // that was the file's last line, and its successor is there
  const ssize_t got = drain(backend.events, backend.events_part, [&](std::string_view line) {
    rotated |= line.find(R"({"type":"events_rotated")") == 0;
    on_event(line);
  });
  if (rotated) open_events(backend);
  backend.more = rotated || got > 0;
}

void flush(Backend& backend) {
  while (!backend.unsent.empty()) {
    const ssize_t sent = write(backend.input, backend.unsent.data(), backend.unsent.size());
    if (sent <= 0) return;
    backend.unsent.erase(0, static_cast<std::size_t>(sent));
  }
}

}  // namespace

ssize_t drain(int fd, std::string& part, const OnLine& on_line) {
  std::array<char, 65536> buffer;
  pollfd ready = {fd, POLLIN, 0};
  ssize_t got = 1;
  for (int round = 0; round < 16 && got > 0; ++round) {
    got = poll(&ready, 1, 0) > 0 ? read(fd, buffer.data(), buffer.size()) : -1;
    part.append(buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    std::size_t begin = 0;
    for (std::size_t end; (end = part.find('\n', begin)) != std::string::npos; begin = end + 1) {
      on_line(std::string_view(part).substr(begin, end - begin));
    }
    part.erase(0, begin);
  }
  return got;
}

int start(Backend& backend) {
  std::array<int, 2> in{};
  std::array<int, 2> out{};
  if (access(backend.program.c_str(), X_OK) != 0 || !make_directory(backend) ||
      pipe2(in.data(), O_CLOEXEC) != 0 || pipe2(out.data(), O_CLOEXEC) != 0) {
    return errno;
  }
  unlink(events_path(backend).c_str());
  open_events(backend);
  backend.pid = fork();
  if (backend.pid == 0) become(backend, in[0], out[1]);
  const int error = backend.pid < 0 ? errno : 0;
  close(in[0]);
  close(out[1]);
  replace_fd(backend.input, in[1]);
  replace_fd(backend.output, out[0]);
  fcntl(backend.input, F_SETFL, O_NONBLOCK);
  backend.unsent = backend.output_part = backend.events_part = "";
  return error;
}

void send_line(Backend& backend, std::string_view line) {
  if (backend.pid < 0) return;
  backend.unsent.append(line).append("\n");
  flush(backend);
}

void wait_for_news(Backend& backend, int terminal) {
  std::array<pollfd, 2> fds = {{{terminal, POLLIN, 0}, {backend.output, POLLIN, 0}}};
  poll(fds.data(), fds.size(), backend.more ? 0 : kLookEvery);
  flush(backend);
}

bool read_lines(Backend& backend, const OnLine& on_output, const OnLine& on_event) {
  if (backend.pid < 0) return true;
  const bool open = drain(backend.output, backend.output_part, on_output) != 0;
  read_events(backend, on_event);
  if (open) return true;
  // Its output is closed: it is at its end, and what it wrote stands in the file.
  int status = 0;
  while (waitpid(backend.pid, &status, 0) < 0 && errno == EINTR) {
  }
  do read_events(backend, on_event);
  while (backend.more);
  backend.status = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  backend.pid = -1;
  replace_fd(backend.input);
  replace_fd(backend.output);
  return false;
}

void touch_ui_running(const Backend& backend) {
  std::ofstream(backend.dir + "/ui_running.txt") << "console\n";
}

void remove_files(const Backend& backend) {
  std::error_code ignored;
  if (!backend.dir.empty()) std::filesystem::remove_all(backend.dir, ignored);
}
