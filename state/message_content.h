// What a message's content says and shows. Pure functions, any thread.
//
// Absent looks like: empty text, or 0. A file id below 1 or too large for an id is none.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "json/walk.h"

// The media of a message: a file, and what is known of it.
struct MessageMedia {
  std::string_view type;  // "photo", "voice", "video", "video_note" or "file"; at level 2 also
                          // "audio", "animation" and "sticker"; empty: there is none
  std::int64_t file_id = 0;
  std::int64_t thumb_file_id = 0;
  std::int32_t w = 0;  // pixels; a video note's length
  std::int32_t h = 0;
  std::int32_t duration = 0;  // seconds
  std::string name;
  std::int64_t size = 0;  // bytes
};

// A content object, and what most kinds have in common; views into the text that it stands in.
struct FormattedText {
  std::string_view text;  // still escaped
};
struct MessageContent {
  std::string_view object;  // from its brace on; empty: there is none
  std::string_view type;    // "messageText"
  FormattedText text;
  FormattedText caption;
  std::string_view emoji;  // still escaped
  MessageMedia media;
};
// Of the value that the walk stands before, which is passed over.
MessageContent read_content(ObjectWalk& walk);

// Its text, emoji or caption.
std::string extract_content_words(const MessageContent& content);
// The substitute for content without words, "[photo]" for "messagePhoto".
std::string message_preview_fallback(std::string_view content_type);
