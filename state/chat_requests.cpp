#include "state/chat_requests.h"

#include "json/text.h"

static std::string make_request(std::string_view method, std::string_view key, std::int64_t id) {
  std::string request = "{\"@type\":\"";
  request += method;
  request += '"';
  append_int_member(request, key, id);
  request += '}';
  return request;
}

std::string make_get_chat(std::int64_t chat_id) {
  return make_request("getChat", "chat_id", chat_id);
}

std::string make_get_basic_group(std::int64_t basic_group_id) {
  return make_request("getBasicGroup", "basic_group_id", basic_group_id);
}

std::string make_get_supergroup(std::int64_t supergroup_id) {
  return make_request("getSupergroup", "supergroup_id", supergroup_id);
}
