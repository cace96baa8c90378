// From a name or a user to a chat ("resolve", "open_user_chat"), and what is known of a chat or a
// user ("chat_info", "user_info"). "chat_info" is told in pieces, each event with what one answer
// brought; the UI merges the events of one chat. Main thread only.
#pragma once

#include "frame/answer.h"
#include "frame/command.h"
#include "state/chats.h"

void run_resolve(CommandCall& call, const TdClient& td);
void on_resolve(Answer& answer, ChatTable& chats);

// Answered at once where the private chat with the user is known.
void run_open_user_chat(CommandCall& call, const ChatTable& chats, const TdClient& td);
void on_open_user_chat(Answer& answer, ChatTable& chats);

void run_chat_info(CommandCall& call, const TdClient& td);
// Tells the chat and asks for its user or group.
void on_chat_info(Answer& answer, ChatTable& chats, const TdClient& td);
// The follow-ups: users, groups (which also tell about membership) and what is more about them.
void on_chat_info_user(Answer& answer);
void on_chat_info_user_full(Answer& answer);
void on_chat_info_group(Answer& answer, ChatTable& chats);
void on_chat_info_group_full(Answer& answer);

void run_user_info(CommandCall& call, const TdClient& td);
void on_user_info(Answer& answer);
void on_user_info_full(Answer& answer);
