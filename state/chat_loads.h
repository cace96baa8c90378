// Loads of the chat list. A load begins with "chats_begin" and ends with exactly one "chats_end",
// after the last of its rows: once the list of ids has come and every chat in it has been shown,
// refused or answered with an error. Loads may overlap; each has its own rows and end. No cache
// holds a known chat's order or last message, so every chat of the list is fetched, and the
// membership of groups is asked anew (state/chat_rows.h). Main thread only.
#pragma once

#include <cstdint>
#include <vector>

#include "state/chats.h"

// Opens a load of at most `limit` rows and tells its number. One for more rows (level 2) goes on
// behind those that the chain has listed; any other begins a chain.
enum class LoadKind { kAnew, kMore };
std::int64_t begin_chat_load(ChatTable& table, LoadKind kind, std::int64_t limit);
// The library has said that it has loaded all chats, for the load that asked.
void note_all_chats_loaded(ChatTable& table, std::int64_t gen);
// The ids of the chat list, from its top; only the first list of an open load counts. Of a load for
// more, those that the chain has listed already are passed over, and so are those beyond its limit.
void list_chat_load(ChatTable& table, const TdClient& td, std::int64_t gen,
                    const std::vector<std::int64_t>& chat_ids);
// The command that the load belongs to, 0: none with an id.
std::int64_t command_of_load(const ChatTable& table, std::int64_t gen);
// True when the load still waits for the chat.
bool owes_row(const ChatTable& table, std::int64_t gen, std::int64_t chat_id);
// The chat has been shown, refused or answered with an error: the load waits for it no longer, and
// ends when it was the last.
void settle_row(ChatTable& table, const TdClient& td, std::int64_t gen, std::int64_t chat_id);
