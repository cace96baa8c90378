#include "frame/files.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#include "frame/channels.h"
#include "frame/ui_running.h"
#include "tests/forked_child.h"

// A library thread that is about to write a log line holds no more than the number.
TEST(Files, NumberOfAClosedFileStaysTaken) {
  const ChildResult child = run_in_child([] {
    const int number = g_log_fd;
    close_descriptor(g_log_fd);
    struct stat info {};
    const bool is_null = fstat(number, &info) == 0 && S_ISCHR(info.st_mode);
    (void)!write(number, "late", 4);
    _exit(is_null && g_log_fd == -1 ? 0 : 1);
  });
  EXPECT_EQ(child.exit_status, 0);
  EXPECT_EQ(child.log, "");
}

TEST(Files, StandardDescriptorsGetTheirModeBack) {
  const ChildResult child = run_in_child([] {
    dup2(STDOUT_FILENO, STDERR_FILENO);  // shared, as a terminal is
    dup2(STDOUT_FILENO, STDIN_FILENO);
    fcntl(STDOUT_FILENO, F_SETFL, O_APPEND);
    unblock_standard_descriptors();
    const int during = fcntl(STDERR_FILENO, F_GETFL);
    restore_standard_descriptors();
    const int after = fcntl(STDERR_FILENO, F_GETFL);
    _exit((during & O_NONBLOCK) != 0 && (after & O_NONBLOCK) == 0 && (after & O_APPEND) != 0 ? 0
                                                                                             : 1);
  });
  EXPECT_EQ(child.exit_status, 0);
}

TEST(Files, DatedAfter2037AreThere) {
  char path[] = "/tmp/td_backend_late_XXXXXX";
  const int fd = mkstemp(path);
  const timespec late[2] = {{2177452800, 0}, {2177452800, 0}};  // 2039
  ASSERT_EQ(futimens(fd, late), 0);
  g_ui_running_marker_path = path;
  g_ui_running_last_check_mono_ms = 0;
  EXPECT_TRUE(is_ui_running_active());
  g_ui_running_marker_path.clear();
  close(fd);
  unlink(path);
}
