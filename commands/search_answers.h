// TDLib's answers to the searches. What comes for a search that has been replaced is dropped.
// Main thread only.
#pragma once

#include <string>
#include <string_view>

#include "commands/searches.h"
#include "frame/answer.h"
#include "frame/tdlib.h"
#include "json/object_text.h"
#include "state/chats.h"

// The chat ids of a public search: each chat is asked for.
void on_public_chats_found(const Answer& answer, Searches& searches, const TdClient& td);
void on_public_search_error(const TdError& error, Searches& searches);
// One chat of a public search.
void on_search_chat(const Answer& answer, Searches& searches, ChatTable& chats);
// A chat that cannot be had counts as answered.
void on_search_chat_error(const TdError& error, Searches& searches);

void on_chat_search_found(const Answer& answer, Searches& searches);
void on_chat_search_error(const TdError& error, Searches& searches);

void on_shared_found(const Answer& answer);
void on_shared_error(const TdError& error);

// The first URL that the entities of a message's content mark in its text or caption; empty
// when there is none.
std::string first_url(const ObjectText& content);
