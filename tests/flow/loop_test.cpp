// The main loop where a transcript does not reach: signals, many lines, long lines, memory, and
// waiting until something happens. The rest is in flows/loop.txt.

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "frame/version.h"
#include "tests/objects.h"
#include "tests/support/backend_run.h"

// A sanitizer's allocator keeps what is freed.
static bool sanitized() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  return true;
#else
  return std::getenv("TD_BACKEND_PROGRAM") != nullptr;  // only such builds are named so
#endif
}

// A run whose reply lines are all seen; its first one is taken.
static void start_without_events(BackendRun& run) {
  run.env.erase("BACKEND_EVENTS_FILE");
  run.start();
  run.forget();
}

// SIGINT, say, ends the run like "quit" but for the reply; a second signal as the system does.
TEST(Loop, SignalsEndTheRun) {
  for (const int sig : {SIGTERM, SIGINT, SIGHUP}) {
    BackendRun run;
    start_without_events(run);
    run.signal(sig);
    run.deliver_auth_state("WaitPhoneNumber");
    EXPECT_EQ(run.wait_exit(), 0) << sig;
    EXPECT_EQ(run.replies(), (Lines{"AUTH_STATE WaitPhoneNumber", "NEED phone"}));
  }
#if !defined(__SANITIZE_THREAD__)  // which holds a signal back while the program waits
  BackendRun run;
  run.start();
  const std::string status = "/proc/" + std::to_string(run.pid()) + "/status";
  run.signal(SIGHUP);
  // Its handler has run when SIGTERM is no longer caught.
  std::uint64_t caught = 1u << (SIGTERM - 1);
  while ((caught & 1u << (SIGTERM - 1)) != 0) {
    const std::string text = read_file(status);
    caught = std::stoull(text.substr(text.find("SigCgt:") + 7), nullptr, 16);
  }
  run.signal(SIGTERM);
  EXPECT_EQ(run.wait_exit(), -SIGTERM);
#endif
}

TEST(Loop, ThousandsOfCommandsInOneGo) {
  BackendRun run;
  start_without_events(run);
  std::string input;
  Lines expected;
  for (int i = 0; i < 20000; ++i) {
    const bool ping = i * i % 7 < 3;
    input += ping ? "ping\n" : "word" + std::to_string(i) + "\r\n";
    expected.emplace_back(ping ? "PONG" : "ERR unknown_command");
  }
  run.feed(input);
  EXPECT_EQ(run.replies(), expected);
}

static long resident_kib(int pid) {
  const std::string status = read_file("/proc/" + std::to_string(pid) + "/status");
  return std::atol(status.c_str() + status.find("VmRSS:") + 6);
}

TEST(Loop, EndlessLineAndObjects) {
  BackendRun run;
  start_without_events(run);
  const long before = resident_kib(run.pid());
  for (const char c : {'{', '[', '"'}) run.deliver(std::string(1 << 20, c));
  run.feed(std::string(64 << 20, 'x'));
  EXPECT_EQ(run.replies(), Lines{});
  run.feed("\nping\n");
  EXPECT_EQ(run.replies(), (Lines{"ERR unknown_command", "PONG"}));
  run.idle();
  if (!sanitized()) {
    EXPECT_LT(resident_kib(run.pid()) - before, 32 << 10);
  }
}

// What a burst needs is taken in portions, and given back when it is over.
TEST(Loop, BurstsLeaveNoMemory) {
  BackendRun run;
  run.env.erase("BACKEND_EVENTS_FILE");
  run.env["TDLIB_LOG_FILE"] = "";
  const std::string input = run.dir / "input";
  std::string bytes((8 << 20) + 5, '\n');
  for (int i = 0; i < 300000; ++i) bytes += "ping\n";
  write_file(input, bytes);
  run.input = input;
  run.start();
  const long before = resident_kib(run.pid());
  int portions = 1;
  for (; run.last_timeout() == "0.000000"; ++portions) run.idle();
  EXPECT_EQ(portions, 10) << "1 MiB at once";
  EXPECT_EQ(run.last_timeout(), "0.200000");
  run.close_output();
  run.deliver(R"({"@type":"error","message":")" + std::string(33 << 20, 'x') + "\"}");
  run.idle();
  if (!sanitized()) {
    EXPECT_LT(resident_kib(run.pid()) - before, 2 << 10);
  }
  run.kill();
}

// ---- waiting until something happens

TEST(Loop, InputAndSignalsWake) {
  const std::string wake = R"({"@type":"testCallEmpty","@extra":"wake"})";
  BackendRun run;
  run.record = false;
  run.env["BACKEND_WAKE_ON_INPUT"] = "1";
  start_without_events(run);
  EXPECT_EQ(run.last_timeout(), "60.000000");
  for (int i = 0; i < 3; ++i) {
    run.write_input("ping\nping\n");
    EXPECT_EQ(run.wait_for_request(), wake);
    run.write_input("ping\n");
    run.answer(R"({"@type":"ok"})", "wake");
    EXPECT_EQ(run.replies(), (Lines{"PONG", "PONG", "PONG"}));
  }
  run.close_input();
  EXPECT_EQ(run.wait_for_request(), wake);
  for (const char* answer : {R"({"@type":"ok"})", R"({"@type":"error","code":500})"}) {
    run.answer(answer, "wake");
  }
  EXPECT_EQ(run.requests(), Lines{}) << "closed input wakes once";
  EXPECT_EQ(run.replies(),
            Lines{R"(TD_ERROR {"@type":"error","code":500,"@extra":"wake","@client_id":1})"})
      << "one answer a wake";
  run.forget();
  run.signal(SIGTERM);
  EXPECT_EQ(run.wait_for_request(), wake);
  run.answer(R"({"@type":"ok"})", "wake");
  EXPECT_EQ(run.wait_exit(), 0);
  EXPECT_EQ(run.dbg_lines(), Lines{});
}

TEST(Loop, WaitsUntilTheNextDeadline) {
  BackendRun run;
  run.record = false;
  run.hold_clock();
  run.env["BACKEND_WAKE_ON_INPUT"] = "1";
  run.start();
  run.login();
  for (const char* sender : {"5", "6"}) {
    run.deliver(expand_objects(std::string(R"({"@type":"updateNewMessage","message":$text(9,1,)") +
                               sender + ",x)}"));
  }
  const std::string get_six = R"({"@type":"getUser","user_id":6,"@extra":"getUser:6"})";
  EXPECT_NE(run.requests().back(), get_six) << "one user at a time";
  EXPECT_EQ(run.last_timeout(), "0.060000");
  run.advance_ms(60);
  run.idle();
  EXPECT_EQ(run.requests(), Lines{get_six});
  EXPECT_EQ(run.last_timeout(), "60.000000");
  run.close_input();
  run.deliver_auth_state("Closed");
  EXPECT_EQ(run.wait_exit(), 0);
}

TEST(Loop, EveryEndSaysGoodbye) {
  const struct {
    const char* reason;
    void (*end)(BackendRun&);
  } kEnds[] = {
      {"quit", [](BackendRun& run) { run.write_input("#3 quit\n"); }},
      {"input_ended", [](BackendRun& run) { run.close_input(); }},
      {"signal", [](BackendRun& run) { run.signal(SIGTERM); }},
      {"closed", [](BackendRun& run) { run.deliver_auth_state("Closed"); }},
  };
  for (const auto& [reason, end] : kEnds) {
    for (const std::string mode : {"ui", "hub"}) {
      BackendRun run;
      run.env["TD_BACKEND_MODE"] = mode;
      run.env["BACKEND_PROTOCOL"] = "2";
      run.env["BACKEND_EXIT_ON_EOF"] = "1";
      run.start();
      run.send_line("#9 code 12345");  // waits for its state to the end
      end(run);
      EXPECT_EQ(run.wait_exit(), 0) << reason;
      const Lines events = run.events();
      ASSERT_GT(events.size(), 2u);
      const auto seq = [&](std::size_t number) {
        return ",\"seq\":" + std::to_string(number) + "}";
      };
      EXPECT_EQ(events.front(), R"({"type":"hello","protocol":2,"version":")" +
                                    std::string(kVersion) + R"(","mode":")" + mode + "\"" + seq(1));
      EXPECT_EQ(events[events.size() - 2],
                R"({"type":"command_end","cmd":9,"command":"code","ok":false,"error":"closed")" +
                    seq(events.size() - 1));
      EXPECT_EQ(events.back(), R"({"type":"goodbye","reason":")" + std::string(reason) + "\"" +
                                   seq(events.size()));
    }
  }
}
