// One run of the real td_backend over the scripted library (tests/standin), step by step.
//
//   TEST(Resolve, AsksForThePublicChat) {
//     BackendRun run;                                   // UI mode, events file, own directory
//     run.start();                                      // to its first wait for TDLib
//     run.login();                                      // to Ready; forgets what came until then
//     run.send_line("resolve ann");                     // written, read, handled
//     EXPECT_EQ(run.requests(), std::vector<std::string>{
//         R"({"@type":"searchPublicChat","username":"ann","@extra":"resolve:ann"})"});
//     run.answer(R"({"@type":"error","code":400,"message":"USERNAME_NOT_OCCUPIED"})",
//                "resolve:ann");                        // delivered and handled
//     EXPECT_EQ(run.events(), std::vector<std::string>{
//         R"({"type":"tg_resolve_error","username":"ann","code":400,)"
//         R"("message":"USERNAME_NOT_OCCUPIED"})"});
//     EXPECT_EQ(run.quit(), 0);
//   }
//
// Nothing here sleeps or guesses. The program's loop is: commands, follow-ups, one receive call,
// its object. Each receive call is reported and waits for the test, so when the next one is
// reported, everything before it is done: its requests are here, its lines are written.
//
// With an events file, which is the default, the program itself keeps "PONG", "BYE" and lines
// that begin with "OK ", "ERR " or "TD_ERROR " off its standard output. Call without_events()
// before start() to see them; there are no events then.
//
// Where something takes longer than 30 seconds, or is asked of a program that has ended, these
// functions throw a BackendError that tells what the program has said; the test then fails with
// that text. A run that a test leaves alive is told to quit when the value goes, and it fails
// the test when the program does not end with 0. A sanitizer's report fails it, too.
//
// Every event line and every request is also written to files in EVENT_LINES_DIR and
// REQUEST_LINES_DIR, one file per test process, for checks over all of them.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "tests/standin/held_clock.h"
#include "tests/support/temp_dir.h"

enum class Mode { kUi, kHub };

struct BackendError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

using Lines = std::vector<std::string>;

class BackendRun {
 public:
  explicit BackendRun(Mode mode = Mode::kUi);
  ~BackendRun();
  BackendRun(const BackendRun&) = delete;
  BackendRun& operator=(const BackendRun&) = delete;

  // ---- Before start().

  // The program sees PATH, the sanitizers' options and what is set here, nothing else. Set from
  // the beginning: TDLIB_LOG_FILE, BACKEND_EVENTS_FILE and, in hub mode, TD_BACKEND_MODE.
  void set_env(const std::string& name, const std::string& value) { env_[name] = value; }
  void unset_env(const std::string& name) { env_.erase(name); }
  void without_events() { env_.erase("BACKEND_EVENTS_FILE"); }
  // The variant of the scripted library, a directory below tests/standin in the build tree:
  // "full" (the default), "without_td_send" and so on; empty: no library is put there.
  void use_library(const std::string& variant) { library_ = variant; }
  // What stands for the compression library is put beside the program.
  void with_zlib() { zlib_ = true; }
  // The real library in a network namespace without network. `stepped`: behind the scripted one,
  // so that receive_real() decides about each of its objects. Otherwise it runs freely, and only
  // the functions below "Any run" may be called.
  void use_real_library(bool stepped);
  // argv[0]; the file that is executed stays the same. Default: dir() + "/td_backend".
  void set_argv0(const std::string& text) { argv0_ = text; }
  // Both clocks stand still and move by advance_ms() alone. They begin at one million
  // milliseconds (monotonic) and at 2023-11-14 22:13:20 UTC (wall).
  void hold_clock();
  // The program finds these as its two environment files.
  void set_env_files(std::string_view tg_api, std::string_view tg_login);
  // The file or directory is its standard input, in the place of the test's pipe.
  void set_input(const std::string& path) { input_path_ = path; }
  // The descriptor (0, 1 or 2) is closed when the program starts.
  void close_at_start(int fd) { closed_.push_back(fd); }
  // RLIMIT_AS of the program. Not for address-sanitizer builds, which reserve terabytes.
  void limit_address_space(std::uint64_t bytes) { address_space_ = bytes; }
  // Ends the recording in EVENT_LINES_DIR and REQUEST_LINES_DIR for this run: for tests in which
  // lines are lost or torn on purpose.
  void do_not_record() { record_ = false; }

  // Returns when the program first waits for TDLib, or has ended (running() tells).
  void start();

  // ---- Over the scripted library. Each returns when the program waits for TDLib again, or has
  // ended.

  // Writes the line and a line feed, and has it handled.
  void send_line(std::string_view line);
  // The same with bytes as they are, of any number: also half a line, or thousands of them.
  void feed(std::string_view bytes);
  // One object from TDLib, as it is.
  void deliver(std::string_view object);
  // The same with ,"@extra":"<tag>","@client_id":1} in the place of its last brace, which is how
  // TDLib answers. The tag is inserted as it is.
  void answer(std::string_view object, std::string_view tag);
  // One receive call that gives nothing, as after its timeout.
  void idle();
  // WaitTdlibParameters, then Ready; forgets everything said until then.
  void login();
  // updateAuthorizationState with the state of that name, such as "authorizationStateReady".
  void deliver_auth_state(std::string_view state);
  // Has the real library asked; returns its object, or an empty text when there was none.
  std::string receive_real();
  // Commits a fault inside the receive call (names: tests/standin/standin.cpp); returns when the
  // program has ended.
  void fault(std::string_view name);
  // The log callback is called during the receive call, on the main thread or on another one.
  void log_from_tdlib(int level, std::string_view message);
  void log_from_thread(int level, std::string_view message);
  // So many threads at once, so many lines each: "thread <t> line <i>".
  void flood_log(int threads, int lines);

  // What came since the last call of the same function.
  Lines requests();
  Lines events();       // lines of the events file
  Lines log_lines();    // lines of the log file as they are: "[backend] ...", "[tdlib:2] ..."
  Lines dbg_lines();    // the same; the backend's own only, without "[backend] "
  Lines replies();      // lines of standard output
  Lines error_lines();  // lines of standard error
  // Drops all of it.
  void forget();

  // What the program told the library at its start.
  const std::string& loaded() const { return loaded_; }  // "armcap=0 zlib=1", see wire.h
  const Lines& set_up_calls() const {
    return set_up_calls_;
  }                                                                  // "create 1", "verbosity 2",
                                                                     // "callback 2", in order
  const std::string& last_timeout() const { return last_timeout_; }  // of the receive call

  // Moves the held clock, monotonic and wall. Nothing is handled by that alone.
  void advance_ms(std::int64_t ms);
  HeldClock& clock();

  // ---- Any run.

  bool running() const { return pid_ > 0; }
  int pid() const { return pid_; }
  int client_id() const { return client_id_; }
  // Writes to standard input without handling anything; throws when the pipe is full.
  void write_input(std::string_view bytes);
  // Waits for a line of standard output or standard error that begins with `begin`, and takes it
  // and those before it off replies() or error_lines(). Returns the line.
  std::string wait_for_reply(std::string_view begin);
  std::string wait_for_error_line(std::string_view begin);
  // Waits, while the program waits for TDLib, for a request that its waking thread sends.
  std::string wait_for_request();
  void close_input();
  void close_output();  // the test's end of standard output
  // Nothing is read from standard output from here on, and its pipe is full.
  void stall_output();

  // "quit", to the end. The exit status, as wait_exit() gives it.
  int quit();
  // Waits for the end, with empty receive calls if the program asks again (three at most). The
  // exit status; minus the signal's number when a signal ended it.
  int wait_exit();
  // Ends it the hard way, and nothing is expected of it any more.
  void kill();

  // ---- Its files.

  const TempDir& dir() const { return dir_; }
  std::string events_path() const;
  std::string log_path() const;
  std::string all_output() const { return stdout_.all; }
  std::string all_errors() const { return stderr_.all; }

 private:
  // A stream of lines that is read as it grows.
  struct Stream {
    int fd = -1;
    std::string all;
    std::size_t taken = 0;  // what the test has been given
  };

  void start_process();
  void prepare_directory();
  std::vector<std::string> environment() const;
  [[noreturn]] void run_child(int in, int out, int err, int socket, int failed) const;
  bool drain(Stream& stream);
  void drain_output();
  using Clock = std::chrono::steady_clock;
  bool wait_for_event(bool want_frame, Clock::time_point deadline, const std::string& what);
  void wait_for_ask(const std::string& what);
  std::string wait_for_line(Stream& stream, std::string_view begin);
  bool handle_report(char kind, std::string text);
  void order(char kind, std::string_view text, const std::string& what);
  void need_ask(const std::string& what) const;
  bool read_frame(char& kind, std::string& text) const;
  Lines take_lines(Stream& stream);
  Lines take_file_lines(const std::string& path, std::size_t& taken) const;
  void record_events();
  void reap();
  [[noreturn]] void fail(const std::string& why) const;

  TempDir dir_;
  std::map<std::string, std::string> env_;
  std::string library_ = "full";
  std::string argv0_;
  std::string input_path_;
  std::vector<int> closed_;
  std::uint64_t address_space_ = 0;
  bool zlib_ = false;
  bool real_ = false;
  bool stepped_ = true;
  bool record_ = true;

  int pid_ = -1;
  int pidfd_ = -1;
  int socket_ = -1;
  int input_ = -1;
  int stalled_fd_ = -1;
  Stream stdout_;
  Stream stderr_;
  bool asked_ = false;
  bool ended_ = false;
  bool collected_ = false;  // the test has seen the exit status
  int status_ = 0;
  int client_id_ = 0;
  std::string loaded_;
  std::string last_timeout_;
  std::string real_object_;
  Lines set_up_calls_;
  Lines requests_;
  Lines all_requests_;
  std::size_t events_taken_ = 0;
  std::size_t events_recorded_ = 0;
  std::size_t log_taken_ = 0;
  HeldClock* clock_ = nullptr;
};

// `object` with its tag and client id at its end, as TDLib answers.
std::string tagged(std::string_view object, std::string_view tag);

// The "@extra" of a request; empty when there is none.
std::string tag_of(std::string_view request);
