// The file that a message shows: which one, how large, how long. Pure functions, any thread.
// Absent values are 0 or empty; a file id below 1 or too large for an id is none.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "json/walk.h"

struct MediaFile {
  std::int64_t file_id = 0;  // 0: no media
  std::int64_t thumb_file_id = 0;
  std::int32_t w = 0;  // pixels; a video note's length
  std::int32_t h = 0;
  std::int32_t duration = 0;  // seconds
  std::int64_t size = 0;      // bytes, documents only
  std::string name;           // documents only
  bool is_video = false;      // a document that holds a video
};

// Where the file of a content type stands.
struct MediaKind {
  std::string_view content_type;
  std::string_view media;  // the content's member that holds it
  std::string_view type;   // that object's "@type"
  std::string_view file;   // its member that is the file; a photo has sizes instead
};
// Null for content without media.
const MediaKind* find_media_kind(std::string_view content_type);

// Reads the media object that the walk of a content stands before, and passes over it.
void walk_media(ObjectWalk& content, const MediaKind& kind, MediaFile& media);
// Reads the media of a content object by markers, wherever they stand in it.
void scan_media(std::string_view content, const MediaKind& kind, MediaFile& media);

// The media by kind, from the first message in `json`, which may also be the bare content. False,
// and the references as they were, when the content is of another type or has no file.
bool extract_message_photo_best_file(std::string_view json, std::int64_t& file_id, std::int32_t& w,
                                     std::int32_t& h);
bool extract_message_video_file(std::string_view json, std::int64_t& file_id,
                                std::int64_t& thumb_file_id, std::int32_t& w, std::int32_t& h,
                                std::int32_t& duration);
bool extract_message_video_note_file(std::string_view json, std::int64_t& file_id,
                                     std::int64_t& thumb_file_id, std::int32_t& length,
                                     std::int32_t& duration);
bool extract_message_voice_note_file(std::string_view json, std::int64_t& file_id,
                                     std::int32_t& duration);
bool extract_message_document_file(std::string_view json, std::int64_t& file_id, std::int64_t& size,
                                   std::string& file_name);
// 0 when there is none.
std::int64_t extract_message_document_thumbnail_file_id(std::string_view json);
// By its MIME type, else by the ending of its name.
bool is_message_document_video(std::string_view json);
