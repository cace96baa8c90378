// A library with TDLib's eight entry points whose every step a test decides.
//
// With TD_STANDIN_FD set to a socket, each call is reported on it, and td_receive waits until
// the test answers (wire.h). So when a receive call is reported, the test knows that everything
// before it has been handled, and it never has to wait for time to pass.
//
// TD_STANDIN_REAL: path of the real library. The calls then go on to it, and the test decides
// with each receive call whether the real library is asked or the test's own text is returned.
//
// TD_STANDIN_CLIENT_ID: the client id (default 1).

#include <dlfcn.h>
#include <sys/mman.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/standin/wire.h"

using LogCallback = void (*)(int level, const char* message);

static int g_fd = -1;
static LogCallback g_log_callback = nullptr;

// ---- the socket

// The test is gone or out of step: nothing more can be learned from this process.
[[noreturn]] static void give_up(const char* why) {
  std::fprintf(stderr, "standin: %s\n", why);
  _exit(98);
}

// Requests come from two of the program's threads.
static std::mutex g_report_mutex;

static void report(char kind, const std::string& text) {
  const std::lock_guard<std::mutex> lock(g_report_mutex);
  if (!send_frame(g_fd, kind, text)) give_up("the test does not read");
}

// ---- the real library behind this one

struct RealLibrary {
  int (*create_client_id)() = nullptr;
  void (*send)(int, const char*) = nullptr;
  const char* (*receive)(double) = nullptr;
  void (*set_log_verbosity_level)(int) = nullptr;
  void (*set_log_message_callback)(int, LogCallback) = nullptr;
};
static RealLibrary g_real;

template <class Function>
static void resolve(void* library, const char* name, Function& function) {
  function = reinterpret_cast<Function>(dlsym(library, name));
  if (function == nullptr) give_up(name);
}

static void load_real(const char* path) {
  void* library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) give_up(dlerror());
  resolve(library, "td_create_client_id", g_real.create_client_id);
  resolve(library, "td_send", g_real.send);
  resolve(library, "td_receive", g_real.receive);
  resolve(library, "td_set_log_verbosity_level", g_real.set_log_verbosity_level);
  resolve(library, "td_set_log_message_callback", g_real.set_log_message_callback);
}

// ---- faults that a test can order

struct NullWhat : std::exception {
  const char* what() const noexcept override { return nullptr; }
};

// The sanitizers would report a fault of ours before it happens.
#define TD_STANDIN_AS_WRITTEN \
  __attribute__((noinline, no_sanitize("address", "thread", "undefined")))

static volatile int g_zero = 0;
static int* volatile g_bad_address = reinterpret_cast<int*>(16);
static void (*volatile g_no_function)() = nullptr;

TD_STANDIN_AS_WRITTEN static void write_to_bad_address() {
  *static_cast<volatile int*>(g_bad_address) = 1;
}

[[maybe_unused]] TD_STANDIN_AS_WRITTEN static int divide_by_zero() { return 100 / g_zero; }

TD_STANDIN_AS_WRITTEN static void call_null() { g_no_function(); }

TD_STANDIN_AS_WRITTEN static int use_up_the_stack(int depth) {
  volatile char frame[4096];
  if (depth == g_zero - 1) return 0;  // never; so that the compiler accepts it
  frame[0] = static_cast<char>(depth);
  return use_up_the_stack(depth + 1) + frame[0];
}

static void touch_beyond_the_file() {
  std::FILE* file = std::tmpfile();
  if (file == nullptr) give_up("no temporary file");
  void* page = mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, fileno(file), 0);
  if (page == MAP_FAILED) give_up("no mapping");
  *static_cast<volatile int*>(page) = 1;
}

// Damages the list of free chunks so that the next malloc follows a wild pointer while it holds
// the arena's lock. The second thread is what makes glibc take that lock at all. The damaged
// chunk lies between two that are in use, for else it would be merged with its neighbour. A
// sanitizer's allocator keeps no such list; there the program crashes beside its allocator.
TD_STANDIN_AS_WRITTEN static void crash_inside_malloc() {
  std::thread([] { pause(); }).detach();
  constexpr std::size_t kSize = 4000;
  char* chunks[64];
  for (char*& chunk : chunks) chunk = static_cast<char*>(std::malloc(kSize));
  std::size_t i = 1;
  while (i < 62 &&
         (chunks[i] - chunks[i - 1] != kSize + 16 || chunks[i + 1] - chunks[i] != kSize + 16)) {
    ++i;
  }
  // Volatile, or the optimizer leaves the write out.
  int* volatile* volatile links = reinterpret_cast<int* volatile*>(chunks[i]);
  std::free(chunks[i]);
  links[1] = g_bad_address;  // NOLINT: used after its release on purpose
  void* volatile never = std::malloc(2 * kSize);
  static_cast<void>(never);
  write_to_bad_address();
}

static void on_a_thread(void (*function)()) { std::thread(function).join(); }

struct Fault {
  const char* name;
  void (*commit)();
};

static const Fault kFaults[] = {
    {"abort", [] { std::raise(SIGABRT); }},
    {"segv", write_to_bad_address},
    {"bus", touch_beyond_the_file},
#if defined(__x86_64__) || defined(__i386__)
    {"fpe", [] { std::exit(divide_by_zero()); }},
#else
    {"fpe", [] { std::raise(SIGFPE); }},  // a division by zero does not trap there
#endif
    {"ill", [] { __builtin_trap(); }},
    {"call_null", call_null},
    {"stack_overflow", [] { std::exit(use_up_the_stack(0)); }},
    {"in_malloc", crash_inside_malloc},
    {"thread_segv", [] { on_a_thread(write_to_bad_address); }},
    {"thread_throw", [] { on_a_thread([] { throw std::runtime_error("x"); }); }},
    {"throw_runtime_error", [] { throw std::runtime_error("x"); }},
    {"throw_bad_alloc", [] { throw std::bad_alloc(); }},
    {"throw_int", [] { throw 7; }},
    {"throw_null_what", [] { throw NullWhat(); }},
};

static void commit_fault(const std::string& name) {
  for (const Fault& fault : kFaults) {
    if (name == fault.name) fault.commit();
  }
  give_up("unknown fault, or one that did not happen");
}

static void call_log(const std::string& order) {
  int threads = 0;
  int lines = 0;
  int level = 0;
  int message = 0;
  if (std::sscanf(order.c_str(), "%d %d %d %n", &threads, &lines, &level, &message) != 3 ||
      message == 0 || g_log_callback == nullptr) {
    give_up("bad order");
  }
  const auto call = [&] {
    for (int i = 0; i < lines; ++i) g_log_callback(level, order.c_str() + message);
  };
  if (threads == 0) return call();
  std::vector<std::thread> running;
  for (int i = 0; i < threads; ++i) running.emplace_back(call);
  for (std::thread& thread : running) thread.join();
}

// ---- a receive call

// A copy of exactly the text's size, gone with the next call: whoever still reads it then is
// found out by the address sanitizer.
static std::unique_ptr<char[]> g_given;

static const char* give(const std::string& text) {
  g_given.reset(new char[text.size() + 1]);
  std::memcpy(g_given.get(), text.c_str(), text.size() + 1);
  return g_given.get();
}

__attribute__((constructor)) static void loaded() {
  const char* fd = std::getenv("TD_STANDIN_FD");
  if (fd == nullptr) give_up("no test");
  g_fd = std::atoi(fd);
  const char* armcap = std::getenv("OPENSSL_armcap");
  const bool zlib = dlsym(RTLD_DEFAULT, "standin_zlib_mark") != nullptr;
  report(kTold, std::string("armcap=") + (armcap != nullptr ? armcap : "(unset)") +
                    (zlib ? " zlib=1" : " zlib=0"));
  if (const char* real = std::getenv("TD_STANDIN_REAL")) load_real(real);
}

// ---- the entry points. The version scripts of CMakeLists.txt decide which of them a variant
// exports.

extern "C" {

int td_create_client_id() {
  const char* id = std::getenv("TD_STANDIN_CLIENT_ID");
  int client_id = id != nullptr ? std::atoi(id) : 1;
  if (g_real.create_client_id != nullptr) client_id = g_real.create_client_id();
  report(kTold, "create " + std::to_string(client_id));
  return client_id;
}

void td_send(int client_id, const char* request) {
  report(kSent, std::to_string(client_id) + " " + request);
  if (g_real.send != nullptr) g_real.send(client_id, request);
}

const char* td_receive(double timeout) {
  g_given.reset();
  report(kAsk, std::to_string(timeout));
  for (;;) {
    char kind = 0;
    std::string text;
    if (!receive_frame(g_fd, kind, text)) give_up("the test is gone");
    switch (kind) {
      case kObject: return give(text);
      case kNothing: return nullptr;
      case kAskReal: {
        if (g_real.receive == nullptr) give_up("there is no real library");
        const char* object = g_real.receive(timeout);
        report(kReal, object != nullptr ? object : "");
        return object;
      }
      case kLog: call_log(text); break;
      case kFault: commit_fault(text); break;
      default: give_up("unknown order");
    }
    report(kOrderDone, "");
  }
}

const char* td_execute(const char*) {
  report(kUnwanted, "td_execute");
  return nullptr;
}

int td_set_log_file_path(const char*) {
  report(kUnwanted, "td_set_log_file_path");
  return 0;
}

void td_set_log_max_file_size(long long) { report(kUnwanted, "td_set_log_max_file_size"); }

void td_set_log_verbosity_level(int level) {
  report(kTold, "verbosity " + std::to_string(level));
  if (g_real.set_log_verbosity_level != nullptr) g_real.set_log_verbosity_level(level);
}

void td_set_log_message_callback(int max_level, LogCallback callback) {
  g_log_callback = callback;
  report(kTold, "callback " + (callback != nullptr ? std::to_string(max_level) : "null"));
  if (g_real.set_log_message_callback != nullptr) {
    g_real.set_log_message_callback(max_level, callback);
  }
}

}  // extern "C"
