// The channels: what goes where, with which filter, and what happens when nobody reads or
// nothing can be written.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <string>

#include "tests/support/backend_run.h"
#include "tests/support/recorder.h"

constexpr char kError[] = R"({"@type":"error","code":500,"message":"no\tidea","@client_id":1})";
constexpr char kErrorEvent[] = R"({"type":"td_error","json":"{\"@type\":\"error\",\"code\":500,)"
                               R"(\"message\":\"no\\tidea\",\"@client_id\":1}"})";

TEST(Channels, RepliesBesideAnEventsFile) {
  BackendRun run;
  run.start();
  EXPECT_EQ(run.replies(), Lines{"BACKEND_READY client_id=1"});
  run.forget();
  run.feed("ping\nnonsense\nphone 1\nmemtest\ncall_start 5\n");
  run.deliver(kError);
  EXPECT_EQ(run.replies(), Lines{"MEMTEST_DONE"}) << "acknowledgements stay away";
  EXPECT_EQ(run.events(), Lines{kErrorEvent});
  EXPECT_EQ(run.error_lines(), Lines{kError});
  run.deliver_auth_state("authorizationStateWaitCode");
  EXPECT_EQ(run.replies(), (Lines{"AUTH_STATE WaitCode", "NEED code"}));
  run.write_input("quit\n");
  EXPECT_EQ(run.wait_exit(), 0);
  EXPECT_EQ(run.replies(), Lines{}) << "BYE is one of them";
}

TEST(Channels, RepliesWithoutEventsFile) {
  BackendRun run;
  run.set_env("BACKEND_EVENTS_FILE", "");
  run.start();
  run.feed("ping\nnonsense\nphone 1\nstate\ncall_start 5\n");
  run.deliver(kError);
  EXPECT_EQ(run.replies(), (Lines{"BACKEND_READY client_id=1", "PONG", "ERR unknown_command",
                                  "OK phone", "ERR not_ready", std::string("TD_ERROR ") + kError}));
}

TEST(Channels, HubModePassesFiveTypes) {
  BackendRun run(Mode::kHub);
  run.start();
  run.deliver_auth_state("authorizationStateWaitPassword");  // auth_state, then need
  run.deliver(R"({"@type":"updateUser","user":{"@type":"user","id":5,"first_name":"A"}})");
  run.deliver(kError);
  run.deliver_auth_state("authorizationStateClosed");  // auth_state, then td_closed
  EXPECT_EQ(run.wait_exit(), 0);
  EXPECT_EQ(run.events(), (Lines{R"({"type":"auth_state","state":"WaitPassword"})", kErrorEvent,
                                 R"({"type":"auth_state","state":"Closed"})"}));
}

TEST(Channels, EventsFileIsTruncatedOrAppended) {
  for (const char* append : {"0", "1", "true"}) {
    BackendRun run;
    run.set_env("BACKEND_EVENTS_APPEND", append);
    write_file(run.events_path(), "{\"old\":1}");  // without its line feed
    run.start();
    const bool keeps = std::string(append) == "1";
    const Lines events = run.events();
    EXPECT_EQ(events.size(), keeps ? 3u : 2u);
    EXPECT_EQ(events.front() == "{\"old\":1}", keeps);
    EXPECT_EQ(run.dbg_lines().at(4),
              "EVENTS_OPEN path=" + run.events_path() + " mode=" + (keeps ? "append" : "truncate"));
  }
}

TEST(Channels, EventsFileThatCannotBeOpened) {
  BackendRun run;
  const std::string path = run.dir() / "none/events.jsonl";
  run.set_env("BACKEND_EVENTS_FILE", path);
  run.start();
  EXPECT_EQ(run.error_lines().at(1), "open('" + path + "') failed: No such file or directory");
  run.send_line("ping");
  EXPECT_EQ(run.replies(), Lines{"BACKEND_READY client_id=1"}) << "the filter goes by the name";
  EXPECT_EQ(run.dbg_lines().back(), "CMD ping");
}

TEST(Channels, FullDisk) {
  BackendRun run;
  run.set_env("BACKEND_EVENTS_FILE", "/dev/full");
  run.set_env("TDLIB_LOG_FILE", "/dev/full");
  run.set_env("TDLIB_LOG_MIRROR_FILE", run.dir() / "mirror.log");
  run.start();
  run.login();
  EXPECT_EQ(run.quit(), 0);
  EXPECT_NE(read_file(run.dir() / "mirror.log").find("[backend] SEND getMe\n"), std::string::npos);
}

TEST(Channels, LogMirrorAndStandardError) {
  BackendRun run;
  const std::string mirror = run.dir() / "mirror.log";
  run.set_env("TDLIB_LOG_MIRROR_FILE", mirror);
  run.set_env("BACKEND_LOG_STDERR", "1");
  write_file(run.log_path(), "older\n");
  run.start();
  run.log_from_tdlib(3, "some words");
  run.log_from_thread(-1, "");
  const std::string log = read_file(run.log_path());
  EXPECT_EQ(log.substr(0, 6), "older\n");
  EXPECT_EQ(log.substr(log.find("[tdlib:3]")), "[tdlib:3] some words\n[tdlib:-1] \n");
  EXPECT_EQ(read_file(mirror), log.substr(6));
  Lines errors = run.error_lines();
  errors.erase(errors.begin());  // the line on the mode
  Lines lines = run.log_lines();
  lines.erase(lines.begin());
  EXPECT_EQ(errors, lines);
}

TEST(Channels, MirrorThatIsTheLogItself) {
  BackendRun run;
  run.set_env("TDLIB_LOG_MIRROR_FILE", run.log_path());
  run.set_env("BACKEND_LOG_STDERR", "yes");
  run.start();
  const Lines log = run.dbg_lines();
  EXPECT_EQ(std::count(log.begin(), log.end(), "BACKEND_READY"), 1);
  EXPECT_EQ(run.error_lines().size(), 1u);
}

TEST(Channels, LogThatCannotBeOpened) {
  BackendRun run;
  run.set_env("TDLIB_LOG_FILE", "/");
  run.set_env("TDLIB_LOG_MIRROR_FILE", "none/mirror.log");
  run.start();
  const Lines errors = run.error_lines();
  ASSERT_EQ(errors.size(), 3u);
  EXPECT_EQ(errors[1], "open('/') failed: Is a directory");
  EXPECT_EQ(errors[2], "open('none/mirror.log') failed: No such file or directory");
  run.log_from_thread(1, "to nobody");
  EXPECT_EQ(run.quit(), 0);
}

TEST(Channels, LinesOfManyThreadsStayWhole) {
  BackendRun run;
  run.start();
  run.forget();
  run.flood_log(8, 500);
  std::map<std::string, int> count;
  for (const std::string& line : run.log_lines()) ++count[line];
  EXPECT_EQ(count.size(), 8u * 500u);
  for (int t = 0; t < 8; ++t) {
    for (int i = 0; i < 500; ++i) {
      const std::string line =
          "[tdlib:1] thread " + std::to_string(t) + " line " + std::to_string(i);
      ASSERT_EQ(count[line], 1) << line;
    }
  }
}

// A line has 2047 bytes with its line feed; a longer one ends there, in a NUL.
TEST(Channels, LongLines) {
  BackendRun run;
  run.start();
  const std::string prefix = "[tdlib:2] ";
  for (const std::size_t size : {2035u, 2036u, 2037u, 2038u, 5000u}) {
    const std::size_t before = read_file(run.log_path()).size();
    const std::string message(size, 'm');
    run.log_from_thread(2, message);
    const std::string full = prefix + message + "\n";
    std::string expected = full;
    if (full.size() > 2047) expected = full.substr(0, 2047) + std::string(1, '\0');
    EXPECT_EQ(read_file(run.log_path()).substr(before), expected) << size;
  }
  const std::size_t before = read_file(run.log_path()).size();
  run.send_line("memtest " + std::string(3000, 'a'));
  const std::string log = read_file(run.log_path()).substr(before);
  EXPECT_EQ(log.substr(0, 2048),
            ("[backend] MEMTEST begin arg='" + std::string(3000, 'a')).substr(0, 2047) +
                std::string(1, '\0'));
  EXPECT_EQ(log.substr(2048, 17), "[backend] MEMTEST");
}

// A name with a line feed must not look like a line of its own.
TEST(Channels, ControlCharactersAreBlanks) {
  BackendRun run;
  run.start();
  run.login();
  run.answer(R"({"@type":"user","id":5,"first_name":"A\nNEED\u001b x\u007f"})", "getMe");
  EXPECT_EQ(run.replies().back(), "ME id=5 name=A NEED  x ");
  run.log_from_tdlib(1, "one\ntwo\ttab\n");
  EXPECT_EQ(run.log_lines().back(), "[tdlib:1] one two tab ");
}

// ---- the events file's end

TEST(Channels, EventsFileIsPutAsideWhenItIsFull) {
  BackendRun run(Mode::kHub);
  run.do_not_record();
  const std::string path = run.events_path();
  run.set_env("BACKEND_EVENTS_MAX_BYTES", "250");
  write_file(path + ".1", "older");
  write_file(path, "");
  ASSERT_EQ(chmod(path.c_str(), 0600), 0);
  run.start();
  run.deliver(kError);  // 104 bytes with its line feed; "backend_run" does not pass in hub mode
  run.deliver(kError);
  EXPECT_EQ(read_file(path + ".1"), "older");
  run.deliver(kError);
  const std::string lines = std::string(kErrorEvent) + "\n" + kErrorEvent + "\n" + kErrorEvent;
  EXPECT_EQ(read_file(path + ".1"), lines + "\n{\"type\":\"events_rotated\"}\n");
  record_event_line(R"({"type":"events_rotated"})");  // it went with its file
  EXPECT_EQ(read_file(path), "");
  struct stat info {};
  ASSERT_EQ(stat(path.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777u, 0600u);
  run.deliver(kError);
  EXPECT_EQ(read_file(path), std::string(kErrorEvent) + "\n");

  // Where it cannot be put aside it is written on.
  ASSERT_EQ(unlink((path + ".1").c_str()), 0);
  ASSERT_EQ(mkdir((path + ".1").c_str(), 0700), 0);
  run.forget();
  for (int i = 0; i < 9; ++i) run.deliver(kError);
  EXPECT_EQ(read_file(path).size(), 10 * (std::string(kErrorEvent).size() + 1));
  const Lines log = run.dbg_lines();
  EXPECT_EQ(std::count(log.begin(), log.end(),
                       "EVENTS_ROTATE failed path=" + path + " err=Is a directory"),
            1);
}

// Neither hangs the start; what comes before there is a reader is lost.
TEST(Channels, FifosWithoutAReader) {
  BackendRun run;
  run.do_not_record();
  const std::string events = run.dir() / "events.fifo";
  const std::string log = run.dir() / "log.fifo";
  ASSERT_EQ(mkfifo(events.c_str(), 0600), 0);
  ASSERT_EQ(mkfifo(log.c_str(), 0600), 0);
  run.set_env("BACKEND_EVENTS_FILE", events);
  run.set_env("TDLIB_LOG_FILE", log);
  run.set_env("TDLIB_LOG_MIRROR_FILE", run.dir() / "mirror.log");
  run.set_env("BACKEND_EVENTS_MAX_BYTES", "1");
  run.start();
  run.deliver(kError);
  const std::string waits = "[backend] FIFO_WAIT no reader path=" + events + "\n";
  EXPECT_NE(read_file(run.dir() / "mirror.log").find(waits), std::string::npos);
  const auto read_pipe = [](const std::string& path, int reader) {
    std::string all(1 << 16, '\0');
    const ssize_t got = read(reader, all.data(), all.size());
    EXPECT_GT(got, 0) << path;
    return all.substr(0, static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
  };
  const int event_reader = open(events.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  const int log_reader = open(log.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  run.deliver(kError);
  const std::string told = read_pipe(events, event_reader);
  EXPECT_EQ(told.substr(0, 22), "{\"type\":\"backend_run\",");
  EXPECT_EQ(told.substr(told.find('\n') + 1), std::string(kErrorEvent) + "\n");
  EXPECT_NE(read_pipe(log, log_reader).find("EVENTS_OPEN path=" + events), std::string::npos);
  EXPECT_EQ(run.quit(), 0);
  close(event_reader);
  close(log_reader);
}

// ---- readers that stall or go away

TEST(Channels, ReplyReaderThatStalls) {
  BackendRun run;
  run.without_events();
  run.start();
  run.stall_output();
  std::string pings;
  for (int i = 0; i < 5000; ++i) pings += "ping\n";
  run.feed(pings);
  run.login();
  run.send_line("ping");
  EXPECT_EQ(run.dbg_lines(), Lines{"CMD ping"});
}

TEST(Channels, ReplyReaderThatGoesAway) {
  BackendRun run;
  run.without_events();
  run.start();
  run.close_output();
  run.forget();
  run.feed("ping\nping\n");
  run.deliver_auth_state("authorizationStateWaitPhoneNumber");
  EXPECT_EQ(run.dbg_lines(),
            (Lines{"CMD ping", "CMD ping", "AUTH_STATE WaitPhoneNumber", "NEED phone"}));
  EXPECT_EQ(run.quit(), 0);
}

TEST(Channels, EventAndLogReadersThatStall) {
  BackendRun run;
  run.do_not_record();
  const std::string events = run.dir() / "events.fifo";
  const std::string log = run.dir() / "log.fifo";
  ASSERT_EQ(mkfifo(events.c_str(), 0600), 0);
  ASSERT_EQ(mkfifo(log.c_str(), 0600), 0);
  const int event_reader = open(events.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  const int log_reader = open(log.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  run.set_env("BACKEND_EVENTS_FILE", events);
  run.set_env("TDLIB_LOG_FILE", log);
  run.start();
  std::string states;
  for (int i = 0; i < 10000; ++i) states += "state\n";  // 400 KB of events, 200 KB of log
  run.feed(states);
  run.deliver_auth_state("authorizationStateWaitPhoneNumber");
  EXPECT_EQ(run.replies().back(), "NEED phone");
  close(event_reader);
  close(log_reader);
  run.feed("state\nping\n");
  EXPECT_EQ(run.quit(), 0);
}

// What is torn stands alone: in a pipe that was full, at the end of an older file, before the
// last words of a run that crashes.
TEST(Channels, TornLinesStandAlone) {
  BackendRun run;
  run.do_not_record();
  const std::string events = run.dir() / "events.fifo";
  ASSERT_EQ(mkfifo(events.c_str(), 0600), 0);
  const int reader = open(events.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  const auto read_pipe = [&] {
    std::string all(1 << 20, '\0');
    all.resize(
        static_cast<std::size_t>(std::max<ssize_t>(read(reader, all.data(), all.size()), 0)));
    return all;
  };
  run.set_env("BACKEND_EVENTS_FILE", events);
  write_file(run.log_path(), "torn");
  run.start();
  EXPECT_EQ(read_file(run.log_path()).substr(0, 15), "torn\n[backend] ");
  const std::string big =
      R"({"@type":"error","code":1,"message":")" + std::string(9000, 'x') + "\"}";
  for (int i = 0; i < 10; ++i) run.deliver(big);
  const std::string torn = read_pipe();
  EXPECT_EQ(torn.back(), 'x');
  run.deliver(kError);
  EXPECT_EQ(read_pipe(), std::string("\n") + kErrorEvent + "\n");
  for (int i = 0; i < 10; ++i) run.deliver(big);
  EXPECT_EQ(read_pipe().back(), 'x');
  run.fault("abort");
  EXPECT_EQ(read_pipe().substr(0, 24), "\n{\"type\":\"backend_fatal\"");
  EXPECT_EQ(run.wait_exit(), 134);
  close(reader);
}

// A file opened later must not take the number of a missing descriptor.
TEST(Channels, DescriptorsClosedAtStart) {
  for (int mask = 1; mask < 8; ++mask) {
    BackendRun run;
    run.hold_clock();
    run.set_env("BACKEND_LOG_STDERR", "1");
    for (int fd = 0; fd < 3; ++fd) {
      if ((mask >> fd & 1) != 0) run.close_at_start(fd);
    }
    run.start();
    ASSERT_TRUE(run.running()) << mask;
    run.idle();
    run.deliver(kError);  // to standard output, standard error, log and events
    EXPECT_EQ(run.events(), (Lines{R"({"type":"backend_run","pid":)" + std::to_string(run.pid()) +
                                       R"(,"mono_ms":1000000})",
                                   R"({"type":"backend_ready","client_id":1})", kErrorEvent}));
    for (const std::string& line : run.log_lines()) EXPECT_EQ(line.substr(0, 10), "[backend] ");
    EXPECT_EQ(run.replies().empty(), (mask & 2) != 0);
    EXPECT_EQ(run.error_lines().empty(), (mask & 4) != 0);
    EXPECT_EQ(read_file(run.dir() / "tdlib-db/td_backend.lock"), "");
    run.deliver_auth_state("authorizationStateClosed");
    EXPECT_EQ(run.wait_exit(), 0);
  }
}
