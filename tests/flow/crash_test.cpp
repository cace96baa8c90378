// How the program ends when it cannot go on: faults on its own and on TDLib's threads, exceptions,
// memory exhaustion; what it leaves in each channel and on disk.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <ostream>
#include <string>

#include "tests/match_whole.h"
#include "tests/support/backend_run.h"

namespace {

Lines last_lines(const std::string& text, std::size_t count) {
  Lines lines;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = text.find('\n', at);
    lines.push_back(text.substr(at, end - at));
    at = end == std::string::npos ? text.size() : end + 1;
  }
  if (lines.size() > count) lines.erase(lines.begin(), lines.end() - static_cast<long>(count));
  return lines;
}

// The hexadecimal number behind the first `key`, 0 when there is none.
std::uint64_t number_after(const std::string& text, const std::string& key) {
  const std::size_t at = text.find(key);
  return at == std::string::npos ? 0 : std::strtoull(text.c_str() + at + key.size(), nullptr, 16);
}

void start_with_mirror(BackendRun& run) {
  run.set_env("TDLIB_LOG_MIRROR_FILE", "mirror.log");
  run.start();
}

// A second start on the same database finds its lock free.
void expect_next_start_works(const BackendRun& ended) {
  BackendRun next;
  next.set_env("TDLIB_DB_DIR", ended.dir() / "tdlib-db");
  next.start();
  EXPECT_EQ(next.replies(), Lines{"BACKEND_READY client_id=1"});
  EXPECT_EQ(next.quit(), 0);
}

struct Fault {
  const char* name;
  int sig;
  const char* first_line;  // up to the pc, as an expression
  bool in_library;         // the fault's pc lies in the library's code
};

// The test framework's name.  NOLINTNEXTLINE(readability-identifier-naming)
void PrintTo(const Fault& fault, std::ostream* out) { *out << fault.name; }

constexpr Fault kFaults[] = {
    {"abort", 6, "FATAL signal=6 \\(SIGABRT\\) code=-6 addr=0x[0-9a-f]+", false},
    {"raise_segv", 11, "FATAL signal=11 \\(SIGSEGV\\) code=-6 addr=0x[0-9a-f]+", false},
    {"trap", 5, "FATAL signal=5 \\(SIGTRAP\\) code=-6 addr=0x[0-9a-f]+", false},
    {"segv", 11, "FATAL signal=11 \\(SIGSEGV\\) code=1 addr=0x10", true},
    {"bus", 7, "FATAL signal=7 \\(SIGBUS\\) code=2 addr=0x[0-9a-f]+", true},
#if defined(__x86_64__)
    {"fpe", 8, "FATAL signal=8 \\(SIGFPE\\) code=1 addr=0x[0-9a-f]+", true},
#endif
    {"ill", 4, "FATAL signal=4 \\(SIGILL\\) code=[0-9]+ addr=0x[0-9a-f]+", true},
    {"stack_overflow", 11, "FATAL signal=11 \\(SIGSEGV\\) code=1 addr=0x[0-9a-f]+", true},
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    {"in_malloc", 11, "FATAL signal=11 \\(SIGSEGV\\) code=1 addr=0x10", true},  // beside it
#else
    {"in_malloc", 11, "FATAL signal=11 \\(SIGSEGV\\) code=1 addr=0x20", false},
#endif
    {"thread_segv", 11, "FATAL signal=11 \\(SIGSEGV\\) code=1 addr=0x10", true},
    {"thread_abort", 6, "FATAL signal=6 \\(SIGABRT\\) code=-6 addr=0x[0-9a-f]+", false},
};

// The bases that the log has told at the start are those of the report, and the relative
// addresses are what is left of the pc.
void expect_true_addresses(const std::string& log, const std::string& event, bool in_library) {
  const std::uint64_t backend = number_after(log, "MODULE_BASE backend base=0x");
  const std::uint64_t tdjson = number_after(log, "MODULE_BASE tdjson base=0x");
  const std::uint64_t pc = number_after(event, "\"pc\":\"0x");
  EXPECT_EQ(number_after(event, "\"backend_base\":\"0x"), backend);
  EXPECT_EQ(number_after(event, "\"tdjson_base\":\"0x"), tdjson);
  EXPECT_EQ(number_after(event, "\"pc_rel_backend\":\"0x"), pc < backend ? 0 : pc - backend);
  EXPECT_EQ(number_after(event, "\"pc_rel_tdjson\":\"0x"), pc < tdjson ? 0 : pc - tdjson);
  EXPECT_EQ(number_after(log, " pc_rel_tdjson=0x"), pc < tdjson ? 0 : pc - tdjson);
  constexpr std::uint64_t kMostCode = 16 << 20;  // of the scripted library, sanitized or not
  if (in_library) {
    EXPECT_LT(pc - tdjson, kMostCode) << log;
  }
}

class CrashFlow : public testing::TestWithParam<Fault> {};

TEST_P(CrashFlow, IsReportedInEveryChannel) {
  const Fault& fault = GetParam();
  BackendRun run;
  start_with_mirror(run);
  run.forget();
  run.fault(fault.name);
  EXPECT_EQ(run.wait_exit(), 128 + fault.sig);

  const std::string all_log = read_file(run.log_path());
  const Lines report = last_lines(all_log, 2);
  ASSERT_EQ(report.size(), 2u);
  EXPECT_FALSE(match_whole(report[0], std::string(fault.first_line) + " pc=0x[0-9a-f]+").empty())
      << report[0];
  EXPECT_FALSE(match_whole(report[1],
                           "FATAL ctx: pc=0x[0-9a-f]+( lr=0x[0-9a-f]+)? sp=0x[0-9a-f]+"
                           " pc_rel_backend=0x[0-9a-f]+ pc_rel_tdjson=0x[0-9a-f]+"
                           " r0=0x[0-9a-f]+ r1=0x[0-9a-f]+ r2=0x[0-9a-f]+ r3=0x[0-9a-f]+")
                   .empty())
      << report[1];
  EXPECT_EQ(run.log_lines(), report) << "nothing else is logged";
  EXPECT_EQ(run.error_lines(), report);
  EXPECT_EQ(last_lines(read_file(run.dir() / "mirror.log"), 2), report);
  const Lines events = run.events();
  ASSERT_EQ(events.size(), 1u);
  EXPECT_FALSE(
      match_whole(
          events[0],
          "\\{\"type\":\"backend_fatal\",\"kind\":\"signal\",\"sig\":" + std::to_string(fault.sig) +
              ",\"code\":-?[0-9]+,\"addr\":\"0x[0-9a-f]+\",\"pc\":\"0x[0-9a-f]+\","
              "(\"lr\":\"0x[0-9a-f]+\",)?\"sp\":\"0x[0-9a-f]+\","
              "\"backend_base\":\"0x[0-9a-f]+\",\"pc_rel_backend\":\"0x[0-9a-f]+\","
              "\"tdjson_base\":\"0x[0-9a-f]+\",\"pc_rel_tdjson\":\"0x[0-9a-f]+\"\\}")
          .empty())
      << events[0];
  expect_true_addresses(all_log, events[0], fault.in_library);
  EXPECT_EQ(run.replies(), Lines{});
  expect_next_start_works(run);
}

INSTANTIATE_TEST_SUITE_P(Faults, CrashFlow, testing::ValuesIn(kFaults),
                         [](const testing::TestParamInfo<Fault>& fault) {
                           return std::string(fault.param.name);
                         });

TEST(CrashEnd, CallOfANullFunctionHasNoPc) {
  BackendRun run(Mode::kHub);  // the event goes past the hub's filter
  start_with_mirror(run);
  run.forget();
  run.fault("call_null");
  EXPECT_EQ(run.wait_exit(), 139);
  const Lines report = run.log_lines();
  ASSERT_EQ(report.size(), 2u);
  EXPECT_EQ(report[0], "FATAL signal=11 (SIGSEGV) code=1 addr=0x0");
  EXPECT_FALSE(match_whole(report[1],
                           "FATAL ctx:( lr=0x[0-9a-f]+)? sp=0x[0-9a-f]+ r0=0x[0-9a-f]+"
                           " r1=0x[0-9a-f]+ r2=0x[0-9a-f]+ r3=0x[0-9a-f]+")
                   .empty())
      << report[1];
  EXPECT_EQ(run.error_lines(), report);
  const Lines events = run.events();
  ASSERT_EQ(events.size(), 1u);
  EXPECT_FALSE(match_whole(events[0],
                           "\\{\"type\":\"backend_fatal\",\"kind\":\"signal\",\"sig\":11,"
                           "\"code\":1,\"addr\":\"0x0\",(\"lr\":\"0x[0-9a-f]+\",)?"
                           "\"sp\":\"0x[0-9a-f]+\",\"backend_base\":\"0x[0-9a-f]+\","
                           "\"tdjson_base\":\"0x[0-9a-f]+\"\\}")
                   .empty())
      << events[0];
}

TEST(CrashEnd, ChannelsThatAreNotThere) {
  {
    BackendRun run;
    run.without_events();
    run.start();
    run.forget();
    run.fault("segv");
    EXPECT_EQ(run.wait_exit(), 139);
    EXPECT_EQ(run.error_lines().size(), 2u);
    EXPECT_EQ(
        (run.all_output() + run.all_errors() + read_file(run.log_path())).find("backend_fatal"),
        std::string::npos);
  }
  {
    BackendRun run;
    run.close_at_start(2);
    run.start();
    run.forget();
    run.fault("segv");
    EXPECT_EQ(run.wait_exit(), 139);
    EXPECT_EQ(run.log_lines().size(), 2u);
    EXPECT_EQ(run.events().size(), 1u);
  }
  {
    BackendRun run;
    run.set_env("TDLIB_LOG_FILE", "/dev/full");
    start_with_mirror(run);
    run.forget();
    run.fault("segv");
    EXPECT_EQ(run.wait_exit(), 139);
    EXPECT_EQ(last_lines(read_file(run.dir() / "mirror.log"), 2), run.error_lines());
    EXPECT_EQ(run.events().size(), 1u);
  }
}

TEST(CrashEnd, TerminateAndEscapedExceptions) {
  const std::string kEvent = R"({"type":"backend_fatal","kind":"terminate"})";
  const struct {
    const char* fault;
    int status;
    const char* line;
    bool everywhere;  // in the logs and the events, too
  } kCases[] = {
      {"terminate", 45, "FATAL terminate: no current exception", true},
      {"thread_throw", 45, "FATAL terminate: x", true},
      {"thread_throw_int", 45, "FATAL terminate: non-std exception", true},
      {"thread_throw_null_what", 45, "FATAL terminate: (null)", true},
      {"throw_bad_alloc", 42, "FATAL bad_alloc: std::bad_alloc", false},
      {"throw_runtime_error", 43, "FATAL exception: x", false},
      {"throw_null_what", 43, "FATAL exception: (null)", false},
      {"throw_int", 44, "FATAL unknown exception", false},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.fault);
    BackendRun run;
    start_with_mirror(run);
    run.forget();
    run.fault(c.fault);
    EXPECT_EQ(run.wait_exit(), c.status);
    const Lines everywhere = c.everywhere ? Lines{c.line} : Lines{};
    EXPECT_EQ(run.error_lines(), Lines{c.line});
    EXPECT_EQ(run.log_lines(), everywhere);
    EXPECT_EQ(read_file(run.dir() / "mirror.log"), read_file(run.log_path()));
    EXPECT_EQ(run.events(), c.everywhere ? Lines{kEvent} : Lines{});
    EXPECT_EQ(run.replies(), Lines{});
  }
}

TEST(MemoryEnd, AnEndlessLineEndsWithTheReport) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "a sanitizer reserves more address space than the limit";
#endif
  for (const Mode mode : {Mode::kUi, Mode::kHub}) {  // without and with mapped allocations
    constexpr std::size_t kLimit = 96 << 20;
    BackendRun run(mode);
    run.limit_address_space(kLimit);
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
    EXPECT_FALSE(
        match_whole(errors[0], "td_backend: OOM \\(operator new\\) size=[0-9]+ pid=" + pid +
                                   " errno=12 ra0=0x[0-9a-f]+ obj=[^ ]+ off=0x[0-9a-f]+ sym=[^ ]+"
                                   " ra1=\\(nil\\) obj=\\? off=0 sym=\\?")
            .empty())
        << errors[0];
    EXPECT_FALSE(match_whole(errors[1],
                             "td_backend: /proc/self/pmap summary \\(OOM\\) stacks=[1-9][0-9]*"
                             " bytes=[1-9][0-9]* heaps=[1-9][0-9]* bytes=[1-9][0-9]*")
                     .empty())
        << errors[1];
    EXPECT_EQ(errors[2], "td_backend: /proc/self/vmstat begin (OOM)");
    EXPECT_EQ(errors[errors.size() - 2], "td_backend: /proc/self/vmstat end");
    EXPECT_EQ(errors.back(), "FATAL bad_alloc: std::bad_alloc");
    EXPECT_EQ(run.log_lines(), Lines{});
    EXPECT_EQ(run.events(), Lines{});
    EXPECT_EQ(run.replies(), Lines{});
    EXPECT_EQ(read_file(run.dir() / "tdlib-db/td_backend.lock"), "");
    expect_next_start_works(run);
  }
}

TEST(MemoryEnd, EveryAllocationMapped) {
  BackendRun run;
  run.set_env("TD_MMAP_LARGE_ALLOC", "1");
  run.set_env("TD_MMAP_LARGE_THRESHOLD", "1");  // the table fills up, and malloc takes over
  run.start();
  run.login();
  for (int id = 1; id <= 300; ++id) {
    run.deliver(R"({"@type":"updateUser","user":{"@type":"user","id":)" + std::to_string(id) +
                R"(,"first_name":"A","last_name":"B"}})");
  }
  EXPECT_EQ(run.events().size(), 300u);
  EXPECT_EQ(run.quit(), 0);
}

}  // namespace
