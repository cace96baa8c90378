// new and delete beside plain malloc and free, on one thread and on four, while 0, 1 and 1000
// mappings of the allocator are live. Two more sides put the figures in place: the C++ library's
// own new and delete, which ours replace, and a delete that takes the table's lock and scans all
// its slots each time.
//
// "pair" allocates and frees one block over and over. "burst" fills and empties an array of
// blocks, so that every hundredth or so starts on a page and has to be told from a mapping.
#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include <cstddef>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

#include "frame/alloc.h"

namespace {

constexpr std::size_t kBlockBytes = 32;
constexpr std::size_t kBurstBlocks = 4096;

void* allocate_malloc(std::size_t size) { return std::malloc(size); }
void release_free(void* p) { std::free(p); }
void* allocate_new(std::size_t size) { return ::operator new(size); }
void release_delete(void* p) { ::operator delete(p); }

template <typename Function>
Function from_library(const char* name) {
  void* library = dlopen("libstdc++.so.6", RTLD_LAZY | RTLD_NOLOAD);
  void* function = library == nullptr ? nullptr : dlsym(library, name);
  if (function == nullptr) std::abort();
  return reinterpret_cast<Function>(function);
}
void* (*const g_library_new)(std::size_t) = from_library<void* (*)(std::size_t)>("_Znwm");
void (*const g_library_delete)(void*) = from_library<void (*)(void*)>("_ZdlPv");
void* allocate_library(std::size_t size) { return g_library_new(size); }
void release_library(void* p) { g_library_delete(p); }

bool in_table_by_scan(const void* p) {
  int expected = 0;
  while (!g_mmap_alloc_lock.compare_exchange_weak(expected, 1)) expected = 0;
  bool found = false;
  for (const MmapAlloc& slot : g_mmap_allocs) {
    if (slot.address == p) {
      found = true;
      break;
    }
  }
  g_mmap_alloc_lock.store(0);
  return found;
}
void release_scanning(void* p) {
  if (p != nullptr && in_table_by_scan(p)) {
    try_mmap_free(p);
  } else {
    std::free(p);  // NOLINT(clang-analyzer-unix.MismatchedDeallocator): new took it from malloc
  }
}

using Allocate = void* (*)(std::size_t);
using Release = void (*)(void*);

// Functions as template arguments: both sides are called directly, as in real code.
template <Allocate kAllocate, Release kRelease>
void pair(benchmark::State& state) {
  std::size_t size = kBlockBytes;
  for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
    benchmark::DoNotOptimize(size);
    void* p = kAllocate(size);
#ifndef __clang_analyzer__  // which takes the block for lost in here
    benchmark::DoNotOptimize(p);
#endif
    kRelease(p);
  }
}

template <Allocate kAllocate, Release kRelease>
void burst(benchmark::State& state) {
  std::vector<void*> blocks(kBurstBlocks);
  for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
    for (void*& p : blocks) p = kAllocate(kBlockBytes);
    benchmark::DoNotOptimize(blocks.data());
    for (void* p : blocks) kRelease(p);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kBurstBlocks));
}

std::vector<void*> g_live;

template <std::size_t kLive>
void map_live(const benchmark::State& /*state*/) {
  for (std::size_t i = 0; i < kLive; ++i) g_live.push_back(try_mmap_alloc(1));
}
[[maybe_unused]] void unmap_live(const benchmark::State& /*state*/) {
  for (void* p : g_live) try_mmap_free(p);
  g_live.clear();
}

struct Side {
  const char* name;
  void (*pair)(benchmark::State&);
  void (*burst)(benchmark::State&);
};
constexpr Side kSides[] = {
    {"malloc_free", pair<allocate_malloc, release_free>, burst<allocate_malloc, release_free>},
    {"new_delete", pair<allocate_new, release_delete>, burst<allocate_new, release_delete>},
    {"library_new_delete", pair<allocate_library, release_library>,
     burst<allocate_library, release_library>},
    {"new_delete_scanning", pair<allocate_new, release_scanning>,
     burst<allocate_new, release_scanning>},
};
constexpr struct {
  const char* name;
  void (*set_up)(const benchmark::State&);
} kLiveCounts[] = {{"0", map_live<0>}, {"1", map_live<1>}, {"1000", map_live<1000>}};

void add([[maybe_unused]] const std::string& name, [[maybe_unused]] void (*body)(benchmark::State&),
         [[maybe_unused]] void (*set_up)(const benchmark::State&), [[maybe_unused]] int threads) {
#ifndef __clang_analyzer__  // which takes what the library keeps for a leak
  benchmark::RegisterBenchmark(name.c_str(), body)
      ->Setup(set_up)
      ->Teardown(unmap_live)
      ->Threads(threads);
#endif
}

const bool kRegistered = [] {
  for (const int threads : {1, 4}) {
    for (const auto& live : kLiveCounts) {
      for (const Side& side : kSides) {
        const std::string rest = std::string(side.name) + "/live:" + live.name;
        add("pair/" + rest, side.pair, live.set_up, threads);
        add("burst/" + rest, side.burst, live.set_up, threads);
      }
    }
  }
  return true;
}();

}  // namespace
