// A library with TDLib's eight entry points whose every step a test decides.
//
// With TD_STANDIN_FD set to a socket, each call is reported on it, and td_receive waits until
// the test answers (wire.h). So when a receive call is reported, the test knows that everything
// before it has been handled, and it never has to wait for time to pass.
//
// TD_STANDIN_REAL: path of the real library. The calls then go on to it, and the test decides
// with each receive call whether the real library is asked or the test's own text is returned.
//
// Without a socket, for benchmarks, it floods:
//   TD_STANDIN_FLOOD          file with one object a line, given again and again
//   TD_STANDIN_FLOOD_COUNT    how many objects in all (default: each once)
//   TD_STANDIN_FLOOD_PRELUDE  file with objects that come once before; not counted
//   TD_STANDIN_FLOOD_END      "close" (default): then the closed state; "null": then nothing
//   TD_STANDIN_FLOOD_REPORT   file that gets one line of figures when the flood has been handled
// The flood makes no system call, allocation or copy an object. Where it gives nothing it waits,
// and answers the request that is sent to wake it.
//
// TD_STANDIN_CLIENT_ID: the client id (default 1).

#include <dlfcn.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <iterator>
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

static void write_all(const char* data, std::size_t size) {
  while (size != 0) {
    const ssize_t n = send(g_fd, data, size, MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) give_up("the test does not read");
    data += n;
    size -= static_cast<std::size_t>(n);
  }
}

static void read_all(char* data, std::size_t size) {
  while (size != 0) {
    const ssize_t n = recv(g_fd, data, size, 0);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) give_up("the test is gone");
    data += n;
    size -= static_cast<std::size_t>(n);
  }
}

// Requests come from two of the program's threads.
static std::mutex g_report_mutex;

static void report(char kind, const std::string& text) {
  if (g_fd < 0) return;
  const std::lock_guard<std::mutex> lock(g_report_mutex);
  std::string frame(5, kind);
  const auto size = static_cast<std::uint32_t>(text.size());
  std::memcpy(&frame[1], &size, sizeof size);
  frame += text;
  write_all(frame.data(), frame.size());
}

static char read_order(std::string& text) {
  char head[5];
  read_all(head, sizeof head);
  std::uint32_t size = 0;
  std::memcpy(&size, head + 1, sizeof size);
  text.resize(size);
  read_all(text.data(), size);
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

// ---- the flood

struct Flood {
  std::string bytes;
  std::string prelude_bytes;
  std::vector<const char*> objects;
  std::vector<const char*> prelude;
  std::size_t next_prelude = 0;
  bool begun = false;
  bool ended = false;
  bool closed = false;
  timespec begin{};
  long rss_begin_kib = 0;
};
static Flood g_flood;
static std::uint64_t g_flood_count = 0;
static std::uint64_t g_flood_left = 0;
static std::size_t g_flood_next = 0;
static std::atomic<std::uint64_t> g_flood_sends{0};

static std::vector<const char*> read_objects(const char* path, std::string& bytes) {
  std::vector<const char*> objects;
  std::ifstream file(path, std::ios::binary);
  if (!file) give_up("cannot read the file of the flood");
  bytes.assign(std::istreambuf_iterator<char>(file), {});
  std::size_t begin = 0;
  for (std::size_t end = bytes.find('\n'); end != std::string::npos;
       end = bytes.find('\n', begin)) {
    bytes[end] = '\0';
    if (end != begin) objects.push_back(bytes.data() + begin);
    begin = end + 1;
  }
  if (begin < bytes.size()) objects.push_back(bytes.data() + begin);
  return objects;
}

static void prepare_flood() {
  const char* path = std::getenv("TD_STANDIN_FLOOD");
  if (path == nullptr) return;
  g_flood.objects = read_objects(path, g_flood.bytes);
  if (g_flood.objects.empty()) give_up("the file of the flood is empty");
  if (const char* prelude = std::getenv("TD_STANDIN_FLOOD_PRELUDE")) {
    g_flood.prelude = read_objects(prelude, g_flood.prelude_bytes);
  }
  const char* count = std::getenv("TD_STANDIN_FLOOD_COUNT");
  g_flood_count = count != nullptr ? std::strtoull(count, nullptr, 10) : g_flood.objects.size();
}

static long resident_kib() {
  std::ifstream statm("/proc/self/statm");
  long size = 0;
  long resident = 0;
  statm >> size >> resident;
  return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

static void report_flood() {
  timespec end{};
  clock_gettime(CLOCK_MONOTONIC, &end);
  const long long ns = (static_cast<long long>(end.tv_sec) - g_flood.begin.tv_sec) * 1000000000 +
                       (end.tv_nsec - g_flood.begin.tv_nsec);
  if (const char* path = std::getenv("TD_STANDIN_FLOOD_REPORT")) {
    std::ofstream(path) << "objects=" << g_flood_count << " ns=" << ns << " sends=" << g_flood_sends
                        << " rss_begin_kib=" << g_flood.rss_begin_kib
                        << " rss_end_kib=" << resident_kib() << "\n";
  }
}

static std::mutex g_wake_mutex;
static std::condition_variable g_wake;
static unsigned g_wakes = 0;

static const char* wait_for_wake(double timeout) {
  std::unique_lock<std::mutex> lock(g_wake_mutex);
  if (!g_wake.wait_for(lock, std::chrono::duration<double>(timeout), [] { return g_wakes != 0; })) {
    return nullptr;
  }
  --g_wakes;
  return R"({"@type":"ok","@extra":"wake","@client_id":1})";
}

static void answer_wake(const char* request) {
  if (std::strcmp(request, R"({"@type":"testCallEmpty","@extra":"wake"})") != 0) return;
  const std::lock_guard<std::mutex> lock(g_wake_mutex);
  ++g_wakes;
  g_wake.notify_one();
}

// What comes before and after the flood itself.
static const char* around_the_flood(double timeout) {
  if (g_flood.next_prelude < g_flood.prelude.size()) {
    return g_flood.prelude[g_flood.next_prelude++];
  }
  if (!g_flood.begun && g_flood_count != 0) {
    g_flood.begun = true;
    g_flood.rss_begin_kib = resident_kib();
    g_flood_left = g_flood_count - 1;
    g_flood_next = 1 % g_flood.objects.size();
    clock_gettime(CLOCK_MONOTONIC, &g_flood.begin);
    return g_flood.objects[0];
  }
  if (g_flood.begun && !g_flood.ended) {
    g_flood.ended = true;
    report_flood();
  }
  const char* end = std::getenv("TD_STANDIN_FLOOD_END");
  if (!g_flood.closed && (end == nullptr || std::strcmp(end, "null") != 0)) {
    g_flood.closed = true;
    return R"({"@type":"updateAuthorizationState","authorization_state":)"
           R"({"@type":"authorizationStateClosed"},"@client_id":1})";
  }
  return wait_for_wake(timeout);
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

static void commit_fault(const std::string& name) {
  if (name == "abort") std::raise(SIGABRT);
  if (name == "raise_segv") std::raise(SIGSEGV);
  if (name == "trap") std::raise(SIGTRAP);
  if (name == "segv") write_to_bad_address();
  if (name == "bus") touch_beyond_the_file();
  if (name == "fpe") {
#if defined(__x86_64__) || defined(__i386__)
    std::exit(divide_by_zero());
#else
    std::raise(SIGFPE);  // a division by zero does not trap there
#endif
  }
  if (name == "ill") __builtin_trap();
  if (name == "call_null") call_null();
  if (name == "stack_overflow") std::exit(use_up_the_stack(0));
  if (name == "in_malloc") crash_inside_malloc();
  if (name == "thread_segv") on_a_thread(write_to_bad_address);
  if (name == "thread_abort") on_a_thread([] { std::raise(SIGABRT); });
  if (name == "thread_throw") on_a_thread([] { throw std::runtime_error("x"); });
  if (name == "throw_runtime_error") throw std::runtime_error("x");
  if (name == "throw_bad_alloc") throw std::bad_alloc();
  if (name == "throw_int") throw 7;
  if (name == "throw_null_what") throw NullWhat();
  if (name == "thread_throw_null_what") on_a_thread([] { throw NullWhat(); });
  if (name == "thread_throw_int") on_a_thread([] { throw 7; });
  if (name == "terminate") std::terminate();
  if (name == "exit") std::exit(7);
  give_up("unknown fault, or one that did not happen");
}

static void flood_the_log(const std::string& order) {
  int threads = 0;
  int lines = 0;
  if (std::sscanf(order.c_str(), "%d %d", &threads, &lines) != 2) give_up("bad order");
  std::vector<std::thread> running;
  running.reserve(static_cast<std::size_t>(threads));
  for (int t = 0; t < threads; ++t) {
    running.emplace_back([t, lines] {
      for (int i = 0; i < lines; ++i) {
        g_log_callback(1, ("thread " + std::to_string(t) + " line " + std::to_string(i)).c_str());
      }
    });
  }
  for (std::thread& thread : running) thread.join();
}

static void call_log(const std::string& order) {
  const std::size_t blank = order.find(' ');
  if (blank == std::string::npos || g_log_callback == nullptr) give_up("bad order");
  g_log_callback(std::atoi(order.c_str()), order.c_str() + blank + 1);
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

static const char* receive_by_order(double timeout) {
  g_given.reset();
  report(kAsk, std::to_string(timeout));
  std::string text;
  for (;;) {
    switch (read_order(text)) {
      case kObject: return give(text);
      case kNothing: return nullptr;
      case kAskReal: {
        if (g_real.receive == nullptr) give_up("there is no real library");
        const char* object = g_real.receive(timeout);
        report(object != nullptr ? kReal : kRealNone, object != nullptr ? object : "");
        return object;
      }
      case kLog: call_log(text); break;
      case kLogThread: std::thread(call_log, text).join(); break;
      case kLogFlood: flood_the_log(text); break;
      case kFault: commit_fault(text); break;
      default: give_up("unknown order");
    }
    report(kOrderDone, "");
  }
}

__attribute__((constructor)) static void loaded() {
  const char* fd = std::getenv("TD_STANDIN_FD");
  if (fd == nullptr) return;
  g_fd = std::atoi(fd);
  const char* armcap = std::getenv("OPENSSL_armcap");
  const bool zlib = dlsym(RTLD_DEFAULT, "standin_zlib_mark") != nullptr;
  report(kLoaded, std::string("armcap=") + (armcap != nullptr ? armcap : "(unset)") +
                      (zlib ? " zlib=1" : " zlib=0"));
  if (const char* real = std::getenv("TD_STANDIN_REAL")) load_real(real);
}

// ---- the entry points. The version scripts of CMakeLists.txt decide which of them a variant
// exports.

extern "C" {

int td_create_client_id() {
  // Not when the library is loaded: its own tables are made only after that.
  if (g_fd < 0) prepare_flood();
  const char* id = std::getenv("TD_STANDIN_CLIENT_ID");
  int client_id = id != nullptr ? std::atoi(id) : 1;
  if (g_real.create_client_id != nullptr) client_id = g_real.create_client_id();
  report(kCreated, std::to_string(client_id));
  return client_id;
}

void td_send(int client_id, const char* request) {
  ++g_flood_sends;
  if (g_fd < 0) return answer_wake(request);
  report(kSent, std::to_string(client_id) + " " + request);
  if (g_real.send != nullptr) g_real.send(client_id, request);
}

const char* td_receive(double timeout) {
  if (g_flood_left != 0) {
    --g_flood_left;
    const char* object = g_flood.objects[g_flood_next];
    if (++g_flood_next == g_flood.objects.size()) g_flood_next = 0;
    return object;
  }
  return g_fd >= 0 ? receive_by_order(timeout) : around_the_flood(timeout);
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
  report(kVerbosity, std::to_string(level));
  if (g_real.set_log_verbosity_level != nullptr) g_real.set_log_verbosity_level(level);
}

void td_set_log_message_callback(int max_level, LogCallback callback) {
  g_log_callback = callback;
  report(kLogCallback, callback != nullptr ? std::to_string(max_level) : "null");
  if (g_real.set_log_message_callback != nullptr) {
    g_real.set_log_message_callback(max_level, callback);
  }
}

}  // extern "C"
