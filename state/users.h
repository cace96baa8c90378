// Every user that this run has heard of, and the queue that fetches the unknown ones at a
// measured pace. Main thread only. Entries live as long as the process. Ids below 1 are never
// cached or requested.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "frame/tdlib.h"
#include "state/id_table.h"

struct UserInfo {
  std::string first_name;
  std::string last_name;
  std::string username;             // editable, else plain, else the first active; may be empty
  std::int64_t photo_small_id = 0;  // TDLib file id, 0: no photo
  // "online", "offline", "recently", "last_week", "last_month", "empty", or empty: none given.
  std::string_view status_type;  // one of the program's own words, never TDLib's text
  std::int64_t was_online = 0;   // Unix seconds, offline only
  std::int64_t expires = 0;      // Unix seconds, online only
};

extern IdTable<UserInfo> g_user_cache;
// Users for whom a request was queued or sent; only grows, so each is asked for at most once.
extern IdTable<bool> g_user_requested;
extern std::vector<std::int64_t> g_user_request_queue;
extern std::int64_t g_next_user_request_at_ms;  // mono_ms; 0: no wait

// Stores the first user object in `json`. True when the user was new or changed; `user_id` gets
// its id, or 0 when there is no user object.
bool update_user_cache_from_json(std::string_view json, std::int64_t& user_id);
// Stores the status that an "updateUserStatus" brings. True when the user is cached and the status
// differs; `user_id` gets the update's id in any case, or 0.
bool update_user_status_from_json(std::string_view json, std::int64_t& user_id);
// The name under which a user or group is found: editable, else plain, else the first active one.
std::string extract_username(std::string_view owner);
// First and last name, else the username, else empty.
std::string user_display_name(const UserInfo& user);
// A name for use in a sentence. An id whose name is not known is appended to `missing` (once),
// requested, and called "User <id>"; an id below 1 is "Someone".
std::string resolve_user_name(std::int64_t user_id, std::vector<std::int64_t>& missing);
// The cached user, or null.
const UserInfo* find_user(std::int64_t user_id);

void queue_user_request(std::int64_t user_id);
// Sends the most recently queued request when its time has come. Once an iteration.
void send_next_user_request(const TdClient& td);
// When the next one may be sent (mono_ms), or -1 when none is queued.
std::int64_t next_user_request_ms();

std::string make_get_user(std::int64_t user_id);
void emit_user_event(std::int64_t user_id);
