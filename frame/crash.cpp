#include "frame/crash.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>

#include "frame/channels.h"
#include "frame/protocol.h"
#include "frame/tdlib.h"
#include "platform/crash_context.h"
#include "platform/signal_stack.h"

static_assert(ATOMIC_INT_LOCK_FREE == 2 && ATOMIC_BOOL_LOCK_FREE == 2,
              "the signal handler loads these");

std::atomic<bool> g_in_fatal_signal{false};

std::size_t append_cstr(char* buf, std::size_t cap, std::size_t pos, const char* text) {
  while (*text != '\0' && pos + 1 < cap) buf[pos++] = *text++;
  return pos;
}

namespace {

std::size_t append_u64(char* buf, std::size_t cap, std::size_t pos, std::uint64_t value,
                       unsigned base) {
  char digits[32];
  std::size_t at = sizeof digits;
  digits[--at] = '\0';
  do {
    digits[--at] = "0123456789abcdef"[value % base];
    value /= base;
  } while (value != 0);
  return append_cstr(buf, cap, pos, digits + at);
}

}  // namespace

std::size_t append_u64_dec(char* buf, std::size_t cap, std::size_t pos, std::uint64_t value) {
  return append_u64(buf, cap, pos, value, 10);
}

std::size_t append_u64_hex(char* buf, std::size_t cap, std::size_t pos, std::uint64_t value) {
  return append_u64(buf, cap, pos, value, 16);
}

namespace {

template <std::size_t kCapacity>
struct ReportLine {
  char buf[kCapacity];
  std::size_t len = 0;

  ReportLine& text(const char* value) {
    len = append_cstr(buf, kCapacity, len, value);
    return *this;
  }
  ReportLine& dec(std::int64_t value) {
    if (value < 0) text("-");
    const auto magnitude = static_cast<std::uint64_t>(value);
    len = append_u64_dec(buf, kCapacity, len, value < 0 ? 0 - magnitude : magnitude);
    return *this;
  }
  ReportLine& hex(const char* before, std::uint64_t value) {
    text(before);
    len = append_u64_hex(buf, kCapacity, len, value);
    return *this;
  }
};

// All that a report says, collected before the first line.
struct FaultFacts {
  int sig = 0;
  bool has_info = false;
  int code = 0;
  std::uint64_t addr = 0;
  CrashContext at;
  std::uint64_t backend_base = 0;  // 0: unknown
  std::uint64_t tdjson_base = 0;   // 0: unknown
};

constexpr struct {
  int sig;
  const char* name;
} kFatalSignals[] = {
    {SIGSEGV, "SIGSEGV"}, {SIGABRT, "SIGABRT"}, {SIGBUS, "SIGBUS"},
    {SIGFPE, "SIGFPE"},   {SIGILL, "SIGILL"},   {SIGTRAP, "SIGTRAP"},
};

const char* signal_name(int sig) {
  for (const auto& row : kFatalSignals) {
    if (row.sig == sig) return row.name;
  }
  return "?";
}

std::uint64_t address_of(const void* pointer) {
  return static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(pointer));
}

std::uint64_t relative_to(std::uint64_t base, std::uint64_t pc) {
  return pc < base ? 0 : pc - base;
}

// One try: a report that cannot be written must not keep the process from ending.
void write_once(int fd, const char* buf, std::size_t len) {
  if (fd >= 0 && write(fd, buf, len) < 0) return;
}

// Behind an event that was cut off a line feed goes first.
void write_event(const char* buf, std::size_t len) {
  const int fd = g_events_fd.load(std::memory_order_relaxed);
  if (fd < 0) return;
  if (take_line_cut(fd)) write_once(fd, "\n", 1);
  write_best_effort(fd, buf, len);
}

void write_to_logs(const char* buf, std::size_t len) {
  write_once(STDERR_FILENO, buf, len);
  write_once(g_log_fd.load(std::memory_order_relaxed), buf, len);
  write_once(g_log_mirror_fd.load(std::memory_order_relaxed), buf, len);
}

FaultFacts collect_facts(int sig, const siginfo_t* info, const void* ucontext) {
  FaultFacts facts;
  facts.sig = sig;
  if (info != nullptr) {
    facts.has_info = true;
    facts.code = info->si_code;
    facts.addr = address_of(info->si_addr);
  }
  facts.at = read_crash_context(ucontext);
  facts.backend_base = address_of(g_backend_base);
  facts.tdjson_base = address_of(g_tdjson_base);
  return facts;
}

void report_signal_line(const FaultFacts& facts) {
  ReportLine<320> line;
  line.text("FATAL signal=").dec(facts.sig).text(" (").text(signal_name(facts.sig)).text(")");
  if (facts.has_info) line.text(" code=").dec(facts.code).hex(" addr=0x", facts.addr);
  if (facts.at.pc != 0) line.hex(" pc=0x", facts.at.pc);
  line.text("\n");
  write_to_logs(line.buf, line.len);
}

void report_event(const FaultFacts& facts) {
  if (g_events_fd < 0) return;
  const CrashContext& at = facts.at;
  ReportLine<512> line;
  line.text("{\"type\":\"backend_fatal\",\"kind\":\"signal\",\"sig\":").dec(facts.sig);
  if (facts.has_info) {
    line.text(",\"code\":").dec(facts.code).hex(",\"addr\":\"0x", facts.addr).text("\"");
  }
  if (at.pc != 0) line.hex(",\"pc\":\"0x", at.pc).text("\"");
  if (at.lr != 0) line.hex(",\"lr\":\"0x", at.lr).text("\"");
  if (at.sp != 0) line.hex(",\"sp\":\"0x", at.sp).text("\"");
  if (facts.backend_base != 0) {
    line.hex(",\"backend_base\":\"0x", facts.backend_base).text("\"");
    if (at.pc != 0) {
      line.hex(",\"pc_rel_backend\":\"0x", relative_to(facts.backend_base, at.pc)).text("\"");
    }
  }
  if (facts.tdjson_base != 0) {
    line.hex(",\"tdjson_base\":\"0x", facts.tdjson_base).text("\"");
    if (at.pc != 0) {
      line.hex(",\"pc_rel_tdjson\":\"0x", relative_to(facts.tdjson_base, at.pc)).text("\"");
    }
  }
  if (at_level2()) line.text(",\"seq\":").dec(next_event_number());
  line.text("}\n");
  write_event(line.buf, line.len);
}

void report_context_line(const FaultFacts& facts) {
  const CrashContext& at = facts.at;
  const bool nothing_known =
      at.pc == 0 && at.lr == 0 && at.sp == 0 && facts.backend_base == 0 && facts.tdjson_base == 0;
  if (nothing_known) return;
  ReportLine<640> line;
  line.text("FATAL ctx:");
  if (at.pc != 0) line.hex(" pc=0x", at.pc);
  if (at.lr != 0) line.hex(" lr=0x", at.lr);
  if (at.sp != 0) line.hex(" sp=0x", at.sp);
  if (at.pc != 0 && facts.backend_base != 0) {
    line.hex(" pc_rel_backend=0x", relative_to(facts.backend_base, at.pc));
  }
  if (at.pc != 0 && facts.tdjson_base != 0) {
    line.hex(" pc_rel_tdjson=0x", relative_to(facts.tdjson_base, at.pc));
  }
  if (at.known) {
    line.hex(" r0=0x", at.r[0]).hex(" r1=0x", at.r[1]);
    line.hex(" r2=0x", at.r[2]).hex(" r3=0x", at.r[3]);
  }
  line.text("\n");
  write_to_logs(line.buf, line.len);
}

}  // namespace

void fatal_signal_handler(int sig, siginfo_t* info, void* ucontext) {
  // Load and store, not exchange: two threads that fault in the same moment may both report.
  if (!g_in_fatal_signal.load(std::memory_order_relaxed)) {
    g_in_fatal_signal.store(true, std::memory_order_relaxed);
    const FaultFacts facts = collect_facts(sig, info, ucontext);
    report_signal_line(facts);
    report_event(facts);
    report_context_line(facts);
  }
  _exit(128 + sig);
}

namespace {

// Formats "FATAL terminate: ..." and returns the formatted length, which may exceed the buffer.
int format_terminate_text(char* buf, std::size_t cap) {
  const auto format = [buf, cap](const char* what) {
    return std::snprintf(buf, cap, "FATAL terminate: %s\n", what != nullptr ? what : "(null)");
  };
  if (std::current_exception() == nullptr) return format("no current exception");
  try {
    throw;  // the current one; unlike rethrow_exception this allocates nothing
  } catch (const std::exception& e) {
    return format(e.what());
  } catch (...) {
    return format("non-std exception");
  }
}

}  // namespace

void backend_terminate_handler() {
  char text[512];
  const int formatted = format_terminate_text(text, sizeof text);
  if (formatted > 0) {
    // A text that does not fit is written with the buffer's NUL in place of its end, like a log
    // line that is too long.
    std::size_t len = static_cast<std::size_t>(formatted);
    if (len > sizeof text) len = sizeof text;
    write_to_logs(text, len);
  }
  ReportLine<96> event;
  event.text("{\"type\":\"backend_fatal\",\"kind\":\"terminate\"");
  if (at_level2()) event.text(",\"seq\":").dec(next_event_number());
  event.text("}\n");
  write_event(event.buf, event.len);
  std::_Exit(45);
}

void install_crash_handlers() {
  std::set_terminate(backend_terminate_handler);
  signal(SIGPIPE, SIG_IGN);
  struct sigaction action = {};
  action.sa_sigaction = fatal_signal_handler;
  action.sa_flags = SA_SIGINFO | use_alternate_signal_stack();
  sigemptyset(&action.sa_mask);
  for (const auto& row : kFatalSignals) sigaction(row.sig, &action, nullptr);
}

namespace {

int end_with(int status, const char* label, const char* what) {
  std::fprintf(stderr, "%s%s\n", label, what != nullptr ? what : "(null)");
  std::fflush(stderr);
  return status;
}

}  // namespace

int run_main(int (*main_impl)(int, char**), int argc, char** argv) {
  try {
    return main_impl(argc, argv);
  } catch (const std::bad_alloc& e) {
    return end_with(42, "FATAL bad_alloc: ", e.what());
  } catch (const std::exception& e) {
    return end_with(43, "FATAL exception: ", e.what());
  } catch (...) {
    return end_with(44, "FATAL unknown exception", "");
  }
}
