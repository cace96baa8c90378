// How the crash report is put together; real faults: crash_test.py.
#include "frame/crash.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <ucontext.h>

#include <cstring>
#include <string>

#include "frame/channels.h"
#include "frame/tdlib.h"
#include "tests/forked_child.h"

namespace {

// An address that is none of an object's.
template <typename T = void>
T* address(std::uintptr_t value) {
  return reinterpret_cast<T*>(value);  // NOLINT(performance-no-int-to-ptr)
}

TEST(CrashAppend, StopsOneByteBeforeTheCapacity) {
  const struct {
    std::size_t cap, pos;
    const char* text;
    std::size_t end;
    const char* content;  // of eight bytes that were all '.'
  } kCases[] = {{8, 3, "", 3, "........"},           {8, 3, "abc", 6, "...abc.."},
                {8, 0, "abcdefghij", 7, "abcdefg."}, {8, 7, "x", 7, "........"},
                {8, 8, "x", 8, "........"},          {0, 0, "x", 0, "........"}};
  for (const auto& c : kCases) {
    char buf[] = "........";
    EXPECT_EQ(append_cstr(buf, c.cap, c.pos, c.text), c.end) << c.text;
    EXPECT_STREQ(buf, c.content);
  }
  char small[] = "....!";
  EXPECT_EQ(append_u64_dec(small, 4, 1, 98765), 3u);
  EXPECT_EQ(append_u64_hex(small, 4, 3, 0xabc), 3u);
  EXPECT_STREQ(small, ".98.!");
  char most[64] = "";
  append_u64_dec(most, sizeof most, append_u64_hex(most, sizeof most, 0, UINT64_MAX), UINT64_MAX);
  EXPECT_STREQ(most, "ffffffffffffffff18446744073709551615");
}

// A machine context whose registers hold what a test wants to read back.
ucontext_t context_with(std::uint64_t pc, std::uint64_t sp) {
  ucontext_t context = {};
  auto& machine = context.uc_mcontext;
#if defined(__x86_64__) || defined(__i386__)
#if defined(__x86_64__)
  constexpr int kWhich[] = {REG_RIP, REG_RSP, REG_RDI, REG_RSI, REG_RDX, REG_RCX};
#else
  constexpr int kWhich[] = {REG_EIP, REG_ESP, REG_EAX, REG_EDX, REG_ECX, REG_EBX};
#endif
  const std::uint64_t values[] = {pc, sp, 0xa0, 0, 0xa2, UINT64_MAX};
  for (int i = 0; i < 6; ++i) machine.gregs[kWhich[i]] = static_cast<greg_t>(values[i]);
#elif defined(__aarch64__)
  machine.pc = pc;
  machine.sp = sp;
  machine.regs[0] = 0xa0;
  machine.regs[2] = 0xa2;
  machine.regs[3] = UINT64_MAX;
#elif defined(__arm__)
  machine.arm_pc = static_cast<unsigned long>(pc);
  machine.arm_sp = static_cast<unsigned long>(sp);
  machine.arm_r0 = 0xa0;
  machine.arm_r2 = 0xa2;
  machine.arm_r3 = ~0UL;
#endif
  return context;
}
// A register of ones is as long as an address.
const std::string kRegisters =
    " r0=0xa0 r1=0x0 r2=0xa2 r3=0x" + std::string(2 * sizeof(void*), 'f') + "\n";

// One call of the handler by hand, and everything that it must write.
struct HandCall {
  int sig;
  bool info;
  int code;
  std::uintptr_t addr;
  bool context;
  std::uint64_t pc, sp;
  std::uintptr_t backend_base, tdjson_base;
  std::string lines;  // to standard error, log and mirror
  std::string event;  // behind its signal
};

TEST(CrashHandler, WritesExactlyWhatIsKnown) {
  const HandCall kCalls[] = {
      {SIGSEGV, true, 1, 0xdead0, true, 0x55501234, 0x7ffe10, 0x55500000, 0x55501000,
       "FATAL signal=11 (SIGSEGV) code=1 addr=0xdead0 pc=0x55501234\n"
       "FATAL ctx: pc=0x55501234 sp=0x7ffe10 pc_rel_backend=0x1234 pc_rel_tdjson=0x234" +
           kRegisters,
       R"(,"code":1,"addr":"0xdead0","pc":"0x55501234","sp":"0x7ffe10","backend_base":"0x55500000",)"
       R"("pc_rel_backend":"0x1234","tdjson_base":"0x55501000","pc_rel_tdjson":"0x234")"},
      // Below both bases.
      {SIGBUS, true, -6, 0, true, 0x10, 0, 0x20, 0x30,
       "FATAL signal=7 (SIGBUS) code=-6 addr=0x0 pc=0x10\n"
       "FATAL ctx: pc=0x10 pc_rel_backend=0x0 pc_rel_tdjson=0x0" +
           kRegisters,
       R"(,"code":-6,"addr":"0x0","pc":"0x10","backend_base":"0x20","pc_rel_backend":"0x0",)"
       R"("tdjson_base":"0x30","pc_rel_tdjson":"0x0")"},
      {SIGILL, true, 2, 0, true, 0, 0x99, 0x20, 0x30,
       "FATAL signal=4 (SIGILL) code=2 addr=0x0\nFATAL ctx: sp=0x99" + kRegisters,
       R"(,"code":2,"addr":"0x0","sp":"0x99","backend_base":"0x20","tdjson_base":"0x30")"},
      {SIGFPE, false, 0, 0, true, 0x31, 0x99, 0, 0x30,
       "FATAL signal=8 (SIGFPE) pc=0x31\nFATAL ctx: pc=0x31 sp=0x99 pc_rel_tdjson=0x1" + kRegisters,
       R"(,"pc":"0x31","sp":"0x99","tdjson_base":"0x30","pc_rel_tdjson":"0x1")"},
      {SIGTRAP, false, 0, 0, false, 0, 0, 0, 0x30, "FATAL signal=5 (SIGTRAP)\nFATAL ctx:\n",
       R"(,"tdjson_base":"0x30")"},
      {SIGABRT, true, -6, 0x3e8, true, 0x21, 0x99, 0x20, 0,
       "FATAL signal=6 (SIGABRT) code=-6 addr=0x3e8 pc=0x21\n"
       "FATAL ctx: pc=0x21 sp=0x99 pc_rel_backend=0x1" +
           kRegisters,
       R"(,"code":-6,"addr":"0x3e8","pc":"0x21","sp":"0x99","backend_base":"0x20",)"
       R"("pc_rel_backend":"0x1")"},
      // Nothing for a second line.
      {SIGSEGV, true, 1, 8, true, 0, 0, 0, 0, "FATAL signal=11 (SIGSEGV) code=1 addr=0x8\n",
       R"(,"code":1,"addr":"0x8")"},
      {40, false, 0, 0, false, 0, 0, 0, 0, "FATAL signal=40 (?)\n", ""}};
  for (const HandCall& c : kCalls) {
    const ChildResult child = run_in_child([&c] {
      g_backend_base = address(c.backend_base);
      g_tdjson_base = address(c.tdjson_base);
      g_hub_mode = true;  // the event goes past its filter
      siginfo_t info = {};
      info.si_code = c.code;
      info.si_addr = address(c.addr);
      ucontext_t context = context_with(c.pc, c.sp);
      fatal_signal_handler(c.sig, c.info ? &info : nullptr, c.context ? &context : nullptr);
    });
    EXPECT_EQ(child.exit_status, 128 + c.sig);
    for (const std::string& lines : {child.err, child.log, child.mirror}) EXPECT_EQ(lines, c.lines);
    EXPECT_EQ(child.events, R"({"type":"backend_fatal","kind":"signal","sig":)" +
                                std::to_string(c.sig) + c.event + "}\n");
    EXPECT_EQ(child.out, "");
  }
}

}  // namespace
