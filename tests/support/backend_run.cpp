#include "tests/support/backend_run.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <exception>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <utility>

#include "tests/standin/wire.h"

using Clock = std::chrono::steady_clock;
constexpr auto kPatience = std::chrono::seconds(30);

static void close_fd(int& fd) {
  if (fd >= 0) close(fd);
  fd = -1;
}

static void record_line(const std::string& directory, std::string_view line) {
  std::filesystem::create_directories(directory);
  const std::string path = directory + "/" + std::to_string(getpid()) + ".jsonl";
  std::ofstream(path, std::ios::binary | std::ios::app) << line << '\n';
}

void record_event_line(std::string_view line) { record_line(EVENT_LINES_DIR, line); }

BackendRun::BackendRun() : argv0(dir / "td_backend") {
  env["TDLIB_LOG_FILE"] = dir / "backend.log";
  env["BACKEND_EVENTS_FILE"] = dir / "events.jsonl";
}

BackendRun::~BackendRun() {
  try {
    if (running() && std::uncaught_exceptions() == 0) {
      EXPECT_EQ(quit(), 0) << stderr_.all;
    } else if (ended_ && !collected_) {
      EXPECT_EQ(status_, 0) << "ended unasked\n" << stderr_.all;
    }
  } catch (const std::exception& error) {
    ADD_FAILURE() << error.what();
  }
  kill();
  for (int* fd : {&socket_, &input_, &stdout_.fd, &stderr_.fd, &stalled_fd_}) close_fd(*fd);
  if (clock_ != nullptr) munmap(clock_, sizeof(HeldClock));
}

// ---- waiting

[[noreturn]] void BackendRun::fail(const std::string& why) const {
  std::string log;  // unless it is a pipe, which would be waited for
  if (std::filesystem::is_regular_file(log_path())) log = read_file(log_path());
  const std::string end = ended_ ? "\nThe program has ended with " + std::to_string(status_) : "";
  throw std::runtime_error(why + end + "\n--- standard output\n" + stdout_.all +
                           "\n--- standard error\n" + stderr_.all + "\n--- log\n" + log);
}

// Reads what standard output and standard error hold.
void BackendRun::drain() {
  char buffer[65536];
  for (Stream* stream : {&stdout_, &stderr_}) {
    ssize_t n = 1;
    while (stream->fd >= 0 && n > 0) {
      n = read(stream->fd, buffer, sizeof buffer);
      if (n == 0) close_fd(stream->fd);
      if (n > 0) stream->all.append(buffer, static_cast<std::size_t>(n));
    }
  }
}

// Takes the library's next report, and its kind. False: the program has ended.
bool BackendRun::next_report(char& kind, const std::string& what) {
  const Clock::time_point deadline = Clock::now() + kPatience;
  std::string text;
  for (bool received = false; !received;) {
    if (ended_) return false;
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    if (left <= 0) fail("nothing happened for 30 seconds after: " + what);
    // A negative descriptor is passed over by poll.
    pollfd fds[] = {{socket_, POLLIN, 0},
                    {pidfd_, POLLIN, 0},
                    {stdout_.fd, POLLIN, 0},
                    {stderr_.fd, POLLIN, 0}};
    if (poll(fds, 4, static_cast<int>(left)) <= 0) continue;
    drain();
    if (fds[0].revents != 0) {
      received = receive_frame(socket_, kind, text);
      if (!received) close_fd(socket_);
    } else if (fds[1].revents != 0 && socket_ < 0) {
      reap();
    }
  }
  if (kind == kTold) told_.push_back(text);
  if (kind == kTold && text.rfind("create ", 0) == 0) client_id_ = text.substr(7);
  if (kind == kSent) {
    const std::size_t blank = text.find(' ');
    if (client_id_ != text.substr(0, blank)) fail("sent with another client's id: " + text);
    requests_.push_back(text.substr(blank + 1));
    if (record) record_line(REQUEST_LINES_DIR, requests_.back());
  }
  if (kind == kReal) real_object_ = text;
  if (kind == kAsk) last_timeout_ = text;
  if (kind == kUnwanted) fail("the program called " + text);
  return true;
}

void BackendRun::wait_for_ask(const std::string& what) {
  for (char kind = 0; kind != kOrderDone && !asked_;) {
    if (!next_report(kind, what)) return;
    asked_ = kind == kAsk;
  }
  drain();
  record_events();
}

void BackendRun::reap() {
  int status = 0;
  waitpid(pid_, &status, 0);
  status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  pid_ = -1;
  ended_ = true;
  asked_ = false;
  close_fd(pidfd_);
  drain();
  record_events();
}

// ---- steps

void BackendRun::order(char kind, std::string_view text, const std::string& what) {
  if (!asked_) fail("the program does not wait for TDLib, so not possible: " + what);
  asked_ = false;
  send_frame(socket_, kind, text);  // where it has ended, the wait finds out
  wait_for_ask(what);
  if (kind == kLog) asked_ = !ended_;
}

void BackendRun::write_input(std::string_view bytes) {
  if (write(input_, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
    fail("standard input is full or closed");
  }
}

void BackendRun::feed(std::string_view bytes) {
  const std::string what = "input " + std::string(bytes.substr(0, 200));
  do {
    const ssize_t n = write(input_, bytes.data(), bytes.size());
    if (n < 0 && errno != EAGAIN) fail("cannot write standard input");
    if (n > 0) bytes.remove_prefix(static_cast<std::size_t>(n));
    order(kNothing, "", what);
  } while (!bytes.empty() && asked_);
}

void BackendRun::send_line(std::string_view line) { feed(std::string(line) + "\n"); }

void BackendRun::deliver(std::string_view object) {
  order(kObject, object, "object " + std::string(object.substr(0, 200)));
}

void BackendRun::answer(std::string_view object, std::string_view tag) {
  deliver(std::string(object.substr(0, object.rfind('}'))) + R"(,"@extra":")" + std::string(tag) +
          R"(","@client_id":1})");
}

void BackendRun::idle() { order(kNothing, "", "an empty receive call"); }

void BackendRun::deliver_auth_state(std::string_view state) {
  deliver(R"({"@type":"updateAuthorizationState","authorization_state":)"
          R"({"@type":"authorizationState)" +
          std::string(state) + R"("},"@client_id":)" + client_id_ + "}");
}

void BackendRun::login() {
  deliver_auth_state("WaitTdlibParameters");
  answer(R"({"@type":"ok"})", "setParams");
  deliver_auth_state("Ready");
  forget();
}

std::string BackendRun::receive_real() {
  order(kAskReal, "", "a receive call of the real library");
  return real_object_;
}

void BackendRun::fault(std::string_view name) {
  order(kFault, name, "fault " + std::string(name));
  if (!ended_) fail("the program has survived the fault " + std::string(name));
}

void BackendRun::log_from_tdlib(int threads, int times, int level, std::string_view message) {
  std::string text;
  for (const int number : {threads, times, level}) text += std::to_string(number) + " ";
  order(kLog, text.append(message), "log line");
}

// ---- what came

// The whole lines of `all` behind `taken`, which moves behind them.
static Lines whole_lines(const std::string& all, std::size_t& taken) {
  Lines lines;
  for (std::size_t end = all.find('\n', taken); end != std::string::npos;
       end = all.find('\n', taken)) {
    lines.push_back(all.substr(taken, end - taken));
    taken = end + 1;
  }
  return lines;
}

Lines BackendRun::take_lines(Stream& stream) {
  drain();
  return whole_lines(stream.all, stream.taken);
}

static Lines file_lines(const std::string& path, std::size_t& taken) {
  if (!std::filesystem::is_regular_file(path)) return {};
  return whole_lines(read_file(path), taken);
}

void BackendRun::record_events() {
  if (!record) return;
  for (const std::string& line : file_lines(events_path(), events_recorded_)) {
    record_event_line(line);
  }
}

Lines BackendRun::requests() { return std::exchange(requests_, {}); }
Lines BackendRun::events() { return file_lines(events_path(), events_taken_); }
Lines BackendRun::log_lines() { return file_lines(log_path(), log_taken_); }
Lines BackendRun::replies() { return take_lines(stdout_); }
Lines BackendRun::error_lines() { return take_lines(stderr_); }

Lines BackendRun::dbg_lines() {
  const std::string_view prefix = "[backend] ";
  Lines lines;
  for (const std::string& line : log_lines()) {
    if (line.compare(0, prefix.size(), prefix) == 0) lines.push_back(line.substr(prefix.size()));
  }
  return lines;
}

void BackendRun::forget() {
  requests();
  events();
  log_lines();
  replies();
  error_lines();
}

std::string BackendRun::wait_for_request() {
  for (char kind = 0; requests_.empty();) {
    if (!next_report(kind, "waiting for a request")) fail("no request");
  }
  std::string request = requests_.front();
  requests_.erase(requests_.begin());
  return request;
}

std::string BackendRun::path_of(const char* name) const {
  const auto found = env.find(name);
  if (found == env.end() || found->second.empty()) return "";
  return found->second[0] == '/' ? found->second : dir / found->second;
}

// ---- the ends

void BackendRun::close_input() { close_fd(input_); }

void BackendRun::close_output() {
  drain();
  close_fd(stdout_.fd);
}

void BackendRun::stall_output() {
  drain();
  const std::string path = "/proc/self/fd/" + std::to_string(stdout_.fd);
  const int fd = open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
  const std::string filler(4096, '#');
  while (write(fd, filler.data(), filler.size()) > 0 || write(fd, filler.data(), 1) > 0) {
  }
  close(fd);
  stalled_fd_ = std::exchange(stdout_.fd, -1);  // kept open, never read
}

int BackendRun::quit() {
  write_input("quit\n");
  return wait_exit();
}

int BackendRun::wait_exit() {
  for (int asks = 0; asked_ && asks < 3; ++asks) idle();
  if (asked_) fail("the program should have ended, and still waits for TDLib");
  for (char kind = 0; next_report(kind, "waiting for the program's end");) {
  }
  collected_ = true;
  for (const char* report :
       {"AddressSanitizer", "LeakSanitizer", "ThreadSanitizer", "runtime error:"}) {
    if (stderr_.all.find(report) != std::string::npos) fail("a sanitizer has reported");
  }
  return status_;
}

void BackendRun::signal(int sig) const {
  if (!running()) fail("the program has ended, and cannot be sent a signal");
  ::kill(pid_, sig);
}

void BackendRun::kill() {
  if (pid_ > 0) {
    ::kill(pid_, SIGKILL);
    reap();
  }
  collected_ = true;
}
