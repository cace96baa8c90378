// A TDLib message reduced to one flat record, as every event that shows a message needs it.
// Main thread only. Views are the caller's; nothing is kept of them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "json/walk.h"
#include "state/message_content.h"
#include "state/message_level2.h"

// Absent values are 0, empty or false.
struct MessagePreview {
  std::int64_t chat_id = 0;
  std::int64_t id = 0;  // 0: no message parsed
  std::int64_t reply_to_message_id = 0;
  std::int64_t message_thread_id = 0;
  std::int32_t reply_count = 0;
  bool forwarded = false;
  bool outgoing = false;
  std::int64_t date = 0;      // Unix seconds
  std::string sending_state;  // "pending", "failed" or empty
  std::string content_type;   // TDLib's "@type" of the content
  std::string text;           // message text, caption or a substitute
  std::string media_type;     // "photo", "voice", "video", "video_note", "file" or empty
  std::string reactions;      // a ready JSON array, or empty
  std::int64_t media_file_id = 0;
  std::int64_t media_thumb_file_id = 0;
  std::int32_t media_w = 0;  // pixels; a video note's length
  std::int32_t media_h = 0;
  std::int32_t media_duration = 0;  // seconds
  std::string media_name;
  std::int64_t media_size = 0;  // bytes
  MessageDetails details;       // level 2 only
};

// The text of a message with this content: its words, or what stands for them; empty: level 1 has
// none, and the sentence of a service message may follow.
std::string message_words(const MessageContent& content);
// The media of a content of the record's type, and the text where the media decides it.
void take_message_media(MessageMedia media, MessagePreview& out);

// How much text a record carries.
struct TextProfile {
  unsigned max_text_bytes;
  bool ellipsis;  // "..." behind a text that was cut
};
constexpr TextProfile kFullMessage{4096, false};
constexpr TextProfile kChatPreview{240, true};

// Fills `out` from the first message object in `json`; false when there is none, or none with an
// id. A service message whose sentence lacks a name is remembered until the name comes
// (state/service_messages.h).
bool parse_first_message(std::string_view json, MessagePreview& out, unsigned max_text_bytes,
                         bool ellipsis);
// The same, and the sender, 0 when it is a chat.
bool parse_first_message(std::string_view json, TextProfile profile, MessagePreview& out,
                         std::int64_t& sender_user_id);

// Single values, each from the object that the message has under that name; empty: it has none.
// "pending", "failed" or empty.
std::string extract_message_sending_state(std::string_view sending_state);
std::int64_t extract_reply_to_message_id(std::string_view reply_to);      // 0: not to a message
std::int64_t extract_message_topic_thread_id(std::string_view topic_id);  // 0: no thread
std::int64_t extract_sender_user_id(std::string_view sender_id);          // 0: the sender is a chat

// The messages of a page that TDLib answers with ("messages", "foundChatMessages",
// "foundMessages"): the elements of the answer's own array, in its order, whatever messages nest
// in them. Views point into the answer's text.
struct MessagePage {
  std::int64_t total_count = -1;  // the page's own, wherever it stands; -1: none
  ArrayWalk messages;
};
MessagePage open_message_page(std::string_view answer);
// The next message's text; null elements and what is no message are left out. False at the end.
bool next_message(MessagePage& page, std::string_view& message);
// The next message as a record, and its sender, 0 when that is a chat.
bool next_message(MessagePage& page, TextProfile profile, MessagePreview& out,
                  std::int64_t& sender_user_id);
