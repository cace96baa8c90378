#include "tests/forked_child.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

#include "frame/channels.h"

static std::string content(std::FILE* file) {
  std::string text;
  std::rewind(file);
  for (int c; (c = std::fgetc(file)) != EOF;) text += static_cast<char>(c);
  std::fclose(file);
  return text;
}

ChildResult run_in_child(const std::function<void()>& body) {
  (void)std::fflush(stdout);  // or a sanitizer writes it in the child, too
  std::FILE* files[5];
  for (std::FILE*& file : files) file = std::tmpfile();
  const auto& [out, err, log, mirror, events] = files;
  const pid_t pid = fork();
  if (pid == 0) {
    dup2(fileno(out), STDOUT_FILENO);
    dup2(fileno(err), STDERR_FILENO);
    g_log_fd = fileno(log);
    g_log_mirror_fd = fileno(mirror);
    g_events_fd = fileno(events);
    body();
    _exit(0);
  }
  ChildResult result;
  int status = 0;
  EXPECT_EQ(waitpid(pid, &status, 0), pid);
  if (WIFEXITED(status)) result.exit_status = WEXITSTATUS(status);
  result.out = content(out);
  result.err = content(err);
  result.log = content(log);
  result.mirror = content(mirror);
  result.events = content(events);
  return result;
}
