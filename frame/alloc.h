// The replaced global operator new and delete, in all their standard forms.
//
// Small requests go to malloc. A large one (with the switch on), and one that malloc refuses, is
// served by whole pages mapped for it alone and recorded in a table of 1024 slots. When both fail
// the throwing forms write the out-of-memory report (frame/oom_report.h) and throw std::bad_alloc;
// the nothrow forms return null without a report. No new-handler is ever called.
//
// Every thread. delete tells a malloc block from a mapping by its address: a mapping starts on a
// page, and g_mmap_pages counts the live ones by page, so that a pointer inside a page, or any
// pointer while no mapping is live, costs neither the lock nor a scan.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

// The policy. Set by the main thread before TDLib is loaded, not changed afterwards.
extern bool g_mmap_large_allocs;
extern std::uint32_t g_mmap_large_threshold;  // bytes

// Takes a threshold of at least 1; more than 32 bits hold is clamped, less than 1 is ignored.
void set_mmap_large_threshold(std::int64_t bytes);

struct MmapAlloc {
  void* address;  // null: a free slot
  std::size_t length;
};
constexpr std::size_t kMmapSlots = 1024;
extern MmapAlloc g_mmap_allocs[kMmapSlots];
extern std::atomic<int> g_mmap_alloc_lock;  // 0 free, 1 held; guards the table

// The system's page size, 4096 when it does not say.
std::size_t page_size();

// Maps `size` bytes rounded up to whole pages (0 counts as 1) and records the mapping. Null with
// errno set when the system refuses or the table is full.
void* try_mmap_alloc(std::size_t size);
// True when `p` is the start of a recorded mapping, which is then gone.
bool try_mmap_free(void* p);
