// How the program refuses to start, and what it takes from its environment, as tables; how it
// starts is told in flows/start.txt.

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "tests/support/backend_run.h"

static std::string ui_mode(const std::string& use_message_db) {
  return "backend: mode=ui raise_rlimits=0 use_file_db=1 use_chat_info_db=1 use_message_db=" +
         use_message_db + " use_secret_chats=1";
}

static std::string invalid(const std::string& key, const std::string& text) {
  return "Invalid int value for " + key + ": '" + text + "'";
}

TEST(Start, WithoutAUsableLibrary) {
  struct Case {
    std::string library, argv0, detail;
  };
  std::vector<Case> cases = {{"", "$DIR/td_backend", "dlopen('$DIR/libtdjson.so.1.8.61')"},
                             {"", "./x/../td_backend", "dlopen('./x/../libtdjson.so.1.8.61')"},
                             {"", "/td_backend", "dlopen('//libtdjson.so.1.8.61')"}};
  for (const std::string name :
       {"td_create_client_id", "td_send", "td_receive", "td_execute", "td_set_log_file_path",
        "td_set_log_max_file_size", "td_set_log_verbosity_level", "td_set_log_message_callback"}) {
    cases.push_back({"without_" + name, "$DIR/td_backend", "dlsym('" + name + "')"});
  }
  for (Case& c : cases) {
    BackendRun run;
    for (std::string* text : {&c.argv0, &c.detail}) {
      const std::size_t at = text->find("$DIR");
      if (at != std::string::npos) text->replace(at, 4, run.dir.path());
    }
    run.library = c.library;
    run.argv0 = c.argv0;
    run.start();
    EXPECT_EQ(run.wait_exit(), 3) << c.detail;
    const std::string error = run.error_lines().at(0);
    EXPECT_EQ(error.rfind(c.detail + " failed: ", 0), 0u) << error;
    EXPECT_GT(error.size(), c.detail.size() + 9) << "the loader's own reason is missing";
    EXPECT_EQ(run.replies(), Lines{"FATAL failed to load TDLib (dlopen)"});
    EXPECT_EQ(run.log_lines(), Lines{});
  }
}

TEST(Start, LibraryDirectoryComesFromTheCallersName) {
  for (const char* name : {"td_backend", ""}) {
    BackendRun run;
    run.argv0 = name;
    run.start();
    EXPECT_EQ(run.dbg_lines().at(2),
              "BACKEND_START pid=" + std::to_string(run.pid()) + " mode=ui exe_dir=.");
    EXPECT_EQ(read_file("/proc/" + std::to_string(run.pid()) + "/comm"), "TDLib UI Lumo\n");
  }
}

TEST(Start, NumbersAndTheApplicationsId) {
  const std::string db = "TD_USE_MESSAGE_DATABASE";
  const struct {
    std::map<std::string, std::string> env;
    Lines before;  // the line on the mode
    const char* use_message_db = "1";
    int status = 0;
    const char* login = "";  // the environment file
  } cases[] = {{{{db, "yes"}}, {invalid(db, "yes")}},
               {{{db, "0x10"}}, {invalid(db, "0x10")}},
               {{{db, "5 "}}, {invalid(db, "5 ")}},
               {{{db, " "}}, {invalid(db, " ")}},
               {{{db, "9223372036854775808"}}, {invalid(db, "9223372036854775808")}},
               {{{db, "9223372036854775807"}}, {}},
               {{{db, " 5"}}, {}},
               {{{db, "+1"}}, {}},
               {{{db, ""}}, {}},
               {{{db, "00"}}, {}, "0"},
               {{{"TG_API_ID", "0"}}, {}, "1", 2},
               {{{"TG_API_ID", "-5"}}, {}, "1", 2},
               {{{"TG_API_HASH", ""}}, {}, "1", 2},
               {{{"TG_API_ID", "0"}}, {}, "1", 2, "TG_API_ID=7\nTG_API_HASH=\n"},
               {{{"TG_API_ID", "abc"}, {"TG_API_HASH", ""}},
                Lines(2, invalid("TG_API_ID", "abc")),  // read again
                "1",
                2}};
  for (const auto& c : cases) {
    BackendRun run;
    for (const auto& [name, value] : c.env) run.env[name] = value;
    run.set_env_file("tg_login", c.login);
    run.start();
    Lines expected = c.before;
    expected.push_back(ui_mode(c.use_message_db));
    EXPECT_EQ(run.error_lines(), expected);
    if (c.status == 0) continue;
    EXPECT_EQ(run.wait_exit(), c.status);
    EXPECT_EQ(run.replies(), Lines{"FATAL missing TG_API_ID/TG_API_HASH"});
    EXPECT_EQ(read_file(run.log_path()), "") << "the log is opened after the refusal";
  }
}

TEST(Start, NobodyReads) {
  for (const int status : {0, 2, 3}) {
    BackendRun run;
    run.unread = true;
    run.env["TD_USE_MESSAGE_DATABASE"] = "yes";
    if (status == 2) run.env["TG_API_ID"] = "0";
    if (status == 3) run.library = "";
    run.start();
    EXPECT_EQ(status == 0 ? run.quit() : run.wait_exit(), status);
  }
}

TEST(Start, BadValuesAreReportedInTheOrderOfReading) {
  BackendRun run;
  run.env["TD_BACKEND_MODE"] = "hub";
  Lines expected;
  const auto set = [&](const char* key) {
    run.env[key] = "on";
    expected.push_back(invalid(key, "on"));
  };
  for (const char* key : {"TD_MMAP_LARGE_ALLOC", "TD_MMAP_LARGE_THRESHOLD", "TD_RAISE_RLIMIT"}) {
    set(key);
  }
  for (const char* what : {"AS", "DATA", "STACK"}) {
    expected.push_back(std::string("rlimit ") + what + ": cur=-1 max=-1");
  }
  for (const char* key : {"TG_API_ID", "TD_USE_FILE_DATABASE", "TD_USE_CHAT_INFO_DATABASE",
                          "TD_USE_MESSAGE_DATABASE", "TD_USE_SECRET_CHATS"}) {
    set(key);
  }
  expected.emplace_back(
      "backend: mode=hub raise_rlimits=1 use_file_db=0 use_chat_info_db=0 use_message_db=0 "
      "use_secret_chats=0");
  set("TDLIB_LOG_VERBOSITY");
  run.start();
  EXPECT_EQ(run.error_lines(), expected);
}

TEST(Start, OneBackendPerDatabase) {
  BackendRun first;
  first.start();
  BackendRun second;
  second.env["TDLIB_DB_DIR"] = first.dir / "tdlib-db";
  second.start();
  EXPECT_EQ(second.wait_exit(), 9);
  EXPECT_EQ(second.replies(), Lines{"FATAL tdlib db locked"});
  const std::string busy =
      "DB_LOCK busy path=" + (first.dir / "tdlib-db/td_backend.lock") + " err=";
  EXPECT_EQ(second.dbg_lines().back().rfind(busy, 0), 0u);
}
