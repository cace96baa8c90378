// Which vector instructions the text kernels may use. Plain C++ is always there; a 64-bit x86 has
// SSE2 at least, and AVX2 and AVX-512 are asked for at run time.
#pragma once

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#if defined(__SSE2__) && defined(__x86_64__) && defined(__GNUC__)
#define TD_BACKEND_AVX2 1
#include <immintrin.h>

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
#endif
