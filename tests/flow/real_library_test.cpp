// The program over the real TDLib, in a network namespace that has no network: how far it gets
// without one. A machine that cannot make such a namespace fails these tests.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <utility>

#include "json/text.h"
#include "tables/tables.h"
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

// Each object of the library is let through one by one.
TEST(RealLibrary, OptionsAreWorkedOffWithCommandsBetweenThem) {
  BackendRun run;
  run.real = true;
  run.env["TDLIB_LOG_VERBOSITY"] = "3";
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
  BackendRun run;
  run.env["TD_BACKEND_MODE"] = "hub";
  run.real = true;
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

namespace {

// An argument as its description asks for it, or something else: of ten one is random bytes, of
// ten one is missing.
class ArgumentMaker {
 public:
  explicit ArgumentMaker(std::string path) : path_(std::move(path)) {}

  std::string line_of(const Command& row) {
    std::string line(row.word);
    std::string_view rest = row.arguments;
    for (std::string_view piece; !rest.empty();) {
      (void)split_once(std::string_view(rest), ' ', piece, rest);
      line += ' ';
      line += argument(piece);
    }
    // A line of its own it stays.
    for (char& c : line) {
      if (c == '\n') c = 'n';
    }
    return line + "\n";
  }

 private:
  std::string argument(std::string_view described) {
    switch (random_() % 10) {
      case 0: return bytes();
      case 1: return "";
      default: break;
    }
    const auto names = [&](std::string_view word) {
      return described.find(word) != std::string_view::npos;
    };
    if (names("base64"))
      return names("path") ? base64(path_) : base64(random_() % 2 == 0 ? "a\xC3\xA9" : bytes());
    if (names("_id") || names("limit") || names("sec") || names("number"))
      return std::to_string(random_() % 9);
    if (names("|")) return std::string(described.substr(1, described.find('|') - 1));
    if (names("kind")) return "photo";
    if (names("port")) return "443";
    return random_() % 2 == 0 ? "text" : bytes();
  }

  std::string bytes() {
    std::string text;
    for (auto left = random_() % 12; left > 0; --left) text += static_cast<char>(random_());
    return text;
  }

  static std::string base64(const std::string& bytes) {
    static constexpr char kDigits[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    unsigned held = 0;
    int bits = 0;
    for (const char c : bytes) {
      held = held << 8 | static_cast<unsigned char>(c);
      for (bits += 8; bits >= 6; bits -= 6) out += kDigits[held >> (bits - 6) & 63];
    }
    if (bits > 0) out += kDigits[held << (6 - bits) & 63];
    return out;
  }

  std::string path_;
  std::mt19937 random_{1};
};

}  // namespace

// The library ends the process when a text that it has to write is not UTF-8.
TEST(RealLibrary, LinesOfAnyBytesLeaveItAlive) {
  constexpr int kLines = 10000;
  constexpr int kLinesAtOnce = 1000;
  BackendRun run;
  run.record = false;
  run.real = true;
  run.env["BACKEND_PROTOCOL"] = "2";
  run.start();
  const std::string path = run.dir / "sent\xC3\xA9";
  write_file(path, "x");
  ArgumentMaker maker(path);
  for (int i = 0; i < 20; ++i) run.receive_real();
  std::size_t reached = 0;
  std::size_t answered = 0;
  const char* const states[] = {"WaitPhoneNumber", "WaitCode", "WaitPassword"};
  for (int sent = 0; sent < kLines && run.running(); sent += kLinesAtOnce) {
    const auto step = static_cast<std::size_t>(sent / kLinesAtOnce);
    run.deliver_auth_state(step < 3 ? states[step] : "Ready");
    std::string lines;
    for (int i = 0; i < kLinesAtOnce; ++i) {
      const Table<Command> table = command_table();
      const Command& row = table.rows[static_cast<std::size_t>(sent + i) % table.size];
      // Those that end the session, and the one that takes all memory for a while.
      if (row.word == "logout" || row.word == "memtest") continue;
      lines += maker.line_of(row);
    }
    run.feed(lines);
    for (const std::string& request : run.requests()) {
      ++reached;
      EXPECT_TRUE(is_utf8(request)) << request;
    }
    while (run.running() && !run.receive_real().empty()) ++answered;
  }
  RecordProperty("requests", static_cast<int>(reached));
  RecordProperty("objects", static_cast<int>(answered));
  EXPECT_GT(reached, kLines / 3U);
  EXPECT_GT(answered, reached / 2);
  EXPECT_EQ(run.quit(), 0);
}
