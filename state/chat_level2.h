// What level 2 of the protocol tells of a chat beyond level 1: members of "chat", and updates that
// level 1 does not look at. Main thread only. Views are the caller's; nothing is kept of them.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

struct ChatDescription;
struct ChatObject;
struct ChatTable;

// Absent values are 0, false or empty.
struct ChatDetails {
  bool pinned = false;  // in the main list
  std::int64_t last_read_inbox_message_id = 0;
  std::int64_t unread_mention_count = 0;
  bool marked_as_unread = false;
  std::string draft;  // its first 240 bytes, "..." behind a cut
};

ChatDetails read_chat_details(const ChatObject& chat);
// Behind the members of "chat".
void append_chat_details(std::string& event, const ChatDetails& details);

// Rows that wait for a membership verdict are written as they stand by then: an update that comes
// meanwhile goes into them, too. Level 1 writes them as they were when the question was asked.
void amend_waiting_rows(ChatTable& table, std::int64_t chat_id,
                        const std::function<void(ChatDescription&)>& amend);

// Notes a place in the main list, 0 for none.
void note_chat_place(ChatTable& table, std::int64_t chat_id, std::int64_t order);
// An update whose "positions" hold no place in the main list: "chat_position" with order 0 for a
// chat that had one.
void tell_lost_place(ChatTable& table, std::int64_t chat_id, std::string_view update);

void on_chat_mentions(ChatTable& table, std::string_view text);
void on_chat_marked(ChatTable& table, std::string_view text);
void on_chat_action(const ChatTable& table, std::string_view text);
// "chat_draft" and "chat_photo", for handlers that level 1 has, too.
void emit_chat_draft(ChatTable& table, std::int64_t chat_id, std::string_view update);
void emit_chat_photo(ChatTable& table, std::int64_t chat_id, std::string_view update);
