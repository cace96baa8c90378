// The report that the throwing forms of operator new write to standard error before they throw.
// Any thread; stack buffers and raw system calls only, so it works when the heap is exhausted.
#pragma once

#include <cstddef>

// errno is still that of the failed allocation. `caller` is the code that asked for the memory.
void log_oom(std::size_t size, const void* caller);

// "label=0x... obj=<file> off=0x... sym=<nearest symbol>" for a code address, cut at 255 bytes.
// "?" where a name is unknown; offset 0 when the address is null or in no known object.
void describe_addr(const void* addr, const char* label, char (&dst)[256]);

struct MemoryMapSummary {
  unsigned stacks = 0;
  unsigned long long stack_bytes = 0;
  unsigned heaps = 0;
  unsigned long long heap_bytes = 0;
};

// Puts the lines of a memory map together from chunks of any size and counts its stacks and heaps.
// A line longer than 2047 characters is cut; one whose size does not parse is not counted.
struct MemoryMapReader {
  MemoryMapSummary summary;
  char line[2048];
  std::size_t len = 0;
};
void add_memory_map_text(MemoryMapReader& reader, const char* text, std::size_t len);
// The last line may lack its line feed.
void finish_memory_map(MemoryMapReader& reader);
