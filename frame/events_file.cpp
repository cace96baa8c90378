#include "frame/events_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "frame/channels.h"
#include "frame/clock.h"
#include "frame/files.h"
#include "frame/protocol.h"
#include "json/text.h"

static std::string g_path;
static int g_open_flags = 0;
static std::int64_t g_max_bytes = 0;  // 0: no limit
static std::int64_t g_bytes = 0;      // since the file was opened or could not be put aside
static bool g_failure_told = false;

static void begin_run() {
  struct stat info {};
  const bool measurable = fstat(g_events_fd, &info) == 0 && S_ISREG(info.st_mode);
  if (!measurable) g_max_bytes = 0;
  g_bytes = measurable ? static_cast<std::int64_t>(info.st_size) : 0;
  dbg("EVENTS_OPEN path=" + g_path + " mode=" + (g_open_flags == O_APPEND ? "append" : "truncate"));
  emit_hello();
  std::string run = begin_event("backend_run");
  append_int_member(run, "pid", getpid());
  append_int_member(run, "mono_ms", mono_ms());
  end_event(run);
  count_missed_events();
}

void open_events_file(const std::string& path, bool append, std::int64_t max_bytes) {
  g_path = path;
  g_open_flags = append ? O_APPEND : O_TRUNC;
  g_max_bytes = max_bytes > 0 ? max_bytes : 0;
  open_output_file(path, g_open_flags, g_events_fd, begin_run);
}

// The new file, open, under the path that the old one had; -1 with errno when the old one stays.
static int replace_events_file() {
  struct stat ours {};
  struct stat named {};
  if (fstat(g_events_fd, &ours) != 0 || stat(g_path.c_str(), &named) != 0) return -1;
  if (ours.st_ino != named.st_ino || ours.st_dev != named.st_dev) {
    errno = EEXIST;  // somebody else's by now
    return -1;
  }
  const std::string aside = g_path + ".1";
  if (rename(g_path.c_str(), aside.c_str()) != 0) return -1;
  // Readable for those who could read the old one.
  const mode_t mode = ours.st_mode & 0777;
  const int fd = open(g_path.c_str(), O_WRONLY | O_CREAT | O_NONBLOCK | g_open_flags, mode);
  if (fd < 0) {
    const int error = errno;
    (void)rename(aside.c_str(), g_path.c_str());
    errno = error;
    return -1;
  }
  (void)fchmod(fd, mode);
  return fd;
}

void events_file_grew(std::size_t bytes) {
  if (g_max_bytes == 0) return;
  g_bytes += static_cast<std::int64_t>(bytes);
  struct stat info {};
  if (g_bytes < g_max_bytes || fstat(g_events_fd, &info) != 0) return;
  g_bytes = static_cast<std::int64_t>(info.st_size);
  if (g_bytes < g_max_bytes) return;  // somebody has emptied it meanwhile
  g_bytes = 0;
  const int fd = replace_events_file();
  if (fd < 0) {
    if (!g_failure_told) {
      dbg("EVENTS_ROTATE failed path=" + g_path + " err=" + std::strerror(errno));
    }
    g_failure_told = true;
    return;
  }
  // Whoever meets this line finds the new file there.
  emit_event_json_line(R"({"type":"events_rotated"})");
  set_line_cut(g_events_fd, false);
  (void)dup2(fd, g_events_fd);
  (void)close(fd);
  g_bytes = 0;
}

void keep_events_file() { g_max_bytes = 0; }
