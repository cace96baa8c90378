#include "calls/call_protocol.h"

#include <string_view>
#include <utility>

#include "frame/channels.h"
#include "frame/config.h"
#include "json/text.h"

constexpr std::int64_t kHighestLayer = 1000;
constexpr std::size_t kMostVersions = 32;
constexpr std::size_t kDebugLineVersionBytes = 120;
// Bytes of versions in a log line: what devices offer fits, and what stands behind the list is
// never pushed past the end of the line.
constexpr std::size_t kSummaryVersionBytes = 160;

static void log_environment_once(const std::string& versions, bool force_relay) {
  static bool logged = false;
  if (logged) return;
  logged = true;
  std::string line = "CALL_PROTO_DBG voip=0 tgcalls=0";
  if (!versions.empty()) line += " env_versions=" + versions.substr(0, kDebugLineVersionBytes);
  if (force_relay) line += " force_relay=1";
  dbg(line);
}

static void override_layer(const char* variable, std::int32_t& layer) {
  const std::int64_t value = get_env_i64(variable, -1);
  if (value >= 0 && value <= kHighestLayer) layer = static_cast<std::int32_t>(value);
}

static std::vector<std::string> split_versions(std::string_view list) {
  std::vector<std::string> versions;
  while (!list.empty() && versions.size() < kMostVersions) {
    const std::size_t end = list.find_first_of(",;\t\n\r");
    const std::string_view version = trim(list.substr(0, end));
    if (!version.empty()) versions.emplace_back(version);
    list.remove_prefix(end == std::string_view::npos ? list.size() : end + 1);
  }
  return versions;
}

CallProtocolSpec get_call_protocol_spec() {
  CallProtocolSpec spec;
  const std::string given = get_env("LUMO_CALL_LIBRARY_VERSIONS", "");
  const bool force_relay = get_env_i64("LUMO_FORCE_RELAY", 0) != 0;
  log_environment_once(given, force_relay);
  override_layer("LUMO_CALL_MIN_LAYER", spec.min_layer);
  override_layer("LUMO_CALL_MAX_LAYER", spec.max_layer);
  std::vector<std::string> versions = split_versions(given);
  if (!versions.empty()) spec.library_versions = std::move(versions);
  if (force_relay) {
    spec.udp_p2p = false;
    spec.udp_reflector = true;
  }
  return spec;
}

std::string make_call_protocol(const CallProtocolSpec& spec) {
  std::string object = "{\"@type\":\"callProtocol\"";
  append_bool_member(object, "udp_p2p", spec.udp_p2p);
  append_bool_member(object, "udp_reflector", spec.udp_reflector);
  append_int_member(object, "min_layer", spec.min_layer);
  append_int_member(object, "max_layer", spec.max_layer);
  object += ",\"library_versions\":" + make_json_string_array(spec.library_versions) + "}";
  return object;
}

std::string call_versions_for_log(const std::vector<std::string>& versions) {
  std::string list;
  for (const std::string& version : versions) {
    if (!list.empty() && list.size() + 1 + version.size() > kSummaryVersionBytes) {
      list += ",...";
      break;
    }
    if (!list.empty()) list += ',';
    list.append(version, 0, kSummaryVersionBytes);
  }
  return "[" + list + "]";
}

std::string call_protocol_summary_for_log(const CallProtocolSpec& spec) {
  return "min_layer=" + std::to_string(spec.min_layer) +
         " max_layer=" + std::to_string(spec.max_layer) +
         " versions=" + call_versions_for_log(spec.library_versions);
}
