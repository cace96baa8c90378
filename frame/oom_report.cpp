#include "frame/oom_report.h"

#include <dlfcn.h>
#include <errno.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "frame/channels.h"
#include "platform/memory_map.h"

namespace {

constexpr std::size_t kChunkBytes = 1024;

void write_stderr(const char* text, int formatted, std::size_t capacity) {
  if (formatted <= 0) return;
  auto len = static_cast<std::size_t>(formatted);
  if (len > capacity - 1) len = capacity - 1;
  write_best_effort(STDERR_FILENO, text, len);
}

void write_stderr(const char* text) { write_best_effort(STDERR_FILENO, text, std::strlen(text)); }

void count_memory_map_line(MemoryMapReader& reader) {
  reader.line[reader.len] = '\0';
  reader.len = 0;
  const bool stack = std::strstr(reader.line, "{stack}") != nullptr;
  const bool heap = std::strstr(reader.line, "{heap}") != nullptr;
  if (!stack && !heap) return;
  const char* comma = std::strchr(reader.line, ',');
  if (comma == nullptr) return;
  char* end = nullptr;
  const unsigned long bytes = std::strtoul(comma + 1, &end, 0);
  if (end == comma + 1) return;
  MemoryMapSummary& summary = reader.summary;
  if (stack) {
    ++summary.stacks;
    summary.stack_bytes += bytes;
  }
  if (heap) {
    ++summary.heaps;
    summary.heap_bytes += bytes;
  }
}

void report_memory_map() {
  MemoryMap map;
  if (!open_memory_map(map)) return;
  MemoryMapReader reader;
  char chunk[kChunkBytes];
  while (const std::size_t got = read_memory_map(map, chunk, sizeof chunk)) {
    add_memory_map_text(reader, chunk, got);
  }
  finish_memory_map(reader);
  close_memory_map(map);
  const MemoryMapSummary& summary = reader.summary;
  char text[256];
  const int len = std::snprintf(
      text, sizeof text,
      "td_backend: /proc/self/pmap summary (%s) stacks=%u bytes=%llu heaps=%u bytes=%llu\n", "OOM",
      summary.stacks, summary.stack_bytes, summary.heaps, summary.heap_bytes);
  write_stderr(text, len, sizeof text);
}

void report_memory_statistics() {
  const int fd = open_memory_statistics();
  if (fd < 0) return;
  write_stderr("td_backend: /proc/self/vmstat begin (OOM)\n");
  char chunk[kChunkBytes];
  for (;;) {
    const ssize_t got = read(fd, chunk, sizeof chunk);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    write_best_effort(STDERR_FILENO, chunk, static_cast<std::size_t>(got));
  }
  write_stderr("td_backend: /proc/self/vmstat end\n");
  close(fd);
}

}  // namespace

void add_memory_map_text(MemoryMapReader& reader, const char* text, std::size_t len) {
  for (std::size_t i = 0; i < len; ++i) {
    if (text[i] == '\n') {
      count_memory_map_line(reader);
    } else if (reader.len + 1 < sizeof reader.line) {
      reader.line[reader.len++] = text[i];
    }
  }
}

void finish_memory_map(MemoryMapReader& reader) {
  if (reader.len > 0) count_memory_map_line(reader);
}

void describe_addr(const void* addr, const char* label, char (&dst)[256]) {
  Dl_info info = {};
  const bool known = addr != nullptr && dladdr(addr, &info) != 0;
  const char* object = known && info.dli_fname != nullptr ? info.dli_fname : "?";
  const char* symbol = known && info.dli_sname != nullptr ? info.dli_sname : "?";
  unsigned long offset = 0;
  if (known && info.dli_fbase != nullptr) {
    offset = static_cast<unsigned long>(reinterpret_cast<std::uintptr_t>(addr) -
                                        reinterpret_cast<std::uintptr_t>(info.dli_fbase));
  }
  std::snprintf(dst, sizeof dst, "%s=%p obj=%s off=%#lx sym=%s", label, addr, object, offset,
                symbol);
}

void log_oom(std::size_t size, const void* caller) {
  const int saved_errno = errno;
  char ra0[256];
  char ra1[256];
  describe_addr(caller, "ra0", ra0);
  describe_addr(nullptr, "ra1", ra1);
  char text[768];
  const int len = std::snprintf(text, sizeof text,
                                "td_backend: OOM (operator new) size=%zu pid=%d errno=%d %s %s\n",
                                size, static_cast<int>(getpid()), saved_errno, ra0, ra1);
  write_stderr(text, len, sizeof text);
  report_memory_map();
  report_memory_statistics();
}
