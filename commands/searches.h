// The searches under way, by the number that the UI gave them. A number can be used again before
// its search is over: the new search replaces the old one, which then has no end of its own, and
// what still comes for the old one is dropped. Both have the same tag, so it is counted which
// answers are still owed; TDLib answers every request once, and equal ones in their order.
// Main thread only.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

// A search for public chats: one answer with chat ids, then one answer for each chat.
struct PublicSearch {
  std::uint64_t superseded = 0;  // answers owed to older searches with this number
  bool waiting = false;          // for the chat ids
  unsigned limit = 0;            // chats followed up at most
  // (position, chat id) of the chats asked for. Not a count: a late answer for an older search
  // must not pass for one of this search.
  std::set<std::pair<std::uint64_t, std::int64_t>> outstanding;
};

// A search in one chat: one answer.
struct ChatSearch {
  std::int64_t chat_id = 0;  // 0: over, and only older answers are owed
  // How many answers are owed to older searches, by their chats.
  std::unordered_map<std::int64_t, std::uint64_t> superseded;
};

struct Searches {
  std::unordered_map<std::int64_t, PublicSearch> in_public;
  std::unordered_map<std::int64_t, ChatSearch> in_chat;
  std::unordered_map<std::string, int> shared;  // answers awaited, by the fields of their tags
  std::size_t shared_over = 0;                  // those of them that await none
};

void begin_public_search(Searches& searches, std::int64_t req, unsigned limit);
// An answer with chat ids, or an error in its place: the search that it is for, or null when that
// has been replaced.
PublicSearch* take_public_answer(Searches& searches, std::int64_t req);
// The answer for one chat, or an error in its place: false when nobody waits for it.
bool take_followed_chat(Searches& searches, std::int64_t req, std::uint64_t idx,
                        std::int64_t chat_id);
// Forgets the search when nothing is owed to it any more; true when that was so now.
bool finish_public_search(Searches& searches, std::int64_t req);

void begin_chat_search(Searches& searches, std::int64_t req, std::int64_t chat_id);
// True when the answer is for the present search with this number, which is then over.
bool take_chat_answer(Searches& searches, std::int64_t req, std::int64_t chat_id);

void begin_shared_series(Searches& searches, std::string_view fields);
// False when every series with these fields has had its answer. Fields that were never asked for
// are let through.
bool take_shared_answer(Searches& searches, std::string_view fields);
