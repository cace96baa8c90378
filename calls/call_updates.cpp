#include "calls/call_updates.h"

#include <string>
#include <vector>

#include "calls/call_protocol.h"
#include "frame/channels.h"
#include "frame/protocol.h"
#include "json/scan.h"
#include "json/text.h"
#include "json/walk.h"
#include "state/users.h"

namespace {

constexpr std::string_view kErrorState = "callStateError";

struct CallReport {
  std::int64_t id = -1;
  std::int64_t user_id = -1;
  bool outgoing = false;
  bool video = false;
  std::string_view state;  // the object
  std::string state_name;
  std::int64_t error_code = -1;  // of an error state, as is the message
  std::string error_message;
};

CallReport read_call(std::string_view text) {
  const std::string_view call = extract_json_object_field_raw(text, "call");
  CallReport report;
  report.id = member_int(call, "id");
  report.user_id = member_int(call, "user_id");
  report.outgoing = member_true(call, "is_outgoing");
  report.video = member_true(call, "is_video");
  report.state = member_object(call, "state");
  report.state_name = member_string(report.state, "@type");
  if (report.state_name == kErrorState) {
    const std::string_view error = member_object(report.state, "error");
    report.error_code = member_int(error, "code");
    report.error_message = member_string(error, "message");
  }
  return report;
}

void append_peer_members(std::string& event, const ChatTable& chats, std::int64_t user_id) {
  if (user_id < 1) return;
  append_int_member(event, "user_id", user_id);
  const std::int64_t chat_id = private_chat_of(chats, user_id);
  if (chat_id >= 1) {
    append_int_member(event, "chat_id", chat_id);
    const std::string_view title = chat_title(chats, chat_id);
    if (!title.empty()) append_string_member(event, "chat_title", title);
  }
  const UserInfo* user = find_user(user_id);
  const std::string name = user == nullptr ? std::string() : user_display_name(*user);
  if (!name.empty()) append_string_member(event, "user_name", name);
}

std::string_view discard_reason(std::string_view state) {
  static constexpr std::string_view kReasons[][2] = {
      {"callDiscardReasonMissed", "missed"},  {"callDiscardReasonDeclined", "declined"},
      {"callDiscardReasonHungUp", "hung_up"}, {"callDiscardReasonDisconnected", "disconnected"},
      {"callDiscardReasonEmpty", "empty"},
  };
  const std::string_view type = object_type(member_object(state, "reason"));
  for (const auto& reason : kReasons) {
    if (type == reason[0]) return reason[1];
  }
  return {};
}

// What level 2 adds.
void append_call_details(std::string& event, const CallReport& report) {
  if (report.video) append_bool_member(event, "is_video", true);
  if (report.state_name != "callStateDiscarded") return;
  const std::string_view reason = discard_reason(report.state);
  if (!reason.empty()) append_string_member(event, "reason", reason);
}

void emit_call_update_event(const ChatTable& chats, const CallReport& report) {
  std::string event = begin_event("call_update");
  append_int_member(event, "call_id", report.id);
  append_peer_members(event, chats, report.user_id);
  append_bool_member(event, "outgoing", report.outgoing);
  if (!report.state_name.empty()) append_string_member(event, "state", report.state_name);
  if (report.state_name == kErrorState) {
    append_int_member(event, "code", report.error_code);
    if (!report.error_message.empty()) {
      append_string_member(event, "message", report.error_message);
    }
  }
  if (at_level2()) append_call_details(event, report);
  end_event(event);
}

struct ServerCounts {
  unsigned all = 0;
  unsigned reflector = 0;
  unsigned webrtc = 0;
};

ServerCounts count_servers(std::string_view state) {
  constexpr unsigned kMostServers = 32;
  ServerCounts counts;
  ArrayWalk walk{member_array(state, "servers")};
  for (std::string_view server; counts.all < kMostServers && next_element(walk, server);) {
    if (!is_object(server)) continue;
    ++counts.all;
    const std::string_view type = object_type(member_object(server, "type"));
    if (type == "callServerTypeTelegramReflector") ++counts.reflector;
    if (type == "callServerTypeWebrtc") ++counts.webrtc;
  }
  return counts;
}

void log_ready_call(const CallReport& report) {
  const std::string_view protocol = member_object(report.state, "protocol");
  std::vector<std::string> versions = extract_json_string_array_field(protocol, "library_versions");
  if (versions.empty()) versions = extract_json_string_array_field(protocol, "libraryVersions");
  const ServerCounts servers = count_servers(report.state);
  dbg("CALL_READY call_id=" + std::to_string(report.id) +
      " min_layer=" + std::to_string(member_int(protocol, "min_layer")) +
      " max_layer=" + std::to_string(member_int(protocol, "max_layer")) +
      " versions=" + call_versions_for_log(versions) + " servers=" + std::to_string(servers.all) +
      " reflector=" + std::to_string(servers.reflector) +
      " webrtc=" + std::to_string(servers.webrtc) +
      " other=" + std::to_string(servers.all - servers.reflector - servers.webrtc));
}

void log_failed_call(const CallReport& report) {
  dbg("CALL_ERROR call_id=" + std::to_string(report.id) +
      " code=" + std::to_string(report.error_code) + " msg=" + report.error_message);
  if (report.error_message == "CALL_PROTOCOL_COMPAT_LAYER_INVALID") {
    dbg("CALL_ERROR_HINT compat_layer_invalid: peer likely doesn't support libtgvoip-only "
        "protocol; may require tgcalls/webrtc");
  }
}

}  // namespace

void on_update_call(const ChatTable& chats, std::string_view text) {
  const CallReport report = read_call(text);
  if (report.id < 1) return;
  emit_call_update_event(chats, report);
  if (report.state_name == "callStateReady") log_ready_call(report);
  if (report.state_name == kErrorState) log_failed_call(report);
}

void on_update_new_call_signaling_data(std::string_view text) {
  std::string event = begin_event("call_signaling");
  append_int_member(event, "call_id", extract_json_int_field(text, "call_id"));
  const std::size_t length = extract_json_string_field(text, "data").size();
  append_int_member(event, "b64_len", static_cast<std::int64_t>(length));
  end_event(event);
}
