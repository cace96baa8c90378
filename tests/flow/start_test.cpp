// How the program starts: what it tells whom in which order, what it takes from its environment,
// and how it refuses.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "json/scan.h"
#include "tests/support/backend_run.h"

static bool begins_with(const std::string& text, const std::string& begin) {
  return text.compare(0, begin.size(), begin) == 0;
}

static bool any_begins_with(const Lines& lines, const std::string& begin) {
  return std::any_of(lines.begin(), lines.end(),
                     [&](const std::string& line) { return begins_with(line, begin); });
}

static Lines concat(Lines first, const Lines& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

constexpr char kUiModeLine[] =
    "backend: mode=ui raise_rlimits=0 use_file_db=1 use_chat_info_db=1 use_message_db=1 "
    "use_secret_chats=1";

TEST(Start, UiMode) {
  BackendRun run;
  run.hold_clock();
  run.start();
  EXPECT_EQ(run.loaded(), "armcap=0 zlib=0");
  EXPECT_EQ(run.set_up_calls(), (Lines{"verbosity 2", "callback 2", "create 1"}));
  EXPECT_EQ(run.requests(), Lines{R"({"@type":"getAuthorizationState"})"});
  EXPECT_EQ(run.replies(), Lines{"BACKEND_READY client_id=1"});
  EXPECT_EQ(run.error_lines(), Lines{kUiModeLine});
  const std::string pid = std::to_string(run.pid());
  EXPECT_EQ(run.events(), (Lines{R"({"type":"backend_run","pid":)" + pid + R"(,"mono_ms":1000000})",
                                 R"({"type":"backend_ready","client_id":1})"}));
  Lines log = run.dbg_lines();
  ASSERT_EQ(log.size(), 6u);
  const std::string backend_base = "MODULE_BASE backend base=0x";
  const std::string tdjson_base = "MODULE_BASE tdjson base=0x";
  EXPECT_TRUE(begins_with(log[0], backend_base)) << log[0];
  EXPECT_NE(log[0].find(" file=" + run.dir().path() + "/td_backend"), std::string::npos) << log[0];
  EXPECT_TRUE(begins_with(log[1], tdjson_base)) << log[1];
  EXPECT_NE(log[1].find(" file=" + run.dir().path() + "/libtdjson.so.1.8.61"), std::string::npos)
      << log[1];
  log.erase(log.begin(), log.begin() + 2);
  EXPECT_EQ(log,
            (Lines{"BACKEND_START pid=" + pid + " mode=ui exe_dir=" + run.dir().path(),
                   "DB_LOCK ok path=./tdlib-db/td_backend.lock",
                   "EVENTS_OPEN path=" + run.events_path() + " mode=truncate", "BACKEND_READY"}));
  EXPECT_EQ(run.last_timeout(), "0.200000");
  EXPECT_EQ(read_file("/proc/" + pid + "/comm"), "TDLib UI Lumo\n");
  run.idle();
  EXPECT_EQ(run.quit(), 0);
  EXPECT_EQ(read_file(run.dir() / "tdlib-db/td_backend.lock"), "");
}

TEST(Start, WithoutMonotonicClock) {
  BackendRun run;
  run.hold_clock();
  run.clock().fail_mono = 1;
  run.start();
  EXPECT_EQ(run.events().at(0),
            R"({"type":"backend_run","pid":)" + std::to_string(run.pid()) + R"(,"mono_ms":0})");
}

TEST(Start, HubMode) {
  BackendRun run(Mode::kHub);
  run.set_env("TD_STANDIN_CLIENT_ID", "77");
  run.start();
  EXPECT_EQ(run.requests(),
            (Lines{R"({"@type":"setOption","name":"ignore_background_updates","value":)"
                   R"({"@type":"optionValueBoolean","value":true},"@extra":"opt:bg_updates"})",
                   R"({"@type":"getAuthorizationState"})"}));
  EXPECT_EQ(run.replies(), Lines{"BACKEND_READY client_id=77"});
  EXPECT_EQ(run.error_lines(),
            (Lines{"rlimit AS: cur=-1 max=-1", "rlimit DATA: cur=-1 max=-1",
                   "rlimit STACK: cur=-1 max=-1",
                   "backend: mode=hub raise_rlimits=1 use_file_db=0 use_chat_info_db=0 "
                   "use_message_db=0 use_secret_chats=0"}));
  const Lines log = run.dbg_lines();
  ASSERT_EQ(log.size(), 7u);
  EXPECT_EQ(log[6], "SEND setOption ignore_background_updates (early)");
  EXPECT_EQ(run.events(), Lines{}) << "neither of the two first events passes the hub's filter";
}

TEST(Start, ModeIsComparedExactlyAndEchoed) {
  BackendRun run;
  run.set_env("TD_BACKEND_MODE", "HUB");
  run.start();
  EXPECT_EQ(run.requests().size(), 1u);
  EXPECT_TRUE(begins_with(run.error_lines().at(0), "backend: mode=HUB raise_rlimits=0 "));
  EXPECT_NE(run.dbg_lines().at(2).find(" mode=HUB exe_dir="), std::string::npos);
}

// ---- TDLib that cannot be loaded: status 3

static void expect_no_tdlib(BackendRun& run, const std::string& detail) {
  run.start();
  EXPECT_EQ(run.wait_exit(), 3) << detail;
  const Lines errors = run.error_lines();
  ASSERT_EQ(errors.size(), 1u) << detail;
  EXPECT_TRUE(begins_with(errors[0], detail)) << errors[0];
  EXPECT_GT(errors[0].size(), detail.size()) << "the loader's own reason is missing";
  EXPECT_EQ(run.all_output(), "FATAL failed to load TDLib (dlopen)\n");
  EXPECT_EQ(run.log_lines(), Lines{});
}

TEST(Start, WithoutLibrary) {
  BackendRun missing;
  missing.use_library("");
  expect_no_tdlib(missing, "dlopen('" + missing.dir().path() + "/libtdjson.so.1.8.61') failed: ");

  BackendRun broken;
  broken.use_library("");
  write_file(broken.dir() / "libtdjson.so.1.8.61",
             "\x7f"
             "ELF and then nothing of the kind");
  expect_no_tdlib(broken, "dlopen('" + broken.dir().path() + "/libtdjson.so.1.8.61') failed: ");
}

TEST(Start, EveryEntryPointIsMandatory) {
  for (const char* name :
       {"td_create_client_id", "td_send", "td_receive", "td_execute", "td_set_log_file_path",
        "td_set_log_max_file_size", "td_set_log_verbosity_level", "td_set_log_message_callback"}) {
    BackendRun run;
    run.use_library(std::string("without_") + name);
    expect_no_tdlib(run, std::string("dlsym('") + name + "') failed: ");
  }
}

TEST(Start, CompressionLibraryIsLoadedFirst) {
  BackendRun run;
  run.with_zlib();
  run.set_env("OPENSSL_armcap", "63");
  run.start();
  EXPECT_EQ(run.loaded(), "armcap=0 zlib=1");
}

TEST(Start, LibraryDirectoryComesFromTheCallersName) {
  for (const char* name : {"td_backend", ""}) {
    BackendRun run;
    run.set_argv0(name);
    run.start();
    ASSERT_TRUE(run.running()) << name;
    EXPECT_TRUE(any_begins_with(
        run.dbg_lines(), "BACKEND_START pid=" + std::to_string(run.pid()) + " mode=ui exe_dir=."));
  }
  BackendRun relative;
  relative.set_argv0("./x/../td_backend");
  write_file(relative.dir() / "x", "");
  expect_no_tdlib(relative, "dlopen('./x/../libtdjson.so.1.8.61') failed: ");

  BackendRun root;
  root.set_argv0("/td_backend");
  expect_no_tdlib(root, "dlopen('//libtdjson.so.1.8.61') failed: ");
}

// ---- the application's id and hash: status 2

TEST(Start, WithoutUsableIdOrHash) {
  const struct {
    const char* id;
    const char* hash;
    Lines errors;
  } cases[] = {
      {"0", "abc", {}},
      {"-5", "abc", {}},
      {"41870062", "", {}},
      {"abc", "", Lines(2, "Invalid int value for TG_API_ID: 'abc'")},  // read again
  };
  for (const auto& c : cases) {
    BackendRun run;
    run.set_env("TG_API_ID", c.id);
    run.set_env("TG_API_HASH", c.hash);
    run.set_env_files("", "");
    run.start();
    EXPECT_EQ(run.wait_exit(), 2) << c.id;
    EXPECT_EQ(run.all_output(), "FATAL missing TG_API_ID/TG_API_HASH\n");
    // The line on the mode comes before the refusal, the log is opened after it.
    Lines expected = c.errors;
    expected.push_back(kUiModeLine);
    EXPECT_EQ(run.error_lines(), expected);
    EXPECT_EQ(read_file(run.log_path()), "");
  }
}

TEST(Start, BadIdFallsBackAndLeavesTheFilesAlone) {
  BackendRun run;
  run.set_env("TG_API_ID", "abc");
  run.set_env_files("TG_API_ID=5\nTD_USE_SECRET_CHATS=0\n", "");
  run.start();
  EXPECT_EQ(run.error_lines(), (Lines{"Invalid int value for TG_API_ID: 'abc'", kUiModeLine}));
}

static std::string parameters_of(BackendRun& run) {
  run.requests();
  run.deliver_auth_state("authorizationStateWaitTdlibParameters");
  const Lines requests = run.requests();
  return requests.empty() ? "" : requests.back();
}

TEST(Start, EnvironmentFiles) {
  BackendRun run;
  run.set_env("TG_API_HASH", "");
  run.set_env("TG_USE_TEST_DC", "0");
  run.set_env("TG_AUTO_SEND_PHONE", "0");
  run.set_env_files(
      "# TG_API_ID=1\n"
      "\n"
      " \t\r\n"
      "  # TG_API_ID=2\n"
      "TG_API_ID=3\n"
      "=abc\n"
      "abc\n"
      " = abc\n"
      "export TG_API_ID=4\n"
      "  TG_API_HASH =  \"a=b\" # c  \r\n"
      "TG_USE_TEST_DC=1\n"
      "TDLIB_DB_DIR=not this\n"
      "TDLIB_DB_DIR=./the last\n",
      "TG_API_ID = 12\nTG_AUTO_SEND_PHONE=1\nTG_PHONE_NUMBER=+49 30 12");  // no line feed at its
                                                                           // end
  run.start();
  const std::string parameters = parameters_of(run);
  EXPECT_NE(parameters.find(R"("api_id":12,"api_hash":"\"a=b\" # c")"), std::string::npos)
      << parameters;
  EXPECT_NE(parameters.find(R"("use_test_dc":true,"database_directory":"./the last")"),
            std::string::npos)
      << parameters;
  run.deliver_auth_state("authorizationStateWaitPhoneNumber");
  const Lines requests = run.requests();
  ASSERT_EQ(requests.size(), 1u);
  EXPECT_EQ(extract_json_string_field(requests[0], "phone_number"), "+493012");
}

TEST(Start, EnvironmentFilesThatDoNotHelp) {
  BackendRun run;
  run.set_env("TG_API_ID", "0");
  run.set_env_files("TG_API_HASH=\n", "TG_API_ID=7\nTG_API_HASH=\n");
  run.start();
  EXPECT_EQ(run.wait_exit(), 2);
  EXPECT_EQ(run.all_output(), "FATAL missing TG_API_ID/TG_API_HASH\n");
}

// ---- the database's lock: status 9

TEST(Start, DatabaseThatCannotBeLocked) {
  BackendRun empty;
  empty.set_env("TDLIB_DB_DIR", "");
  empty.do_not_record();  // its events file holds only what was there before
  write_file(empty.events_path(), "old\n");
  empty.start();
  EXPECT_EQ(empty.wait_exit(), 9);
  EXPECT_EQ(empty.all_output(), "FATAL tdlib db locked\n");
  EXPECT_FALSE(any_begins_with(empty.dbg_lines(), "DB_LOCK"));
  EXPECT_EQ(read_file(empty.events_path()), "old\n") << "the events file comes after the lock";

  BackendRun nested;
  nested.set_env("TDLIB_DB_DIR", "a/b");
  nested.set_env("TDLIB_FILES_DIR", "c/d");
  nested.start();
  EXPECT_EQ(nested.wait_exit(), 9);
  EXPECT_EQ(nested.error_lines(),
            (Lines{kUiModeLine, "mkdir('a/b') failed: No such file or directory",
                   "mkdir('c/d') failed: No such file or directory"}));
  EXPECT_EQ(nested.dbg_lines().back(),
            "DB_LOCK open failed path=a/b/td_backend.lock err=No such file or directory");
}

TEST(Start, OneBackendPerDatabase) {
  BackendRun first;
  first.start();
  BackendRun second;
  second.set_env("TDLIB_DB_DIR", first.dir() / "tdlib-db");
  second.start();
  EXPECT_EQ(second.wait_exit(), 9);
  EXPECT_EQ(second.all_output(), "FATAL tdlib db locked\n");
  const std::string path = first.dir() / "tdlib-db/td_backend.lock";
  EXPECT_TRUE(begins_with(second.dbg_lines().back(), "DB_LOCK busy path=" + path + " err="));
  first.idle();
  EXPECT_EQ(first.quit(), 0);
  BackendRun third;
  third.set_env("TDLIB_DB_DIR", first.dir() / "tdlib-db");
  third.start();
  EXPECT_EQ(third.quit(), 0);
}

// ---- numbers and flags

TEST(Start, Numbers) {
  const struct {
    const char* text;
    bool accepted;
    int on;  // for a key whose default is 1
  } cases[] = {{"yes", false, 1},
               {"0x10", false, 1},
               {"5 ", false, 1},
               {" 5", true, 1},
               {"+1", true, 1},
               {"-1", true, 1},
               {"00", true, 0},
               {"", true, 1},
               {" ", false, 1},
               {"1.0", false, 1},
               {"9223372036854775807", true, 1},
               {"9223372036854775808", false, 1},
               {"\xff", false, 1}};
  for (const auto& c : cases) {
    BackendRun run;
    run.set_env("TD_USE_MESSAGE_DATABASE", c.text);
    run.start();
    Lines expected;
    if (!c.accepted) {
      expected = {"Invalid int value for TD_USE_MESSAGE_DATABASE: '" + std::string(c.text) + "'"};
    }
    expected.push_back(
        "backend: mode=ui raise_rlimits=0 use_file_db=1 use_chat_info_db=1 use_message_db=" +
        std::to_string(c.on) + " use_secret_chats=1");
    EXPECT_EQ(run.error_lines(), expected);
  }
}

TEST(Start, BadValuesAreReportedInTheOrderOfReading) {
  BackendRun run(Mode::kHub);
  Lines expected;
  for (const char* key : {"TD_MMAP_LARGE_ALLOC", "TD_MMAP_LARGE_THRESHOLD", "TD_RAISE_RLIMIT"}) {
    expected.push_back("Invalid int value for " + std::string(key) + ": 'on'");
  }
  expected = concat(expected, {"rlimit AS: cur=-1 max=-1", "rlimit DATA: cur=-1 max=-1",
                               "rlimit STACK: cur=-1 max=-1"});
  for (const char* key : {"TG_API_ID", "TD_USE_FILE_DATABASE", "TD_USE_CHAT_INFO_DATABASE",
                          "TD_USE_MESSAGE_DATABASE", "TD_USE_SECRET_CHATS"}) {
    expected.push_back("Invalid int value for " + std::string(key) + ": 'on'");
  }
  expected.push_back(
      "backend: mode=hub raise_rlimits=1 use_file_db=0 use_chat_info_db=0 use_message_db=0 "
      "use_secret_chats=0");
  expected.push_back("Invalid int value for TDLIB_LOG_VERBOSITY: 'on'");
  for (const char* key :
       {"TD_MMAP_LARGE_ALLOC", "TD_MMAP_LARGE_THRESHOLD", "TD_RAISE_RLIMIT", "TG_API_ID",
        "TD_USE_FILE_DATABASE", "TD_USE_CHAT_INFO_DATABASE", "TD_USE_MESSAGE_DATABASE",
        "TD_USE_SECRET_CHATS", "TDLIB_LOG_VERBOSITY"}) {
    run.set_env(key, "on");
  }
  run.start();
  EXPECT_EQ(run.error_lines(), expected);
  EXPECT_EQ(run.set_up_calls(), (Lines{"verbosity 2", "callback 2", "create 1"}));
}

TEST(Start, VerbosityIsPassedOnUnchecked) {
  for (const char* level : {"5", "-3", "0"}) {
    BackendRun run;
    run.set_env("TDLIB_LOG_VERBOSITY", level);
    run.start();
    EXPECT_EQ(run.set_up_calls(), (Lines{std::string("verbosity ") + level,
                                         std::string("callback ") + level, "create 1"}));
  }
}

TEST(Start, SettingsReachTheParameters) {
  BackendRun run;
  run.set_env("TDLIB_DB_DIR", "d\"b\\");
  run.set_env("TDLIB_FILES_DIR", "f\tf");
  run.set_env("TG_API_ID", "123456789012");
  run.set_env("TG_API_HASH", "h\"");
  run.set_env("TG_USE_TEST_DC", "true");  // not "1", so off
  run.set_env("TD_USE_CHAT_INFO_DATABASE", "0");
  run.set_env("TD_USE_SECRET_CHATS", "0");
  run.start();
  EXPECT_EQ(parameters_of(run),
            R"({"@type":"setTdlibParameters","use_test_dc":false,"database_directory":"d\"b\\",)"
            R"("files_directory":"f\tf","database_encryption_key":"","use_file_database":true,)"
            R"("use_chat_info_database":false,"use_message_database":true,)"
            R"("use_secret_chats":false,"api_id":123456789012,"api_hash":"h\"",)"
            R"("system_language_code":"en","device_model":"BB10","system_version":"10.3",)"
            R"("application_version":"0.0.1","enable_storage_optimizer":true,)"
            R"("ignore_file_names":false,"@extra":"setParams"})");
  EXPECT_TRUE(any_begins_with(run.dbg_lines(), "DB_LOCK ok path=d\"b\\/td_backend.lock"));
}
