// Proxies: a list, one of which may be in use, and pings that take a moment.
#include "world/requests.h"
#include "world/schema.h"

namespace world {

static std::string proxy_object(const Json& proxy) {
  static const Shape shape("proxy", "server port type");
  static const Shape mtproto("proxyTypeMtproto", "secret");
  static const Shape socks("proxyTypeSocks5", "username password");
  static const Shape http("proxyTypeHttp", "username password http_only");
  const Json& type = proxy["type"];
  std::string kind;
  if (type.type() == "proxyTypeMtproto") kind = mtproto.text({type.string("secret")});
  if (type.type() == "proxyTypeSocks5")
    kind = socks.text({type.string("username"), type.string("password")});
  if (type.type() == "proxyTypeHttp")
    kind = http.text({type.string("username"), type.string("password"), type.boolean("http_only")});
  return shape.text({proxy.string("server"), proxy.number("port"), kind});
}

static bool is_hex(std::string_view text) {
  return text.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos;
}

static std::string check_proxy(const Json& proxy) {
  if (proxy.kind == Json::kNull) return error_text(400, "Proxy must be non-empty");
  if (proxy.string("server").empty()) return error_text(400, "Server name must be non-empty");
  if (proxy.number("port") < 1 || proxy.number("port") > 65535)
    return error_text(400, "Wrong port number");
  if (proxy["type"].kind == Json::kNull) return error_text(400, "Proxy type must be non-empty");
  if (proxy["type"].type() != "proxyTypeMtproto") return {};
  const std::string_view secret = proxy["type"].string("secret");
  const bool plain = secret.size() == 32;
  const bool padded =
      secret.size() == 34 && (secret.substr(0, 2) == "dd" || secret.substr(0, 2) == "DD");
  const bool hidden = secret.size() > 34 && secret.size() % 2 == 0 &&
                      (secret.substr(0, 2) == "ee" || secret.substr(0, 2) == "EE");
  return is_hex(secret) && (plain || padded || hidden) ? std::string()
                                                       : error_text(400, "Wrong proxy secret");
}

static std::string added_text(const Proxy& proxy) {
  static const Shape shape("addedProxy", "id last_used_date is_enabled proxy");
  return shape.text({proxy.id, proxy.used, proxy.id == g_world.enabled_proxy, proxy.text});
}

static Proxy* find_proxy(Id id) {
  for (Proxy& proxy : g_world.proxies) {
    if (proxy.id == id) return &proxy;
  }
  return nullptr;
}

static void tell_connection(std::string_view state) {
  tell("{\"@type\":\"updateConnectionState\",\"state\":{\"@type\":\"" + std::string(state) +
       "\"}}");
}

static void use_proxy(Id id) {
  static const Shape option("updateOption", "name='enabled_proxy_id' value");
  static const Shape number("optionValueInteger", "value");
  if (id == g_world.enabled_proxy) return;
  g_world.enabled_proxy = id;
  tell(option.text({id != 0 ? number.text({id}) : "{\"@type\":\"optionValueEmpty\"}"}));
  if (!is_ready()) return;
  tell_connection(id != 0 ? "connectionStateConnectingToProxy" : "connectionStateConnecting");
  later(0.3, [] {
    tell_connection(g_world.connection == "connectionStateReady" ? "connectionStateUpdating"
                                                                 : g_world.connection);
    if (g_world.connection == "connectionStateReady") tell_connection("connectionStateReady");
  });
}

std::string add_proxy(const Json& request) {
  std::string error = check_proxy(request["proxy"]);
  if (!error.empty()) return error;
  const std::string text = proxy_object(request["proxy"]);
  Id id = 0;
  for (const Proxy& known : g_world.proxies) {
    if (known.text == text) id = known.id;
  }
  if (id == 0) {
    id = g_world.next_proxy++;
    g_world.proxies.push_back({id, 0, text});
  }
  if (request.boolean("enable")) use_proxy(id);
  return added_text(*find_proxy(id));
}

std::string enable_proxy(const Json& request) {
  if (find_proxy(request.number("proxy_id")) == nullptr)
    return error_text(400, "Unknown proxy identifier");
  use_proxy(request.number("proxy_id"));
  return ok_text();
}

std::string disable_proxy(const Json&) {
  use_proxy(0);
  return ok_text();
}

std::string remove_proxy(const Json& request) {
  const Id id = request.number("proxy_id");
  if (find_proxy(id) == nullptr) return error_text(400, "Unknown proxy identifier");
  if (id == g_world.enabled_proxy) use_proxy(0);
  for (std::size_t i = 0; i < g_world.proxies.size(); ++i) {
    if (g_world.proxies[i].id == id)
      g_world.proxies.erase(g_world.proxies.begin() + static_cast<std::ptrdiff_t>(i));
  }
  return ok_text();
}

std::string get_proxies(const Json&) {
  static const Shape shape("addedProxies", "proxies");
  std::string list = "[";
  for (const Proxy& proxy : g_world.proxies) {
    if (list.size() > 1) list += ',';
    list += added_text(proxy);
  }
  return shape.text({list + "]"});
}

std::string ping_proxy(const Json& request) {
  static const Shape shape("seconds", "seconds");
  const Json& proxy = request["proxy"];
  if (proxy.kind != Json::kNull) {
    std::string error = check_proxy(proxy);
    if (!error.empty()) return error;
  }
  if (g_world.connection != "connectionStateReady") return error_text(400, "Connection refused");
  return shape.text({0.05 + static_cast<double>(proxy.string("server").size() % 10) / 100});
}

}  // namespace world
