// The kernels of 64-bit x86: SSE2 is always there, AVX2 and AVX-512 are asked for at run time.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <string_view>

#include "json/skip.h"

// For a function that runs only where has_avx2() is true.
#define TARGET_AVX2 __attribute__((target("avx2,bmi,pclmul,popcnt")))

inline bool has_avx2() {
  static const bool has =
      __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("bmi") != 0 &&
      __builtin_cpu_supports("pclmul") != 0 && __builtin_cpu_supports("popcnt") != 0;
  return has;
}

// The same with blocks of 64 bytes at once.
#define TARGET_AVX512 __attribute__((target("avx512f,avx512bw,avx2,bmi,pclmul,popcnt")))

inline bool has_avx512() {
  static const bool has = has_avx2() && __builtin_cpu_supports("avx512f") != 0 &&
                          __builtin_cpu_supports("avx512bw") != 0;
  return has;
}

std::size_t find_bytes_sse2(std::string_view text, std::string_view needle, std::size_t from);
std::size_t find_string_end_sse2(std::string_view text, std::size_t pos);
std::size_t skip_to_close_sse2(std::string_view text, std::size_t pos, std::size_t depth,
                               Nesting nesting);
std::size_t skip_to_close_avx2(std::string_view text, std::size_t pos, std::size_t depth,
                               Nesting nesting);
std::size_t skip_to_close_avx512(std::string_view text, std::size_t pos, std::size_t depth,
                                 Nesting nesting);
