#include "proxy/proxy_requests.h"

#include "frame/tdlib.h"
#include "json/text.h"

std::string make_get_proxies() { return "{\"@type\":\"getProxies\"}"; }

std::string make_disable_proxy() { return "{\"@type\":\"disableProxy\"}"; }

std::string make_remove_proxy(std::int64_t proxy_id) {
  return make_id_request("removeProxy", "proxy_id", proxy_id);
}

static std::string make_proxy(const MtprotoProxy& proxy) {
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

std::string make_add_proxy(const MtprotoProxy& proxy) {
  return "{\"@type\":\"addProxy\",\"proxy\":" + make_proxy(proxy) + ",\"enable\":true}";
}
