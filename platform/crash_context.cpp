#include "platform/crash_context.h"

#include <signal.h>
#include <ucontext.h>

namespace {

#if defined(__QNXNTO__) && defined(__arm__)
#define TD_HAVE_CRASH_CONTEXT 1
void copy_registers(const ucontext_t& context, CrashContext& out) {
  const auto& gpr = context.uc_mcontext.cpu.gpr;
  out.pc = gpr[ARM_REG_PC];
  out.lr = gpr[ARM_REG_LR];
  out.sp = gpr[ARM_REG_SP];
  for (int i = 0; i < 4; ++i) out.r[i] = gpr[ARM_REG_R0 + i];
}
#elif defined(__linux__) && defined(__x86_64__)
#define TD_HAVE_CRASH_CONTEXT 1
void copy_registers(const ucontext_t& context, CrashContext& out) {
  constexpr int kArguments[4] = {REG_RDI, REG_RSI, REG_RDX, REG_RCX};
  const auto& gregs = context.uc_mcontext.gregs;
  out.pc = static_cast<std::uint64_t>(gregs[REG_RIP]);
  out.sp = static_cast<std::uint64_t>(gregs[REG_RSP]);
  for (int i = 0; i < 4; ++i) out.r[i] = static_cast<std::uint64_t>(gregs[kArguments[i]]);
}
#elif defined(__linux__) && defined(__i386__)
#define TD_HAVE_CRASH_CONTEXT 1
// Arguments are on the stack here: what stands for them are the registers that a caller may lose
// and, last, the one that a callee has to keep.
void copy_registers(const ucontext_t& context, CrashContext& out) {
  constexpr int kRegisters[4] = {REG_EAX, REG_EDX, REG_ECX, REG_EBX};
  const auto& gregs = context.uc_mcontext.gregs;
  const auto read = [&gregs](int which) { return static_cast<std::uint32_t>(gregs[which]); };
  out.pc = read(REG_EIP);
  out.sp = read(REG_ESP);
  for (int i = 0; i < 4; ++i) out.r[i] = read(kRegisters[i]);
}
#elif defined(__linux__) && defined(__aarch64__)
#define TD_HAVE_CRASH_CONTEXT 1
void copy_registers(const ucontext_t& context, CrashContext& out) {
  const auto& machine = context.uc_mcontext;
  out.pc = machine.pc;
  out.lr = machine.regs[30];
  out.sp = machine.sp;
  for (int i = 0; i < 4; ++i) out.r[i] = machine.regs[i];
}
#elif defined(__linux__) && defined(__arm__)
#define TD_HAVE_CRASH_CONTEXT 1
void copy_registers(const ucontext_t& context, CrashContext& out) {
  const auto& machine = context.uc_mcontext;
  out.pc = machine.arm_pc;
  out.lr = machine.arm_lr;
  out.sp = machine.arm_sp;
  out.r[0] = machine.arm_r0;
  out.r[1] = machine.arm_r1;
  out.r[2] = machine.arm_r2;
  out.r[3] = machine.arm_r3;
}
#endif

}  // namespace

CrashContext read_crash_context(const void* ucontext) {
  CrashContext out;
#if defined(TD_HAVE_CRASH_CONTEXT)
  if (ucontext != nullptr) {
    out.known = true;
    copy_registers(*static_cast<const ucontext_t*>(ucontext), out);
  }
#else
  static_cast<void>(ucontext);
#endif
  return out;
}
