// How a run's process comes to life: its directory, its environment, its descriptors.

#include <fcntl.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <utility>

#include "tests/support/backend_run.h"

// The socket's descriptor in the program; high, so that the program's own get their usual
// numbers.
constexpr int kSocketInProgram = 198;
constexpr int kPipeBytes = 1 << 20;

static void set_nonblocking(int fd) { fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK); }

void BackendRun::hold_clock() {
  const std::string path = dir / "clock";
  write_file(path, std::string(sizeof(HeldClock), '\0'));
  const int fd = open(path.c_str(), O_RDWR | O_CLOEXEC);
  void* page = mmap(nullptr, sizeof(HeldClock), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  close(fd);
  if (page == MAP_FAILED) throw std::runtime_error("cannot map the clock");
  clock_ = static_cast<HeldClock*>(page);
  clock_->mono_ns = 1'000'000LL * 1'000'000;
  clock_->wall_ns = 1'700'000'000LL * 1'000'000'000;
  env["TD_HELD_CLOCK"] = path;
  env["LD_PRELOAD"] = TD_STANDIN_DIR "/held.so";
}

void BackendRun::set_env_file(const std::string& name, std::string_view text) {
  const std::string folder = dir / "accounts/1000/shared/misc/lumo";
  std::filesystem::create_directories(folder);
  write_file(folder + "/" + name + ".env", text);
  env["TD_HELD_ACCOUNTS"] = dir / "accounts";
  env["LD_PRELOAD"] = TD_STANDIN_DIR "/held.so";
}

void BackendRun::advance_ms(std::int64_t ms) const {
  clock_->mono_ns += ms * 1'000'000;
  clock_->wall_ns += ms * 1'000'000;
}

void BackendRun::prepare_directory() {
  namespace fs = std::filesystem;
  const char* program = std::getenv("TD_BACKEND_PROGRAM");
  fs::create_symlink(program != nullptr ? program : TD_BACKEND_PROGRAM, dir / "td_backend");
  if (zlib) fs::create_symlink(TD_STANDIN_DIR "/libz.so.2", dir / "libz.so.2");
  if (!library.empty()) {
    const fs::path variant = fs::path(TD_STANDIN_DIR) / library / "libtdjson.so.1.8.61";
    fs::create_symlink(variant, dir / "libtdjson.so.1.8.61");
  }
  if (real) env["TD_STANDIN_REAL"] = TD_BACKEND_TDLIB;
}

std::vector<std::string> BackendRun::environment() const {
  std::vector<std::string> all;
  for (const char* name :
       {"PATH", "TMPDIR", "LD_LIBRARY_PATH", "LSAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS"}) {
    const char* value = std::getenv(name);
    if (value != nullptr) all.push_back(std::string(name) + "=" + value);
  }
  // A held clock is loaded before the sanitizer's runtime, which does not mind. The real library
  // is still at work when the program ends; what its threads hold then is no leak of ours.
  const char* asan = std::getenv("ASAN_OPTIONS");
  all.push_back(std::string("ASAN_OPTIONS=") + (asan != nullptr ? asan : "") +
                ":verify_asan_link_order=0" + (real ? ":detect_leaks=0" : ""));
  all.push_back("TD_STANDIN_FD=" + std::to_string(kSocketInProgram));
  for (const auto& [name, value] : env) all.push_back(name + "=" + value);
  return all;
}

[[noreturn]] static void fail_in_child(const char* what) {
  std::perror(what);
  _exit(127);
}

// Into a namespace with a network of its own, which has no way out.
static void leave_the_network() {
  if (unshare(CLONE_NEWNET) == 0) return;
  const std::string user = std::to_string(getuid());
  const std::string group = std::to_string(getgid());
  if (unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) fail_in_child("unshare");
  write_file("/proc/self/setgroups", "deny");
  write_file("/proc/self/uid_map", user + " " + user + " 1");
  write_file("/proc/self/gid_map", group + " " + group + " 1");
}

void BackendRun::run_child(int in, int out, int err, int socket) const {
  dup2(err, 2);
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (real) leave_the_network();
  if (chdir(dir.path().c_str()) != 0) fail_in_child("chdir");
  if (!input.empty()) in = open(input.c_str(), O_RDONLY);
  for (const auto& [what, bytes] :
       {std::pair(RLIMIT_AS, address_space), {RLIMIT_FSIZE, file_bytes}}) {
    const rlimit limit = {static_cast<rlim_t>(bytes), static_cast<rlim_t>(bytes)};
    if (bytes != 0 && setrlimit(what, &limit) != 0) fail_in_child("setrlimit");
  }
  if (dup2(in, 0) < 0 || dup2(out, 1) < 0 || dup2(socket, kSocketInProgram) < 0) {
    fail_in_child("dup2");
  }
  std::vector<std::string> variables = environment();
  std::vector<char*> envp;
  for (std::string& variable : variables) envp.push_back(variable.data());
  envp.push_back(nullptr);
  std::string name = argv0;
  char* argv[] = {name.data(), nullptr};
  const std::string program = dir / "td_backend";
  for (const int fd : closed) close(fd);
  execve(program.c_str(), argv, envp.data());
  fail_in_child("execve");
}

void BackendRun::start() {
  prepare_directory();
  const auto append = env.find("BACKEND_EVENTS_APPEND");
  if (append != env.end() && append->second == "1") {
    events_recorded_ = read_file(events_path()).size();  // those lines are not this run's
  }
  int in[2], out[2], err[2], sockets[2];
  if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0 ||
      socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) != 0) {
    throw std::runtime_error("no descriptors left");
  }
  for (const int fd : {in[0], out[0], err[0]}) fcntl(fd, F_SETPIPE_SZ, kPipeBytes);
  if (unread) {
    for (int* fd : {&out[0], &err[0]}) close(std::exchange(*fd, -1));
  }
  pid_ = fork();
  if (pid_ == 0) run_child(in[0], out[1], err[1], sockets[1]);
  for (const int fd : {in[0], out[1], err[1], sockets[1]}) close(fd);
  input_ = in[1];
  stdout_.fd = out[0];
  stderr_.fd = err[0];
  for (const int fd : {input_, stdout_.fd, stderr_.fd}) set_nonblocking(fd);
  socket_ = sockets[0];
  if (pid_ > 0) pidfd_ = static_cast<int>(syscall(SYS_pidfd_open, pid_, 0));
  if (pidfd_ < 0) throw std::runtime_error("cannot start the program");
  wait_for_ask("start");
}
