// What a message's content says and shows. `content` is the content object from its brace on; the
// media readers want the type that their name tells. Pure functions, any thread.
//
// Absent looks like: empty text, or false and the references as they were. A file id below 1 or
// too large for an id is none.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "json/walk.h"

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
};
// Of the value that the walk stands before, which is passed over.
MessageContent read_content(ObjectWalk& walk);

// Its text, emoji or caption.
std::string extract_content_words(const MessageContent& content);
// The substitute for content without words, "[photo]" for "messagePhoto".
std::string message_preview_fallback(std::string_view content_type);

// The largest size within 1280 by 1280 pixels, else the largest.
bool extract_message_photo_best_file(std::string_view content, std::int64_t& file_id,
                                     std::int32_t& w, std::int32_t& h);
// Pixels and seconds; `thumb_file_id` 0 when there is no thumbnail.
bool extract_message_video_file(std::string_view content, std::int64_t& file_id,
                                std::int64_t& thumb_file_id, std::int32_t& w, std::int32_t& h,
                                std::int32_t& duration);
bool extract_message_video_note_file(std::string_view content, std::int64_t& file_id,
                                     std::int64_t& thumb_file_id, std::int32_t& length,
                                     std::int32_t& duration);
bool extract_message_voice_note_file(std::string_view content, std::int64_t& file_id,
                                     std::int32_t& duration);
// `size` in bytes, 0 when unknown.
bool extract_message_document_file(std::string_view content, std::int64_t& file_id,
                                   std::int64_t& size, std::string& file_name);
// 0 when there is none.
std::int64_t extract_message_document_thumbnail_file_id(std::string_view content);
// By its MIME type, else by the ending of its name.
bool is_message_document_video(std::string_view content);
