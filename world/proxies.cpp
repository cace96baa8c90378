// Proxies: a list, one of which may be in use, and pings that take a moment.
#include "world/world.h"

namespace world {

static std::map<Id, std::string> g_proxies;  // their objects
static Id g_enabled_proxy = 0;
static Id g_next_proxy = 2;

// A secret is 16 bytes in hex digits, alone, behind "dd", or behind "ee" and before a name.
static bool is_secret(const std::string& secret) {
  const std::string_view kind = std::string_view(secret).substr(0, 2);
  return is_hex_string_even(secret) &&
         (secret.size() == 32 || (secret.size() == 34 && kind == "dd") ||
          (secret.size() > 34 && kind == "ee"));
}

static std::string check_proxy(const Json& proxy) {
  const Id port = proxy.number("port");
  if (proxy.is_null()) return refuse("Proxy must be non-empty");
  if (proxy.string("server").empty()) return refuse("Server name must be non-empty");
  if (port < 1 || port > 65535) return refuse("Wrong port number");
  const std::string secret = to_lower_ascii(proxy["type"]["secret"].text);
  return is_secret(secret) ? "" : refuse("Wrong proxy secret");
}

static std::string added_text(Id id) {
  return object("addedProxy id is_enabled proxy", {id, id == g_enabled_proxy, g_proxies[id]});
}

static void use_proxy(Id id) {
  if (id == g_enabled_proxy) return;
  g_enabled_proxy = id;
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
  if (std::string error = check_proxy(proxy); !error.empty()) return error;
  const std::string text =
      object("proxy server port type=@proxyTypeMtproto type.secret",
             {proxy.string("server"), proxy.number("port"), proxy["type"].string("secret")});
  const auto known = std::find_if(g_proxies.begin(), g_proxies.end(),
                                  [&](const auto& one) { return one.second == text; });
  const Id id = known != g_proxies.end() ? known->first : g_next_proxy++;
  g_proxies[id] = text;
  if (asked.json.boolean("enable")) use_proxy(id);
  return added_text(id);
}

// Enables, disables or removes.
static std::string change_proxies(Asked& asked) {
  const bool disable = asked.json.type() == "disableProxy";
  const bool remove = asked.json.type() == "removeProxy";
  const Id id = asked.json.number("proxy_id");
  if (!disable && g_proxies.count(id) == 0) return refuse("Unknown proxy identifier");
  if (!remove || id == g_enabled_proxy) use_proxy(remove || disable ? 0 : id);
  if (remove) g_proxies.erase(id);
  return {};
}

static std::string get_proxies(Asked&) {
  const auto text_of = [](const auto& proxy) { return added_text(proxy.first); };
  return object("addedProxies proxies", {array_text(g_proxies, text_of)});
}

static std::string ping_proxy(Asked& asked) {
  const Json& proxy = asked.json["proxy"];
  if (std::string error = check_proxy(proxy); !error.empty()) return error;
  if (!is_online()) return refuse("Connection refused");
  const auto hundredths = static_cast<double>(5 + proxy.string("server").size() % 10);
  return object("seconds seconds", {hundredths / 100});
}

const Requests kProxyRequests = {
    {"addProxy", kNothing, add_proxy, kWithParameters},
    {"enableProxy", kNothing, change_proxies, kWithParameters},
    {"disableProxy", kNothing, change_proxies, kWithParameters},
    {"removeProxy", kNothing, change_proxies, kWithParameters},
    {"getProxies", kNothing, get_proxies, kWithParameters},
    {"pingProxy", kNothing, ping_proxy, kWithParameters},
};

}  // namespace world
