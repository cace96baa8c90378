// The main loop: lines in, commands and objects in their order, the ways in which a run ends,
// and bytes that are no commands and no objects.

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "tests/support/backend_run.h"

// A sanitizer's allocator keeps what is freed.
static bool sanitized() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  return true;
#else
  return std::getenv("TD_BACKEND_PROGRAM") != nullptr;  // only such builds are named so
#endif
}

static const Lines kUnknown = {"ERR unknown_command"};

// A run whose reply lines are all seen; its first one is taken.
static void start_without_events(BackendRun& run) {
  run.without_events();
  run.start();
  run.forget();
}

TEST(Loop, LinesBecomeCommands) {
  BackendRun run;
  start_without_events(run);
  run.send_line("ping");
  EXPECT_EQ(run.replies(), Lines{"PONG"});
  EXPECT_EQ(run.dbg_lines(), Lines{"CMD ping"});
  run.feed("ping\r\n \t ping\t\r\n");
  EXPECT_EQ(run.replies(), (Lines{"PONG", "PONG"}));
  run.feed("\n   \n\r\n\t\n");
  EXPECT_EQ(run.replies(), Lines{});
  run.feed("pi");
  run.idle();
  run.feed("ng");
  EXPECT_EQ(run.replies(), Lines{});
  run.feed("\npin");
  EXPECT_EQ(run.replies(), Lines{"PONG"});
  run.feed("g extra words\n");
  EXPECT_EQ(run.replies(), Lines{"PONG"}) << "what stands behind a command's arguments is ignored";
  for (const char* line : {"PING", "pings", "quit now", "ping\tx", "OPEN 5", "ERR", "\"ping\""}) {
    run.send_line(line);
    EXPECT_EQ(run.replies(), kUnknown) << line;
  }
  run.send_line("memtest  a b ");
  EXPECT_EQ(run.replies(), Lines{"MEMTEST_DONE"});
  const Lines log = run.dbg_lines();
  EXPECT_EQ(std::count(log.begin(), log.end(), "MEMTEST begin arg='a b'"), 1);
}

TEST(Loop, ObjectsAndCommandsTakeTurns) {
  BackendRun run;
  start_without_events(run);
  // Written while the program waits: the object comes first, then the command, then the next
  // object, although both lines were there from the beginning.
  run.write_input("ping\nstate\n");
  run.deliver_auth_state("authorizationStateWaitPhoneNumber");
  run.write_input("ping\n");
  run.deliver_auth_state("authorizationStateWaitPassword");
  EXPECT_EQ(run.dbg_lines(),
            (Lines{"AUTH_STATE WaitPhoneNumber", "NEED phone", "CMD ping", "CMD state",
                   "AUTH_STATE WaitPassword", "NEED password", "CMD ping"}));
}

TEST(Loop, QuitDropsLaterLinesAndHandlesOneMoreObject) {
  BackendRun run;
  start_without_events(run);
  run.send_line("phone 12");
  run.forget();
  run.write_input("quit\nping\n");
  run.idle();
  ASSERT_TRUE(run.running());
  EXPECT_EQ(run.replies(), Lines{"BYE"});
  run.deliver_auth_state("authorizationStateWaitPhoneNumber");
  EXPECT_FALSE(run.running());
  EXPECT_EQ(run.wait_exit(), 0);
  EXPECT_EQ(run.replies(), Lines{"AUTH_STATE WaitPhoneNumber"});
  EXPECT_EQ(run.requests().size(), 1u) << "the waiting number is sent, and TDLib is not closed";
}

TEST(Loop, QuitIsTheWholeTrimmedLine) {
  BackendRun run;
  start_without_events(run);
  run.feed(" quit \r\n");
  EXPECT_EQ(run.replies(), Lines{"BYE"});
  EXPECT_EQ(run.wait_exit(), 0);
}

TEST(Loop, EndOfInputEndsNothing) {
  BackendRun run;
  run.start();
  run.forget();
  run.write_input("state\nping");
  run.close_input();
  for (int i = 0; i < 3; ++i) run.idle();
  EXPECT_EQ(run.dbg_lines(), Lines{"CMD state"}) << "half a line is no command";
  run.deliver_auth_state("authorizationStateClosing");
  run.forget();
  run.deliver_auth_state("authorizationStateClosed");
  EXPECT_FALSE(run.running()) << "nothing more is asked of a closed TDLib";
  EXPECT_EQ(run.wait_exit(), 0);
  EXPECT_EQ(run.replies(), (Lines{"AUTH_STATE Closed", "TD_CLOSED"}));
  EXPECT_EQ(run.dbg_lines(), (Lines{"AUTH_STATE Closed", "TD_CLOSED"}));
  EXPECT_EQ(run.events(),
            (Lines{R"({"type":"auth_state","state":"Closed"})", R"({"type":"td_closed"})"}));
}

TEST(Loop, InputThatCannotBeRead) {
  BackendRun run;
  run.set_input("/");
  run.start();
  run.idle();
  const Lines errors = run.error_lines();
  ASSERT_EQ(errors.size(), 2u) << "each kind of error is said once";
  EXPECT_EQ(errors[1], "read(stdin) failed: Is a directory");
  run.deliver_auth_state("authorizationStateClosed");
  EXPECT_EQ(run.wait_exit(), 0);
}

// SIGINT, say, ends the run like "quit" but for the reply; a second signal as the system does.
TEST(Loop, SignalsEndTheRun) {
  for (const int sig : {SIGTERM, SIGINT, SIGHUP}) {
    BackendRun run;
    start_without_events(run);
    ::kill(run.pid(), sig);
    run.deliver_auth_state("authorizationStateWaitPhoneNumber");
    EXPECT_EQ(run.wait_exit(), 0) << sig;
    EXPECT_EQ(run.replies(), (Lines{"AUTH_STATE WaitPhoneNumber", "NEED phone"}));
  }
#if !defined(__SANITIZE_THREAD__)  // which holds a signal back while the program waits
  BackendRun run;
  run.start();
  const std::string status = "/proc/" + std::to_string(run.pid()) + "/status";
  ::kill(run.pid(), SIGHUP);
  // Its handler has run when SIGTERM is no longer caught.
  std::uint64_t caught = 1u << (SIGTERM - 1);
  while ((caught & 1u << (SIGTERM - 1)) != 0) {
    const std::string text = read_file(status);
    caught = std::stoull(text.substr(text.find("SigCgt:") + 7), nullptr, 16);
  }
  ::kill(run.pid(), SIGTERM);
  EXPECT_EQ(run.wait_exit(), -SIGTERM);
#endif
}

TEST(Loop, EndOfInputEndsTheRunWhereItIsAskedTo) {
  BackendRun run;
  run.set_env("BACKEND_EXIT_ON_EOF", "1");
  start_without_events(run);
  run.write_input("ping\nping");
  run.close_input();
  run.idle();
  EXPECT_EQ(run.replies(), (Lines{"PONG", "PONG", "BYE"}));
  EXPECT_EQ(run.wait_exit(), 0);
}

TEST(Loop, ThousandsOfCommandsInOneGo) {
  BackendRun run;
  start_without_events(run);
  std::string input;
  Lines expected;
  for (unsigned i = 0, random = 1; i < 20000; ++i) {
    random = random * 1103515245 + 12345;
    const bool ping = (random >> 16) % 3 != 0;
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

TEST(Loop, EndlessLine) {
  BackendRun run;
  start_without_events(run);
  const long before = resident_kib(run.pid());
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
  run.without_events();
  run.set_env("TDLIB_LOG_FILE", "");
  const std::string input = run.dir() / "input";
  std::string bytes((8 << 20) + 5, '\n');
  for (int i = 0; i < 300000; ++i) bytes += "ping\n";
  write_file(input, bytes);
  run.set_input(input);
  run.start();
  const long before = resident_kib(run.pid());
  int portions = 1;
  for (; run.last_timeout() == "0.000000"; ++portions) run.idle();
  EXPECT_EQ(portions, 10) << "1 MiB at once";
  EXPECT_EQ(run.last_timeout(), "0.200000");
  std::string object = R"({"@type":"error","code":1,"message":")";
  object += std::string(33 << 20, 'x') + "\"}";
  run.close_output();
  run.deliver(object);
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
  run.do_not_record();
  run.set_env("BACKEND_WAKE_ON_INPUT", "1");
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
  ::kill(run.pid(), SIGTERM);
  EXPECT_EQ(run.wait_for_request(), wake);
  run.answer(R"({"@type":"ok"})", "wake");
  EXPECT_EQ(run.wait_exit(), 0);
  EXPECT_EQ(run.dbg_lines(), Lines{});
}

TEST(Loop, WaitsUntilTheNextDeadline) {
  BackendRun run;
  run.do_not_record();
  run.hold_clock();
  run.set_env("BACKEND_WAKE_ON_INPUT", "1");
  run.start();
  run.login();
  for (const char* id : {"5", "6"}) {
    run.deliver(std::string(R"({"@type":"updateNewMessage","message":{"@type":"message","id":1,)"
                            R"("sender_id":{"@type":"messageSenderUser","user_id":)") +
                id +
                R"(},"chat_id":9,"date":1,"content":{"@type":"messageText","text":)"
                R"({"@type":"formattedText","text":"x","entities":[]}}}})");
  }
  const std::string get_six = R"({"@type":"getUser","user_id":6,"@extra":"getUser:6"})";
  EXPECT_NE(run.requests().back(), get_six) << "one user at a time";
  EXPECT_EQ(run.last_timeout(), "0.060000");
  run.advance_ms(60);
  run.idle();
  EXPECT_EQ(run.requests(), Lines{get_six});
  EXPECT_EQ(run.last_timeout(), "60.000000");
  run.close_input();
  run.deliver_auth_state("authorizationStateClosed");
  EXPECT_EQ(run.wait_exit(), 0);
}

TEST(Loop, BytesThatAreNoText) {
  BackendRun run;
  start_without_events(run);
  const std::string lines[] = {std::string("ping\0", 5), std::string("\0ping", 5),
                               std::string(1, '\0'),     "\xff\xfe\x80",
                               "ping\xc2\xa0",           "\x1b[A"};
  for (const std::string& line : lines) {
    run.send_line(line);
    EXPECT_EQ(run.replies(), kUnknown);
  }
  run.send_line("state\v");
  EXPECT_EQ(run.replies(), kUnknown) << "a vertical tab is no blank";
  run.send_line(std::string("memtest a\0b\xff", 12));
  EXPECT_EQ(run.replies(), Lines{"MEMTEST_DONE"});
}

TEST(Loop, TextsThatAreNoObjects) {
  BackendRun run;
  run.start();
  run.login();
  const std::string whole[] = {
      R"({"@type":"updateAuthorizationState","authorization_state":)"
      R"({"@type":"authorizationStateReady"},"@client_id":1})",
      R"({"@type":"updateUser","user":{"@type":"user","id":5,"first_name":"A\u00e9\ud83d\ude00\"",)"
      R"("status":{"@type":"userStatusOnline","expires":1},"profile_photo":{"id":"7",)"
      R"("small":{"@type":"file","id":3}}},"@client_id":1})",
      R"({"@type":"user","id":5,"first_name":"A","@extra":"getMe","@client_id":1})",
      R"({"@type":"ok","@extra":"setParams","@client_id":1})"};
  for (const std::string& object : whole) {
    for (std::size_t size = 0; size < object.size(); ++size) run.deliver(object.substr(0, size));
  }
  for (const char* text :
       {"null", "[]", "}", "{{{{{{", "\"", "\\", "{\"@type\":", "{\"@type\":\"\"}", "\n", "0",
        "{\"@extra\":\"getUser:\"}", "{\"@type\":\"user\",\"@extra\":\"getMe\"}", "\xff\xfe",
        "{\"@type\":\"updateUser\"}", "{\"@type\":\"updateUser\",\"user\":[{\"id\":-9}]}"}) {
    run.deliver(text);
  }
  run.deliver(std::string(1 << 20, '{'));
  run.deliver(std::string(1 << 20, '"'));
  run.forget();
  run.send_line("state");
  EXPECT_EQ(run.events(), Lines{R"({"type":"auth_state","state":"Ready"})"});
}

TEST(Loop, ErrorWithoutAnEndIsAnErrorAnswer) {
  BackendRun run;
  start_without_events(run);
  run.deliver(R"({"@type":"error")");
  EXPECT_EQ(run.replies(), Lines{R"(TD_ERROR {"@type":"error")"});
  EXPECT_EQ(run.dbg_lines(), Lines{"TD_ERROR (see json below)"});
}
