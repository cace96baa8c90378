// "chat_info" and "user_info". "chat_info" is told in pieces, each event with what one answer
// brought; the UI merges the events of one chat.
#pragma once

#include "commands/call.h"
#include "frame/answer.h"
#include "state/chats.h"

void run_chat_info(CommandCall& call, const TdClient& td);
// Tells the chat and asks for its user or group.
void on_chat_info(const Answer& answer, ChatTable& chats, const TdClient& td);
void on_chat_info_error(const TdError& error);
// The follow-ups: users, groups (which also tell about membership) and what is more about them.
void on_chat_info_user(const Answer& answer);
void on_chat_info_user_full(const Answer& answer);
void on_chat_info_group(const Answer& answer, ChatTable& chats);
void on_chat_info_group_full(const Answer& answer);

void run_user_info(CommandCall& call, const TdClient& td);
void on_user_info(const Answer& answer);
void on_user_info_full(const Answer& answer);
void on_user_info_error();
