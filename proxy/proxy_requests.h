// TDLib's proxy requests, without their tags.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// Views are the caller's. The secret goes to TDLib as it was given and nowhere else.
struct MtprotoProxy {
  std::string_view server;
  std::int64_t port = 0;
  std::string_view secret;  // hex, base64, URL-safe base64 or anything else
};

std::string make_get_proxies();
std::string make_disable_proxy();
std::string make_remove_proxy(std::int64_t proxy_id);
std::string make_ping_proxy(const MtprotoProxy& proxy);
// Adds the proxy and switches it on.
std::string make_add_proxy(const MtprotoProxy& proxy);
