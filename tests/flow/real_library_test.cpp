// The program over the real TDLib, in a network namespace that has no network: how far it gets
// without one. A machine that cannot make such a namespace fails these tests.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "tests/support/backend_run.h"

static const Lines kWayToThePhoneNumber = {"BACKEND_READY client_id=1",
                                           "AUTH_STATE WaitTdlibParameters",
                                           "AUTH_STATE WaitPhoneNumber", "NEED phone"};

static bool is_option(const std::string& object) {
  return object.rfind(R"({"@type":"updateOption")", 0) == 0;
}

static bool contains(const Lines& lines, const std::string& line) {
  return std::find(lines.begin(), lines.end(), line) != lines.end();
}

// The events of the login; when the library tells of its connection is its own affair.
static Lines login_events(BackendRun& run) {
  Lines events;
  for (const std::string& line : run.events()) {
    if (line.rfind(R"({"type":"auth_state")", 0) == 0 || line.rfind(R"({"type":"need")", 0) == 0) {
      events.push_back(line);
    }
  }
  return events;
}

TEST(RealLibrary, StartsAnswersAndStops) {
  BackendRun first;
  first.use_real_library(false);
  first.without_events();
  first.start();
  first.wait_for_reply("NEED phone");
  EXPECT_EQ(first.all_output().substr(0, first.all_output().find("NEED phone")),
            "BACKEND_READY client_id=1\nAUTH_STATE WaitTdlibParameters\n"
            "AUTH_STATE WaitPhoneNumber\n");
  first.write_input("ping\nchats\n");
  EXPECT_EQ(first.wait_for_reply(""), "PONG");
  EXPECT_EQ(first.wait_for_reply(""), "ERR not_ready");

  BackendRun second;
  second.use_real_library(false);
  second.set_env("TDLIB_DB_DIR", first.dir() / "tdlib-db");
  second.start();
  EXPECT_EQ(second.wait_exit(), 9);
  EXPECT_EQ(second.all_output(), "FATAL tdlib db locked\n");

  first.write_input("ping\n");
  EXPECT_EQ(first.wait_for_reply(""), "PONG") << "the refused one has disturbed nothing";
  EXPECT_EQ(first.quit(), 0);
  EXPECT_EQ(first.wait_for_reply(""), "BYE");

  BackendRun again;
  again.use_real_library(false);
  again.set_env("TDLIB_DB_DIR", first.dir() / "tdlib-db");
  again.set_env("TDLIB_FILES_DIR", first.dir() / "tdlib-files");
  again.start();
  again.wait_for_reply("NEED phone");
  EXPECT_EQ(again.quit(), 0);
}

// Each object of the library is let through one by one.
TEST(RealLibrary, OptionsAreWorkedOffWithCommandsBetweenThem) {
  BackendRun run;
  run.use_real_library(true);
  run.set_env("TDLIB_LOG_VERBOSITY", "3");
  run.start();
  int options = 0;
  int options_after_ping = 0;
  bool pinged = false;
  Lines log;
  while (true) {
    const std::string object = run.receive_real();
    if (is_option(object)) {
      ++options;
      if (pinged) ++options_after_ping;
    }
    // After the burst the library is silent; the way there holds pauses of its own.
    if (object.empty() && options > 50) break;
    if (options == 20 && !pinged) {
      pinged = true;
      run.send_line("ping");
      log = run.dbg_lines();
      EXPECT_EQ(log.back(), "CMD ping") << "answered at once, in the middle of the burst";
    }
  }
  EXPECT_GT(options_after_ping, 30);
  RecordProperty("options", options);
  const Lines rest = run.dbg_lines();
  log.insert(log.end(), rest.begin(), rest.end());
  EXPECT_TRUE(contains(log, "SEND setTdlibParameters"));
  EXPECT_TRUE(contains(log, "TD_OK setParams"));
  EXPECT_EQ(run.replies(), kWayToThePhoneNumber);
  EXPECT_EQ(login_events(run), (Lines{R"({"type":"auth_state","state":"WaitTdlibParameters"})",
                                      R"({"type":"auth_state","state":"WaitPhoneNumber"})",
                                      R"({"type":"need","what":"phone"})"}));
  const std::string text = read_file(run.log_path());
  EXPECT_NE(text.find("\n[tdlib:3] "), std::string::npos) << "the library's own log comes through";
  EXPECT_EQ(run.quit(), 0);
}

TEST(RealLibrary, HubMode) {
  BackendRun run(Mode::kHub);
  run.use_real_library(true);
  run.start();
  Lines log;
  while (!contains(log, "NEED phone") || !contains(log, "TD_OK setParams")) {
    run.receive_real();
    const Lines more = run.dbg_lines();
    log.insert(log.end(), more.begin(), more.end());
  }
  EXPECT_EQ(login_events(run), (Lines{R"({"type":"auth_state","state":"WaitTdlibParameters"})",
                                      R"({"type":"auth_state","state":"WaitPhoneNumber"})"}));
  EXPECT_FALSE(contains(log, "TD_ERROR (see json below)"));
  EXPECT_EQ(run.quit(), 0);
}
