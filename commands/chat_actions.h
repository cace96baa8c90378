// What acts on a whole chat: "join", "leave", "clear_history", "delete_chat". TDLib's "ok" tells
// nothing but the request's tag, so the chat comes from there.
#pragma once

#include "frame/answer.h"
#include "frame/command.h"
#include "state/chats.h"

void run_join(CommandCall& call, const TdClient& td);
void on_joined(Answer& answer, ChatTable& chats);

void run_leave(CommandCall& call, const TdClient& td);
void on_left(Answer& answer, ChatTable& chats);

void run_clear_history(CommandCall& call, const TdClient& td);
void on_history_cleared(Answer& answer);

// A chat that this account has left is removed without asking, for TDLib would refuse.
void run_delete_chat(CommandCall& call, ChatTable& chats, const TdClient& td);
void on_chat_deleted(Answer& answer, ChatTable& chats);
void on_delete_chat_error(const TdError& error, ChatTable& chats);
