#include "frame/alloc.h"

#include <errno.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <new>

#include "frame/oom_report.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

bool g_mmap_large_allocs = false;
std::uint32_t g_mmap_large_threshold = 131072;
MmapAlloc g_mmap_allocs[kMmapSlots];
std::atomic<int> g_mmap_alloc_lock{0};

void set_mmap_large_threshold(std::int64_t bytes) {
  constexpr std::uint32_t kMost = std::numeric_limits<std::uint32_t>::max();
  if (bytes < 1) return;
  g_mmap_large_threshold = bytes > kMost ? kMost : static_cast<std::uint32_t>(bytes);
}

std::size_t page_size() {
  static const std::size_t ps = [] {
    const long reported = sysconf(_SC_PAGESIZE);
    return reported < 1 ? std::size_t{4096} : static_cast<std::size_t>(reported);
  }();
  return ps;
}

namespace {

// Live mappings by hashed start page. Counted up before a mapping is handed out and down when it
// is given back, so the deleter of a mapping, who must have got the pointer from its allocator,
// always sees its count: relaxed loads suffice. Zero proves that a pointer is no mapping; anything
// else says "look in the table". 4096 counters keep 1000 live mappings from sending more than
// every fifth page-aligned malloc block there.
constexpr std::size_t kPageCounters = 4096;
std::atomic<std::uint16_t> g_mmap_pages[kPageCounters];

// Every page size in use is a multiple of this.
constexpr std::uintptr_t kSmallestPage = 4096;

bool starts_on_page(const void* p) {
  return reinterpret_cast<std::uintptr_t>(p) % kSmallestPage == 0;
}

std::atomic<std::uint16_t>& page_counter(const void* p) {
  const auto page = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(p)) / kSmallestPage;
  return g_mmap_pages[(page * 0x9e3779b97f4a7c15u >> 32) % kPageCounters];
}

// The count changes under the lock only; the store is one that deleters read without it.
void add_to_page_counter(const void* p, int step) {
  std::atomic<std::uint16_t>& counter = page_counter(p);
  const int count = counter.load(std::memory_order_relaxed) + step;
  counter.store(static_cast<std::uint16_t>(count), std::memory_order_relaxed);
}

struct TableLock {
  TableLock() {
    int expected = 0;
    while (!g_mmap_alloc_lock.compare_exchange_weak(expected, 1, std::memory_order_acquire,
                                                    std::memory_order_relaxed)) {
      expected = 0;
    }
  }
  ~TableLock() { g_mmap_alloc_lock.store(0, std::memory_order_seq_cst); }
  TableLock(const TableLock&) = delete;
  TableLock& operator=(const TableLock&) = delete;
};

bool record_mapping(void* address, std::size_t length) {
  const TableLock lock;
  for (MmapAlloc& slot : g_mmap_allocs) {
    if (slot.address != nullptr) continue;
    slot = {address, length};
    add_to_page_counter(address, 1);
    return true;
  }
  return false;
}

// The length of the mapping that was recorded for `p`, or 0.
std::size_t forget_mapping(const void* p) {
  const TableLock lock;
  for (MmapAlloc& slot : g_mmap_allocs) {
    if (slot.address != p) continue;
    const std::size_t length = slot.length;
    slot = {nullptr, 0};
    add_to_page_counter(p, -1);
    return length;
  }
  return 0;
}

}  // namespace

void* try_mmap_alloc(std::size_t size) {
  // As malloc: in a larger object the distance of two bytes could not be told.
  if (size > std::size_t{PTRDIFF_MAX}) {
    errno = ENOMEM;
    return nullptr;
  }
  const std::size_t ps = page_size();
  const std::size_t length = ((size == 0 ? 0 : size - 1) / ps + 1) * ps;
  void* p = mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (p == MAP_FAILED) return nullptr;
  if (!record_mapping(p, length)) {
    munmap(p, length);
    errno = ENOMEM;
    return nullptr;
  }
#if defined(__SANITIZE_ADDRESS__)
  __lsan_register_root_region(p, length);  // what only a mapping points to is no leak
#endif
  return p;
}

bool try_mmap_free(void* p) {
  if (p == nullptr || !starts_on_page(p)) return false;
  if (page_counter(p).load(std::memory_order_relaxed) == 0) return false;
  const std::size_t length = forget_mapping(p);
  if (length == 0) return false;
#if defined(__SANITIZE_ADDRESS__)
  __lsan_unregister_root_region(p, length);
#endif
  munmap(p, length);
  return true;
}

namespace {

bool is_large(std::size_t size) { return g_mmap_large_allocs && size >= g_mmap_large_threshold; }

// `caller` is the code that asked, null for the nothrow forms.
[[gnu::noinline, gnu::cold]] void* out_of_memory(std::size_t size, const void* caller) {
  if (caller == nullptr) return nullptr;
  log_oom(size, caller);
  throw std::bad_alloc();
}

// What malloc could not serve.
[[gnu::noinline, gnu::cold]] void* allocate_mapped(std::size_t size, const void* caller) {
  if (void* p = try_mmap_alloc(size)) return p;
  return out_of_memory(size, caller);
}

// The whole of an allocation.
[[gnu::noinline]] void* allocate_any(std::size_t size, const void* caller) {
  if (size == 0) size = 1;
  if (is_large(size)) {
    if (void* p = try_mmap_alloc(size)) return p;
  }
  if (void* p = std::malloc(size)) return p;
  return allocate_mapped(size, caller);
}

// The hot path of new. It leaves the switch alone, which decides about large requests only.
[[gnu::always_inline]] inline void* allocate(std::size_t size, const void* caller) {
  if (__builtin_expect(size == 0 || size >= g_mmap_large_threshold, 0)) {
    return allocate_any(size, caller);
  }
  void* p = std::malloc(size);
  return __builtin_expect(p != nullptr, 1) ? p : allocate_mapped(size, caller);
}

// A mapping is aligned to the page and no further: what wants more comes from malloc alone.
[[gnu::noinline]] void* allocate_aligned(std::size_t size, std::align_val_t align,
                                         const void* caller) {
  const auto alignment = static_cast<std::size_t>(align);
  if (alignment <= alignof(std::max_align_t)) return allocate_any(size, caller);
  if (size == 0) size = 1;
  const bool mappable = alignment <= page_size();
  if (mappable && is_large(size)) {
    if (void* p = try_mmap_alloc(size)) return p;
  }
  void* p = nullptr;
  const int error = posix_memalign(&p, alignment, size);
  if (error == 0) return p;
  errno = error;
  if (mappable) {
    if (void* mapped = try_mmap_alloc(size)) return mapped;
  }
  return out_of_memory(size, caller);
}

[[gnu::noinline]] void deallocate_page_aligned(void* p) noexcept {
  if (!try_mmap_free(p)) std::free(p);
}

// The hot path of delete.
[[gnu::always_inline]] inline void deallocate(void* p) noexcept {
  if (__builtin_expect(starts_on_page(p), 0)) return deallocate_page_aligned(p);
  std::free(p);
}

}  // namespace

#define TD_CALLER __builtin_return_address(0)

void* operator new(std::size_t size) { return allocate(size, TD_CALLER); }
void* operator new[](std::size_t size) { return allocate(size, TD_CALLER); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return allocate(size, nullptr);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return allocate(size, nullptr);
}
void* operator new(std::size_t size, std::align_val_t align) {
  return allocate_aligned(size, align, TD_CALLER);
}
void* operator new[](std::size_t size, std::align_val_t align) {
  return allocate_aligned(size, align, TD_CALLER);
}
void* operator new(std::size_t size, std::align_val_t align, const std::nothrow_t&) noexcept {
  return allocate_aligned(size, align, nullptr);
}
void* operator new[](std::size_t size, std::align_val_t align, const std::nothrow_t&) noexcept {
  return allocate_aligned(size, align, nullptr);
}

void operator delete(void* p) noexcept { deallocate(p); }
void operator delete[](void* p) noexcept { deallocate(p); }
void operator delete(void* p, std::size_t) noexcept { deallocate(p); }
void operator delete[](void* p, std::size_t) noexcept { deallocate(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { deallocate(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { deallocate(p); }
void operator delete(void* p, std::align_val_t) noexcept { deallocate(p); }
void operator delete[](void* p, std::align_val_t) noexcept { deallocate(p); }
void operator delete(void* p, std::size_t, std::align_val_t) noexcept { deallocate(p); }
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept { deallocate(p); }
void operator delete(void* p, std::align_val_t, const std::nothrow_t&) noexcept { deallocate(p); }
void operator delete[](void* p, std::align_val_t, const std::nothrow_t&) noexcept { deallocate(p); }
