#include "tests/forked_child.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

#include "frame/channels.h"

namespace {

struct CaptureFile {
  std::FILE* file = std::tmpfile();
  CaptureFile() = default;
  CaptureFile(const CaptureFile&) = delete;
  CaptureFile& operator=(const CaptureFile&) = delete;
  ~CaptureFile() { std::fclose(file); }
  int fd() const { return fileno(file); }
  std::string content() const {
    std::string text;
    char chunk[4096];
    off_t at = 0;
    while (const ssize_t got = pread(fd(), chunk, sizeof chunk, at)) {
      if (got < 0) break;
      text.append(chunk, static_cast<std::size_t>(got));
      at += got;
    }
    return text;
  }
};

}  // namespace

ChildResult run_in_child(const std::function<void()>& body) {
  const CaptureFile out, err, log, mirror, events;
  const pid_t pid = fork();
  if (pid == 0) {
    dup2(out.fd(), STDOUT_FILENO);
    dup2(err.fd(), STDERR_FILENO);
    g_log_fd = log.fd();
    g_log_mirror_fd = mirror.fd();
    g_events_fd = events.fd();
    body();
    _exit(0);
  }
  ChildResult result;
  int status = 0;
  EXPECT_EQ(waitpid(pid, &status, 0), pid);
  if (WIFEXITED(status)) result.exit_status = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
  result.out = out.content();
  result.err = err.content();
  result.log = log.content();
  result.mirror = mirror.content();
  result.events = events.content();
  return result;
}
