#include "platform/memory_map.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace {

std::size_t read_some(int fd, char* buf, std::size_t capacity) {
  ssize_t got = 0;
  do {
    got = read(fd, buf, capacity);
  } while (got < 0 && errno == EINTR);
  return got > 0 ? static_cast<std::size_t>(got) : 0;
}

}  // namespace

#if defined(__QNXNTO__)

bool open_memory_map(MemoryMap& map) {
  map.fd = open("/proc/self/pmap", O_RDONLY);
  return map.fd >= 0;
}

std::size_t read_memory_map(MemoryMap& map, char* buf, std::size_t capacity) {
  return read_some(map.fd, buf, capacity);
}

int open_memory_statistics() { return open("/proc/self/vmstat", O_RDONLY); }

#else

namespace {

// A line of the system's map: "start-end perms offset dev inode    name". What is longer is cut,
// which reaches no further than into a file's name.
struct SystemLine {
  char text[160];
  std::size_t len = 0;
};

bool read_system_line(MemoryMap& map, SystemLine& line) {
  line.len = 0;
  bool any = false;
  for (;;) {
    if (map.raw_pos == map.raw_len) {
      map.raw_pos = 0;
      map.raw_len = read_some(map.fd, map.raw, sizeof map.raw);
      if (map.raw_len == 0) break;
    }
    const char c = map.raw[map.raw_pos++];
    any = true;
    if (c == '\n') break;
    if (line.len + 1 < sizeof line.text) line.text[line.len++] = c;
  }
  line.text[line.len] = '\0';
  return any;
}

struct Mapping {
  std::uintptr_t start = 0;
  std::uintptr_t end = 0;
  const char* permissions = "";  // four letters, then more of the line
  const char* name = "";         // empty: anonymous
};

bool parse_system_line(const SystemLine& line, Mapping& out) {
  char* at = nullptr;
  out.start = static_cast<std::uintptr_t>(std::strtoull(line.text, &at, 16));
  if (*at != '-') return false;
  out.end = static_cast<std::uintptr_t>(std::strtoull(at + 1, &at, 16));
  if (*at != ' ' || std::strlen(at) < 6) return false;
  out.permissions = at + 1;
  for (int fields = 0; fields < 4; ++fields) {  // to the end of the inode
    at += std::strspn(at, " ");
    at += std::strcspn(at, " ");
  }
  out.name = at + std::strspn(at, " ");
  return true;
}

bool has_prefix(const char* text, const char* prefix) {
  return std::strncmp(text, prefix, std::strlen(prefix)) == 0;
}

// The system names the main thread's stack and the heap that grows by brk. Other stacks and heaps
// are anonymous: one that lies on an inaccessible guard is a thread's stack, except that the
// arenas of malloc, aligned to their size, may follow the unused rest of another arena. All other
// private memory that can be written is heap.
const char* kind_of(const Mapping& mapping, std::uintptr_t guard_end) {
  constexpr std::uintptr_t kArenaBytes =
      sizeof(void*) == 8 ? std::uintptr_t{64} << 20 : std::uintptr_t{1} << 20;
  if (has_prefix(mapping.name, "[stack")) return "{stack}";
  if (has_prefix(mapping.name, "[heap]")) return "{heap}";
  if (mapping.name[0] != '\0' && !has_prefix(mapping.name, "[anon")) return nullptr;
  if (!has_prefix(mapping.permissions, "rw-p")) return nullptr;
  const bool on_guard = guard_end != 0 && mapping.start == guard_end;
  return on_guard && mapping.start % kArenaBytes != 0 ? "{stack}" : "{heap}";
}

void put_text(MemoryMap& map, const char* text) {
  while (*text != '\0' && map.line_len < sizeof map.line) map.line[map.line_len++] = *text++;
}

void put_hex(MemoryMap& map, std::uintptr_t value) {
  char digits[2 * sizeof value + 1] = {};
  std::size_t at = sizeof digits - 1;
  do {
    digits[--at] = "0123456789abcdef"[value & 15];
    value >>= 4;
  } while (value != 0);
  put_text(map, "0x");
  put_text(map, digits + at);
}

// Fills `map.line` with the next stack or heap: "0x<start>,0x<bytes>,{heap}\n".
bool next_line(MemoryMap& map) {
  SystemLine raw;
  while (read_system_line(map, raw)) {
    Mapping mapping;
    if (!parse_system_line(raw, mapping)) continue;
    const char* kind = kind_of(mapping, map.guard_end);
    if (has_prefix(mapping.permissions, "---p")) map.guard_end = mapping.end;
    if (kind == nullptr) continue;
    map.line_pos = 0;
    map.line_len = 0;
    put_hex(map, mapping.start);
    put_text(map, ",");
    put_hex(map, mapping.end - mapping.start);
    put_text(map, ",");
    put_text(map, kind);
    put_text(map, "\n");
    return true;
  }
  return false;
}

}  // namespace

bool open_memory_map(MemoryMap& map) {
  map.fd = open("/proc/self/maps", O_RDONLY | O_CLOEXEC);
  return map.fd >= 0;
}

std::size_t read_memory_map(MemoryMap& map, char* buf, std::size_t capacity) {
  if (map.line_pos == map.line_len && !next_line(map)) return 0;
  std::size_t count = map.line_len - map.line_pos;
  if (count > capacity) count = capacity;
  std::memcpy(buf, map.line + map.line_pos, count);
  map.line_pos += count;
  return count;
}

// Peak and current sizes, stack, heap and thread count, one a line.
int open_memory_statistics() { return open("/proc/self/status", O_RDONLY | O_CLOEXEC); }

#endif

void close_memory_map(MemoryMap& map) {
  if (map.fd >= 0) close(map.fd);
  map.fd = -1;
}
