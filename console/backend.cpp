#include "console/backend.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

namespace {

std::string events_path(const Backend& backend) { return backend.dir + "/events"; }
std::string running_path(const Backend& backend) { return backend.dir + "/ui_running.txt"; }

void close_fd(int& fd) {
  if (fd >= 0) close(fd);
  fd = -1;
}

bool make_directory(Backend& backend) {
  if (!backend.dir.empty()) return true;
  const char* base = std::getenv("TMPDIR");
  std::string name = std::string(base && *base ? base : "/tmp") + "/td_console-XXXXXX";
  if (!mkdtemp(name.data())) return false;
  backend.dir = name;
  backend.watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  if (backend.watch >= 0) {
    inotify_add_watch(backend.watch, name.c_str(), IN_MODIFY | IN_CREATE | IN_MOVED_TO);
  }
  return true;
}

// In the child, between fork and exec: only what is safe there. The environment was made before.
[[noreturn]] void become_backend(const char* program, char* const* environment, int in, int out) {
  signal(SIGPIPE, SIG_DFL);
  dup2(in, STDIN_FILENO);
  dup2(out, STDOUT_FILENO);
  dup2(out, STDERR_FILENO);
  // A Ctrl-C at the terminal is the console's business.
  setpgid(0, 0);
  const std::array<char*, 2> argv = {const_cast<char*>(program), nullptr};
  execve(program, argv.data(), environment);
  const char* text = strerror(errno);
  const std::array<std::string_view, 3> parts = {"FATAL it cannot be started: ", text, "\n"};
  for (const std::string_view part : parts) {
    if (write(STDOUT_FILENO, part.data(), part.size()) < 0) break;
  }
  _exit(127);
}

void open_events(Backend& backend) {
  if (backend.events >= 0 && !backend.reopen) return;
  const int fd = open(events_path(backend).c_str(), O_RDONLY | O_CLOEXEC);
  struct stat now {};
  struct stat before {};
  if (fd < 0 || fstat(fd, &now) != 0) return;
  // The line that announces a new file comes before it: the path may still name the old one,
  // which stays open until then, so that its number is nobody else's.
  if (backend.reopen && fstat(backend.events, &before) == 0 && now.st_ino == before.st_ino) {
    close(fd);
    return;
  }
  close_fd(backend.events);
  backend.reopen = false;
  backend.events = fd;
}

// Reads what is there now, at most 1 MiB, and hands over the whole lines of it. False at the end
// of what there is.
bool drain(int fd, std::string& part, const std::function<bool(std::string_view)>& on_line) {
  std::array<char, 65536> buffer;
  for (int round = 0; round < 16; ++round) {
    const ssize_t got = read(fd, buffer.data(), buffer.size());
    if (got <= 0) return got < 0;
    part.append(buffer.data(), static_cast<std::size_t>(got));
    std::size_t begin = 0;
    for (std::size_t end; (end = part.find('\n', begin)) != std::string::npos; begin = end + 1) {
      const std::string_view line = std::string_view(part).substr(begin, end - begin);
      if (!line.empty() && !on_line(line)) {
        part.clear();
        return false;
      }
    }
    part.erase(0, begin);
  }
  return true;
}

// True when there was anything.
bool read_events(Backend& backend, const OnLine& on_event) {
  open_events(backend);
  backend.more = false;
  if (backend.events < 0 || backend.reopen) return false;
  bool any = false;
  backend.more = drain(backend.events, backend.events_part, [&](std::string_view line) {
    any = true;
    on_event(line);
    backend.reopen = line.substr(0, 24) == R"({"type":"events_rotated")";
    return !backend.reopen;
  });
  if (backend.reopen) backend.more = true;
  return any;
}

void flush(Backend& backend) {
  while (backend.input >= 0 && !backend.unsent.empty()) {
    const ssize_t sent = write(backend.input, backend.unsent.data(), backend.unsent.size());
    if (sent <= 0) return;
    backend.unsent.erase(0, static_cast<std::size_t>(sent));
  }
}

}  // namespace

bool start(Backend& backend, std::string& why) {
  std::array<int, 2> in{};
  std::array<int, 2> out{};
  if (!make_directory(backend) || pipe2(in.data(), O_CLOEXEC) != 0 ||
      pipe2(out.data(), O_CLOEXEC) != 0) {
    why = strerror(errno);
    return false;
  }
  unlink(events_path(backend).c_str());
  setenv("BACKEND_EVENTS_FILE", events_path(backend).c_str(), 1);
  setenv("BACKEND_PROTOCOL", "2", 1);
  setenv("BACKEND_WAKE_ON_INPUT", "1", 1);
  setenv("BACKEND_EXIT_ON_EOF", "1", 1);
  setenv("BACKEND_EVENTS_MAX_BYTES", "4000000", 0);
  backend.pid = fork();
  if (backend.pid == 0) become_backend(backend.program.c_str(), environ, in[0], out[1]);
  close(in[0]);
  close(out[1]);
  backend.input = in[1];
  backend.output = out[0];
  if (backend.pid < 0) {
    why = strerror(errno);
    close_fd(backend.input);
    close_fd(backend.output);
    return false;
  }
  fcntl(backend.input, F_SETFL, O_NONBLOCK);
  fcntl(backend.output, F_SETFL, O_NONBLOCK);
  backend.unsent.clear();
  backend.output_part.clear();
  backend.events_part.clear();
  backend.reopen = false;
  return true;
}

void send_line(Backend& backend, std::string_view line) {
  if (backend.input < 0) return;
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
  const bool open = drain(backend.output, backend.output_part, [&](std::string_view line) {
    on_output(line);
    return true;
  });
  read_events(backend, on_event);
  if (open) return true;
  int status = 0;
  // Its output is closed: it is at its end, and what it wrote stands in the file.
  while (waitpid(backend.pid, &status, 0) < 0 && errno == EINTR) {
  }
  while (read_events(backend, on_event)) {
  }
  backend.status = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  backend.pid = -1;
  close_fd(backend.input);
  close_fd(backend.output);
  close_fd(backend.events);
  return false;
}

void touch_ui_running(const Backend& backend) {
  const int fd = open(running_path(backend).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  if (fd < 0) return;
  futimens(fd, nullptr);
  close(fd);
}

void signal_backend(const Backend& backend, int number) {
  if (backend.pid > 0) kill(backend.pid, number);
}

void remove_files(Backend& backend) {
  if (backend.dir.empty()) return;
  const std::string events = events_path(backend);
  for (const std::string& path : {events, events + ".1", running_path(backend)}) {
    unlink(path.c_str());
  }
  rmdir(backend.dir.c_str());
  close_fd(backend.watch);
}
