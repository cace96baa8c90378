// The three searches that the UI can start, each under a number that it gives. Main thread only.
#pragma once

#include "commands/call.h"
#include "commands/searches.h"
#include "frame/tdlib.h"

// Public chats by name.
void run_search_server64(CommandCall& call, Searches& searches, const TdClient& td);
// Messages of one chat by text.
void run_chat_search64(CommandCall& call, Searches& searches, const TdClient& td);
// Photos, videos, files or links of one chat. Keeps no state: its one answer is its end.
void run_shared64(CommandCall& call, const TdClient& td);
