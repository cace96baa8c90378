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

// Whether the file has an end that a line could be joined to.
static bool ends_within_line(const std::string& path) {
  struct stat info {};
  if (stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode) || info.st_size == 0) return false;
  const int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK);
  char last = '\n';
  if (fd >= 0) {
    (void)!pread(fd, &last, 1, info.st_size - 1);
    (void)close(fd);
  }
  return last != '\n';
}

// For lines behind those that are there.
static void open_for_append(const std::string& path, std::atomic<int>& fd) {
  fd = open_output_file(path, O_APPEND);
  if (fd >= 0) set_line_cut(fd, ends_within_line(path));
}

void open_log_files(const std::string& log_path, const std::string& mirror_path) {
  if (!log_path.empty()) open_for_append(log_path, g_log_fd);
  if (!mirror_path.empty() && mirror_path != log_path) {
    open_for_append(mirror_path, g_log_mirror_fd);
  }
}

void open_events_file(const std::string& path, bool append) {
  if (append) {
    open_for_append(path, g_events_fd);
  } else {
    g_events_fd = open_output_file(path, O_TRUNC);
  }
  if (g_events_fd < 0) return;
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
