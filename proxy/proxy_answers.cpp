#include "proxy/proxy_answers.h"

#include <string>
#include <vector>

#include "frame/channels.h"
#include "json/scan.h"
#include "json/text.h"
#include "json/walk.h"

namespace {

constexpr unsigned kMostProxies = 512;
constexpr std::size_t kLoggedMessageBytes = 160;

struct ActiveProxy {
  bool found = false;
  std::int64_t id = 0;
  std::string server;
  std::int64_t port = 0;
};

ActiveProxy find_active_proxy(const std::vector<std::string_view>& proxies) {
  for (const std::string_view object : proxies) {
    if (!member_true(object, "is_enabled")) continue;
    // Server and port stand in an object of their own; in the older form beside the id.
    std::string_view address = member_object(object, "proxy");
    if (address.empty()) address = object;
    return {true, member_int(object, "id"), member_string(address, "server"),
            member_int(address, "port")};
  }
  return {};
}

std::string begin_sequence_event(std::string_view type, std::int64_t sequence) {
  std::string event = begin_event(type);
  append_int_member(event, "seq", sequence);
  return event;
}

std::string for_log(const std::string& message) {
  if (message.size() <= kLoggedMessageBytes) return message;
  return message.substr(0, kLoggedMessageBytes) + "...";
}

}  // namespace

void on_proxies(const Answer& answer) {
  const std::vector<std::string_view> proxies =
      extract_json_object_array_field_raw(answer.text, "proxies", kMostProxies);
  const ActiveProxy active = find_active_proxy(proxies);
  std::string event = begin_event("proxy_state");
  append_bool_member(event, "enabled", active.found);
  append_int_member(event, "count", static_cast<std::int64_t>(proxies.size()));
  if (active.id >= 1) append_int_member(event, "proxy_id", active.id);
  if (!active.server.empty() && active.port >= 1) {
    append_string_member(event, "server", active.server);
    append_int_member(event, "port", active.port);
  }
  end_event(event);
  dbg("TD_OK getProxies enabled=" + std::string(active.found ? "true" : "false") +
      " count=" + std::to_string(proxies.size()) + " active=" + std::to_string(active.id));
}

void on_proxies_error(const TdError& error) {
  std::string event = begin_event("proxy_state_error");
  append_error_members(event, error);
  end_event(event);
  dbg("TD_ERROR getProxies code=" + std::to_string(error.code) + " msg=" + error.message);
}

void on_proxy_disabled() { dbg("TD_OK disableProxy"); }

void on_proxy_removed(const Answer& answer) {
  std::string_view fields = answer.fields;
  dbg("TD_OK removeProxy proxy_id=" + std::to_string(next_field_i64(fields)));
}

void on_proxy_test_ok(const Answer& answer, const char* log_word) {
  std::string_view fields = answer.fields;
  const std::int64_t sequence = next_field_i64(fields);
  emit_event_json_line(begin_sequence_event("proxy_test_ok", sequence) + "}");
  dbg("TD_OK " + std::string(log_word) + " seq=" + std::to_string(sequence));
}

void on_proxy_test_error(const TdError& error, const char* log_word) {
  std::string_view fields = error.fields;
  const std::int64_t sequence = next_field_i64(fields);
  std::string event = begin_sequence_event("proxy_test_error", sequence);
  append_error_members(event, error);
  end_event(event);
  dbg("TD_ERROR " + std::string(log_word) + " seq=" + std::to_string(sequence) +
      " code=" + std::to_string(error.code) + " msg=" + for_log(error.message));
}

void on_proxy_added(const Answer& answer) {
  std::string_view fields = answer.fields;
  const std::int64_t sequence = next_field_i64(fields);
  const std::int64_t proxy_id = member_int(answer.text, "id");
  std::string event = begin_sequence_event("proxy_try_added", sequence);
  append_int_member(event, "proxy_id", proxy_id);
  end_event(event);
  dbg("TD_OK proxyTry seq=" + std::to_string(sequence) + " proxy_id=" + std::to_string(proxy_id));
}

void on_proxy_try_error(const TdError& error) {
  std::string_view fields = error.fields;
  const std::int64_t sequence = next_field_i64(fields);
  std::string event = begin_sequence_event("proxy_try_error", sequence);
  append_error_members_always(event, error);
  end_event(event);
  dbg("TD_ERROR proxyTry seq=" + std::to_string(sequence));
}
