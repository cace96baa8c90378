// The processor's registers at a fault, under names that do not depend on the processor.
#pragma once

#include <cstdint>

struct CrashContext {
  bool known = false;    // false: no machine context, or a processor without a branch here
  std::uint64_t pc = 0;  // program counter
  std::uint64_t lr = 0;  // link register; 0 where the processor has none (x86)
  std::uint64_t sp = 0;  // stack pointer
  std::uint64_t r[4] = {0, 0, 0, 0};  // of the first four arguments (i386: eax, edx, ecx, ebx)
};

// Reads the third argument of a signal handler; null gives an unknown context.
// Async-signal-safe: copies words, calls nothing.
CrashContext read_crash_context(const void* ucontext);
