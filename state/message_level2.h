// What level 2 of the protocol tells of a message beyond level 1. Main thread only. Views are the
// caller's; nothing is kept of them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

struct ChatTable;
struct MessagePreview;

// Absent values are 0 or empty.
struct MessageDetails {
  std::int64_t sender_chat_id = 0;
  std::int64_t edit_date = 0;         // Unix seconds
  std::int64_t reply_to_chat_id = 0;  // 0 also when it is the message's own chat
  std::string reply_quote;
  std::string forward_from;  // the origin's name, as far as it is known
};

// Where titles are looked up; lives as long as the process. Until it is set no chat has a title.
void take_titles_from(const ChatTable& chats);
// The title, or empty.
std::string known_chat_title(std::int64_t chat_id);

// The objects that the message has under these names; empty: it has none.
MessageDetails read_message_details(std::int64_t chat_id, std::int64_t edit_date,
                                    std::string_view sender_id, std::string_view reply_to,
                                    std::string_view forward_info);
// Behind the members of every event that shows a message.
void append_message_details(std::string& event, const MessagePreview& message);

// The words for content that has no text or caption, such as "[poll] Tea or coffee?"; empty: level
// 2 has none of its own.
std::string level2_content_words(std::string_view content);
