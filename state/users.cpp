#include "state/users.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "frame/answer.h"
#include "frame/channels.h"
#include "frame/clock.h"
#include "json/object_text.h"
#include "json/scan.h"
#include "json/search.h"
#include "json/text.h"
#include "json/walk.h"

IdTable<UserInfo> g_user_cache;
IdTable<bool> g_user_requested;
std::vector<std::int64_t> g_user_request_queue;
std::int64_t g_next_user_request_at_ms = 0;

constexpr std::int64_t kRequestIntervalMs = 60;

static std::int64_t photo_small_id(const ObjectText& profile_photo) {
  const std::int64_t id = own_int(own_object(profile_photo, "small"), "id", 0);
  return std::max<std::int64_t>(id, 0);
}

std::int64_t extract_user_photo_small_id(std::string_view user_json) {
  return photo_small_id(own_object(object_text_at(user_json, 0), "profile_photo"));
}

static std::string_view status_word(std::string_view type) {
  static constexpr std::string_view kStatuses[][2] = {
      {"userStatusOnline", "online"},        {"userStatusOffline", "offline"},
      {"userStatusRecently", "recently"},    {"userStatusLastWeek", "last_week"},
      {"userStatusLastMonth", "last_month"}, {"userStatusEmpty", "empty"},
  };
  for (const auto& row : kStatuses) {
    if (type == row[0]) return row[1];
  }
  return {};
}

static void read_status(const ObjectText& status, UserInfo& user) {
  user.status_type = status_word(own_type(status));
  user.expires = 0;
  user.was_online = 0;
  if (user.status_type == "online") {
    user.expires = std::max<std::int64_t>(own_int(status, "expires"), 0);
  } else if (user.status_type == "offline") {
    user.was_online = std::max<std::int64_t>(own_int(status, "was_online"), 0);
  }
}

static std::string first_active(const ObjectText& object) {
  if (!object.whole) {
    std::vector<std::string> active =
        extract_json_string_array_field(object.text, "active_usernames");
    return active.empty() ? std::string() : std::move(active.front());
  }
  ArrayWalk walk{member_array(object.text, "active_usernames")};
  std::string_view first;
  return next_element(walk, first) ? value_string(first) : std::string();
}

// The names stand in an object of their own; a plain "username" beside the user's other members.
static std::string find_username(const ObjectText& user) {
  const ObjectText inner = own_object(user, "usernames");
  const ObjectText& names = inner.text.empty() ? user : inner;
  std::string name = own_string(names, "editable_username");
  if (name.empty()) name = own_string(user, "username");
  return name.empty() ? first_active(names) : name;
}

static UserInfo read_broken_user(const ObjectText& object) {
  UserInfo user;
  user.first_name = own_string(object, "first_name");
  user.last_name = own_string(object, "last_name");
  user.username = find_username(object);
  user.photo_small_id = photo_small_id(own_object(object, "profile_photo"));
  read_status(own_object(object, "status"), user);
  return user;
}

// A whole user is passed over once, for user updates are the most frequent after messages.
static UserInfo read_user(std::string_view json, std::size_t begin) {
  UserInfo user;
  ObjectText names{json.substr(begin, 0), true};
  std::string_view plain_username;
  ObjectWalk walk{json.substr(begin)};
  for (std::string_view key; next_key(walk, key);) {
    if (is_key(key, "first_name")) {
      user.first_name = value_string(take_value(walk));
    } else if (is_key(key, "last_name")) {
      user.last_name = value_string(take_value(walk));
    } else if (is_key(key, "usernames")) {
      names = object_text_of(take_value(walk));
    } else if (is_key(key, "username")) {
      plain_username = take_value(walk);
    } else if (is_key(key, "profile_photo")) {
      user.photo_small_id = photo_small_id(object_text_of(take_value(walk)));
    } else if (is_key(key, "status")) {
      read_status(object_text_of(take_value(walk)), user);
    }
  }
  if (walk.stage != WalkStage::kClosed) return read_broken_user(object_text_at(json, begin));
  if (names.text.empty()) {
    user.username = find_username({json.substr(begin, walk.pos), true});
  } else {
    user.username = own_string(names, "editable_username");
    if (user.username.empty()) user.username = value_string(plain_username);
    if (user.username.empty()) user.username = first_active(names);
  }
  return user;
}

static auto fields(const UserInfo& u) {
  return std::tie(u.first_name, u.last_name, u.username, u.photo_small_id, u.status_type,
                  u.was_online, u.expires);
}

bool update_user_cache_from_json(std::string_view json, std::int64_t& user_id) {
  static constexpr std::string_view kMarker = "\"@type\":\"user\",\"id\":";
  user_id = 0;
  const std::size_t marker = find_bytes(json, kMarker);
  if (marker == kNotFound) return false;
  std::int64_t id = 0;
  const std::size_t digits = json.find_first_not_of(" \t\r\n", marker + kMarker.size());
  if (!parse_int_at(json, digits, id) || id < 1) return false;
  user_id = id;
  UserInfo user = read_user(json, marker == 0 ? 0 : marker - 1);
  UserInfo* known = g_user_cache.find(id);
  if (known != nullptr && fields(*known) == fields(user)) return false;
  (known != nullptr ? *known : g_user_cache.get(id)) = std::move(user);
  return true;
}

bool update_user_status_from_json(std::string_view json, std::int64_t& user_id) {
  const ObjectText update = object_text_at(json, 0);
  user_id = std::max<std::int64_t>(own_int(update, "user_id", 0), 0);
  UserInfo* known = g_user_cache.find(user_id);
  const ObjectText status = own_object(update, "status");
  if (known == nullptr || status.text.empty()) return false;
  UserInfo now;
  read_status(status, now);
  const auto times = [](const UserInfo& u) {
    return std::tie(u.status_type, u.was_online, u.expires);
  };
  if (times(*known) == times(now)) return false;
  known->status_type = now.status_type;
  known->was_online = now.was_online;
  known->expires = now.expires;
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

const UserInfo* find_user(std::int64_t user_id) { return g_user_cache.find(user_id); }

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
  bool& requested = g_user_requested.get(user_id);
  if (!requested) g_user_request_queue.push_back(user_id);
  requested = true;
}

std::string make_get_user(std::int64_t user_id) {
  return make_id_request("getUser", "user_id", user_id);
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
  std::string event = begin_event("user");
  append_int_member(event, "id", user_id);
  if (!name.empty()) append_string_member(event, "name", name);
  if (user->photo_small_id >= 1) append_int_member(event, "photo_small_id", user->photo_small_id);
  if (!user->status_type.empty()) append_string_member(event, "status_type", user->status_type);
  if (user->was_online >= 1) append_int_member(event, "was_online", user->was_online);
  if (user->expires >= 1) append_int_member(event, "expires", user->expires);
  end_event(event);
}
