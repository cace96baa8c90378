#include "state/membership.h"

#include "frame/channels.h"
#include "json/scan.h"
#include "json/text.h"
#include "json/walk.h"
#include "state/chat_requests.h"

constexpr std::string_view kStatusPrefix = "chatMemberStatus";

// "Left", "Member" and so on.
static std::string_view status_word(std::string_view status_json) {
  const std::string_view type = object_type(status_json);
  return json_starts_with(type, kStatusPrefix) ? type.substr(kStatusPrefix.size())
                                               : std::string_view();
}

// Restricted members and creators may stand outside of their group.
static bool is_outside(std::string_view status_json) {
  return object_member(status_json, "is_member") == "false";
}

bool chat_member_status_is_member(std::string_view status_json) {
  const std::string_view word = status_word(status_json);
  if (word == "Left" || word == "Banned") return false;
  if (word == "Restricted" || word == "Creator") return !is_outside(status_json);
  return true;
}

std::string chat_member_status_kind(std::string_view status_json) {
  const std::string_view word = status_word(status_json);
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

void send_member_check(const TdClient& td, MemberFlow flow, const ChatDescription& chat) {
  const bool live = flow == MemberFlow::kLive;
  const bool basic = chat.type == "basic_group";
  std::string line = live ? "LIVE_MEMBER_CHECK chat_id=" : "MEMBER_CHECK chat_id=";
  append_i64(line, chat.id);
  line += " chat_type=" + chat.type + " group_id=";
  append_i64(line, chat.group_id);
  if (!chat.title.empty()) line += " title=" + chat.title;
  dbg(line);
  std::string tag = make_tag(live ? "liveMember" : "member", chat.id);
  tag += basic ? ":bg:" : ":sg:";
  append_i64(tag, chat.group_id);
  td_request(td, basic ? make_get_basic_group(chat.group_id) : make_get_supergroup(chat.group_id),
             tag);
}

MemberTag read_member_tag(std::string_view fields) {
  MemberTag tag;
  tag.chat_id = next_field_i64(fields);
  tag.kind = next_field(fields);
  tag.group_id = next_field_i64(fields);
  return tag;
}

bool is_check_of(const MemberTag& tag, const ChatDescription& chat) {
  const std::string_view kind = chat.type == "basic_group" ? "bg" : "sg";
  return tag.chat_id == chat.id && tag.group_id == chat.group_id && tag.kind == kind;
}

void log_chat_filtered(const ChatDescription& chat, std::string_view reason) {
  std::string line = "CHAT_FILTERED chat_id=";
  append_i64(line, chat.id);
  line += " chat_type=" + chat.type + " title=" + chat.title + " reason=";
  line += reason;
  dbg(line);
}

void log_member_error(MemberFlow flow, std::int64_t chat_id, const TdError& error) {
  std::string line =
      flow == MemberFlow::kLive ? "LIVE_MEMBER_ERROR chat_id=" : "MEMBER_CHECK_ERROR chat_id=";
  append_i64(line, chat_id);
  line += " code=";
  append_i64(line, error.code);
  line += " msg=" + error.message + " fallback=show";
  dbg(line);
}
