#include "frame/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "frame/channels.h"
#include "frame/clock.h"
#include "json/text.h"

void open_missing_standard_descriptors() {
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
    // The lowest free number is the one that is missing, for those below it are open by now.
    if (fcntl(fd, F_GETFD) < 0 && errno == EBADF) (void)open("/dev/null", O_RDWR);
  }
}

void set_fd_nonblocking(int fd) {
  const int flags = fcntl(fd, F_GETFL);
  if (flags < 0) return;
  (void)fcntl(fd, F_SETFL, flags | O_NONBLOCK);
}

void mkdir_if_missing(const std::string& path) {
  if (path.empty() || mkdir(path.c_str(), 0777) == 0 || errno == EEXIST) return;
  std::fprintf(stderr, "mkdir('%s') failed: %s\n", path.c_str(), std::strerror(errno));
}

static int open_output_file(const std::string& path, int flags) {
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | flags, 0666);
  if (fd < 0) {
    std::fprintf(stderr, "open('%s') failed: %s\n", path.c_str(), std::strerror(errno));
    return -1;
  }
  set_fd_nonblocking(fd);
  return fd;
}

void open_log_files(const std::string& log_path, const std::string& mirror_path) {
  if (!log_path.empty()) g_log_fd = open_output_file(log_path, O_APPEND);
  if (!mirror_path.empty() && mirror_path != log_path) {
    g_log_mirror_fd = open_output_file(mirror_path, O_APPEND);
  }
}

void open_events_file(const std::string& path, bool append) {
  const int fd = open_output_file(path, append ? O_APPEND : O_TRUNC);
  if (fd < 0) return;
  g_events_fd = fd;
  dbg("EVENTS_OPEN path=" + path + " mode=" + (append ? "append" : "truncate"));
  std::string run = begin_event("backend_run");
  append_int_member(run, "pid", getpid());
  append_int_member(run, "mono_ms", mono_ms());
  end_event(run);
}

bool take_database_lock(const std::string& db_dir) {
  if (db_dir.empty()) return false;
  const std::string path = db_dir + "/td_backend.lock";
  const int fd = open(path.c_str(), O_RDWR | O_CREAT, 0666);
  if (fd < 0) {
    dbg("DB_LOCK open failed path=" + path + " err=" + std::strerror(errno));
    return false;
  }
  g_db_lock_fd = fd;
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  if (fcntl(fd, F_SETLK, &lock) != 0) {
    dbg("DB_LOCK busy path=" + path + " err=" + std::strerror(errno));
    return false;
  }
  dbg("DB_LOCK ok path=" + path);
  return true;
}

void close_descriptor(std::atomic<int>& fd) {
  const int open_fd = fd.exchange(-1);
  if (open_fd >= 0) (void)close(open_fd);
}

void close_output_files() {
  close_descriptor(g_events_fd);
  close_descriptor(g_db_lock_fd);
  close_descriptor(g_log_fd);
  close_descriptor(g_log_mirror_fd);
}
