// The replaced operator new and its table; what a process does that runs out: crash_test.py.
#include "frame/alloc.h"

#include <dlfcn.h>
#include <errno.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "frame/oom_report.h"
#include "platform/memory_map.h"
#include "tests/forked_child.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
// A refused request must come back as null, as the C library's does.
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }
extern "C" const char* __tsan_default_options() { return "allocator_may_return_null=1"; }
#endif

namespace {

std::size_t live_mappings() {
  return static_cast<std::size_t>(
      std::count_if(std::begin(g_mmap_allocs), std::end(g_mmap_allocs),
                    [](const MmapAlloc& slot) { return slot.address != nullptr; }));
}

const MmapAlloc* slot_of(const void* p) {
  for (const MmapAlloc& slot : g_mmap_allocs) {
    if (slot.address == p) return &slot;
  }
  return nullptr;
}

std::uintptr_t address_of(const void* p) { return reinterpret_cast<std::uintptr_t>(p); }
// The kernel is asked to read from there: an emulated one answers rightly, too.
bool is_mapped(std::uintptr_t page) {
  static const int file = memfd_create("probe", MFD_CLOEXEC);
  return syscall(SYS_write, file, page, 1) == 1;
}

using Table = std::vector<std::pair<void*, std::size_t>>;
Table table() {
  Table copy;
  for (const MmapAlloc& slot : g_mmap_allocs) copy.emplace_back(slot.address, slot.length);
  return copy;
}

// Every test starts with the default policy and leaves no mapping behind.
struct AllocTest : testing::Test {
  void SetUp() override { ASSERT_EQ(live_mappings(), 0u); }
  void TearDown() override {
    g_mmap_large_allocs = false;
    g_mmap_large_threshold = 131072;
    EXPECT_EQ(live_mappings(), 0u);
    EXPECT_EQ(g_mmap_alloc_lock, 0);
  }
};

TEST_F(AllocTest, OnlyLargeRequestsAreMappedAndOnlyWithTheSwitch) {
  const std::size_t page = page_size();
  const struct {
    bool on;
    std::uint32_t threshold;
    std::size_t size;
    std::size_t mapped;  // bytes, 0: from malloc
  } kCases[] = {{false, 131072, 131072, 0},
                {false, 131072, 4 << 20, 0},
                {true, 131072, 131071, 0},
                {true, 131072, 131072, 131072},
                {true, 131072, 131073, 131072 + page},
                {true, 1, 0, page},
                {true, 2, 1, 0},
                {true, 1, 5000, 2 * page}};
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.size);
    g_mmap_large_threshold = c.threshold;
    g_mmap_large_allocs = c.on;  // with a threshold of 1 nothing else may allocate now
    void* const p = ::operator new(c.size);
    g_mmap_large_allocs = false;
    const MmapAlloc* slot = slot_of(p);
    EXPECT_EQ(slot != nullptr ? slot->length : 0, c.mapped);
    std::memset(p, 0x5a, c.mapped != 0 ? c.mapped : c.size);
    // Volatile, or the compiler sees that the address of freed memory is asked after.
    const volatile std::uintptr_t address = address_of(p);
    ::operator delete(p);
    EXPECT_EQ(live_mappings(), 0u);
    EXPECT_FALSE(c.mapped != 0 && is_mapped(address));
  }
  const std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
  const std::pair<std::int64_t, std::uint32_t> kClamped[] = {{0, 131072},
                                                             {-kMost - 1, 131072},
                                                             {1, 1},
                                                             {UINT32_MAX, UINT32_MAX},
                                                             {4294967296, UINT32_MAX},
                                                             {kMost, UINT32_MAX}};
  for (const auto& [given, kept] : kClamped) {
    g_mmap_large_threshold = 131072;
    set_mmap_large_threshold(given);
    EXPECT_EQ(g_mmap_large_threshold, kept) << given;
  }
}

TEST_F(AllocTest, FullTableFallsBackToMallocAndKnowsItsOwnMappings) {
  constexpr std::size_t kMost = std::numeric_limits<std::size_t>::max();
  for (const std::size_t size : {kMost, kMost - page_size() + 2, kMost / 2 + 1}) {
    errno = 0;
    EXPECT_EQ(try_mmap_alloc(size), nullptr) << size;
    EXPECT_EQ(errno, ENOMEM);
  }
  for (std::size_t i = 0; i < kMmapSlots; ++i) ASSERT_NE(try_mmap_alloc(1), nullptr);
  const Table before = table();
  errno = 0;
  EXPECT_EQ(try_mmap_alloc(1), nullptr);
  EXPECT_EQ(errno, ENOMEM);
  g_mmap_large_allocs = true;
  void* p = ::operator new(131072);
  g_mmap_large_allocs = false;
  std::memset(p, 1, 131072);
  ::operator delete(p);
  // Page-aligned blocks of malloc are told from mappings one by one.
  std::vector<void*> aligned(64);
  for (void*& block : aligned) {
    ASSERT_EQ(posix_memalign(&block, page_size(), 100), 0);
    EXPECT_FALSE(try_mmap_free(block));
  }
  for (void* block : aligned) ::operator delete(block);
  EXPECT_FALSE(try_mmap_free(nullptr));
  EXPECT_FALSE(try_mmap_free(static_cast<char*>(before[0].first) + 16));
  void* foreign =
      mmap(nullptr, page_size(), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  EXPECT_FALSE(try_mmap_free(foreign));
  munmap(foreign, page_size());
  EXPECT_EQ(table(), before);
  // A freed slot is the next one taken.
  for (const std::size_t freed : {700u, 3u}) {
    EXPECT_TRUE(try_mmap_free(before[freed].first));
    EXPECT_FALSE(is_mapped(address_of(before[freed].first)));
    EXPECT_FALSE(try_mmap_free(before[freed].first));
  }
  EXPECT_EQ(slot_of(try_mmap_alloc(1)), &g_mmap_allocs[3]);
  for (const auto& slot : table()) ::operator delete(slot.first);
}

// Every form of new with every form of delete that may follow it.
struct Form {
  const char* what;
  void* (*allocate)(std::size_t);
  void (*release)(void*);
  std::size_t alignment;
};
template <std::size_t kAlign>
constexpr std::align_val_t kAlignment{kAlign};

const Form kForms[] = {
    {"new", [](std::size_t n) { return ::operator new(n); }, [](void* p) { ::operator delete(p); },
     1},
    {"new[], sized", [](std::size_t n) { return ::operator new[](n); },
     [](void* p) { ::operator delete[](p, 100); }, 1},
    {"nothrow[]", [](std::size_t n) { return ::operator new[](n, std::nothrow); },
     [](void* p) { ::operator delete[](p, std::nothrow); }, 1},
    {"aligned 64", [](std::size_t n) { return ::operator new(n, kAlignment<64>); },
     [](void* p) { ::operator delete(p, kAlignment<64>); }, 64},
    {"aligned[] 4096, sized", [](std::size_t n) { return ::operator new[](n, kAlignment<4096>); },
     [](void* p) { ::operator delete[](p, 100, kAlignment<4096>); }, 4096},
    {"aligned 64 KiB, sized", [](std::size_t n) { return ::operator new(n, kAlignment<65536>); },
     [](void* p) { ::operator delete(p, 100, kAlignment<65536>); }, 65536},
    {"aligned[] nothrow",
     [](std::size_t n) { return ::operator new[](n, kAlignment<64>, std::nothrow); },
     [](void* p) { ::operator delete[](p, kAlignment<64>, std::nothrow); }, 64},
};

// More than an object may have, which the compiler must not know.
volatile std::size_t g_too_much = std::numeric_limits<std::size_t>::max() / 2 + 1;

TEST_F(AllocTest, EveryFormAllocatesAlignedReleasesAndFailsAsItShould) {
  const std::string report =
      "td_backend: OOM (operator new) size=" + std::to_string(g_too_much) + " pid=";
  for (const Form& form : kForms) {
    SCOPED_TRACE(form.what);
    for (const std::size_t size : {100u, 0u}) {
      for (const bool mapped : {false, true}) {
        g_mmap_large_threshold = 100;
        g_mmap_large_allocs = mapped;
        void* p = form.allocate(size);
        g_mmap_large_allocs = false;
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(address_of(p) % form.alignment, 0u);
        std::memset(p, 0x77, size);
        // A mapping is aligned to the page only: what wants more is malloc's.
        EXPECT_EQ(live_mappings(), mapped && size != 0 && form.alignment <= page_size() ? 1u : 0u);
        form.release(p);
        EXPECT_EQ(live_mappings(), 0u);
      }
    }
    const ChildResult child = run_in_child([&form] {
      try {
        _exit(form.allocate(g_too_much) == nullptr ? 3 : 4);
      } catch (const std::bad_alloc&) {
        _exit(5);
      }
    });
    const bool nothrow = std::strstr(form.what, "nothrow") != nullptr;
    EXPECT_EQ(child.exit_status, nothrow ? 3 : 5);
    EXPECT_EQ(child.err.find(report) == std::string::npos, nothrow) << child.err;
    EXPECT_EQ(child.out + child.log + child.mirror + child.events, "");
  }
}

TEST_F(AllocTest, ThreadsAllocateAndFreeEachOthersBlocks) {
  constexpr std::size_t kThreads = 4;
  constexpr int kRounds = 400;
  g_mmap_large_threshold = 16384;
  g_mmap_large_allocs = true;
  std::atomic<char*> mailbox[8] = {};
  std::atomic<int> damaged{0};
  const auto work = [&](std::size_t seed) {
    for (std::size_t round = 0; round < kRounds; ++round) {
      const std::size_t size = (round + seed) % 5 == 0 ? 20000 : 24 + round % 200;
      char* block = new char[size];
      std::memset(block, static_cast<int>(size % 101), size);
      std::memcpy(block, &size, sizeof size);
      char* other = mailbox[(round * 7 + seed) % 8].exchange(block);
      if (other == nullptr) continue;
      std::size_t other_size = 0;
      std::memcpy(&other_size, other, sizeof other_size);
      if (other[other_size - 1] != static_cast<char>(other_size % 101)) ++damaged;
      delete[] other;
    }
  };
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < kThreads; ++i) threads.emplace_back(work, i);
  for (std::thread& thread : threads) thread.join();
  for (auto& box : mailbox) delete[] box.load();
  EXPECT_EQ(damaged, 0);
}

std::string described(const void* address, const std::string& label) {
  char text[256];
  describe_addr(address, label.c_str(), text);
  return text;
}

TEST(DescribeAddr, NamesObjectOffsetAndSymbol) {
  EXPECT_EQ(described(nullptr, "ra1"), "ra1=(nil) obj=? off=0 sym=?");
  int on_the_stack = 0;  // in no object
  char expected[256];
  std::snprintf(expected, sizeof expected, "x=%p obj=? off=0 sym=?",
                static_cast<void*>(&on_the_stack));
  EXPECT_EQ(described(&on_the_stack, "x"), expected);
  const void* known = dlsym(RTLD_DEFAULT, "gethostname");
  Dl_info info = {};
  ASSERT_NE(dladdr(known, &info), 0);
  const auto offset = static_cast<const char*>(known) - static_cast<const char*>(info.dli_fbase);
  std::snprintf(expected, sizeof expected, "ra0=%p obj=%s off=%#lx sym=gethostname", known,
                info.dli_fname, static_cast<unsigned long>(offset));
  EXPECT_EQ(described(known, "ra0"), expected);
  EXPECT_EQ(described(nullptr, std::string(400, 'l')), std::string(255, 'l'));
}

TEST(MemoryMapReader, CountsStacksAndHeapsInAnyChunking) {
  const std::string longest(2047 - std::strlen("{heap},5"), 'x');
  const std::string text =
      "vaddr,size,flags,prot,maxprot,dev,ino,offset,rsv,guardsize,refcnt,mapcnt,path\n"
      "0x08040000,0x1000,0x00080071,0x05,0x0f,/apps/backend\n"
      "0x07fc0000,0x40000,0x00081002,0x03,0x0f,{stack}\n0x07f80000,4096,0x03,{stack}\n"
      "0x10000000,010,0x03,{heap}\n0x10001000, 100 kB,{heap}\na,1,{stack}{heap}\n"
      "no comma {heap}\n0x1,none,{heap}\n0x1,,{stack}\n\n{heap}," +
      longest + "5\n" +            // does not parse
      longest + "{heap},5\n" +     // just fits
      longest + "x{heap},5\n" +    // its number is cut off
      longest + "xxx{heap},5\n" +  // not even its comma is left
      "0x2,7,{heap}";
  for (const std::size_t chunk : {std::size_t{1}, std::size_t{7}, text.size()}) {
    MemoryMapReader reader;
    for (std::size_t at = 0; at < text.size(); at += chunk) {
      add_memory_map_text(reader, text.data() + at, std::min(chunk, text.size() - at));
    }
    finish_memory_map(reader);
    EXPECT_EQ(reader.summary.stacks, 3u);
    EXPECT_EQ(reader.summary.stack_bytes, 0x40000u + 4096 + 1);
    EXPECT_EQ(reader.summary.heaps, 5u);
    EXPECT_EQ(reader.summary.heap_bytes, 8u + 100 + 1 + 5 + 7);
  }
}

}  // namespace
