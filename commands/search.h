// The three searches that the UI can start, each under a number that it gives, and TDLib's answers
// to them. What comes for a search that has been replaced is dropped. Main thread only.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "commands/searches.h"
#include "frame/answer.h"
#include "frame/command.h"
#include "frame/tdlib.h"
#include "state/chats.h"

struct MessageSearch {
  std::int64_t chat_id = 0;
  std::string_view query;            // empty: any text
  std::int64_t from_message_id = 0;  // 0: from the newest
  std::int64_t limit = 0;
  std::string_view filter;  // TDLib's "@type" of it
};
std::string make_search_chat_messages(const MessageSearch& search);

// Public chats by name.
void run_search_server64(CommandCall& call, Searches& searches, const TdClient& td);
// Messages of one chat by text.
void run_chat_search64(CommandCall& call, Searches& searches, const TdClient& td);
// Photos, videos, files or links of one chat. Its one answer is its end.
void run_shared64(CommandCall& call, Searches& searches, const TdClient& td);

// The chat ids of a public search: each chat is asked for.
void on_public_chats_found(Answer& answer, Searches& searches, const TdClient& td);
void on_public_search_error(TdError& error, Searches& searches);
// One chat of a public search.
void on_search_chat(Answer& answer, Searches& searches, ChatTable& chats);
// A chat that cannot be had counts as answered.
void on_search_chat_error(TdError& error, Searches& searches);

void on_chat_search_found(Answer& answer, Searches& searches);
void on_chat_search_error(TdError& error, Searches& searches);

void on_shared_found(Answer& answer, Searches& searches);
void on_shared_error(TdError& error, Searches& searches);

// The first URL that the entities of a message's content mark in its text or caption; empty
// when there is none.
std::string first_url(std::string_view content);
