#include "state/membership.h"

#include "frame/channels.h"
#include "json/scan.h"
#include "json/text.h"
#include "json/walk.h"

constexpr std::string_view kStatusPrefix = "chatMemberStatus";

// "Left", "Member" and so on.
static std::string_view membership_word(std::string_view status_json) {
  const std::string_view type = object_type(status_json);
  return json_starts_with(type, kStatusPrefix) ? type.substr(kStatusPrefix.size())
                                               : std::string_view();
}

// Restricted members and creators may stand outside of their group.
static bool is_outside(std::string_view status_json) {
  return object_member(status_json, "is_member") == "false";
}

bool chat_member_status_is_member(std::string_view status_json) {
  const std::string_view word = membership_word(status_json);
  if (word == "Left" || word == "Banned") return false;
  if (word == "Restricted" || word == "Creator") return !is_outside(status_json);
  return true;
}

std::string chat_member_status_kind(std::string_view status_json) {
  const std::string_view word = membership_word(status_json);
  if (word == "Restricted" && is_outside(status_json)) return "restricted_non_member";
  for (const std::string_view known :
       {"Creator", "Administrator", "Member", "Restricted", "Left", "Banned"}) {
    if (word == known) return to_lower_ascii(std::string(word));
  }
  return "unknown";
}

std::string_view group_status(std::string_view group_json) {
  return member_object(group_json, "status");
}

std::string make_get_basic_group(std::int64_t basic_group_id) {
  return make_id_request("getBasicGroup", "basic_group_id", basic_group_id);
}

std::string make_get_supergroup(std::int64_t supergroup_id) {
  return make_id_request("getSupergroup", "supergroup_id", supergroup_id);
}

// What differs between the flows.
struct FlowWords {
  std::string_view tag;
  std::string_view check;
  std::string_view error;
  std::string_view not_member;
};
static constexpr FlowWords kFlowWords[kMemberFlows] = {
    {"member", "MEMBER_CHECK", "MEMBER_CHECK_ERROR", "not_member"},
    {"liveMember", "LIVE_MEMBER_CHECK", "LIVE_MEMBER_ERROR", "not_member_live"},
};

static const FlowWords& words_of(MemberFlow flow) {
  return kFlowWords[static_cast<std::size_t>(flow)];
}

static std::string begin_line(std::string_view word, std::int64_t chat_id) {
  std::string line(word);
  line += " chat_id=";
  append_i64(line, chat_id);
  return line;
}

void send_member_check(const TdClient& td, MemberFlow flow, const ChatDescription& chat) {
  const bool basic = chat.type == "basic_group";
  std::string line = begin_line(words_of(flow).check, chat.id);
  line += " chat_type=" + chat.type + " group_id=";
  append_i64(line, chat.group_id);
  if (!chat.title.empty()) line += " title=" + chat.title;
  dbg(line);
  std::string tag = make_tag(words_of(flow).tag, chat.id);
  tag += basic ? ":bg:" : ":sg:";
  append_i64(tag, chat.group_id);
  td_request(td, basic ? make_get_basic_group(chat.group_id) : make_get_supergroup(chat.group_id),
             tag);
}

MemberTag read_member_tag(std::string_view tag) {
  MemberTag read;
  if (next_field(tag) == words_of(MemberFlow::kLive).tag) read.flow = MemberFlow::kLive;
  read.chat_id = next_field_i64(tag);
  read.kind = next_field(tag);
  read.group_id = next_field_i64(tag);
  return read;
}

bool is_check_of(const MemberTag& tag, const ChatDescription& chat) {
  const std::string_view kind = chat.type == "basic_group" ? "bg" : "sg";
  return tag.chat_id == chat.id && tag.group_id == chat.group_id && tag.kind == kind;
}

void log_member_status(MemberFlow flow, std::int64_t chat_id, std::string_view status) {
  if (flow != MemberFlow::kLive) return;
  dbg(begin_line("LIVE_MEMBER_STATUS", chat_id) + " status=" + chat_member_status_kind(status) +
      " member=" + (chat_member_status_is_member(status) ? "1" : "0"));
}

void log_member_error(MemberFlow flow, std::int64_t chat_id, const TdError& error) {
  std::string line = begin_line(words_of(flow).error, chat_id);
  line += " code=";
  append_i64(line, error.code);
  line += " msg=" + error.message + " fallback=show";
  dbg(line);
}

static void log_filtered(const ChatDescription& chat, std::string_view reason) {
  std::string line = begin_line("CHAT_FILTERED", chat.id);
  line += " chat_type=" + chat.type + " title=" + chat.title + " reason=";
  line += reason;
  dbg(line);
}

void log_chat_filtered(MemberFlow flow, const ChatDescription& chat) {
  log_filtered(chat, words_of(flow).not_member);
}

void log_chat_filtered_before(const ChatDescription& chat) {
  log_filtered(chat, "not_member_live_cached");
}
