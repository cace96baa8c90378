// Whether this account is a member of a group or channel, which decides whether the UI sees its
// chat, and the question that TDLib is asked about it before a row is shown (state/chat_rows.h).
// Main thread only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>

#include "frame/answer.h"
#include "frame/tdlib.h"
#include "state/chat_object.h"

// The two ways in which rows come: pages of the chat list (state/chat_loads.h) and single fetches.
enum class MemberFlow : unsigned char { kPaging, kLive };
constexpr std::size_t kMemberFlows = 2;

// A row that waits for its verdict. Several loads of the chat list may wait for the same chat:
// they share one question, and each gets its row.
struct PendingMemberCheck {
  ChatDescription chat;         // as seen last
  std::set<std::int64_t> gens;  // of those loads; a single fetch has none
};

// False for those who left, were banned, or are restricted or creators without being inside.
bool chat_member_status_is_member(std::string_view status_json);
// "creator", "administrator", "member", "restricted", "restricted_non_member", "left", "banned"
// or "unknown".
std::string chat_member_status_kind(std::string_view status_json);
// The "status" of a basicGroup or supergroup object.
std::string_view group_status(std::string_view group_json);

std::string make_get_basic_group(std::int64_t basic_group_id);
std::string make_get_supergroup(std::int64_t supergroup_id);

// Logs and sends the question for a chat with a group id.
void send_member_check(const TdClient& td, MemberFlow flow, const ChatDescription& chat);

// The question that an answer, or an error, is for.
struct MemberTag {
  MemberFlow flow = MemberFlow::kPaging;
  std::int64_t chat_id = 0;
  std::string_view kind;  // "bg" or "sg"
  std::int64_t group_id = 0;
};
MemberTag read_member_tag(std::string_view tag);
// True when it is the question that was asked about the chat.
bool is_check_of(const MemberTag& tag, const ChatDescription& chat);

void log_member_status(MemberFlow flow, std::int64_t chat_id, std::string_view status);
void log_member_error(MemberFlow flow, std::int64_t chat_id, const TdError& error);
// "CHAT_FILTERED ...": a verdict of no.
void log_chat_filtered(MemberFlow flow, const ChatDescription& chat);
// The same for a chat whose verdict was known before it was asked for.
void log_chat_filtered_before(const ChatDescription& chat);
