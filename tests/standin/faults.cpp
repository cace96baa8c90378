// Preloaded before the program: one call of it fails, as a test has written into the mapped file
// TD_FAULTS. Writes are those to standard output and to regular files; allocations count from the
// first write on.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>

enum class FaultKind : std::int32_t {
  kNone,
  kShort,   // of a line's bytes only the first is written
  kTorn,    // the same, and the next write fails with EIO
  kFails,   // the write fails with `error`
  kMalloc,  // malloc gives nothing once
  kMemory,  // from here on neither malloc nor mmap gives anything
};

struct Faults {
  std::atomic<FaultKind> fault;
  std::atomic<std::int32_t> error;
  std::atomic<std::int32_t> at;  // the call that fails, from 1 on
  std::atomic<std::int32_t> writes;
  std::atomic<std::int32_t> allocations;
};
static Faults* g_faults = nullptr;

__attribute__((constructor)) static void map_faults() {
  const int fd = open(std::getenv("TD_FAULTS"), O_RDWR | O_CLOEXEC);
  void* page = mmap(nullptr, sizeof(Faults), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (page == MAP_FAILED) std::abort();
  close(fd);
  g_faults = static_cast<Faults*>(page);
}

static bool counts(int fd) {
  struct stat info {};
  return fd == STDOUT_FILENO || (fstat(fd, &info) == 0 && S_ISREG(info.st_mode));
}

static bool memory_fails() {
  if (g_faults == nullptr || g_faults->writes == 0) return false;
  const int number = ++g_faults->allocations;
  const FaultKind fault = g_faults->fault;
  if (fault == FaultKind::kMalloc ? number != g_faults->at
                                  : fault != FaultKind::kMemory || number < g_faults->at) {
    return false;
  }
  errno = ENOMEM;
  return true;
}

// libc's names are reserved ones.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name,readability-identifier-naming)
extern "C" {

void* __libc_malloc(std::size_t size);

void* malloc(std::size_t size) { return memory_fails() ? nullptr : __libc_malloc(size); }

// As the program calls it, whose offsets have 64 bits everywhere.
void* mmap64(void* at, std::size_t length, int protection, int flags, int fd,
             off64_t offset) noexcept {
  static auto* real = reinterpret_cast<decltype(&mmap64)>(dlsym(RTLD_NEXT, "mmap64"));
  if (g_faults != nullptr && g_faults->fault == FaultKind::kMemory &&
      g_faults->allocations >= g_faults->at) {
    errno = ENOMEM;
    return MAP_FAILED;
  }
  return real(at, length, protection, flags, fd, offset);
}

ssize_t writev(int fd, const iovec* parts, int count) {
  if (g_faults == nullptr || !counts(fd)) return syscall(SYS_writev, fd, parts, count);
  const int number = ++g_faults->writes - g_faults->at;
  const FaultKind fault = g_faults->fault;
  if (number == 0 && (fault == FaultKind::kShort || fault == FaultKind::kTorn)) {
    while (parts->iov_len == 0) ++parts;
    return syscall(SYS_write, fd, parts->iov_base, 1);
  }
  if ((number == 0 && fault == FaultKind::kFails) || (number == 1 && fault == FaultKind::kTorn)) {
    errno = fault == FaultKind::kTorn ? EIO : g_faults->error.load();
    return -1;
  }
  return syscall(SYS_writev, fd, parts, count);
}

}  // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name,readability-identifier-naming)
