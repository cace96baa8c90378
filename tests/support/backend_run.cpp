#include "tests/support/backend_run.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>

#include "tests/standin/wire.h"
#include "tests/support/recorder.h"

constexpr auto kPatience = std::chrono::seconds(30);

static void close_fd(int& fd) {
  if (fd >= 0) close(fd);
  fd = -1;
}

BackendRun::BackendRun(Mode mode) {
  argv0_ = dir_ / "td_backend";
  env_["TDLIB_LOG_FILE"] = dir_ / "backend.log";
  env_["BACKEND_EVENTS_FILE"] = dir_ / "events.jsonl";
  if (mode == Mode::kHub) env_["TD_BACKEND_MODE"] = "hub";
}

BackendRun::~BackendRun() {
  try {
    if (running() && std::uncaught_exceptions() == 0) {
      const int status = quit();
      if (status != 0) ADD_FAILURE() << "the program ended with " << status << "\n" << all_errors();
    } else if (ended_ && !collected_ && status_ != 0) {
      ADD_FAILURE() << "the program ended unasked, with " << status_ << "\n" << all_errors();
    }
  } catch (const std::exception& error) {
    ADD_FAILURE() << error.what();
  }
  kill();
  close_fd(socket_);
  close_fd(input_);
  close_fd(stdout_.fd);
  close_fd(stderr_.fd);
  close_fd(stalled_fd_);
  if (clock_ != nullptr) munmap(clock_, sizeof(HeldClock));
}

// ---- waiting

[[noreturn]] void BackendRun::fail(const std::string& why) const {
  std::string log;  // unless it is a pipe, which would be waited for
  if (std::filesystem::is_regular_file(log_path())) log = read_file(log_path());
  std::string text = why;
  if (ended_) text += "\nThe program has ended with " + std::to_string(status_) + ".";
  text += "\n--- standard output\n" + stdout_.all + "\n--- standard error\n" + stderr_.all +
          "\n--- log\n" + log + "\n--- last requests\n";
  const std::size_t first = all_requests_.size() > 5 ? all_requests_.size() - 5 : 0;
  for (std::size_t i = first; i < all_requests_.size(); ++i) text += all_requests_[i] + "\n";
  throw BackendError(text);
}

// Reads what is there. True when something was.
bool BackendRun::drain(Stream& stream) {
  bool some = false;
  char buffer[65536];
  while (stream.fd >= 0) {
    const ssize_t n = read(stream.fd, buffer, sizeof buffer);
    if (n <= 0) {
      if (n == 0) close_fd(stream.fd);
      return some;
    }
    stream.all.append(buffer, static_cast<std::size_t>(n));
    some = true;
  }
  return some;
}

void BackendRun::drain_output() {
  drain(stdout_);
  drain(stderr_);
}

// Waits until there is a frame (true), or the program has ended or has written (false).
bool BackendRun::wait_for_event(bool want_frame, Clock::time_point deadline,
                                const std::string& what) {
  for (;;) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    if (left <= 0) fail("nothing happened for 30 seconds after: " + what);
    // A negative descriptor is passed over by poll.
    pollfd fds[] = {{socket_, POLLIN, 0},
                    {pidfd_, POLLIN, 0},
                    {stdout_.fd, POLLIN, 0},
                    {stderr_.fd, POLLIN, 0}};
    if (poll(fds, 4, static_cast<int>(left)) <= 0) continue;
    const bool replied = drain(stdout_);
    const bool written = drain(stderr_) || replied;
    if ((fds[0].revents & POLLIN) != 0) {
      char byte = 0;
      if (recv(socket_, &byte, 1, MSG_PEEK) == 1) return true;
    }
    if (fds[0].revents != 0) close_fd(socket_);
    if ((fds[1].revents & POLLIN) != 0 && socket_ < 0) {
      reap();
      return false;
    }
    if (written && !want_frame) return false;
  }
}

void BackendRun::reap() {
  int status = 0;
  waitpid(pid_, &status, 0);
  status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  pid_ = -1;
  ended_ = true;
  asked_ = false;
  close_fd(pidfd_);
  drain_output();
  record_events();
}

bool BackendRun::read_frame(char& kind, std::string& text) const {
  char head[5];
  if (recv(socket_, head, sizeof head, MSG_WAITALL) != sizeof head) return false;
  std::uint32_t size = 0;
  std::memcpy(&size, head + 1, sizeof size);
  text.resize(size);
  kind = head[0];
  for (std::size_t got = 0; got < size;) {
    const ssize_t n = recv(socket_, text.data() + got, size - got, 0);
    if (n <= 0) return false;
    got += static_cast<std::size_t>(n);
  }
  return true;
}

// True when the report says that the library waits for the test.
bool BackendRun::handle_report(char kind, std::string text) {
  switch (kind) {
    case kLoaded: loaded_ = text; return false;
    case kCreated:
      client_id_ = std::atoi(text.c_str());
      set_up_calls_.push_back("create " + text);
      return false;
    case kVerbosity: set_up_calls_.push_back("verbosity " + text); return false;
    case kLogCallback: set_up_calls_.push_back("callback " + text); return false;
    case kSent: {
      const std::size_t blank = text.find(' ');
      const std::string client = text.substr(0, blank);
      text.erase(0, blank + 1);
      if (client_id_ == 0 || client != std::to_string(client_id_)) {
        fail("sent with client id " + client + ": " + text);
      }
      if (record_) record_request_line(text);
      all_requests_.push_back(text);
      requests_.push_back(std::move(text));
      return false;
    }
    case kReal: real_object_ = std::move(text); return false;
    case kRealNone: real_object_.clear(); return false;
    case kAsk:
      last_timeout_ = text;
      asked_ = true;
      return true;
    case kOrderDone: return true;
    default: fail("the program called " + text);
  }
}

void BackendRun::wait_for_ask(const std::string& what) {
  const Clock::time_point deadline = Clock::now() + kPatience;
  char kind = 0;
  std::string text;
  while (!ended_) {
    if (!wait_for_event(true, deadline, what)) continue;
    if (!read_frame(kind, text)) continue;
    if (handle_report(kind, std::move(text))) break;
  }
  drain_output();
  record_events();
}

// ---- steps

void BackendRun::need_ask(const std::string& what) const {
  if (!asked_) fail("the program does not wait for TDLib, so not possible: " + what);
}

void BackendRun::order(char kind, std::string_view text, const std::string& what) {
  need_ask(what);
  std::string frame(5, kind);
  const auto size = static_cast<std::uint32_t>(text.size());
  std::memcpy(&frame[1], &size, sizeof size);
  frame += text;
  if (kind == kObject || kind == kNothing || kind == kAskReal) asked_ = false;
  for (std::size_t done = 0; done < frame.size();) {
    const ssize_t n = send(socket_, frame.data() + done, frame.size() - done, MSG_NOSIGNAL);
    if (n <= 0) break;  // it has ended, as the wait finds out
    done += static_cast<std::size_t>(n);
  }
  wait_for_ask(what);
}

void BackendRun::write_input(std::string_view bytes) {
  if (write(input_, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
    fail("standard input is full or closed");
  }
}

void BackendRun::feed(std::string_view bytes) {
  const std::string what = "input " + std::string(bytes.substr(0, 200));
  need_ask(what);
  while (!bytes.empty() && asked_) {
    const ssize_t n = write(input_, bytes.data(), bytes.size());
    if (n < 0 && errno != EAGAIN) fail("cannot write standard input");
    if (n > 0) bytes.remove_prefix(static_cast<std::size_t>(n));
    order(kNothing, "", what);
  }
}

void BackendRun::send_line(std::string_view line) { feed(std::string(line) + "\n"); }

void BackendRun::deliver(std::string_view object) {
  order(kObject, object, "object " + std::string(object.substr(0, 200)));
}

void BackendRun::answer(std::string_view object, std::string_view tag) {
  deliver(tagged(object, tag));
}

void BackendRun::idle() { order(kNothing, "", "an empty receive call"); }

void BackendRun::deliver_auth_state(std::string_view state) {
  deliver(R"({"@type":"updateAuthorizationState","authorization_state":{"@type":")" +
          std::string(state) + R"("},"@client_id":)" + std::to_string(client_id_) + "}");
}

void BackendRun::login() {
  deliver_auth_state("authorizationStateWaitTdlibParameters");
  answer(R"({"@type":"ok"})", "setParams");
  deliver_auth_state("authorizationStateReady");
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

void BackendRun::log_from_tdlib(int level, std::string_view message) {
  order(kLog, std::to_string(level) + " " + std::string(message), "log line");
}

void BackendRun::log_from_thread(int level, std::string_view message) {
  order(kLogThread, std::to_string(level) + " " + std::string(message), "log line of a thread");
}

void BackendRun::flood_log(int threads, int lines) {
  order(kLogFlood, std::to_string(threads) + " " + std::to_string(lines), "log lines of threads");
}

// ---- what came

Lines BackendRun::take_lines(Stream& stream) {
  drain_output();
  Lines lines;
  for (std::size_t end = stream.all.find('\n', stream.taken); end != std::string::npos;
       end = stream.all.find('\n', stream.taken)) {
    lines.push_back(stream.all.substr(stream.taken, end - stream.taken));
    stream.taken = end + 1;
  }
  return lines;
}

Lines BackendRun::take_file_lines(const std::string& path, std::size_t& taken) const {
  Lines lines;
  if (!std::filesystem::is_regular_file(path)) return lines;
  const std::string all = read_file(path);
  for (std::size_t end = all.find('\n', taken); end != std::string::npos;
       end = all.find('\n', taken)) {
    lines.push_back(all.substr(taken, end - taken));
    taken = end + 1;
  }
  return lines;
}

void BackendRun::record_events() {
  if (!record_) return;
  for (const std::string& line : take_file_lines(events_path(), events_recorded_)) {
    record_event_line(line);
  }
}

Lines BackendRun::requests() {
  Lines lines;
  lines.swap(requests_);
  return lines;
}

Lines BackendRun::events() { return take_file_lines(events_path(), events_taken_); }
Lines BackendRun::log_lines() { return take_file_lines(log_path(), log_taken_); }
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

std::string BackendRun::wait_for_line(Stream& stream, std::string_view begin) {
  const Clock::time_point deadline = Clock::now() + kPatience;
  for (;;) {
    std::size_t end = stream.all.find('\n', stream.taken);
    for (; end != std::string::npos; end = stream.all.find('\n', stream.taken)) {
      std::string line = stream.all.substr(stream.taken, end - stream.taken);
      stream.taken = end + 1;
      if (line.compare(0, begin.size(), begin) == 0) return line;
    }
    if (ended_) fail("the program has ended without the line " + std::string(begin));
    wait_for_event(false, deadline, "waiting for the line " + std::string(begin));
  }
}

std::string BackendRun::wait_for_reply(std::string_view begin) {
  return wait_for_line(stdout_, begin);
}

std::string BackendRun::wait_for_request() {
  const Clock::time_point deadline = Clock::now() + kPatience;
  char kind = 0;
  std::string text;
  while (requests_.empty() && !ended_) {
    if (!wait_for_event(true, deadline, "waiting for a request")) continue;
    if (read_frame(kind, text)) handle_report(kind, std::move(text));
  }
  if (requests_.empty()) fail("the program has ended without a request");
  std::string request = requests_.front();
  requests_.erase(requests_.begin());
  return request;
}

std::string BackendRun::wait_for_error_line(std::string_view begin) {
  return wait_for_line(stderr_, begin);
}

static std::string path_from(const TempDir& dir, const std::map<std::string, std::string>& env,
                             const char* name) {
  const auto found = env.find(name);
  if (found == env.end() || found->second.empty()) return "";
  return found->second[0] == '/' ? found->second : dir / found->second;
}

std::string BackendRun::events_path() const { return path_from(dir_, env_, "BACKEND_EVENTS_FILE"); }
std::string BackendRun::log_path() const { return path_from(dir_, env_, "TDLIB_LOG_FILE"); }

// ---- the ends

void BackendRun::close_input() { close_fd(input_); }

void BackendRun::close_output() {
  drain_output();
  close_fd(stdout_.fd);
}

void BackendRun::stall_output() {
  drain_output();
  const std::string path = "/proc/self/fd/" + std::to_string(stdout_.fd);
  const int fd = open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
  const std::string filler(4096, '#');
  while (write(fd, filler.data(), filler.size()) > 0) {
  }
  while (write(fd, filler.data(), 1) > 0) {
  }
  close(fd);
  stalled_fd_ = stdout_.fd;  // kept open, never read
  stdout_.fd = -1;
}

int BackendRun::quit() {
  write_input("quit\n");
  return wait_exit();
}

int BackendRun::wait_exit() {
  for (int asks = 0; asked_ && asks < 3; ++asks) idle();
  if (asked_) fail("the program should have ended, and still waits for TDLib");
  const Clock::time_point deadline = Clock::now() + kPatience;
  while (!ended_) wait_for_event(false, deadline, "waiting for the program's end");
  collected_ = true;
  for (const char* report :
       {"AddressSanitizer", "LeakSanitizer", "ThreadSanitizer", "runtime error:"}) {
    if (stderr_.all.find(report) != std::string::npos) fail("a sanitizer has reported");
  }
  return status_;
}

void BackendRun::kill() {
  if (pid_ > 0) {
    ::kill(pid_, SIGKILL);
    reap();
  }
  collected_ = true;
}

std::string tagged(std::string_view object, std::string_view tag) {
  std::string text(object.substr(0, object.rfind('}')));
  text += R"(,"@extra":")";
  text += tag;
  text += R"(","@client_id":1})";
  return text;
}

std::string tag_of(std::string_view request) {
  const std::string_view key = R"("@extra":")";
  const std::size_t begin = request.rfind(key);
  if (begin == std::string_view::npos) return "";
  const std::size_t first = begin + key.size();
  return std::string(request.substr(first, request.rfind('"') - first));
}
