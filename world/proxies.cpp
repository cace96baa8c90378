// Proxies: a list, one of which may be in use, and pings that take a moment.
#include <algorithm>

#include "world/world.h"

namespace world {

static std::string type_text(const Json& type) {
  if (type.type() == "proxyTypeMtproto")
    return object("proxyTypeMtproto secret", {type.string("secret")});
  const std::string_view name = type.string("username"), password = type.string("password");
  if (type.type() == "proxyTypeSocks5")
    return object("proxyTypeSocks5 username password", {name, password});
  return object("proxyTypeHttp username password http_only",
                {name, password, type.boolean("http_only")});
}

// A secret is 16 bytes in hex digits, alone, behind "dd", or behind "ee" and before a name.
static bool is_secret(const std::string& secret) {
  if (secret.find_first_not_of("0123456789abcdef") != std::string::npos) return false;
  const std::string_view kind = std::string_view(secret).substr(0, 2);
  return secret.size() == 32 || (secret.size() == 34 && kind == "dd") ||
         (secret.size() > 34 && secret.size() % 2 == 0 && kind == "ee");
}

static std::string check_proxy(const Json& proxy) {
  const Id port = proxy.number("port");
  const Json& type = proxy["type"];
  if (proxy.is_null()) return refuse("Proxy must be non-empty");
  if (proxy.string("server").empty()) return refuse("Server name must be non-empty");
  if (port < 1 || port > 65535) return refuse("Wrong port number");
  if (type.is_null()) return refuse("Proxy type must be non-empty");
  if (type.type() == "proxyTypeMtproto" && !is_secret(lower(type.string("secret"))))
    return refuse("Wrong proxy secret");
  return {};
}

static std::string added_text(const Proxy& proxy) {
  return object("addedProxy id is_enabled proxy",
                {proxy.id, proxy.id == g_world.enabled_proxy, proxy.text});
}

static Proxy* find_proxy(Id id) {
  const auto found = std::find_if(g_world.proxies.begin(), g_world.proxies.end(),
                                  [&](const Proxy& proxy) { return proxy.id == id; });
  return found == g_world.proxies.end() ? nullptr : &*found;
}

static void use_proxy(Id id) {
  if (id == g_world.enabled_proxy) return;
  g_world.enabled_proxy = id;
  tell("updateOption name='enabled_proxy_id' value",
       {id != 0 ? object("optionValueInteger value", {id}) : object("optionValueEmpty")});
  if (!is_ready()) return;
  tell_connection(id != 0 ? "connectionStateConnectingToProxy" : "connectionStateConnecting");
  later(0.3, [] {
    if (is_online()) tell_connection("connectionStateUpdating");
    tell_connection(g_world.connection);
  });
}

static std::string add_proxy(Asked& asked) {
  const Json& proxy = asked.json["proxy"];
  const std::string error = check_proxy(proxy);
  if (!error.empty()) return error;
  const std::string text =
      object("proxy server port type",
             {proxy.string("server"), proxy.number("port"), type_text(proxy["type"])});
  auto& all = g_world.proxies;
  const auto known =
      std::find_if(all.begin(), all.end(), [&](const Proxy& other) { return other.text == text; });
  const Id id = known != all.end() ? known->id : g_world.next_proxy++;
  if (known == all.end()) all.push_back({id, text});
  if (asked.json.boolean("enable")) use_proxy(id);
  return added_text(*find_proxy(id));
}

static std::string enable_proxy(Asked& asked) {
  const Id id = asked.json.number("proxy_id");
  if (find_proxy(id) == nullptr) return refuse("Unknown proxy identifier");
  use_proxy(id);
  return ok_text();
}

static std::string disable_proxy(Asked&) {
  use_proxy(0);
  return ok_text();
}

static std::string remove_proxy(Asked& asked) {
  const Id id = asked.json.number("proxy_id");
  const Proxy* proxy = find_proxy(id);
  if (proxy == nullptr) return refuse("Unknown proxy identifier");
  if (id == g_world.enabled_proxy) use_proxy(0);
  g_world.proxies.erase(g_world.proxies.begin() + (proxy - g_world.proxies.data()));
  return ok_text();
}

static std::string get_proxies(Asked&) {
  List list;
  for (const Proxy& proxy : g_world.proxies) list.next() += added_text(proxy);
  return object("addedProxies proxies", {list.done()});
}

static std::string ping_proxy(Asked& asked) {
  const Json& proxy = asked.json["proxy"];
  const std::string error = proxy.is_null() ? "" : check_proxy(proxy);
  if (!error.empty()) return error;
  if (!is_online()) return refuse("Connection refused");
  const auto hundredths = static_cast<double>(5 + proxy.string("server").size() % 10);
  return object("seconds seconds", {hundredths / 100});
}

const Requests kProxyRequests = {
    {"addProxy", kUnloggedIn, add_proxy},         {"enableProxy", kUnloggedIn, enable_proxy},
    {"disableProxy", kUnloggedIn, disable_proxy}, {"removeProxy", kUnloggedIn, remove_proxy},
    {"getProxies", kUnloggedIn, get_proxies},     {"pingProxy", kUnloggedIn, ping_proxy},
};

}  // namespace world
