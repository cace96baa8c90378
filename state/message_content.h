// What a message's content says and shows. `content` is the content object from its brace on; the
// media readers want the type that their name tells. Pure functions, any thread.
//
// Absent looks like: empty text, or false and the references as they were. A file id below 1 or
// too large for an id is none.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// A file object: its id, 0 when there is none, and its size in bytes, 0 when unknown.
struct File {
  std::int64_t id = 0;
  std::int64_t size = 0;
};
File read_file(std::string_view json);
// The file of a thumbnail object; 0 when there is none.
std::int64_t thumbnail_file_id(std::string_view thumbnail);

// Its text, emoji or caption.
std::string extract_content_words(std::string_view content);
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
