#include "frame/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include "frame/channels.h"

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

static int g_standard_flags[3] = {-1, -1, -1};

void unblock_standard_descriptors() {
  // All are read first, for they may share what one of them changes.
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
    g_standard_flags[fd] = fcntl(fd, F_GETFL);
  }
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) set_fd_nonblocking(fd);
}

void restore_standard_descriptors() {
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
    const int before = g_standard_flags[fd];
    const int now = fcntl(fd, F_GETFL);
    if (before < 0 || now < 0 || (before & O_NONBLOCK) != 0) continue;
    (void)fcntl(fd, F_SETFL, now & ~O_NONBLOCK);
  }
}

void mkdir_if_missing(const std::string& path) {
  if (path.empty() || mkdir(path.c_str(), 0777) == 0 || errno == EEXIST) return;
  std::fprintf(stderr, "mkdir('%s') failed: %s\n", path.c_str(), std::strerror(errno));
}

// Whether lines behind the file's end would be joined to its last one.
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

struct WaitingFile {
  std::string path;
  int flags;
  std::atomic<int>& fd;
  void (*opened)();
};
static std::vector<WaitingFile> g_waiting_files;
bool g_files_wait = false;

// False, with errno, when it cannot be opened.
static bool try_open(const WaitingFile& file) {
  const int fd = open(file.path.c_str(), O_WRONLY | O_CREAT | O_NONBLOCK | file.flags, 0666);
  if (fd < 0) return false;
  file.fd = fd;
  set_line_cut(fd, file.flags == O_APPEND && ends_within_line(file.path));
  if (file.opened != nullptr) file.opened();
  return true;
}

static bool is_fifo(const std::string& path) {
  struct stat info {};
  return stat(path.c_str(), &info) == 0 && S_ISFIFO(info.st_mode);
}

void open_output_file(const std::string& path, int flags, std::atomic<int>& fd, void (*opened)()) {
  const WaitingFile file = {path, flags, fd, opened};
  if (try_open(file)) return;
  if (errno == ENXIO && is_fifo(path)) {
    dbg("FIFO_WAIT no reader path=" + path);
    g_waiting_files.push_back(file);
    g_files_wait = true;
    return;
  }
  std::fprintf(stderr, "open('%s') failed: %s\n", path.c_str(), std::strerror(errno));
}

void open_waiting_files() {
  std::vector<WaitingFile> waiting;
  waiting.swap(g_waiting_files);
  g_files_wait = false;  // what is written meanwhile does not come back here
  for (const WaitingFile& file : waiting) {
    if (!try_open(file)) g_waiting_files.push_back(file);
  }
  g_files_wait = !g_waiting_files.empty();
}

void open_log_files(const std::string& log_path, const std::string& mirror_path) {
  if (!log_path.empty()) open_output_file(log_path, O_APPEND, g_log_fd);
  if (!mirror_path.empty() && mirror_path != log_path) {
    open_output_file(mirror_path, O_APPEND, g_log_mirror_fd);
  }
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
  if (open_fd < 0) return;
  const int null_fd = open("/dev/null", O_RDWR);
  if (null_fd < 0) {
    (void)close(open_fd);
    return;
  }
  (void)dup2(null_fd, open_fd);
  (void)close(null_fd);
}

void close_output_files() {
  close_descriptor(g_events_fd);
  close_descriptor(g_db_lock_fd);
  close_descriptor(g_log_fd);
  close_descriptor(g_log_mirror_fd);
}
