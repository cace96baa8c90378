// A chat that an update names and the UI was never told of is fetched by itself (ensure_chat_known
// in state/chats.h): its chat object, for a group its membership, then its row. The record's
// fetch_pending stands until one of these functions ends the fetch. Main thread only.
#pragma once

#include "frame/answer.h"
#include "state/chats.h"

// Answers to "liveGetChat:" and what ends the fetch without one.
void take_live_chat(ChatTable& table, const TdClient& td, const Answer& answer);
void drop_live_chat(ChatTable& table, std::int64_t chat_id);
// Answers to "liveMember:".
void take_live_member(ChatTable& table, const Answer& answer);
void take_live_member_error(ChatTable& table, const TdError& error);
