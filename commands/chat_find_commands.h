// "resolve" and "open_user_chat": from a name or a user to a chat.
#pragma once

#include "commands/call.h"
#include "frame/answer.h"
#include "state/chats.h"

void run_resolve(CommandCall& call, const TdClient& td);
void on_resolve(const Answer& answer, ChatTable& chats);
void on_resolve_error(const TdError& error);

// Answered at once where the private chat with the user is known.
void run_open_user_chat(CommandCall& call, const ChatTable& chats, const TdClient& td);
void on_open_user_chat(const Answer& answer, ChatTable& chats);
void on_open_user_chat_error(const TdError& error);
