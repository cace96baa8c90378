#include "state/users.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "frame/answer.h"
#include "frame/channels.h"
#include "frame/clock.h"
#include "json/scan.h"
#include "json/search.h"
#include "json/text.h"
#include "json/walk.h"

std::unordered_map<std::int64_t, UserInfo> g_user_cache;
std::unordered_set<std::int64_t> g_user_requested;
std::vector<std::int64_t> g_user_request_queue;
std::int64_t g_next_user_request_at_ms = 0;

constexpr std::int64_t kRequestIntervalMs = 60;

std::int64_t extract_user_photo_small_id(std::string_view user_json) {
  const std::string_view photo = member_object(user_json, "profile_photo");
  return std::max<std::int64_t>(member_int(member_object(photo, "small"), "id", 0), 0);
}

static void read_status(std::string_view status, UserInfo& user) {
  static constexpr const char* kStatuses[][2] = {
      {"userStatusOnline", "online"},        {"userStatusOffline", "offline"},
      {"userStatusRecently", "recently"},    {"userStatusLastWeek", "last_week"},
      {"userStatusLastMonth", "last_month"}, {"userStatusEmpty", "empty"},
  };
  const std::string_view type = object_type(status);
  for (const auto& row : kStatuses) {
    if (type == row[0]) user.status_type = row[1];
  }
  if (user.status_type == "online")
    user.expires = std::max<std::int64_t>(member_int(status, "expires"), 0);
  if (user.status_type == "offline")
    user.was_online = std::max<std::int64_t>(member_int(status, "was_online"), 0);
}

// The object whose "@type" stands at `marker`, from its brace; the rest of the text when it breaks
// off.
static std::string_view object_around(std::string_view json, std::size_t marker) {
  const std::size_t begin = marker == 0 ? 0 : marker - 1;
  const std::string_view object = extract_json_object_raw_at(json, begin);
  return object.empty() ? json.substr(begin) : object;
}

bool update_user_cache_from_json(std::string_view json, std::int64_t& user_id) {
  static constexpr std::string_view kMarker = "\"@type\":\"user\",\"id\":";
  user_id = 0;
  const std::size_t marker = find_bytes(json, kMarker);
  std::int64_t id = 0;
  if (marker == kNotFound || !parse_int_at(json, marker + kMarker.size(), id) || id < 1) {
    return false;
  }
  user_id = id;
  const std::string_view object = object_around(json, marker);
  UserInfo user;
  user.first_name = member_string(object, "first_name");
  user.last_name = member_string(object, "last_name");
  user.username = extract_json_string_field(object, "editable_username");
  if (user.username.empty()) user.username = member_string(object, "username");
  if (user.username.empty()) {
    const std::vector<std::string> active =
        extract_json_string_array_field(object, "active_usernames");
    if (!active.empty()) user.username = active.front();
  }
  user.photo_small_id = extract_user_photo_small_id(object);
  read_status(member_object(object, "status"), user);

  const auto fields = [](const UserInfo& u) {
    return std::tie(u.first_name, u.last_name, u.username, u.photo_small_id, u.status_type,
                    u.was_online, u.expires);
  };
  const auto [entry, added] = g_user_cache.try_emplace(id);
  if (!added && fields(entry->second) == fields(user)) return false;
  entry->second = std::move(user);
  return true;
}

std::string user_display_name(const UserInfo& user) {
  std::string name = user.first_name;
  if (!user.last_name.empty()) {
    if (!name.empty()) name += ' ';
    name += user.last_name;
  }
  return name.empty() ? user.username : name;
}

const UserInfo* find_user(std::int64_t user_id) {
  const auto found = g_user_cache.find(user_id);
  return found == g_user_cache.end() ? nullptr : &found->second;
}

std::string resolve_user_name(std::int64_t user_id, std::vector<std::int64_t>& missing) {
  if (user_id < 1) return "Someone";
  const UserInfo* user = find_user(user_id);
  if (user != nullptr) {
    std::string name = user_display_name(*user);
    if (!name.empty()) return name;
  }
  if (std::find(missing.begin(), missing.end(), user_id) == missing.end()) {
    missing.push_back(user_id);
  }
  queue_user_request(user_id);
  return "User " + std::to_string(user_id);
}

void queue_user_request(std::int64_t user_id) {
  if (user_id < 1 || find_user(user_id) != nullptr) return;
  if (g_user_requested.insert(user_id).second) g_user_request_queue.push_back(user_id);
}

std::string make_get_user(std::int64_t user_id) {
  std::string request = "{\"@type\":\"getUser\"";
  append_int_member(request, "user_id", user_id);
  request += '}';
  return request;
}

void send_next_user_request(const TdClient& td) {
  if (g_user_request_queue.empty()) return;
  const std::int64_t now = mono_ms();
  if (g_next_user_request_at_ms != 0 && now < g_next_user_request_at_ms) return;
  // Last in, first out: whom the UI shows now was asked for last.
  const std::int64_t user_id = g_user_request_queue.back();
  g_user_request_queue.pop_back();
  td_request(td, make_get_user(user_id), make_tag("getUser", user_id));
  dbg("SEND getUser " + std::to_string(user_id));
  g_next_user_request_at_ms = now + kRequestIntervalMs;
}

void emit_user_event(std::int64_t user_id) {
  const UserInfo* user = user_id < 1 ? nullptr : find_user(user_id);
  if (user == nullptr) return;
  const std::string name = user_display_name(*user);
  std::string event = "{\"type\":\"user\"";
  append_int_member(event, "id", user_id);
  if (!name.empty()) append_string_member(event, "name", name);
  if (user->photo_small_id >= 1) append_int_member(event, "photo_small_id", user->photo_small_id);
  if (!user->status_type.empty()) append_string_member(event, "status_type", user->status_type);
  if (user->was_online >= 1) append_int_member(event, "was_online", user->was_online);
  if (user->expires >= 1) append_int_member(event, "expires", user->expires);
  event += '}';
  emit_event_json_line(event);
}
