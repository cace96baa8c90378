#include "frame/memtest.h"

#include <errno.h>
#include <sys/mman.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "frame/channels.h"

namespace {

constexpr std::size_t kProbeBytes[] = {131072, 262144, 323584, 585728, 1048576, 2097152};

// `error` is 0 for a probe that succeeded.
void report_probe(const char* kind, std::size_t size, int error) {
  std::string line = std::string("MEMTEST ") + kind + " size=" + std::to_string(size);
  if (error == 0) {
    line += " OK";
  } else {
    line += " FAIL errno=" + std::to_string(error) + " (" + std::strerror(error) + ")";
  }
  dbg(line);
}

int probe_mmap(std::size_t size) {
  void* p = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (p == MAP_FAILED) return errno;
  munmap(p, size);
  return 0;
}

int probe_malloc(std::size_t size) {
  // Volatile: an allocation that is freed at once and never used may be left out otherwise.
  void* volatile p = std::malloc(size);
  if (p == nullptr) return errno;
  std::free(p);
  return 0;
}

}  // namespace

void run_memtest(std::string_view argument) {
  dbg("MEMTEST begin arg='" + std::string(argument) + "'");
  for (const std::size_t size : kProbeBytes) {
    report_probe("mmap ", size, probe_mmap(size));
    report_probe("malloc", size, probe_malloc(size));
  }
  dbg("MEMTEST end");
  print_line("MEMTEST_DONE");
  dbg("CMD memtest");
}
