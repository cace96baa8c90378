// TDLib's eight entry points over objects from a file, for benchmarks of the whole program.
//
//   TD_FLOOD          file with one object a line, given again and again
//   TD_FLOOD_COUNT    how many objects in all (default: each once)
//   TD_FLOOD_PRELUDE  file with objects that come once before; not counted
//   TD_FLOOD_END      "close" (default): then the closed state; "null": then nothing
//   TD_FLOOD_REPORT   file that gets one line of figures when the flood has been handled
//
// An object costs no system call, no allocation and no copy. Where the flood gives nothing it
// waits, and answers the request that is sent to wake it.
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <mutex>
#include <string>
#include <vector>

[[noreturn]] static void give_up(const char* why) {
  std::fprintf(stderr, "flood: %s\n", why);
  _exit(98);
}

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
  const char* path = std::getenv("TD_FLOOD");
  if (path == nullptr) return;
  g_flood.objects = read_objects(path, g_flood.bytes);
  if (g_flood.objects.empty()) give_up("the file of the flood is empty");
  if (const char* prelude = std::getenv("TD_FLOOD_PRELUDE")) {
    g_flood.prelude = read_objects(prelude, g_flood.prelude_bytes);
  }
  const char* count = std::getenv("TD_FLOOD_COUNT");
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
  if (const char* path = std::getenv("TD_FLOOD_REPORT")) {
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
  const char* end = std::getenv("TD_FLOOD_END");
  if (!g_flood.closed && (end == nullptr || std::strcmp(end, "null") != 0)) {
    g_flood.closed = true;
    return R"({"@type":"updateAuthorizationState","authorization_state":)"
           R"({"@type":"authorizationStateClosed"},"@client_id":1})";
  }
  return wait_for_wake(timeout);
}

extern "C" {

// The files are read here, for the library's own tables are made only after it has been loaded.
int td_create_client_id() {
  prepare_flood();
  return 1;
}

void td_send(int, const char* request) {
  ++g_flood_sends;
  answer_wake(request);
}

const char* td_receive(double timeout) {
  if (g_flood_left == 0) return around_the_flood(timeout);
  --g_flood_left;
  const char* object = g_flood.objects[g_flood_next];
  if (++g_flood_next == g_flood.objects.size()) g_flood_next = 0;
  return object;
}

const char* td_execute(const char*) { return nullptr; }
int td_set_log_file_path(const char*) { return 0; }
void td_set_log_max_file_size(long long) {}
void td_set_log_verbosity_level(int) {}
void td_set_log_message_callback(int, void (*)(int, const char*)) {}

}  // extern "C"
