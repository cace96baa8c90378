#include "state/message_content.h"

#include <algorithm>
#include <utility>

#include "json/scan.h"
#include "json/text.h"
#include "json/walk.h"
#include "state/file.h"

namespace {

// Larger photos are not loaded while a smaller size will do.
constexpr std::int32_t kPhotoBound = 1280;

constexpr Row<FormattedText> kTextRows[] = {{"text", word_into<&FormattedText::text>}};
constexpr Row<MessageContent> kContentRows[] = {
    {"@type", word_into<&MessageContent::type>},
    {"text", members_into<&MessageContent::text, kTextRows>},
    {"caption", members_into<&MessageContent::caption, kTextRows>},
    {"emoji", word_into<&MessageContent::emoji>},
};

struct PhotoSize {
  std::string_view type;
  File file;
  std::int32_t w = 0;
  std::int32_t h = 0;
};
constexpr Row<PhotoSize> kPhotoSizeRows[] = {
    {"@type", word_into<&PhotoSize::type>},
    {"photo", members_into<&PhotoSize::file, kFileRows>},
    {"width", value_into<&PhotoSize::w>},
    {"height", value_into<&PhotoSize::h>},
};

struct SizeChoice {
  std::int64_t file_id = 0;
  std::int32_t w = 0;
  std::int32_t h = 0;
  std::int64_t area = -1;
};

bool is_photo_size(std::string_view type) {
  return type == "photoSize" || type == "photoSizeProgressive";
}

SizeChoice read_photo_size(ObjectWalk& walk) {
  PhotoSize size;
  read_members<kPhotoSizeRows>(walk, size);
  if (!is_photo_size(size.type)) return {};
  return {size.file.id, size.w, size.h, std::int64_t{size.w} * size.h};
}

bool is_bounded(const SizeChoice& size) {
  return size.w >= 1 && size.w <= kPhotoBound && size.h >= 1 && size.h <= kPhotoBound;
}

// A video, a note, a voice or a document.
struct Media {
  std::string_view type;
  Thumbnail thumbnail;
  File file;
  std::int32_t w = 0;
  std::int32_t h = 0;
  std::int32_t duration = 0;
};
constexpr Row<Media> kVideoRows[] = {
    {"@type", word_into<&Media::type>},
    {"duration", value_into<&Media::duration>},
    {"width", value_into<&Media::w>},
    {"height", value_into<&Media::h>},
    {"thumbnail", members_into<&Media::thumbnail, kThumbnailRows>},
    {"video", members_into<&Media::file, kFileRows>},
};
constexpr Row<Media> kVideoNoteRows[] = {
    {"@type", word_into<&Media::type>},
    {"duration", value_into<&Media::duration>},
    {"length", value_into<&Media::w>},
    {"thumbnail", members_into<&Media::thumbnail, kThumbnailRows>},
    {"video", members_into<&Media::file, kFileRows>},
};
constexpr Row<Media> kVoiceNoteRows[] = {
    {"@type", word_into<&Media::type>},
    {"duration", value_into<&Media::duration>},
    {"voice", members_into<&Media::file, kFileRows>},
};

// The content's member `key` when the content is of its type; else empty.
std::string_view media_of(std::string_view content, std::string_view content_type,
                          std::string_view key) {
  return object_type(content) == content_type ? member_here(content, key) : std::string_view();
}

std::string_view document_of(std::string_view content) {
  return media_of(content, "messageDocument", "document");
}

bool is_video_name(std::string_view name) {
  const std::string lowered = to_lower_ascii(std::string(name));
  for (const char* ending : {".mp4", ".mkv", ".webm", ".mov", ".avi", ".3gp"}) {
    if (ends_with(lowered, ending)) return true;
  }
  return false;
}

}  // namespace

MessageContent read_content(ObjectWalk& walk) {
  MessageContent content;
  ObjectWalk inner{value_here(walk)};
  read_members<kContentRows>(inner, content);
  leave(walk, inner);
  if (inner.pos != 0) content.object = inner.text;
  if (inner.stage == WalkStage::kClosed) content.object = inner.text.substr(0, inner.pos);
  return content;
}

std::string extract_content_words(const MessageContent& content) {
  if (content.type == "messageAnimatedEmoji") {
    std::string emoji = json_unescape(content.emoji);
    if (!emoji.empty()) return emoji;
  }
  return json_unescape((content.type == "messageText" ? content.text : content.caption).text);
}

std::string message_preview_fallback(std::string_view content_type) {
  static constexpr std::string_view kSubstitutes[][2] = {
      {"messagePhoto", "[photo]"},
      {"messageVideo", "[video]"},
      {"messageVideoNote", "[video message]"},
      {"messageVoiceNote", "[voice]"},
      {"messageAudio", "[audio]"},
      {"messageDocument", "[file]"},
      {"messageSticker", "[sticker]"},
      {"messageAnimation", "[gif]"},
  };
  for (const auto& row : kSubstitutes) {
    if (content_type == row[0]) return std::string(row[1]);
  }
  return content_type.empty() ? std::string() : "[" + std::string(content_type) + "]";
}

bool extract_message_photo_best_file(std::string_view content, std::int64_t& file_id,
                                     std::int32_t& w, std::int32_t& h) {
  SizeChoice largest;
  SizeChoice bounded;
  ArrayWalk walk{member_here(media_of(content, "messagePhoto", "photo"), "sizes")};
  while (next_place(walk)) {
    ObjectWalk element{value_here(walk)};
    const SizeChoice size = read_photo_size(element);
    leave(walk, element);
    if (size.file_id < 1) continue;
    if (size.area > largest.area) largest = size;
    if (is_bounded(size) && size.area > bounded.area) bounded = size;
  }
  const SizeChoice& best = bounded.file_id != 0 ? bounded : largest;
  if (best.file_id == 0) return false;
  file_id = best.file_id;
  w = best.w;
  h = best.h;
  return true;
}

bool extract_message_video_file(std::string_view content, std::int64_t& file_id,
                                std::int64_t& thumb_file_id, std::int32_t& w, std::int32_t& h,
                                std::int32_t& duration) {
  Media video;
  read_members<kVideoRows>(media_of(content, "messageVideo", "video"), video);
  if (video.type != "video" || video.file.id < 1) return false;
  file_id = video.file.id;
  thumb_file_id = thumbnail_file_id(video.thumbnail);
  w = video.w;
  h = video.h;
  duration = video.duration;
  return true;
}

bool extract_message_video_note_file(std::string_view content, std::int64_t& file_id,
                                     std::int64_t& thumb_file_id, std::int32_t& length,
                                     std::int32_t& duration) {
  Media note;
  read_members<kVideoNoteRows>(media_of(content, "messageVideoNote", "video_note"), note);
  if (note.type != "videoNote" || note.file.id < 1) return false;
  file_id = note.file.id;
  thumb_file_id = thumbnail_file_id(note.thumbnail);
  length = note.w;
  duration = note.duration;
  return true;
}

bool extract_message_voice_note_file(std::string_view content, std::int64_t& file_id,
                                     std::int32_t& duration) {
  Media note;
  read_members<kVoiceNoteRows>(media_of(content, "messageVoiceNote", "voice_note"), note);
  if (note.type != "voiceNote" || note.file.id < 1) return false;
  file_id = note.file.id;
  duration = note.duration;
  return true;
}

bool extract_message_document_file(std::string_view content, std::int64_t& file_id,
                                   std::int64_t& size, std::string& file_name) {
  const std::string_view document = document_of(content);
  File file;
  read_members<kFileRows>(member_here(document, "document"), file);
  if (file.id < 1) return false;
  file_id = file.id;
  size = std::max<std::int64_t>(file.size, 0);
  file_name = member_string(document, "file_name");
  return true;
}

std::int64_t extract_message_document_thumbnail_file_id(std::string_view content) {
  Thumbnail thumbnail;
  read_members<kThumbnailRows>(member_here(document_of(content), "thumbnail"), thumbnail);
  return thumbnail_file_id(thumbnail);
}

bool is_message_document_video(std::string_view content) {
  const std::string_view document = document_of(content);
  return json_starts_with(member_string(document, "mime_type"), "video/") ||
         is_video_name(member_string(document, "file_name"));
}
