#include "proxy/proxy_commands.h"

#include <string>

#include "frame/answer.h"
#include "frame/channels.h"
#include "json/text.h"
#include "proxy/proxy_requests.h"

namespace {

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

// "ERR <reply>" to the UI; in the log the command's name and what was wrong.
void refuse(const CommandCall& call, std::string_view reply, std::string_view reason) {
  print_line("ERR " + std::string(reply));
  dbg("ERR " + std::string(call.word) + " " + std::string(reason));
}

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
    return refuse(call, "bad_proxy_args", "bad args (unexpected extra token)");
  }
  MtprotoProxy proxy{given.server, 0, given.secret};
  if (given.server.empty() || !parse_i64(given.port, proxy.port) || proxy.port < 1 ||
      proxy.port > 65535) {
    return refuse(call, "bad_proxy_args", "bad args");
  }
  if (given.secret.empty()) {
    // A UI that waits for the sequence number is released.
    emit_empty_secret_event(use.error_event, given.sequence);
    return refuse(call, "bad_proxy_secret", "empty secret");
  }
  td_request(td, use.make(proxy), make_tag(use.tag, given.sequence));
  reply_ok(call, std::string(use.log_words) + " seq=" + std::to_string(given.sequence) +
                     " server=" + std::string(proxy.server) +
                     " port=" + std::to_string(proxy.port) +
                     " secret=" + std::string(secret_kind(proxy.secret)) + ":" +
                     std::to_string(proxy.secret.size()));
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
  if (!arg_positive(call, proxy_id)) return refuse(call, "bad_proxy_id", "bad_proxy_id");
  td_request(td, make_remove_proxy(proxy_id), make_tag("proxyRemove", proxy_id));
  reply_ok(call, "SEND removeProxy proxy_id=" + std::to_string(proxy_id));
}

void run_proxy_test_mtproto(CommandCall& call, ProxyState& state, const TdClient& td) {
  run_mtproto(call, state, td, kTest);
}

void run_proxy_try_mtproto(CommandCall& call, ProxyState& state, const TdClient& td) {
  run_mtproto(call, state, td, kTry);
}
