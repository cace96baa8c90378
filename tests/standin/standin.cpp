// A library with TDLib's eight entry points whose every step a test decides.
//
// Each call is reported on the socket TD_STANDIN_FD, and td_receive waits until the test answers.
// So when a receive call is reported, the test knows that everything before it has been handled,
// and it never has to wait for time to pass.
//
// Every frame is one byte of kind, four bytes of length in host order, and that many bytes of text.
// After kAsk, and only then, orders are read until one of them answers the receive call.
//
// TD_STANDIN_REAL: path of the real library. The calls then go on to it, and the test decides
// with each receive call whether the real library is asked or the test's own text is returned.
//
// TD_STANDIN_CLIENT_ID: the client id (default 1).

#include <dlfcn.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
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

using LogCallback = void (*)(int level, const char* message);

static int g_fd = -1;
static LogCallback g_log_callback = nullptr;

// ---- the socket

// To the test.
constexpr char kTold = 't';       // text: at load time "armcap=<OPENSSL_armcap> zlib=<0|1>", then
                                  // "verbosity <level>", "callback <level>", "create <client id>"
constexpr char kSent = 's';       // text: "<client id> <request>"
constexpr char kAsk = 'a';        // text: the timeout; receive now waits for an answer
constexpr char kReal = 'r';       // text: what the real library's receive gave; empty: nothing
constexpr char kOrderDone = 'd';  // an order that is no answer was carried out
constexpr char kUnwanted = 'x';   // text: an entry point that must never be called

// From the test. The first three answer the receive call.
constexpr char kObject = 'O';   // text: what receive returns
constexpr char kNothing = 'N';  // receive returns null
constexpr char kAskReal = 'G';  // receive returns what the real library's receive gives
constexpr char kLog = 'L';    // text: "<threads> <lines> <level> <message>": the callback, so many
                              // times on each of so many threads; 0 threads: on this one
constexpr char kFault = 'F';  // text: the name of a fault, see below

// The test is gone or out of step: nothing more can be learned from this process.
[[noreturn]] static void give_up(const char* why) {
  std::fprintf(stderr, "standin: %s\n", why);
  _exit(98);
}

// Requests come from two of the program's threads.
static std::mutex g_report_mutex;

static void report(char kind, const std::string& text) {
  const std::lock_guard<std::mutex> lock(g_report_mutex);
  std::string frame(5, kind);
  const auto size = static_cast<std::uint32_t>(text.size());
  std::memcpy(&frame[1], &size, sizeof size);
  frame += text;
  for (std::size_t done = 0; done < frame.size();) {
    const ssize_t n = send(g_fd, frame.data() + done, frame.size() - done, MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) give_up("the test does not read");
    done += static_cast<std::size_t>(n);
  }
}

static void receive_bytes(char* bytes, std::size_t size) {
  while (size != 0) {
    // The thread sanitizer runs a signal's handler during poll, but only after a recv.
    pollfd readable = {g_fd, POLLIN, 0};
    if (poll(&readable, 1, -1) < 0) continue;
    const ssize_t n = recv(g_fd, bytes, size, 0);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) give_up("the test is gone");
    bytes += n;
    size -= static_cast<std::size_t>(n);
  }
}

static char receive_order(std::string& text) {
  char head[5];
  receive_bytes(head, sizeof head);
  std::uint32_t size = 0;
  std::memcpy(&size, head + 1, sizeof size);
  text.resize(size);
  receive_bytes(text.data(), size);
  return head[0];
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

static void escape(void (*throws)()) noexcept { throws(); }

static void terminate_in_a_handler() {
  try {
    throw std::logic_error("handled");
  } catch (...) {
    std::terminate();
  }
}

static void fault_in_a_handler() {
  std::signal(SIGUSR1, [](int) { write_to_bad_address(); });
  std::raise(SIGUSR1);
}

// The program's own handler of a fault, registered as it was, is given facts that cannot be read.
static struct sigaction g_programs_action;
static void fault_in_the_report() {
  sigaction(SIGSEGV, nullptr, &g_programs_action);
  struct sigaction broken = g_programs_action;
  broken.sa_sigaction = [](int sig, siginfo_t*, void* context) {
    g_programs_action.sa_sigaction(sig, reinterpret_cast<siginfo_t*>(16), context);
  };
  sigaction(SIGSEGV, &broken, nullptr);
  write_to_bad_address();
}

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
    {"trap", [] { std::raise(SIGTRAP); }},
    {"in_a_handler", fault_in_a_handler},
    {"thread_throw", [] { on_a_thread([] { throw std::runtime_error("x"); }); }},
    {"throw_runtime_error", [] { throw std::runtime_error("x"); }},
    {"throw_bad_alloc", [] { throw std::bad_alloc(); }},
    {"throw_int", [] { throw 7; }},
    {"throw_null_what", [] { throw NullWhat(); }},
    {"terminate", [] { std::terminate(); }},
    {"terminate_in_handler", terminate_in_a_handler},
    {"noexcept_throw_int", [] { escape([] { throw 7; }); }},
    {"noexcept_throw_null_what", [] { escape([] { throw NullWhat(); }); }},
    {"noexcept_throw_long",
     [] { escape([] { throw std::runtime_error(std::string(600, 'w')); }); }},
    {"in_the_report", fault_in_the_report},
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

// ---- the entry points, which alone are seen from outside

#pragma GCC visibility push(default)
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
    std::string text;
    switch (receive_order(text)) {
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
#pragma GCC visibility pop
