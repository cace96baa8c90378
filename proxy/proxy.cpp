#include "proxy/proxy.h"

#include <string>
#include <vector>

#include "frame/answer.h"
#include "frame/channels.h"
#include "frame/protocol.h"
#include "frame/tdlib.h"
#include "json/scan.h"
#include "json/text.h"
#include "json/walk.h"

namespace {

// Views are the caller's. The secret goes to TDLib as it was given and nowhere else.
struct MtprotoProxy {
  std::string_view server;
  std::int64_t port = 0;
  std::string_view secret;  // hex, base64, URL-safe base64 or anything else
};

std::string make_get_proxies() { return "{\"@type\":\"getProxies\"}"; }

std::string make_disable_proxy() { return "{\"@type\":\"disableProxy\"}"; }

std::string make_remove_proxy(std::int64_t proxy_id) {
  return make_id_request("removeProxy", "proxy_id", proxy_id);
}

std::string make_proxy(const MtprotoProxy& proxy) {
  std::string object = "{\"@type\":\"proxy\"";
  append_string_member(object, "server", proxy.server);
  append_int_member(object, "port", proxy.port);
  object += ",\"type\":{\"@type\":\"proxyTypeMtproto\"";
  append_string_member(object, "secret", proxy.secret);
  object += "}}";
  return object;
}

std::string make_ping_proxy(const MtprotoProxy& proxy) {
  return "{\"@type\":\"pingProxy\",\"proxy\":" + make_proxy(proxy) + "}";
}

// Adds the proxy and switches it on.
std::string make_add_proxy(const MtprotoProxy& proxy) {
  return "{\"@type\":\"addProxy\",\"proxy\":" + make_proxy(proxy) + ",\"enable\":true}";
}

std::string make_enable_proxy(std::int64_t proxy_id) {
  return make_id_request("enableProxy", "proxy_id", proxy_id);
}

// How the two MTProto commands differ.
struct ProxyUse {
  std::string_view tag;
  std::string_view error_event;
  std::string_view log_words;
  std::string (*make)(const MtprotoProxy& proxy);
};
constexpr ProxyUse kTest{"proxyPing", "proxy_test_error", "SEND pingProxy(mtproto)",
                         make_ping_proxy};
constexpr ProxyUse kTry{"proxyTry", "proxy_try_error", "SEND addProxy(mtproto)", make_add_proxy};

struct MtprotoArguments {
  std::int64_t sequence = 0;  // 0: the first of four arguments is no sequence number
  std::string_view server;
  std::string_view port;
  std::string_view secret;
};

MtprotoArguments take_arguments(CommandCall& call, ProxyState& state) {
  const std::string_view first = next_arg(call);
  const std::string_view second = next_arg(call);
  const std::string_view third = next_arg(call);
  // The last piece begins at its first byte, however many blanks stand before it.
  call.args = trim(call.args);
  const std::string_view fourth = next_arg(call);
  if (fourth.empty()) return {++state.last_sequence, first, second, third};
  std::int64_t sequence = 0;
  if (!parse_i64(first, sequence) || sequence < 1) sequence = 0;
  return {sequence, second, third, fourth};
}

void emit_empty_secret_event(std::string_view type, std::int64_t sequence) {
  std::string event = begin_event(type);
  append_int_member(event, "seq", sequence);
  event += ",\"code\":400,\"message\":\"Proxy secret must be non-empty\"}";
  emit_event_json_line(event);
}

void run_mtproto(CommandCall& call, ProxyState& state, const TdClient& td, const ProxyUse& use) {
  const MtprotoArguments given = take_arguments(call, state);
  if (given.sequence == 0) {
    return refuse_and_log(call, "bad_proxy_args", "bad args (unexpected extra token)");
  }
  MtprotoProxy proxy{given.server, 0, given.secret};
  if (given.server.empty() || !is_utf8(given.server) || !is_utf8(given.secret) ||
      !parse_i64(given.port, proxy.port) || proxy.port < 1 || proxy.port > 65535) {
    return refuse_and_log(call, "bad_proxy_args", "bad args");
  }
  if (given.secret.empty()) {
    // A UI that waits for the sequence number is released.
    emit_empty_secret_event(use.error_event, given.sequence);
    return refuse_and_log(call, "bad_proxy_secret", "empty secret");
  }
  td_request(td, use.make(proxy), make_tag(use.tag, given.sequence));
  reply_ok(call, std::string(use.log_words) + " seq=" + std::to_string(given.sequence) +
                     " server=" + std::string(proxy.server) +
                     " port=" + std::to_string(proxy.port) +
                     " secret=" + std::string(secret_kind(proxy.secret)) + ":" +
                     std::to_string(proxy.secret.size()));
}

constexpr unsigned kMostProxies = 512;

struct ActiveProxy {
  bool found = false;
  std::int64_t id = 0;
  std::string server;
  std::int64_t port = 0;
};

// Server and port stand in an object of their own; in the older form beside the id.
std::string_view proxy_address(std::string_view object) {
  const std::string_view address = member_object(object, "proxy");
  return address.empty() ? object : address;
}

ActiveProxy find_active_proxy(const std::vector<std::string_view>& proxies) {
  for (const std::string_view object : proxies) {
    if (!member_true(object, "is_enabled")) continue;
    const std::string_view address = proxy_address(object);
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

std::string_view proxy_kind(std::string_view address) {
  static constexpr std::string_view kKinds[][2] = {
      {"proxyTypeMtproto", "mtproto"}, {"proxyTypeSocks5", "socks5"}, {"proxyTypeHttp", "http"}};
  const std::string_view type = object_type(member_object(address, "type"));
  for (const auto& kind : kKinds) {
    if (type == kind[0]) return kind[1];
  }
  return {};
}

void emit_proxy_item(std::string_view object) {
  const std::string_view address = proxy_address(object);
  const std::string_view kind = proxy_kind(address);
  std::string event = begin_event("proxy_item");
  append_int_member(event, "proxy_id", member_int(object, "id"));
  append_bool_member(event, "enabled", member_true(object, "is_enabled"));
  append_string_member(event, "server", member_string(address, "server"));
  append_int_member(event, "port", member_int(address, "port"));
  if (!kind.empty()) append_string_member(event, "kind", kind);
  end_event(event);
}

void emit_proxy_list_end(std::size_t count) {
  std::string event = begin_event("proxy_list_end");
  append_int_member(event, "count", static_cast<std::int64_t>(count));
  end_event(event);
}

void emit_proxy_changed(std::string_view action, std::int64_t proxy_id) {
  if (!at_level2()) return;
  std::string event = begin_event("proxy_changed");
  append_string_member(event, "action", action);
  append_int_member(event, "proxy_id", proxy_id);
  end_event(event);
}

}  // namespace

std::string_view secret_kind(std::string_view secret) {
  if (is_hex_string_even(secret)) return "hex";
  if (secret.find_first_of("-_") != std::string_view::npos) return "b64url";
  if (secret.find_first_of("+/") != std::string_view::npos) return "b64";
  return "raw";
}

void run_proxy_get(const CommandCall& call, const TdClient& td) {
  td_request(td, make_get_proxies(), "proxyGet");
  reply_ok(call, "SEND getProxies");
}

void run_proxy_disable(const CommandCall& call, const TdClient& td) {
  td_request(td, make_disable_proxy(), "proxyDisable");
  reply_ok(call, "SEND disableProxy");
}

void run_proxy_remove(CommandCall& call, const TdClient& td) {
  std::int64_t proxy_id = 0;
  if (!arg_positive(call, proxy_id)) return refuse_and_log(call, "bad_proxy_id");
  td_request(td, make_remove_proxy(proxy_id), make_tag("proxyRemove", proxy_id));
  reply_ok(call, "SEND removeProxy proxy_id=" + std::to_string(proxy_id));
}

void run_proxy_test_mtproto(CommandCall& call, ProxyState& state, const TdClient& td) {
  run_mtproto(call, state, td, kTest);
}

void run_proxy_try_mtproto(CommandCall& call, ProxyState& state, const TdClient& td) {
  run_mtproto(call, state, td, kTry);
}

void run_proxy_list(const CommandCall& call, const TdClient& td) {
  td_request(td, make_get_proxies(), "proxyList");
  reply_ok(call, "SEND getProxies");
}

void run_proxy_enable(CommandCall& call, const TdClient& td) {
  std::int64_t proxy_id = 0;
  if (!arg_positive(call, proxy_id)) return refuse_and_log(call, "bad_proxy_id");
  td_request(td, make_enable_proxy(proxy_id), make_tag("proxyEnable", proxy_id));
  reply_ok(call, "SEND enableProxy proxy_id=" + std::to_string(proxy_id));
}

void on_proxy_list(Answer& answer) {
  const std::vector<std::string_view> proxies =
      extract_json_object_array_field_raw(answer.text, "proxies", kMostProxies);
  for (const std::string_view object : proxies) emit_proxy_item(object);
  emit_proxy_list_end(proxies.size());
}

void on_proxy_list_error(const TdError& error) {
  report_td_error(error);
  emit_proxy_list_end(0);
}

void on_proxies(Answer& answer) {
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

void on_proxy_disabled() {
  dbg("TD_OK disableProxy");
  emit_proxy_changed("disable", 0);
}

void on_proxy_removed(Answer& answer) {
  const std::int64_t proxy_id = next_field_i64(answer.fields);
  dbg("TD_OK removeProxy proxy_id=" + std::to_string(proxy_id));
  emit_proxy_changed("remove", proxy_id);
}

void on_proxy_enabled(Answer& answer) {
  const std::int64_t proxy_id = next_field_i64(answer.fields);
  dbg("TD_OK enableProxy proxy_id=" + std::to_string(proxy_id));
  emit_proxy_changed("enable", proxy_id);
}

static void report_proxy_works(Answer& answer, std::string_view log_word) {
  const std::int64_t sequence = next_field_i64(answer.fields);
  if (sequence < 1) return;
  emit_event_json_line(begin_sequence_event("proxy_test_ok", sequence) + "}");
  dbg("TD_OK " + std::string(log_word) + " seq=" + std::to_string(sequence));
}

void on_proxy_pinged(Answer& answer) { report_proxy_works(answer, "pingProxy"); }

void on_proxy_tested(Answer& answer) { report_proxy_works(answer, "proxyTest"); }

void on_proxy_added(Answer& answer) {
  const std::int64_t sequence = next_field_i64(answer.fields);
  if (sequence < 1) return;
  const std::int64_t proxy_id = member_int(answer.text, "id");
  std::string event = begin_sequence_event("proxy_try_added", sequence);
  append_int_member(event, "proxy_id", proxy_id);
  end_event(event);
  dbg("TD_OK proxyTry seq=" + std::to_string(sequence) + " proxy_id=" + std::to_string(proxy_id));
}
