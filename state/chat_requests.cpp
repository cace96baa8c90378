#include "state/chat_requests.h"

#include "frame/tdlib.h"

std::string make_get_chat(std::int64_t chat_id) {
  return make_id_request("getChat", "chat_id", chat_id);
}

std::string make_get_basic_group(std::int64_t basic_group_id) {
  return make_id_request("getBasicGroup", "basic_group_id", basic_group_id);
}

std::string make_get_supergroup(std::int64_t supergroup_id) {
  return make_id_request("getSupergroup", "supergroup_id", supergroup_id);
}
