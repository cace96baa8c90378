#include "commands/device.h"

#include <string>

#include "auth/auth_requests.h"
#include "frame/channels.h"
#include "json/text.h"
#include "json/walk.h"

namespace {

constexpr std::string_view kNetworkTypes[][2] = {
    {"none", "networkTypeNone"},
    {"mobile", "networkTypeMobile"},
    {"roaming", "networkTypeMobileRoaming"},
    {"wifi", "networkTypeWiFi"},
    {"other", "networkTypeOther"},
};

constexpr std::int64_t kLibrarysOwn = -1;          // a limit that the library knows itself
constexpr std::int64_t kMostSeconds = 2147483647;  // it takes the age as 32 bits

std::string_view network_type(std::string_view word) {
  for (const auto& type : kNetworkTypes) {
    if (word == type[0]) return type[1];
  }
  return {};
}

std::string make_set_network_type(std::string_view type) {
  std::string request = "{\"@type\":\"setNetworkType\",\"type\":{\"@type\":\"";
  request += type;
  request += "\"}}";
  return request;
}

std::string make_optimize_storage(std::int64_t size, std::int64_t ttl) {
  std::string request = "{\"@type\":\"optimizeStorage\"";
  append_int_member(request, "size", size);
  append_int_member(request, "ttl", ttl);
  request +=
      ",\"count\":-1,\"immunity_delay\":-1,\"file_types\":[],\"chat_ids\":[],"
      "\"exclude_chat_ids\":[],\"return_deleted_file_statistics\":false,\"chat_limit\":0}";
  return request;
}

// A limit of at least 0 that may be left out.
bool arg_limit(CommandCall& call, std::int64_t& limit) {
  const std::string_view piece = next_arg(call);
  return piece.empty() || (parse_i64(piece, limit) && limit >= 0);
}

void request_storage(const TdClient& td) {
  td_request(td, "{\"@type\":\"getStorageStatisticsFast\"}", "storage");
}

}  // namespace

void run_network(CommandCall& call, const TdClient& td) {
  const std::string_view type = network_type(next_arg(call));
  if (type.empty()) return refuse_usage(call);
  td_request(td, make_set_network_type(type), "network");
  reply_ok(call, "SEND setNetworkType");
}

void run_active(CommandCall& call, const TdClient& td) {
  const std::string_view flag = next_arg(call);
  if (flag != "0" && flag != "1") return refuse_usage(call);
  td_request(td, make_set_option_bool("online", flag == "1"), "active");
  reply_ok(call, "SEND setOption online");
}

void run_storage(const CommandCall& call, const TdClient& td) {
  request_storage(td);
  reply_ok(call, "SEND getStorageStatisticsFast");
}

void run_storage_clean(CommandCall& call, const TdClient& td) {
  std::int64_t max_bytes = kLibrarysOwn;
  std::int64_t max_age_s = kLibrarysOwn;
  if (!arg_limit(call, max_bytes) || !arg_limit(call, max_age_s)) return refuse_usage(call);
  if (!gate_open(call)) return;
  if (max_age_s > kMostSeconds) max_age_s = kMostSeconds;
  td_request(td, make_optimize_storage(max_bytes, max_age_s), "storageClean");
  reply_ok(call, "SEND optimizeStorage");
}

void on_storage(Answer& answer) {
  static constexpr std::string_view kFigures[] = {"files_size", "file_count", "database_size",
                                                  "log_size"};
  std::string event = begin_event("storage");
  for (const std::string_view figure : kFigures) {
    append_int_member(event, figure, member_int64(answer.text, figure, 0));
  }
  end_event(event);
}

void on_storage_cleaned(const TdClient& td) { request_storage(td); }
