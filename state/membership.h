// Whether this account is a member of a group or channel, which decides whether the UI sees its
// chat. The question goes to TDLib before a row is shown, by the two ways in which rows come: the
// chat list's pages (state/chat_loads.h) and single fetches (state/live_chats.h). Main thread only.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "frame/answer.h"
#include "frame/tdlib.h"
#include "state/chat_object.h"

// A row that waits for its verdict. Several loads of the chat list may wait for the same chat:
// they share one question, and each gets its row.
struct PendingChatMemberCheck {
  ChatDescription chat;  // as seen last
  std::vector<std::int64_t> gens;
};
struct PendingLiveMemberCheck {
  ChatDescription chat;
};

enum class MemberFlow { kPaging, kLive };

// False for those who left, were banned, or are restricted or creators without being inside.
bool chat_member_status_is_member(std::string_view status_json);
// "creator", "administrator", "member", "restricted", "restricted_non_member", "left", "banned"
// or "unknown".
std::string chat_member_status_kind(std::string_view status_json);
// The "status" of a basicGroup or supergroup object.
std::string_view group_status(std::string_view group_json);

// Logs and sends the question for a chat with a group id.
void send_member_check(const TdClient& td, MemberFlow flow, const ChatDescription& chat);

struct MemberTag {
  std::int64_t chat_id = 0;
  std::string_view kind;  // "bg" or "sg"
  std::int64_t group_id = 0;
};
// The question that an answer's tag names.
MemberTag read_member_tag(std::string_view fields);
// True when it is the question that was asked about the chat.
bool is_check_of(const MemberTag& tag, const ChatDescription& chat);

// "CHAT_FILTERED ..." with "not_member", "not_member_live" or "not_member_live_cached".
void log_chat_filtered(const ChatDescription& chat, std::string_view reason);
void log_member_error(MemberFlow flow, std::int64_t chat_id, const TdError& error);
