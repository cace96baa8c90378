// What waiting costs: the answer to "ping" while nothing else happens, and how often the main
// thread wakes while nothing happens at all; with and without BACKEND_WAKE_ON_INPUT, over the
// flooding library and over the real one without a network. Beside them the least that any program
// can do, which shows what the machine itself takes to wake somebody.
//
// usage: idle_bench [seconds of idleness, default 65]
#include <fcntl.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace fs = std::filesystem;
using std::chrono::milliseconds;

namespace {

struct Program {
  std::string name;
  pid_t pid = -1;
  int input = -1;
  int output = -1;
  std::string seen;
  double median_ms = 0;
  double worst_ms = 0;  // 99th percentile
};

// The real library never gets a network.
void leave_the_network() {
  if (unshare(CLONE_NEWNET) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) _exit(126);
}

// Answers each line and does nothing else.
[[noreturn]] void answer_alone(int input, int output) {
  char line[64];
  while (read(input, line, sizeof line) > 0) (void)!write(output, "PONG\n", 5);
  _exit(0);
}

// Runs `become` in a child, with its ends of the two pipes.
template <class Become>
void fork_with_pipes(Program& program, Become become) {
  int input[2];
  int output[2];
  if (pipe2(input, O_CLOEXEC) != 0 || pipe2(output, O_CLOEXEC) != 0) std::exit(1);
  program.pid = fork();
  if (program.pid == 0) become(input[0], output[1]);
  close(input[0]);
  close(output[1]);
  program.input = input[1];
  program.output = output[0];
}

void start(Program& program, const fs::path& dir, const char* library, bool real, bool wakes) {
  fs::create_directories(dir);
  fs::copy_file(TD_BACKEND_PROGRAM, dir / "td_backend");
  fs::create_symlink(library, dir / "libtdjson.so.1.8.61");
  fork_with_pipes(program, [&](int input, int output) {
    if (real) leave_the_network();
    if (chdir(dir.c_str()) != 0) _exit(125);
    dup2(input, 0);
    dup2(output, 1);
    dup2(open("/dev/null", O_WRONLY), 2);
    setenv("BACKEND_WAKE_ON_INPUT", wakes ? "1" : "0", 1);
    setenv("TD_FLOOD_END", "null", 1);
    execl("./td_backend", "./td_backend", nullptr);
    _exit(127);
  });
}

void wait_for(Program& program, const char* text) {
  char buffer[4096];
  while (program.seen.find(text) == std::string::npos) {
    const ssize_t got = read(program.output, buffer, sizeof buffer);
    if (got <= 0) {
      std::fprintf(stderr, "idle: %s ended before '%s'\n", program.name.c_str(), text);
      std::exit(1);
    }
    program.seen.append(buffer, static_cast<std::size_t>(got));
  }
  program.seen.clear();
}

void measure_ping(Program& program) {
  std::vector<double> took;
  for (unsigned i = 0, random = 1; i < 200; ++i) {
    random = random * 1103515245 + 12345;
    std::this_thread::sleep_for(milliseconds(5 + (random >> 16) % 50));
    const auto begin = std::chrono::steady_clock::now();
    (void)!write(program.input, "ping\n", 5);
    wait_for(program, "PONG\n");
    const std::chrono::duration<double, std::milli> ms = std::chrono::steady_clock::now() - begin;
    took.push_back(ms.count());
  }
  std::sort(took.begin(), took.end());
  program.median_ms = took[took.size() / 2];
  program.worst_ms = took[took.size() * 99 / 100];
}

// How often the main thread has gone to sleep.
long sleeps(const Program& program) {
  const std::string pid = std::to_string(program.pid);
  std::ifstream status("/proc/" + pid + "/task/" + pid + "/status");
  for (std::string word; status >> word;) {
    long count = 0;
    if (word == "voluntary_ctxt_switches:" && status >> count) return count;
  }
  std::exit(1);
}

}  // namespace

int main(int argc, char** argv) {
  const int seconds = argc > 1 && argv[1][0] != '-' ? std::atoi(argv[1]) : 65;
  std::string dir = fs::temp_directory_path() / "td_idle_XXXXXX";
  if (mkdtemp(dir.data()) == nullptr) return 1;
  signal(SIGPIPE, SIG_IGN);
  std::vector<Program> programs(1);
  programs[0].name = "read and write alone";
  fork_with_pipes(programs[0], answer_alone);
  for (const bool real : {false, true}) {
    if (real && !fs::exists(TD_REAL_LIBRARY)) {
      std::printf("the real library is not there (tools/tdlib brings it)\n");
      continue;
    }
    for (const bool wakes : {false, true}) {
      Program program;
      program.name = std::string(real ? "real library, " : "flooding library, ") +
                     (wakes ? "woken by input" : "five looks a second");
      start(program, fs::path(dir) / std::to_string(programs.size()),
            real ? TD_REAL_LIBRARY : TD_FLOOD_LIBRARY, real, wakes);
      wait_for(program, real ? "NEED phone\n" : "BACKEND_READY");
      programs.push_back(std::move(program));
    }
  }
  for (Program& program : programs) measure_ping(program);
  std::this_thread::sleep_for(milliseconds(2000));  // what the pings have stirred up
  std::vector<long> before;
  for (const Program& program : programs) before.push_back(sleeps(program));
  std::this_thread::sleep_for(std::chrono::seconds(seconds));
  for (std::size_t i = 0; i < programs.size(); ++i) {
    const Program& program = programs[i];
    std::printf("%-38s ping: median %8.3f ms, 99th percentile %8.3f ms; wake-ups in %d s: %ld\n",
                program.name.c_str(), program.median_ms, program.worst_ms, seconds,
                sleeps(program) - before[i]);
  }
  for (const Program& program : programs) {
    close(program.input);
    ::kill(program.pid, SIGTERM);
    waitpid(program.pid, nullptr, 0);
  }
  fs::remove_all(dir);
}
