#include "state/users.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "frame/answer.h"
#include "frame/channels.h"
#include "frame/clock.h"
#include "json/text.h"
#include "json/walk.h"
#include "state/file.h"

IdTable<UserInfo> g_user_cache;
IdTable<bool> g_user_requested;
std::vector<std::int64_t> g_user_request_queue;
std::int64_t g_next_user_request_at_ms = 0;

constexpr std::int64_t kRequestIntervalMs = 60;

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

// A status object.
struct Status {
  std::string_view type;
  std::int64_t expires = 0;
  std::int64_t was_online = 0;
};
static constexpr Row<Status> kStatusRows[] = {
    {"@type", word_into<&Status::type>},
    {"expires", value_into<&Status::expires>},
    {"was_online", value_into<&Status::was_online>},
};

static void set_status(const Status& status, UserInfo& user) {
  user.status_type = status_word(status.type);
  user.expires = 0;
  user.was_online = 0;
  if (user.status_type == "online") {
    user.expires = std::max<std::int64_t>(status.expires, 0);
  } else if (user.status_type == "offline") {
    user.was_online = std::max<std::int64_t>(status.was_online, 0);
  }
}

// The names that an object carries, and those of its object "usernames".
struct Usernames {
  std::string editable;
  std::string single;  // as older objects have it
  std::string_view active;
};
static constexpr Row<Usernames> kUsernamesRows[] = {
    {"editable_username", value_into<&Usernames::editable>},
    {"username", value_into<&Usernames::single>},
    {"active_usernames", array_into<&Usernames::active>},
};

static std::string first_element(std::string_view array) {
  ArrayWalk walk{array};
  std::string_view first;
  return next_element(walk, first) ? string_of(first) : std::string();
}

static std::string extract_username(std::string_view owner, std::string_view usernames) {
  Usernames inner;
  Usernames own;
  read_members<kUsernamesRows>(usernames, inner);
  if (!inner.editable.empty()) return inner.editable;
  read_members<kUsernamesRows>(owner, own);
  if (usernames.empty() && !own.editable.empty()) return own.editable;
  return !own.single.empty() ? own.single
                             : first_element(usernames.empty() ? own.active : inner.active);
}

std::string extract_username(std::string_view owner) {
  return extract_username(owner, member_object(owner, "usernames"));
}

// A user's own members, as far as they count.
struct UserMembers {
  std::int64_t id = 0;
  std::string first_name;
  std::string last_name;
  std::string_view usernames;
  Status status;
  std::int64_t photo_small_id = 0;
};
static constexpr Row<UserMembers> kUserRows[] = {
    {"id", value_into<&UserMembers::id>},
    {"first_name", value_into<&UserMembers::first_name>},
    {"last_name", value_into<&UserMembers::last_name>},
    {"usernames", object_into<&UserMembers::usernames>},
    {"status", members_into<&UserMembers::status, kStatusRows>},
    {"profile_photo", result_into<&UserMembers::photo_small_id, photo_small_file_id>},
};

static auto fields(const UserInfo& u) {
  return std::tie(u.first_name, u.last_name, u.username, u.photo_small_id, u.status_type,
                  u.was_online, u.expires);
}

bool update_user_cache_from_json(std::string_view json, std::int64_t& user_id) {
  user_id = 0;
  std::string copy;
  const std::string_view user_json = find_object(json, "\"@type\":\"user\",\"id\":", copy);
  UserMembers members;
  read_members<kUserRows>(user_json, members);
  if (members.id < 1) return false;
  user_id = members.id;
  UserInfo user;
  user.first_name = std::move(members.first_name);
  user.last_name = std::move(members.last_name);
  user.username = extract_username(user_json, members.usernames);
  user.photo_small_id = members.photo_small_id;
  set_status(members.status, user);
  UserInfo* known = g_user_cache.find(user_id);
  if (known != nullptr && fields(*known) == fields(user)) return false;
  (known != nullptr ? *known : g_user_cache.get(user_id)) = std::move(user);
  return true;
}

bool update_user_status_from_json(std::string_view json, std::int64_t& user_id) {
  user_id = std::max<std::int64_t>(member_int(json, "user_id", 0), 0);
  UserInfo* known = g_user_cache.find(user_id);
  const std::string_view status_json = member_object(json, "status");
  if (known == nullptr || status_json.empty()) return false;
  Status status;
  read_members<kStatusRows>(status_json, status);
  UserInfo now;
  set_status(status, now);
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

std::int64_t next_user_request_ms() {
  return g_user_request_queue.empty() ? -1 : g_next_user_request_at_ms;
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
