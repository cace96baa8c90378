// Preloaded before the program: clock_gettime gives what the test has set in the mapped file
// TD_HELD_CLOCK. Every other clock, and both when that is not set, are the system's.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>

struct HeldClock {
  std::atomic<std::int64_t> mono_ns;
  std::atomic<std::int64_t> wall_ns;
};
static HeldClock* g_clock = nullptr;

__attribute__((constructor)) static void map_held_clock() {
  const char* path = std::getenv("TD_HELD_CLOCK");
  if (path == nullptr) return;
  const int fd = open(path, O_RDWR | O_CLOEXEC);
  if (fd < 0) std::abort();
  void* page = mmap(nullptr, sizeof(HeldClock), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  close(fd);
  if (page == MAP_FAILED) std::abort();
  g_clock = static_cast<HeldClock*>(page);
}

static int give(std::int64_t ns, timespec* ts) {
  ts->tv_sec = static_cast<time_t>(ns / 1000000000);
  ts->tv_nsec = static_cast<long>(ns % 1000000000);
  return 0;
}

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): libc's are reserved names
extern "C" int clock_gettime(clockid_t id, timespec* ts) noexcept {
  if (g_clock != nullptr && id == CLOCK_MONOTONIC) return give(g_clock->mono_ns, ts);
  if (g_clock != nullptr && id == CLOCK_REALTIME) return give(g_clock->wall_ns, ts);
#if defined(SYS_clock_gettime64)
  return static_cast<int>(syscall(SYS_clock_gettime64, id, ts));
#else
  return static_cast<int>(syscall(SYS_clock_gettime, id, ts));
#endif
}
