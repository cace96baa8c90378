#include "frame/alloc.h"

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/resource.h>
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

#include "frame/channels.h"
#include "frame/memtest.h"
#include "frame/oom_report.h"
#include "platform/memory_map.h"
#include "tests/forked_child.h"
#include "tests/match_whole.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define TD_SANITIZED_ALLOCATOR 1
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
  const struct {
    bool on;
    std::int64_t threshold;
    std::size_t size;
    std::size_t mapped;  // bytes, 0: from malloc
  } kCases[] = {
      {false, 131072, 131072, 0},
      {false, 131072, 4 << 20, 0},
      {true, 131072, 131071, 0},
      {true, 131072, 131072, 131072},
      {true, 131072, 131073, 131072 + page_size()},
      {true, 1, 0, page_size()},
      {true, 1, 1, page_size()},
      {true, 2, 1, 0},
      {true, 1, 5000, 2 * page_size()},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.size);
    // Declared outside: while the switch is on with a threshold of 1, nothing else may allocate.
    g_mmap_large_threshold = static_cast<std::uint32_t>(c.threshold);
    g_mmap_large_allocs = c.on;
    void* const p = ::operator new(c.size);
    g_mmap_large_allocs = false;
    const MmapAlloc* slot = slot_of(p);
    EXPECT_EQ(slot != nullptr ? slot->length : 0, c.mapped);
    EXPECT_EQ(live_mappings(), c.mapped != 0 ? 1u : 0u);
    std::memset(p, 0x5a, c.mapped != 0 ? c.mapped : c.size);
    // Volatile, or the compiler sees that the address of freed memory is asked after.
    const volatile std::uintptr_t address = address_of(p);
    ::operator delete(p);
    EXPECT_EQ(live_mappings(), 0u);
    EXPECT_FALSE(c.mapped != 0 && is_mapped(address));
  }
}

TEST_F(AllocTest, ThresholdIsClampedAndNeverBelowOne) {
  const struct {
    std::int64_t given;
    std::uint32_t kept;
  } kCases[] = {
      {0, 131072},
      {-1, 131072},
      {std::numeric_limits<std::int64_t>::min(), 131072},
      {1, 1},
      {4294967295, 4294967295u},
      {4294967296, 4294967295u},
      {std::numeric_limits<std::int64_t>::max(), 4294967295u},
  };
  for (const auto& c : kCases) {
    g_mmap_large_threshold = 131072;
    set_mmap_large_threshold(c.given);
    EXPECT_EQ(g_mmap_large_threshold, c.kept) << c.given;
  }
}

TEST_F(AllocTest, FullTableFallsBackToMallocAndOverwritesNothing) {
  for (std::size_t i = 0; i < kMmapSlots; ++i) ASSERT_NE(try_mmap_alloc(1), nullptr);
  const Table before = table();
  errno = 0;
  EXPECT_EQ(try_mmap_alloc(1), nullptr);
  EXPECT_EQ(errno, ENOMEM);
  g_mmap_large_allocs = true;
  void* p = ::operator new(131072);
  g_mmap_large_allocs = false;
  std::memset(p, 1, 131072);
  EXPECT_EQ(slot_of(p), nullptr);
  EXPECT_EQ(table(), before);
  ::operator delete(p);
  EXPECT_EQ(table(), before);
  // A freed slot is the next one taken.
  EXPECT_TRUE(try_mmap_free(before[700].first));
  EXPECT_TRUE(try_mmap_free(before[3].first));
  EXPECT_EQ(slot_of(try_mmap_alloc(1)), &g_mmap_allocs[3]);
  for (const auto& slot : table()) ::operator delete(slot.first);
}

TEST_F(AllocTest, PointersThatAreNoMappingGoToFree) {
  constexpr std::size_t kLive = 1000;
  for (std::size_t i = 0; i < kLive; ++i) ASSERT_NE(try_mmap_alloc(1), nullptr);
  const Table before = table();
  // Page-aligned blocks of malloc are told from mappings one by one.
  std::vector<void*> aligned(64);
  for (void*& p : aligned) {
    ASSERT_EQ(posix_memalign(&p, page_size(), 100), 0);
    EXPECT_FALSE(try_mmap_free(p));
  }
  for (void* p : aligned) ::operator delete(p);
  ::operator delete(nullptr);
  delete new int(7);
  EXPECT_FALSE(try_mmap_free(nullptr));
  EXPECT_FALSE(try_mmap_free(static_cast<char*>(before[0].first) + 16));
  void* foreign =
      mmap(nullptr, page_size(), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(foreign, MAP_FAILED);
  EXPECT_FALSE(try_mmap_free(foreign));
  EXPECT_TRUE(is_mapped(address_of(foreign)));
  munmap(foreign, page_size());
  EXPECT_EQ(table(), before);
  for (std::size_t i = 0; i < kLive; ++i) {
    const std::uintptr_t address = address_of(before[i].first);
    EXPECT_TRUE(try_mmap_free(before[i].first));
    EXPECT_FALSE(is_mapped(address));
    EXPECT_FALSE(try_mmap_free(before[i].first));
  }
}

TEST_F(AllocTest, SizesBeyondTheAddressSpaceFailWithoutATrace) {
  constexpr std::size_t kMost = std::numeric_limits<std::size_t>::max();
  for (const std::size_t size : {kMost, kMost - 1, kMost - page_size() + 2, kMost / 2 + 1}) {
    errno = 0;
    EXPECT_EQ(try_mmap_alloc(size), nullptr) << size;
    EXPECT_EQ(errno, ENOMEM);
  }
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

TEST_F(AllocTest, EveryFormAllocatesAlignedAndReleases) {
  for (const Form& form : kForms) {
    for (const bool mapped : {false, true}) {
      SCOPED_TRACE(form.what);
      g_mmap_large_threshold = 100;
      g_mmap_large_allocs = mapped;
      void* p = form.allocate(100);
      g_mmap_large_allocs = false;
      ASSERT_NE(p, nullptr);
      EXPECT_EQ(address_of(p) % form.alignment, 0u);
      std::memset(p, 0x77, 100);
      // A mapping is aligned to the page only: what wants more is malloc's.
      EXPECT_EQ(live_mappings(), mapped && form.alignment <= page_size() ? 1u : 0u);
      form.release(p);
      EXPECT_EQ(live_mappings(), 0u);
      void* none = form.allocate(0);
      EXPECT_NE(none, nullptr);
      form.release(none);
    }
  }
}

// More than an object may have, which the compiler must not know.
volatile std::size_t g_too_much = std::numeric_limits<std::size_t>::max() / 2 + 1;

std::size_t count_of(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
}

TEST_F(AllocTest, ThrowingFormsReportAndThrowNothrowFormsReturnNull) {
  for (const Form& form : kForms) {
    SCOPED_TRACE(form.what);
    const bool nothrow = std::strstr(form.what, "nothrow") != nullptr;
    const ChildResult child = run_in_child([&form] {
      try {
        _exit(form.allocate(g_too_much) == nullptr ? 3 : 4);
      } catch (const std::bad_alloc&) {
        _exit(5);
      }
    });
    EXPECT_EQ(child.exit_status, nothrow ? 3 : 5);
    EXPECT_EQ(count_of(child.err, "td_backend: OOM"), nothrow ? 0u : 1u) << child.err;
    EXPECT_EQ(child.out + child.log + child.mirror + child.events, "");
  }
}

TEST_F(AllocTest, ReportNamesTheCallerTheMapAndTheStatistics) {
  const ChildResult child = run_in_child([] {
    try {
      ::operator delete(::operator new(g_too_much));
    } catch (const std::bad_alloc&) {
      _exit(5);
    }
  });
  ASSERT_EQ(child.exit_status, 5);
  const std::size_t start = child.err.find("td_backend: OOM");  // a sanitizer warns before it
  ASSERT_NE(start, std::string::npos) << child.err;
  const std::string report =
      "td_backend: OOM \\(operator new\\) size=" + std::to_string(g_too_much) +
      " pid=[0-9]+ errno=12 ra0=0x[0-9a-f]+ obj=[^ ]*(unit|thread)_tests off=0x[0-9a-f]+ sym=[^ ]+"
      " ra1=\\(nil\\) obj=\\? off=0 sym=\\?\n"
      "td_backend: /proc/self/pmap summary \\(OOM\\) stacks=[1-9][0-9]* bytes=[1-9][0-9]*"
      " heaps=[1-9][0-9]* bytes=[1-9][0-9]*\n"
      "td_backend: /proc/self/vmstat begin \\(OOM\\)\n"
      "Name:(.|\n)*\nVmPeak:(.|\n)*\nThreads:(.|\n)*\n"
      "td_backend: /proc/self/vmstat end\n";
  EXPECT_FALSE(match_whole(child.err.substr(start), report).empty()) << child.err;
}

#if !defined(TD_SANITIZED_ALLOCATOR)
// Keeps the compiler from leaving out an allocation that nobody uses.
void* volatile g_kept;
void* keep(void* p) {
  g_kept = p;
  return p;
}

// Lets the process's address space grow by `room` bytes from now on, and no further.
void limit_address_space(std::size_t room) {
  char text[64] = {};
  const int fd = open("/proc/self/statm", O_RDONLY);
  if (fd < 0 || read(fd, text, sizeof text - 1) <= 0) _exit(1);
  close(fd);
  rlimit limit = {};
  getrlimit(RLIMIT_AS, &limit);
  limit.rlim_cur = std::strtoul(text, nullptr, 10) * page_size() + room;
  if (setrlimit(RLIMIT_AS, &limit) != 0) _exit(1);
}

// Takes whatever malloc can still give, down to `smallest` bytes; the last block is returned.
void* use_up_malloc(std::size_t smallest) {
  void* last = nullptr;
  for (std::size_t size = 64 * 1024; size >= smallest; size /= 16) {
    while (void* more = std::malloc(size)) last = keep(more);
  }
  return last;
}

// Status 5: every request was served by one page of its own, until the room was used up.
[[noreturn]] void allocate_single_bytes_until_nothing_is_left() {
  constexpr std::size_t kRoom = 64 * 1024;  // less than the steps in which malloc grows
  limit_address_space(0);
  use_up_malloc(1);
  limit_address_space(kRoom);
  try {
    for (;;) {
      char* const p = static_cast<char*>(keep(::operator new(1)));
      *p = 1;
      const MmapAlloc* slot = slot_of(p);
      if (slot == nullptr || slot->length != page_size()) _exit(2);
    }
  } catch (const std::bad_alloc&) {
    _exit(live_mappings() == kRoom / page_size() ? 5 : 6);
  }
}
#endif

TEST_F(AllocTest, WhatMallocCannotServeIsMappedPageByPageUntilNothingIsLeft) {
#if defined(TD_SANITIZED_ALLOCATOR)
  GTEST_SKIP() << "a sanitizer reserves its whole heap before a limit can be set";
#else
  // In a fresh process: after threads malloc has arenas that map single pages themselves.
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(allocate_single_bytes_until_nothing_is_left(), testing::ExitedWithCode(5),
              "^td_backend: OOM \\(operator new\\) size=1 (.*\n)*"
              "td_backend: /proc/self/vmstat end");
#endif
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

TEST(DescribeAddr, NamesObjectOffsetAndSymbol) {
  char text[256];
  describe_addr(nullptr, "ra1", text);
  EXPECT_STREQ(text, "ra1=(nil) obj=? off=0 sym=?");

  int on_the_stack = 0;  // in no object
  describe_addr(&on_the_stack, "x", text);
  char expected[256];
  std::snprintf(expected, sizeof expected, "x=%p obj=? off=0 sym=?",
                static_cast<void*>(&on_the_stack));
  EXPECT_STREQ(text, expected);

  const void* known = dlsym(RTLD_DEFAULT, "gethostname");
  Dl_info info = {};
  ASSERT_NE(dladdr(known, &info), 0);
  const auto offset = static_cast<const char*>(known) - static_cast<const char*>(info.dli_fbase);
  describe_addr(known, "ra0", text);
  std::snprintf(expected, sizeof expected, "ra0=%p obj=%s off=%#lx sym=gethostname", known,
                info.dli_fname, static_cast<unsigned long>(offset));
  EXPECT_STREQ(text, expected);

  describe_addr(nullptr, std::string(400, 'l').c_str(), text);
  EXPECT_EQ(std::string(text), std::string(255, 'l'));
}

MemoryMapSummary summary_of(const std::string& text, std::size_t chunk) {
  MemoryMapReader reader;
  for (std::size_t at = 0; at < text.size(); at += chunk) {
    add_memory_map_text(reader, text.data() + at, std::min(chunk, text.size() - at));
  }
  finish_memory_map(reader);
  return reader.summary;
}

TEST(MemoryMapReader, CountsStacksAndHeapsInAnyChunking) {
  const std::string longest(2047 - std::strlen("{heap},5"), 'x');
  const std::string text =
      "vaddr,size,flags,prot,maxprot,dev,ino,offset,rsv,guardsize,refcnt,mapcnt,path\n"
      "0x08040000,0x1000,0x00080071,0x05,0x0f,/apps/backend\n"
      "0x07fc0000,0x40000,0x00081002,0x03,0x0f,{stack}\n"
      "0x07f80000,4096,0x03,{stack}\n"
      "0x10000000,010,0x03,{heap}\n"
      "0x10001000, 100 kB,{heap}\n"
      "a,1,{stack}{heap}\n"
      "no comma {heap}\n"
      "0x1,none,{heap}\n"
      "0x1,,{stack}\n"
      "\n"
      "{heap}," +
      longest + "5\n" +            // does not parse
      longest + "{heap},5\n" +     // just fits
      longest + "x{heap},5\n" +    // its number is cut off
      longest + "xxx{heap},5\n" +  // not even its comma is left
      "0x2,7,{heap}";
  for (const std::size_t chunk : {std::size_t{1}, std::size_t{7}, std::size_t{1024}, text.size()}) {
    const MemoryMapSummary summary = summary_of(text, chunk);
    EXPECT_EQ(summary.stacks, 3u);
    EXPECT_EQ(summary.stack_bytes, 0x40000u + 4096 + 1);
    EXPECT_EQ(summary.heaps, 5u);
    EXPECT_EQ(summary.heap_bytes, 8u + 100 + 1 + 5 + 7);
  }
}

MemoryMapSummary own_summary() {
  MemoryMapReader reader;
  MemoryMap map;
  EXPECT_TRUE(open_memory_map(map));
  char chunk[10];  // smaller than a line
  while (const std::size_t got = read_memory_map(map, chunk, sizeof chunk)) {
    add_memory_map_text(reader, chunk, got);
  }
  close_memory_map(map);
  EXPECT_EQ(map.fd, -1);
  return reader.summary;
}

TEST(MemoryMap, ShowsThisProcessesStacksAndHeaps) {
  const MemoryMapSummary before = own_summary();
  EXPECT_GE(before.stacks, 1u);
  EXPECT_GE(before.heaps, 1u);

  constexpr std::size_t kThreads = 3;
  constexpr std::size_t kStackBytes = 4 << 20;
  constexpr std::size_t kHeapBytes = 3 << 20;
  pthread_t threads[kThreads];
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, kStackBytes);
  int gate[2];
  ASSERT_EQ(pipe(gate), 0);
  for (pthread_t& thread : threads) {
    const auto wait = [](void* fd) -> void* {
      char byte = 0;
      while (read(*static_cast<int*>(fd), &byte, 1) < 0) {
      }
      return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, wait, &gate[0]), 0);
  }
  const MemoryMapSummary with_threads = own_summary();
  EXPECT_GE(with_threads.stacks, 1 + kThreads);
  EXPECT_GE(with_threads.stack_bytes, kThreads * kStackBytes);
  close(gate[1]);
  for (const pthread_t thread : threads) pthread_join(thread, nullptr);
  close(gate[0]);
  pthread_attr_destroy(&attributes);

  const MemoryMapSummary idle = own_summary();
  void* p = try_mmap_alloc(kHeapBytes);
  const MemoryMapSummary with_mapping = own_summary();
  EXPECT_GE(with_mapping.heap_bytes, idle.heap_bytes + kHeapBytes);
  EXPECT_TRUE(try_mmap_free(p));
}

TEST(Memtest, ProbesTwelveTimesAndReplies) {
  const ChildResult child = run_in_child([] { run_memtest("a 'b' c"); });
  std::string expected = "[backend] MEMTEST begin arg='a 'b' c'\n";
  for (const char* size : {"131072", "262144", "323584", "585728", "1048576", "2097152"}) {
    expected += std::string("[backend] MEMTEST mmap  size=") + size + " OK\n";
    expected += std::string("[backend] MEMTEST malloc size=") + size + " OK\n";
  }
  expected += "[backend] MEMTEST end\n[backend] CMD memtest\n";
  EXPECT_EQ(child.log, expected);
  EXPECT_EQ(child.out, "MEMTEST_DONE\n");
}

TEST(Memtest, SaysWhatFails) {
#if defined(TD_SANITIZED_ALLOCATOR)
  GTEST_SKIP() << "a sanitizer reserves its whole heap before a limit can be set";
#else
  const ChildResult child = run_in_child([] {
    limit_address_space(0);
    std::free(use_up_malloc(64 * 1024));  // room for the lines themselves
    run_memtest("");
  });
  EXPECT_EQ(child.exit_status, 0);
  EXPECT_EQ(count_of(child.log, "FAIL errno=12 (Cannot allocate memory)\n"), 12u) << child.log;
  EXPECT_NE(child.log.find("MEMTEST mmap  size=131072 FAIL errno=12 "), std::string::npos);
  EXPECT_NE(child.log.find("MEMTEST malloc size=2097152 FAIL errno=12 "), std::string::npos);
  EXPECT_EQ(child.out, "MEMTEST_DONE\n");
#endif
}

}  // namespace
