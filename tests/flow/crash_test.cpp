// How the program ends when it cannot go on: faults on its own and on TDLib's threads, exceptions,
// memory exhaustion; what it leaves in each channel and on disk.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "tests/matches.h"
#include "tests/support/backend_run.h"

namespace {

// The hexadecimal number behind the first `key`, 0 when there is none.
std::uint64_t number_after(const std::string& text, const std::string& key) {
  const std::size_t at = text.find(key);
  return at == std::string::npos ? 0 : std::strtoull(text.c_str() + at + key.size(), nullptr, 16);
}

struct Fault {
  const char* name;
  int sig;
  const char* what;  // the report's first line up to the pc, as an expression
  bool in_library;   // the fault's pc lies in the library's code
};

constexpr Fault kFaults[] = {
    {"abort", 6, "SIGABRT\\) code=-6 addr=0x[0-9a-f]+", false},
    {"segv", 11, "SIGSEGV\\) code=1 addr=0x10", true},
    {"bus", 7, "SIGBUS\\) code=2 addr=0x[0-9a-f]+", true},
#if defined(__x86_64__)
    {"fpe", 8, "SIGFPE\\) code=1 addr=0x[0-9a-f]+", true},
#endif
    {"ill", 4, "SIGILL\\) code=[0-9]+ addr=0x[0-9a-f]+", true},
    {"stack_overflow", 11, "SIGSEGV\\) code=1 addr=0x[0-9a-f]+", true},
    {"in_malloc", 11, "SIGSEGV\\) code=1 addr=0x20", false},
    {"thread_segv", 11, "SIGSEGV\\) code=1 addr=0x10", true},
    {"call_null", 11, "SIGSEGV\\) code=1 addr=0x0", false},
};

// The bases that the log has told at the start are those of the report, and the relative
// addresses are what is left of the pc, which a call of a null function does not have.
void expect_true_addresses(const std::string& log, const std::string& event, const Fault& fault) {
  const std::uint64_t backend = number_after(log, "MODULE_BASE backend base=0x");
  const std::uint64_t tdjson = number_after(log, "MODULE_BASE tdjson base=0x");
  const std::uint64_t pc = number_after(event, "\"pc\":\"0x");
  EXPECT_EQ(number_after(event, "\"backend_base\":\"0x"), backend);
  EXPECT_EQ(number_after(event, "\"tdjson_base\":\"0x"), tdjson);
  EXPECT_EQ(number_after(event, "\"pc_rel_backend\":\"0x"), pc < backend ? 0 : pc - backend);
  EXPECT_EQ(number_after(event, "\"pc_rel_tdjson\":\"0x"), pc < tdjson ? 0 : pc - tdjson);
  EXPECT_EQ(pc == 0, std::string(fault.name) == "call_null");
  constexpr std::uint64_t kMostCode = 16 << 20;  // of the scripted library
  EXPECT_TRUE(!fault.in_library || pc - tdjson < kMostCode) << log;
}

TEST(CrashFlow, FaultsAreReportedInEveryChannel) {
  for (const Fault& fault : kFaults) {
    SCOPED_TRACE(fault.name);
    BackendRun run;
    run.env["TD_BACKEND_MODE"] = "hub";  // the event goes past its filter
    run.env["TDLIB_LOG_MIRROR_FILE"] = "mirror.log";
    run.start();
    run.forget();
    run.fault(fault.name);
    EXPECT_EQ(run.wait_exit(), 128 + fault.sig);
    const std::string log = read_file(run.log_path());
    const std::string sig = std::to_string(fault.sig);
    const std::string report = log.substr(log.find("FATAL"));
    EXPECT_TRUE(matches(report, "FATAL signal=" + sig + " \\(" + fault.what +
                                    "( pc=0x[0-9a-f]+)?\nFATAL ctx:( pc=0x[0-9a-f]+)?"
                                    "( lr=0x[0-9a-f]+)? sp=0x[0-9a-f]+"
                                    "( pc_rel_backend=0x[0-9a-f]+ pc_rel_tdjson=0x[0-9a-f]+)?"
                                    "( r[0-3]=0x[0-9a-f]+){4}\n"))
        << report;
    EXPECT_EQ(run.error_lines(), run.log_lines());
    EXPECT_EQ(read_file(run.dir / "mirror.log"), log);
    const Lines events = run.events();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_TRUE(matches(
        events[0], "\\{\"type\":\"backend_fatal\",\"kind\":\"signal\",\"sig\":" + sig +
                       ",\"code\":-?[0-9]+,\"addr\":\"0x[0-9a-f]+\",(\"pc\":\"0x[0-9a-f]+\",)?"
                       "(\"lr\":\"0x[0-9a-f]+\",)?\"sp\":\"0x[0-9a-f]+\","
                       "\"backend_base\":\"0x[0-9a-f]+\",(\"pc_rel_backend\":\"0x[0-9a-f]+\",)?"
                       "\"tdjson_base\":\"0x[0-9a-f]+\"(,\"pc_rel_tdjson\":\"0x[0-9a-f]+\")?\\}"))
        << events[0];
    expect_true_addresses(log, events[0], fault);
    EXPECT_EQ(run.replies(), Lines{});
  }
}

TEST(CrashFlow, ChannelsThatAreNotThere) {
  BackendRun without_events;
  without_events.env.erase("BACKEND_EVENTS_FILE");
  BackendRun closed;
  closed.closed = {2};
  BackendRun full;
  full.env["TDLIB_LOG_FILE"] = "/dev/full";
  for (BackendRun* run : {&without_events, &closed, &full}) {
    run->env["TDLIB_LOG_MIRROR_FILE"] = "mirror.log";
    run->start();
    run->forget();
    run->fault("segv");
    EXPECT_EQ(run->wait_exit(), 139);
    EXPECT_EQ(run->log_lines().size(), run == &full ? 0u : 2u);
    EXPECT_EQ(run->error_lines().size(), run == &closed ? 0u : 2u);
    EXPECT_EQ(run->events().size(), run == &without_events ? 0u : 1u);
    EXPECT_NE(read_file(run->dir / "mirror.log").find("\nFATAL ctx: "), std::string::npos);
    EXPECT_EQ(run->replies(), Lines{});
  }
}

TEST(CrashFlow, TerminateAndEscapedExceptions) {
  const struct {
    const char* fault;
    int status;
    const char* line;
    bool everywhere;  // in the logs and the events, too
  } kCases[] = {{"thread_throw", 45, "FATAL terminate: x", true},
                {"throw_bad_alloc", 42, "FATAL bad_alloc: std::bad_alloc", false},
                {"throw_runtime_error", 43, "FATAL exception: x", false},
                {"throw_null_what", 43, "FATAL exception: (null)", false},
                {"throw_int", 44, "FATAL unknown exception", false}};
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.fault);
    BackendRun run;
    run.env["TDLIB_LOG_MIRROR_FILE"] = "mirror.log";
    run.start();
    run.forget();
    run.fault(c.fault);
    EXPECT_EQ(run.wait_exit(), c.status);
    EXPECT_EQ(run.error_lines(), Lines{c.line});
    EXPECT_EQ(run.log_lines(), c.everywhere ? Lines{c.line} : Lines{});
    EXPECT_EQ(read_file(run.dir / "mirror.log"), read_file(run.log_path()));
    const std::string event = R"({"type":"backend_fatal","kind":"terminate"})";
    EXPECT_EQ(run.events(), c.everywhere ? Lines{event} : Lines{});
    EXPECT_EQ(run.replies(), Lines{});
  }
}

TEST(CrashFlow, AnEndlessLineEndsWithTheReport) {
  for (const char* mode : {"ui", "hub"}) {  // without and with mapped allocations
    constexpr std::size_t kLimit = 96 << 20;
    BackendRun run;
    run.env["TD_BACKEND_MODE"] = mode;
    run.address_space = kLimit;
    run.start();
    run.send_line("ping");
    run.forget();
    const std::string pid = std::to_string(run.pid());
    const std::string chunk(32 * 1024, 'x');
    std::size_t fed = 0;
    for (; run.running() && fed < kLimit; fed += chunk.size()) run.feed(chunk);
    EXPECT_LT(fed, kLimit);
    ASSERT_EQ(run.wait_exit(), 42);
    const Lines errors = run.error_lines();
    ASSERT_GE(errors.size(), 5u);
    EXPECT_TRUE(matches(errors[0], "td_backend: OOM \\(operator new\\) size=[0-9]+ pid=" + pid +
                                       " errno=12 ra0=0x.*"))
        << errors[0];
    EXPECT_EQ(errors[2], "td_backend: /proc/self/vmstat begin (OOM)");
    EXPECT_EQ(errors[errors.size() - 2], "td_backend: /proc/self/vmstat end");
    EXPECT_EQ(errors.back(), "FATAL bad_alloc: std::bad_alloc");
    for (const Lines& lines : {run.log_lines(), run.events(), run.replies()}) {
      EXPECT_EQ(lines, Lines{});
    }
    BackendRun next;  // finds the database's lock free
    next.env["TDLIB_DB_DIR"] = run.dir / "tdlib-db";
    next.start();
    EXPECT_EQ(next.replies(), Lines{"BACKEND_READY client_id=1"});
  }
}

TEST(CrashFlow, EveryAllocationMapped) {
  BackendRun run;
  run.env["TD_MMAP_LARGE_ALLOC"] = "1";
  run.env["TD_MMAP_LARGE_THRESHOLD"] = "1";  // the table fills up, and malloc takes over
  run.start();
  run.login();
  for (int id = 1; id <= 300; ++id) {
    run.deliver(R"({"@type":"updateUser","user":{"@type":"user","id":)" + std::to_string(id) +
                R"(,"first_name":"A","last_name":"B"}})");
  }
  EXPECT_EQ(run.events().size(), 300u);
}

}  // namespace
