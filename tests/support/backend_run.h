// One run of the real td_backend over the scripted library (tests/standin), step by step.
//
//   BackendRun run;                       // UI mode, events file, own directory
//   run.start();                          // to its first wait for TDLib
//   run.login();                          // to Ready; forgets what came until then
//   run.send_line("resolve ann");         // written, read, handled
//   EXPECT_EQ(run.requests(), Lines{R"({"@type":"searchPublicChat","username":"ann",)"
//                                   R"("@extra":"resolve:ann"})"});
//   EXPECT_EQ(run.quit(), 0);
//
// Nothing here sleeps or guesses. The program's loop is: commands, follow-ups, one receive call,
// its object. Each receive call is reported and waits for the test, so when the next one is
// reported, everything before it is done: its requests are here, its lines are written.
//
// Where something takes longer than 30 seconds, or is asked of a program that has ended, these
// functions throw, and tell what the program has said. A run that a test leaves alive is told to
// quit when the value goes, and it fails the test when the program does not end with 0. A
// sanitizer's report fails it, too.
//
// Every event line and every request is also written to files in EVENT_LINES_DIR and
// REQUEST_LINES_DIR, one file per test process, for checks over all of them.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "tests/standin/held_clock.h"
#include "tests/support/temp_dir.h"

using Lines = std::vector<std::string>;

class BackendRun {
 public:
  BackendRun();
  ~BackendRun();
  BackendRun(const BackendRun&) = delete;
  BackendRun& operator=(const BackendRun&) = delete;

  // ---- Before start().

  const TempDir dir;  // where it runs

  // The program sees PATH, the sanitizers' options and these. Set from the beginning:
  // TDLIB_LOG_FILE and BACKEND_EVENTS_FILE. Without the latter all replies go to standard output;
  // with it the program keeps "PONG", "BYE" and what begins with "OK ", "ERR ", "TD_ERROR " off it.
  std::map<std::string, std::string> env;
  // The variant of the scripted library, a directory below tests/standin in the build tree:
  // "full", "without_td_send" and so on; empty: no library is put there.
  std::string library = "full";
  bool real = false;  // the real one behind it, without network: receive_real() asks it
  bool zlib = false;  // what stands for the compression library is put beside the program
  std::string argv0;  // the file that is executed stays dir / "td_backend"
  std::string input;  // the file or directory that is its standard input, if not the test's pipe
  std::vector<int> closed;          // of the descriptors 0, 1 and 2
  bool unread = false;              // standard output and error are pipes without a reader
  std::uint64_t address_space = 0;  // RLIMIT_AS; sanitizers reserve more than any
  std::uint64_t file_bytes = 0;     // RLIMIT_FSIZE
  bool record = true;               // false where lines are lost or torn on purpose
  // Both clocks stand still and move by advance_ms() alone. They begin at one million
  // milliseconds (monotonic) and at 2023-11-14 22:13:20 UTC (wall).
  void hold_clock();
  // "tg_api" or "tg_login".
  void set_env_file(const std::string& name, std::string_view text);

  // Returns when the program first waits for TDLib, or has ended.
  void start();

  // ---- Each returns when the program waits for TDLib again, or has ended.

  void send_line(std::string_view line);
  // The same with bytes as they are, of any number: also half a line, or thousands of them.
  void feed(std::string_view bytes);
  // One object from TDLib.
  void deliver(std::string_view object);
  // The same with ,"@extra":"<tag>","@client_id":1} in the place of its last brace, which is how
  // TDLib answers. The tag is inserted as it is.
  void answer(std::string_view object, std::string_view tag);
  // One receive call that gives nothing, as after its timeout.
  void idle();
  // WaitTdlibParameters, then Ready; forgets everything said until then.
  void login();
  // updateAuthorizationState with the state of that name, such as "WaitCode".
  void deliver_auth_state(std::string_view state);
  // Has the real library asked; returns its object, or an empty text when there was none.
  std::string receive_real();
  // Commits a fault inside the receive call (names: tests/standin/standin.cpp).
  void fault(std::string_view name);
  // The log callback is called during the receive call, so many times on each of so many threads;
  // with 0 threads on the main one.
  void log_from_tdlib(int threads, int times, int level, std::string_view message);

  // What came since the last call of the same function.
  Lines requests();
  Lines events();       // lines of the events file
  Lines log_lines();    // lines of the log file as they are: "[backend] ...", "[tdlib:2] ..."
  Lines dbg_lines();    // the same; the backend's own only, without "[backend] "
  Lines replies();      // lines of standard output
  Lines error_lines();  // lines of standard error
  void forget();        // drops all of it

  // What the library was told at the program's start, in order (wire.h).
  const Lines& told() const { return told_; }
  const std::string& last_timeout() const { return last_timeout_; }  // of the receive call

  // Moves the held clock, monotonic and wall. Nothing is handled by that alone.
  void advance_ms(std::int64_t ms) const;

  bool running() const { return pid_ > 0; }
  int pid() const { return pid_; }
  // Writes to standard input without handling anything; throws when the pipe is full.
  void write_input(std::string_view bytes);
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
  // Throws when the program has ended: kill(2) would then reach every process there is.
  void signal(int sig) const;
  // Ends it the hard way, and nothing is expected of it any more.
  void kill();

  std::string events_path() const { return path_of("BACKEND_EVENTS_FILE"); }
  std::string log_path() const { return path_of("TDLIB_LOG_FILE"); }

 private:
  // A stream of lines that is read as it grows.
  struct Stream {
    int fd = -1;
    std::string all;
    std::size_t taken = 0;  // what the test has been given
  };

  void prepare_directory();
  std::vector<std::string> environment() const;
  [[noreturn]] void run_child(int in, int out, int err, int socket) const;
  std::string path_of(const char* name) const;
  void drain();
  bool next_report(char& kind, const std::string& what);
  void wait_for_ask(const std::string& what);
  void order(char kind, std::string_view text, const std::string& what);
  Lines take_lines(Stream& stream);
  void record_events();
  void reap();
  [[noreturn]] void fail(const std::string& why) const;

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
  std::string client_id_;
  std::string last_timeout_;
  std::string real_object_;
  Lines told_;
  Lines requests_;
  std::size_t events_taken_ = 0;
  std::size_t events_recorded_ = 0;
  std::size_t log_taken_ = 0;
  HeldClock* clock_ = nullptr;
};

// Adds a line to the record of all events, as a run does with its own.
void record_event_line(std::string_view line);
