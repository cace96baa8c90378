#include "platform/signal_stack.h"

#include <signal.h>

#include <cstddef>

#if defined(SA_ONSTACK)
namespace {

// Static, so that it needs no allocation. The kernel puts all vector registers there (up to
// 12 KiB on x86-64), twice when the report itself faults; the report's frames take 4 KiB.
constexpr std::size_t kStackBytes = 64 * 1024;
alignas(16) unsigned char g_signal_stack[kStackBytes];

}  // namespace
#endif

int use_alternate_signal_stack() {
  int flags = 0;
#if defined(SA_NODEFER)
  flags |= SA_NODEFER;
#endif
#if defined(SA_ONSTACK)
  stack_t stack = {};
  stack.ss_sp = g_signal_stack;
  stack.ss_size = kStackBytes;
  // Without such a stack the flag is harmless: handlers then run on the thread's own.
  sigaltstack(&stack, nullptr);
  flags |= SA_ONSTACK;
#endif
  return flags;
}
