// The process's own memory map and memory statistics as text, for the out-of-memory report.
// Raw system calls and the caller's buffers only: works when the heap is exhausted. Any thread.
#pragma once

#include <cstddef>
#include <cstdint>

// A map being read. A line of a stack holds "{stack}" and one of a heap "{heap}"; the size of the
// mapping in bytes follows the line's first comma. Other lines have no such word.
struct MemoryMap {
  int fd = -1;
#if !defined(__QNXNTO__)
  // The system's map has another form: its lines are read here and told anew.
  char raw[512];
  std::size_t raw_pos = 0;
  std::size_t raw_len = 0;
  std::uintptr_t guard_end = 0;  // where the last inaccessible mapping ended, 0: none yet
  char line[96];
  std::size_t line_pos = 0;
  std::size_t line_len = 0;
#endif
};

// False when the map cannot be opened. Close an open map.
bool open_memory_map(MemoryMap& map);
// The next bytes of the text, at most `capacity` (which must not be 0); 0 at its end.
std::size_t read_memory_map(MemoryMap& map, char* buf, std::size_t capacity);
void close_memory_map(MemoryMap& map);

// A descriptor of the system's text on this process's virtual memory, -1 when there is none.
// The caller closes it.
int open_memory_statistics();
