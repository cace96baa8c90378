#include "console/backend.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>

namespace {

std::string events_path(const Backend& backend) { return backend.dir + "/events"; }
std::string running_path(const Backend& backend) { return backend.dir + "/ui_running.txt"; }

void replace_fd(int& fd, int with = -1) {
  if (fd >= 0) close(fd);
  fd = with;
}

bool make_directory(Backend& backend) {
  if (!backend.dir.empty()) return true;
  const char* base = std::getenv("TMPDIR");
  std::string name = std::string(base && *base ? base : "/tmp") + "/td_console-XXXXXX";
  if (!mkdtemp(name.data())) return false;
  backend.dir = name;
  backend.watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  inotify_add_watch(backend.watch, name.c_str(), IN_MODIFY | IN_MOVED_TO);
  return true;
}

void open_events(Backend& backend) {
  const std::string path = events_path(backend);
  replace_fd(backend.events, open(path.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC, 0600));
}

int spawn(Backend& backend, int in, int out) {
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_adddup2(&files, in, STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&files, out, STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&files, out, STDERR_FILENO);
  // In a process group of its own: a Ctrl-C at the terminal is the console's business.
  posix_spawnattr_t how;
  posix_spawnattr_init(&how);
  sigset_t defaults;
  sigemptyset(&defaults);
  sigaddset(&defaults, SIGPIPE);
  posix_spawnattr_setsigdefault(&how, &defaults);
  posix_spawnattr_setflags(&how, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF);
  const char* program = backend.program.c_str();
  const std::array<char*, 2> argv = {backend.program.data(), nullptr};
  const int error = posix_spawn(&backend.pid, program, &files, &how, argv.data(), environ);
  posix_spawn_file_actions_destroy(&files);
  posix_spawnattr_destroy(&how);
  if (error != 0) backend.pid = -1;
  return error;
}

// Hands over the whole lines of what can be read. Above 0: there is more; 0: the end was met;
// below: nothing more for now.
ssize_t drain(int fd, std::string& part, const OnLine& on_line) {
  std::array<char, 65536> buffer;
  ssize_t got = 1;
  for (int round = 0; round < 16 && got > 0; ++round) {
    got = read(fd, buffer.data(), buffer.size());
    part.append(buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    std::size_t begin = 0;
    for (std::size_t end; (end = part.find('\n', begin)) != std::string::npos; begin = end + 1) {
      on_line(std::string_view(part).substr(begin, end - begin));
    }
    part.erase(0, begin);
  }
  return got;
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

int start(Backend& backend) {
  std::array<int, 2> in{};
  std::array<int, 2> out{};
  if (!make_directory(backend) || pipe2(in.data(), O_CLOEXEC) != 0 ||
      pipe2(out.data(), O_CLOEXEC) != 0) {
    return errno;
  }
  unlink(events_path(backend).c_str());
  open_events(backend);
  setenv("BACKEND_EVENTS_FILE", events_path(backend).c_str(), 1);
  setenv("BACKEND_PROTOCOL", "2", 1);
  setenv("BACKEND_WAKE_ON_INPUT", "1", 1);
  setenv("BACKEND_EXIT_ON_EOF", "1", 1);
  setenv("BACKEND_EVENTS_MAX_BYTES", "4000000", 0);
  const int error = spawn(backend, in[0], out[1]);
  close(in[0]);
  close(out[1]);
  replace_fd(backend.input, in[1]);
  replace_fd(backend.output, out[0]);
  fcntl(backend.input, F_SETFL, O_NONBLOCK);
  fcntl(backend.output, F_SETFL, O_NONBLOCK);
  backend.unsent.clear();
  backend.output_part.clear();
  backend.events_part.clear();
  return error;
}

void send_line(Backend& backend, std::string_view line) {
  if (backend.pid < 0) return;
  backend.unsent.append(line).append("\n");
  flush(backend);
}

void wait_for_news(Backend& backend, int terminal, int milliseconds) {
  std::array<pollfd, 4> fds = {{{terminal, POLLIN, 0},
                                {backend.output, POLLIN, 0},
                                {backend.watch, POLLIN, 0},
                                {backend.unsent.empty() ? -1 : backend.input, POLLOUT, 0}}};
  // Without a watch the events file is looked at ten times a second.
  if (backend.watch < 0) milliseconds = std::min(milliseconds, 100);
  poll(fds.data(), fds.size(), backend.more ? 0 : milliseconds);
  std::array<char, 4096> ignored;
  while (read(backend.watch, ignored.data(), ignored.size()) > 0) {
  }
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
  backend.unsent.clear();
  return false;
}

void touch_ui_running(const Backend& backend) {
  const int fd = open(running_path(backend).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  if (fd < 0) return;
  futimens(fd, nullptr);
  close(fd);
}

void remove_files(Backend& backend) {
  if (backend.dir.empty()) return;
  const std::string events = events_path(backend);
  for (const std::string& path : {events, events + ".1", running_path(backend)}) {
    unlink(path.c_str());
  }
  rmdir(backend.dir.c_str());
}
