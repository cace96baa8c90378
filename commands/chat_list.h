// "chats", and what else comes of fetching chat rows (state/chat_loads.h, state/chat_rows.h).
#pragma once

#include "frame/answer.h"
#include "frame/command.h"
#include "state/chats.h"

void run_chats(CommandCall& call, ChatTable& chats, const TdClient& td);
// Level 2: the next rows. Asks the library to load them, then for its list.
void run_chats_more(CommandCall& call, ChatTable& chats, const TdClient& td);
void on_chats_loaded(Answer& answer, ChatTable& chats, const TdClient& td);
void on_load_chats_error(TdError& error, ChatTable& chats, const TdClient& td);
// Whatever "getChats:" brings, its load goes on to its end.
void on_chats(Answer& answer, ChatTable& chats, const TdClient& td);
void on_chats_error(TdError& error, ChatTable& chats, const TdClient& td);
void on_list_chat_error(TdError& error, ChatTable& chats, const TdClient& td);
void on_live_chat_error(TdError& error, ChatTable& chats);
