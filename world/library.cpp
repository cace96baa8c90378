// The eight entry points, the queue of what the client has not received yet, and the clock.
//
// Requests are answered on the thread that sends them; everything that happens by itself happens
// on the thread that receives. One lock guards the whole world, and td_receive waits without it.
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <mutex>
#include <vector>

#include "world/world.h"

namespace world {

World g_world;

namespace {

using Clock = std::chrono::steady_clock;

std::mutex g_lock;
std::condition_variable g_news;
std::deque<std::string> g_queue;
std::multimap<double, std::function<void()>> g_timers;  // by the world's clock
std::vector<std::function<void()>> g_waiting;           // until there is a connection
const Clock::time_point g_start = Clock::now();
int g_clients = 0;
bool g_begun = false;
bool g_closed = false;
Id g_flood = 0;
double g_due = -1;  // when that was due which happens now; below 0: nothing does

const char* environment(const char* name, const char* otherwise) {
  const char* value = std::getenv(name);
  return value != nullptr && *value != '\0' ? value : otherwise;
}

void begin() {
  if (g_begun) return;
  g_begun = true;
  Settings& s = g_world.settings;
  s.seed = std::strtoull(environment("WORLD_SEED", "1"), nullptr, 10);
  s.chats = std::clamp(std::atoi(environment("WORLD_CHATS", "40")), kFirstChats, 100000);
  s.rate = std::clamp(std::atof(environment("WORLD_RATE", "0.5")), 0.0, 1e6);
  s.speed = std::clamp(std::atof(environment("WORLD_SPEED", "1")), 0.001, 1e6);
  s.login = environment("WORLD_LOGIN", "phone");
  s.faults = environment("WORLD_FAULTS", "");
  make_chats();
  begin_login();
  steer_from_start();
}

// Queues the text of an object, with what every text ends in.
void put(std::string text, const Json& extra, int client_id = 1) {
  text.pop_back();
  if (!extra.is_null()) text += ",\"@extra\":";
  extra.kind == Json::kString ? append_string(text, extra.text) : void(text += extra.text);
  append_i64(text += ",\"@client_id\":", client_id);
  text += '}';
  g_queue.push_back(std::move(text));
}

// The answer as it is now, so that one that comes late says nothing outdated.
void answer_now(const Json& request, int times) {
  const std::string text = answer_request(request);
  for (; times > 0; --times) put(text, request["@extra"]);
}

void answer(const Json& request) {
  const Fault* fault = next_fault(request.type());
  if (fault == nullptr) return answer_now(request, 1);
  switch (fault->kind) {
    case Fault::kLose: break;
    case Fault::kError: put(error_text(fault->code, fault->message), request["@extra"]); break;
    case Fault::kTwice: answer_now(request, 2); break;
    case Fault::kLate: later(fault->seconds, [request] { answer_now(request, 1); }); break;
  }
}

void take_request(int client_id, const char* text) {
  Json request;
  std::string error;
  if (!read_json(text, request, error)) {
    request = {};
    error = refuse("Failed to parse request as JSON object: " + error);
  } else if (request.kind != Json::kObject) {
    error = refuse("Expected a JSON object");
  } else if (!(error = check_request(request)).empty()) {
    error = refuse("Failed to parse JSON object as TDLib request: " + error);
  } else if (client_id < 1 || client_id > g_clients) {
    error = refuse("Invalid TDLib instance specified");
  } else if (g_closed || client_id != 1) {
    error = error_text(500, "Request aborted");
  } else if (stage() != kParameters && has_bad_string(request)) {
    error = refuse("Strings must be encoded in UTF-8");
  } else {
    return answer(request);
  }
  put(std::move(error), request["@extra"], client_id);
}

// When the next thing happens by itself.
double next_due() { return g_timers.empty() ? 1e300 : g_timers.begin()->first; }

// A message somewhere.
void pour_one() {
  const std::uint64_t dice = dice_for(--g_flood);
  Chat& chat = g_world.chats[dice % g_world.chats.size()];
  if (chat.order != 0 && chat.kind != ChatKind::kDeleted) receive_next(chat);
}

// Lets one thing happen that is due; false when nothing is. It happens when it was due, however
// late it is: so the same seed gives the same dates.
bool happen() {
  if (next_due() > now()) {
    if (g_flood == 0) return false;
    pour_one();
    return true;
  }
  g_due = next_due();
  const auto what = std::move(g_timers.begin()->second);
  g_timers.erase(g_timers.begin());
  what();
  g_due = -1;
  return true;
}

Clock::duration duration(double seconds) {
  return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

Clock::time_point real_time(double world_seconds) {
  return g_start + duration(std::min(world_seconds / g_world.settings.speed, 1e8));
}

}  // namespace

double now() {
  if (g_due >= 0) return g_due;
  return std::chrono::duration<double>(Clock::now() - g_start).count() * g_world.settings.speed;
}

Id date_now() {
  static Id latest = 0;
  return latest = std::max(latest, kFirstDate + static_cast<Id>(now()));
}

void tell(std::string text) { put(std::move(text), {}); }
void tell(const char* shape, std::initializer_list<Value> values) { tell(object(shape, values)); }

void happen_at(double time, std::function<void()> what) { g_timers.emplace(time, std::move(what)); }
void later(double seconds, std::function<void()> what) {
  happen_at(now() + seconds, std::move(what));
}

std::string refuse(std::string_view message) { return error_text(400, message); }
std::string error_text(int code, std::string_view message) {
  return object("error code message", {code, message});
}

bool is_online() { return g_world.connection == "connectionStateReady"; }

void when_online(std::function<void()> what) {
  if (is_online()) return what();
  g_waiting.push_back(std::move(what));
}

void tell_connection(std::string_view state) {
  tell("updateConnectionState state", {bare_object(state)});
}

void set_connection(std::string_view state) {
  g_world.connection = state;
  tell_connection(state);
}

void come_online() {
  for (const char* state : {"Connecting", "Updating", "Ready"})
    set_connection(std::string("connectionState") + state);
  for (auto& what : g_waiting) later(0, std::move(what));
  g_waiting.clear();
}

void flood(Id count) { g_flood += count; }

void close_client() {
  g_closed = true;
  g_timers.clear();
  g_flood = 0;
}

}  // namespace world

// ---- what the program calls

using world::g_lock;

#define TD_EXPORT extern "C" __attribute__((visibility("default")))

TD_EXPORT int td_create_client_id() {
  const std::lock_guard<std::mutex> hold(g_lock);
  return ++world::g_clients;
}

TD_EXPORT void td_send(int client_id, const char* request) {
  const std::lock_guard<std::mutex> hold(g_lock);
  world::begin();
  world::take_request(client_id, request);
  world::g_news.notify_one();
}

TD_EXPORT const char* td_receive(double timeout) {
  static thread_local std::string text;
  const auto deadline = world::Clock::now() + world::duration(std::clamp(timeout, 0.0, 1e6));
  std::unique_lock<std::mutex> hold(g_lock);
  while (world::g_queue.empty()) {
    if (world::happen()) continue;
    if (world::Clock::now() >= deadline) return nullptr;
    world::g_news.wait_until(hold, std::min(deadline, world::real_time(world::next_due())));
  }
  text = std::move(world::g_queue.front());
  world::g_queue.pop_front();
  return text.c_str();
}

TD_EXPORT const char* td_execute(const char*) {
  return "{\"@type\":\"error\",\"code\":400,\"message\":\"The method can't be executed "
         "synchronously\"}";
}
TD_EXPORT int td_set_log_file_path(const char*) { return 1; }
TD_EXPORT void td_set_log_max_file_size(long long) {}
TD_EXPORT void td_set_log_verbosity_level(int) {}
TD_EXPORT void td_set_log_message_callback(int, void (*)(int, const char*)) {}
