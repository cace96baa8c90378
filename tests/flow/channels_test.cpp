// The channels where a transcript does not reach: lines of many threads and of any length, a full
// events file, and readers that come late, stall or go away.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <utility>

#include "tests/support/backend_run.h"

constexpr char kError[] = R"({"@type":"error","code":500,"message":"no\tidea","@client_id":1})";
constexpr char kErrorEvent[] = R"({"type":"td_error","json":"{\"@type\":\"error\",\"code\":500,)"
                               R"(\"message\":\"no\\tidea\",\"@client_id\":1}"})";

static std::string big_error() {
  return R"({"@type":"error","code":1,"message":")" + std::string(9000, 'x') + "\"}";
}

// A pipe with a name, of which nobody reads before read_all() or open_reader().
struct Fifo {
  const std::string path;
  int reader = -1;
  explicit Fifo(std::string where) : path(std::move(where)) {
    EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
  }
  void open_reader() {
    if (reader < 0) reader = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  }
  std::string read_all() {
    open_reader();
    std::string all(1 << 20, '\0');
    const ssize_t got = read(reader, all.data(), all.size());
    all.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    return all;
  }
};

TEST(Channels, LinesOfManyThreadsStayWhole) {
  BackendRun run;
  run.start();
  run.forget();
  const std::string message(300, 'm');
  run.log_from_tdlib(8, 500, 1, message);
  EXPECT_EQ(run.log_lines(), Lines(4000, "[tdlib:1] " + message));
}

// A line has 2047 bytes with its line feed; a longer one ends there, in a NUL.
TEST(Channels, LongLines) {
  BackendRun run;
  run.env["TDLIB_LOG_MIRROR_FILE"] = run.log_path();  // which is then written once
  run.start();
  for (const std::size_t size : {2036u, 2037u, 5000u}) {
    const std::size_t before = read_file(run.log_path()).size();
    run.log_from_tdlib(1, 1, 2, std::string(size, 'm'));
    const std::string full = "[tdlib:2] " + std::string(size, 'm') + "\n";
    const std::string expected = full.size() > 2047 ? full.substr(0, 2047) + '\0' : full;
    EXPECT_EQ(read_file(run.log_path()).substr(before), expected) << size;
  }
}

TEST(Channels, EventsFileIsPutAsideWhenItIsFull) {
  BackendRun run;
  run.record = false;
  const std::string path = run.events_path();
  run.env["TD_BACKEND_MODE"] = "hub";  // "backend_run" does not pass
  run.env["BACKEND_EVENTS_MAX_BYTES"] = "250";
  write_file(path + ".1", "older");
  write_file(path, "");
  ASSERT_EQ(chmod(path.c_str(), 0600), 0);
  run.start();
  for (int i = 0; i < 2; ++i) run.deliver(kError);  // 104 bytes with its line feed
  EXPECT_EQ(read_file(path + ".1"), "older");
  run.deliver(kError);
  const std::string line = std::string(kErrorEvent) + "\n";
  EXPECT_EQ(read_file(path + ".1"), line + line + line + "{\"type\":\"events_rotated\"}\n");
  record_event_line(R"({"type":"events_rotated"})");  // it went with its file
  EXPECT_EQ(read_file(path), "");
  struct stat info {};
  ASSERT_EQ(stat(path.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777u, 0600u);

  // Where it cannot be put aside it is written on.
  ASSERT_EQ(unlink((path + ".1").c_str()), 0);
  ASSERT_EQ(mkdir((path + ".1").c_str(), 0700), 0);
  run.forget();
  for (int i = 0; i < 9; ++i) run.deliver(kError);
  EXPECT_EQ(read_file(path).size(), 9 * line.size());
  const Lines log = run.dbg_lines();
  EXPECT_EQ(std::count(log.begin(), log.end(),
                       "EVENTS_ROTATE failed path=" + path + " err=Is a directory"),
            1);
}

TEST(Channels, FilesThatMayNotGrow) {
  BackendRun run;
  run.record = false;
  run.file_bytes = 300;
  run.start();
  for (int i = 0; i < 9; ++i) run.deliver(kError);
  EXPECT_EQ(read_file(run.events_path()).size(), 300U);
  run.deliver_auth_state("WaitPhoneNumber");
  EXPECT_EQ(run.replies().back(), "NEED phone");
  EXPECT_EQ(run.quit(), 0);
}

// Whoever waits for a run's last event finds it where the reader is, numbered like the others.
TEST(Channels, LastEventsStayInPlace) {
  for (const std::string last : {"goodbye", "backend_fatal"}) {
    BackendRun run;
    run.record = false;
    run.env["BACKEND_PROTOCOL"] = "2";
    run.env["BACKEND_EVENTS_MAX_BYTES"] = "1";
    run.start();
    run.feed("#1 ping\n");
    const std::string aside = read_file(run.events_path() + ".1");
    EXPECT_EQ(aside, R"({"type":"command_end","cmd":1,"command":"ping","ok":true,"seq":7})"
                     "\n{\"type\":\"events_rotated\",\"seq\":8}\n");
    if (last == "goodbye") {
      EXPECT_EQ(run.quit(), 0);
    } else {
      run.fault("segv");
      EXPECT_EQ(run.wait_exit(), 128 + SIGSEGV);
    }
    const Lines events = run.events();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].rfind("{\"type\":\"" + last + "\",", 0), 0U) << events[0];
    EXPECT_EQ(events[0].substr(events[0].rfind(',')), ",\"seq\":9}");
  }
}

// Neither hangs the start, what comes before there is a reader is lost, and a reader that stalls
// or goes away holds up nothing.
TEST(Channels, FifosWithoutAReader) {
  BackendRun run;
  run.record = false;
  Fifo events(run.dir / "events.fifo");
  Fifo log(run.dir / "log.fifo");
  run.env["BACKEND_EVENTS_FILE"] = events.path;
  run.env["TDLIB_LOG_FILE"] = log.path;
  run.env["TDLIB_LOG_MIRROR_FILE"] = run.dir / "mirror.log";
  run.env["BACKEND_EVENTS_MAX_BYTES"] = "1";
  run.start();
  run.deliver(kError);
  const std::string waits = "\n[backend] FIFO_WAIT no reader path=" + events.path + "\n";
  EXPECT_NE(read_file(run.dir / "mirror.log").find(waits), std::string::npos);
  events.open_reader();
  log.open_reader();
  run.deliver(kError);
  const std::string told = events.read_all();
  EXPECT_EQ(told.substr(0, 22), "{\"type\":\"backend_run\",");
  EXPECT_EQ(told.substr(told.find('\n') + 1), std::string(kErrorEvent) + "\n");
  EXPECT_NE(log.read_all().find("EVENTS_OPEN path=" + events.path), std::string::npos);
  std::string states;
  for (int i = 0; i < 10000; ++i) states += "state\n";  // 400 KB of events, 200 KB of log
  run.feed(states);
  run.deliver_auth_state("WaitPhoneNumber");
  EXPECT_EQ(run.replies().back(), "NEED phone");
  close(events.reader);
  close(log.reader);
  run.feed("state\nping\n");
  EXPECT_EQ(run.quit(), 0);
}

// What is torn stands alone: in a pipe that was full, at the end of an older file, before the
// last words of a run that crashes.
TEST(Channels, TornLinesStandAlone) {
  BackendRun run;
  run.record = false;
  Fifo events(run.dir / "events.fifo");
  events.open_reader();
  run.env["BACKEND_EVENTS_FILE"] = events.path;
  write_file(run.log_path(), "torn");
  run.start();
  EXPECT_EQ(read_file(run.log_path()).substr(0, 15), "torn\n[backend] ");
  for (int i = 0; i < 10; ++i) run.deliver(big_error());
  EXPECT_EQ(events.read_all().back(), 'x');
  run.deliver(kError);
  EXPECT_EQ(events.read_all(), std::string("\n") + kErrorEvent + "\n");
  for (int i = 0; i < 10; ++i) run.deliver(big_error());
  EXPECT_EQ(events.read_all().back(), 'x');
  run.fault("abort");
  EXPECT_EQ(events.read_all().substr(0, 24), "\n{\"type\":\"backend_fatal\"");
  EXPECT_EQ(run.wait_exit(), 134);
}

// The second level counts what a late or full pipe has lost, in a gap of that size.
TEST(Channels, WhatIsLostIsCounted) {
  BackendRun run;
  run.record = false;
  Fifo events(run.dir / "events.fifo");
  run.env["BACKEND_EVENTS_FILE"] = events.path;
  run.env["BACKEND_PROTOCOL"] = "2";
  run.start();
  for (int i = 0; i < 3; ++i) run.send_line("state");
  events.open_reader();
  run.send_line("#1 ping");
  std::string text = events.read_all();
  for (int i = 0; i < 10; ++i) run.deliver(big_error());
  text += events.read_all();
  EXPECT_EQ(text.back(), 'x');
  run.send_line("#2 ping");
  EXPECT_EQ(run.quit(), 0);
  text += events.read_all();

  Lines types;
  long long last = 0;
  long long lost = 0;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (line.back() != '}') continue;  // the torn one, alone on its line
    const std::string type = line.substr(9, line.find('"', 9) - 9);
    const bool tells_loss = type == "events_lost";
    const long long count = tells_loss ? std::stoll(line.substr(line.find("count") + 7)) : 0;
    last += count + 1;
    EXPECT_EQ(line.substr(line.rfind(':') + 1), std::to_string(last) + "}");
    lost += count;
    if (types.empty() || types.back() != type) types.push_back(type);
    if (tells_loss) record_event_line(line);
  }
  EXPECT_EQ(types, (Lines{"hello", "backend_run", "events_lost", "command_end", "td_error",
                          "events_lost", "command_end", "goodbye"}));
  EXPECT_GT(lost, 4) << "backend_ready, three states, and what the pipe did not hold";
}

TEST(Channels, ReplyReaderThatStallsOrGoesAway) {
  for (const bool stalls : {true, false}) {
    BackendRun run;
    run.env.erase("BACKEND_EVENTS_FILE");
    run.start();
    stalls ? run.stall_output() : run.close_output();
    std::string pings;
    for (int i = 0; i < 5000; ++i) pings += "ping\n";
    run.feed(pings);
    run.login();
    run.send_line("ping");
    EXPECT_EQ(run.dbg_lines(), Lines{"CMD ping"});
  }
}

// A file opened later must not take the number of a missing descriptor.
TEST(Channels, DescriptorsClosedAtStart) {
  for (int mask = 1; mask < 8; ++mask) {
    BackendRun run;
    run.env["BACKEND_LOG_STDERR"] = "1";
    for (int fd = 0; fd < 3; ++fd) {
      if ((mask >> fd & 1) != 0) run.closed.push_back(fd);
    }
    run.start();
    run.deliver(kError);  // to standard output, standard error, log and events
    const Lines events = run.events();
    ASSERT_EQ(events.size(), 3u) << mask;
    EXPECT_EQ(events[2], kErrorEvent);
    for (const std::string& line : run.log_lines()) EXPECT_EQ(line.substr(0, 10), "[backend] ");
    EXPECT_EQ(run.replies().empty(), (mask & 2) != 0);
    EXPECT_EQ(run.error_lines().empty(), (mask & 4) != 0);
    EXPECT_EQ(read_file(run.dir / "tdlib-db/td_backend.lock"), "");
    run.deliver_auth_state("Closed");
    EXPECT_EQ(run.wait_exit(), 0);
  }
}
