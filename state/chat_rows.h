// How TDLib's chat objects become rows of the UI's list: from a page of the chat list
// (state/chat_loads.h) or a single fetch (ensure_chat_known in state/chats.h), for a group once its
// membership is known (state/membership.h). A single fetch stands in its record as fetch_pending
// until one of these functions ends it. Main thread only.
#pragma once

#include <string_view>

#include "frame/answer.h"
#include "state/chats.h"

// Every chat object that TDLib shows unasked, or for another purpose, goes through here: fills its
// record, and settles a notification that waited for it. The id, 0 when there is no chat object.
std::int64_t record_chat(ChatTable& table, std::string_view chat_json);

// Reads a chat object into its record and describes it; `chat_id` is the chat that was asked for.
// False when the text holds no chat or another one, which is recorded all the same.
bool take_chat_object(ChatTable& table, std::string_view text, std::int64_t chat_id,
                      ChatDescription& row);
// Writes the "chat" event: the account is taken to be a member, and a notification that waited for
// the chat is settled.
void show_chat(ChatTable& table, const ChatDescription& chat);

// Answers to "getChat:".
void take_list_chat(Answer& answer, ChatTable& table, const TdClient& td);
void drop_list_chat(TdError& error, ChatTable& table, const TdClient& td);
// Answers to "liveGetChat:".
void take_live_chat(Answer& answer, ChatTable& table, const TdClient& td);
void drop_live_chat(TdError& error, ChatTable& table);
// Answers to "member:" and "liveMember:". A question that failed counts as yes.
void take_member(Answer& answer, ChatTable& table, const TdClient& td);
void take_member_error(TdError& error, ChatTable& table, const TdClient& td);

// "updateBasicGroup" and "updateSupergroup" of a group whose chat is known: one that this account
// has left is hidden from then on, one that it has joined again is fetched and shown.
void on_basic_group(ChatTable& table, const TdClient& td, std::string_view text);
void on_supergroup(ChatTable& table, const TdClient& td, std::string_view text);
