#include "state/message_content.h"

#include <algorithm>
#include <utility>

#include "frame/protocol.h"
#include "json/scan.h"
#include "json/text.h"
#include "json/walk.h"
#include "state/file.h"

namespace {

// Larger photos are not loaded while a smaller size will do.
constexpr std::int32_t kPhotoBound = 1280;

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

// The largest size within the bound, else the largest.
void extract_message_photo_best_file(ObjectWalk& photo, MessageMedia& out) {
  SizeChoice largest;
  SizeChoice bounded;
  ArrayWalk sizes{value_here(photo)};
  while (next_place(sizes)) {
    ObjectWalk element{value_here(sizes)};
    const SizeChoice size = read_photo_size(element);
    leave(sizes, element);
    if (size.file_id < 1) continue;
    if (size.area > largest.area) largest = size;
    if (is_bounded(size) && size.area > bounded.area) bounded = size;
  }
  leave(photo, sizes);
  const SizeChoice& best = bounded.file_id != 0 ? bounded : largest;
  if (best.file_id == 0) return;
  out.type = "photo";
  out.file_id = best.file_id;
  out.w = best.w;
  out.h = best.h;
}
constexpr Row<MessageMedia> kSizesRows[] = {{"sizes", extract_message_photo_best_file}};

// Everything else that has one file.
struct Media {
  std::string_view type;
  Thumbnail thumbnail;
  File file;
  std::int32_t w = 0;
  std::int32_t h = 0;
  std::int32_t duration = 0;
  std::string name;
  std::string title;
  std::string mime_type;
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
constexpr Row<Media> kDocumentRows[] = {
    {"file_name", value_into<&Media::name>},
    {"mime_type", value_into<&Media::mime_type>},
    {"thumbnail", members_into<&Media::thumbnail, kThumbnailRows>},
    {"document", members_into<&Media::file, kFileRows>},
};
constexpr Row<Media> kAudioRows[] = {
    {"duration", value_into<&Media::duration>},
    {"title", value_into<&Media::title>},
    {"file_name", value_into<&Media::name>},
    {"album_cover_thumbnail", members_into<&Media::thumbnail, kThumbnailRows>},
    {"audio", members_into<&Media::file, kFileRows>},
};
constexpr Row<Media> kAnimationRows[] = {
    {"duration", value_into<&Media::duration>},
    {"width", value_into<&Media::w>},
    {"height", value_into<&Media::h>},
    {"file_name", value_into<&Media::name>},
    {"thumbnail", members_into<&Media::thumbnail, kThumbnailRows>},
    {"animation", members_into<&Media::file, kFileRows>},
};
constexpr Row<Media> kStickerRows[] = {
    {"width", value_into<&Media::w>},
    {"height", value_into<&Media::h>},
    {"thumbnail", members_into<&Media::thumbnail, kThumbnailRows>},
    {"sticker", members_into<&Media::file, kFileRows>},
};

// What the rows find. False when there is no file in it.
template <const auto& kRows>
bool read_media(ObjectWalk& walk, std::string_view media_type, Media& media, MessageMedia& out) {
  read_inner<kRows>(walk, media);
  if (media.file.id < 1) return false;
  out.type = media_type;
  out.file_id = media.file.id;
  out.thumb_file_id = thumbnail_file_id(media.thumbnail);
  out.w = media.w;
  out.h = media.h;
  out.duration = media.duration;
  return true;
}

// The same of an object that must be of a type; one of another is no media.
template <const auto& kRows>
void read_typed_media(ObjectWalk& walk, std::string_view media_type, std::string_view type,
                      MessageMedia& out) {
  Media media;
  if (read_media<kRows>(walk, media_type, media, out) && media.type != type) out = {};
}

void extract_message_video_file(ObjectWalk& walk, MessageMedia& out) {
  read_typed_media<kVideoRows>(walk, "video", "video", out);
}

void extract_message_video_note_file(ObjectWalk& walk, MessageMedia& out) {
  read_typed_media<kVideoNoteRows>(walk, "video_note", "videoNote", out);
}

void extract_message_voice_note_file(ObjectWalk& walk, MessageMedia& out) {
  read_typed_media<kVoiceNoteRows>(walk, "voice", "voiceNote", out);
}

// By its MIME type, else by the ending of its name.
bool is_message_document_video(const Media& document) {
  if (json_starts_with(document.mime_type, "video/")) return true;
  const std::string name = to_lower_ascii(document.name);
  for (const char* ending : {".mp4", ".mkv", ".webm", ".mov", ".avi", ".3gp"}) {
    if (ends_with(name, ending)) return true;
  }
  return false;
}

// Only as a video does it show its thumbnail.
void extract_message_document_file(ObjectWalk& walk, MessageMedia& out) {
  Media document;
  if (!read_media<kDocumentRows>(walk, "video", document, out)) return;
  if (!is_message_document_video(document)) {
    out.type = "file";
    out.thumb_file_id = 0;
  }
  out.name = std::move(document.name);
  out.size = std::max<std::int64_t>(document.file.size, 0);
}

template <const auto& kRows>
void read_level2_media(ObjectWalk& walk, std::string_view media_type, Media& media,
                       MessageMedia& out) {
  if (!at_level2() || !read_media<kRows>(walk, media_type, media, out)) return;
  out.name = std::move(media.name.empty() ? media.title : media.name);
}

void read_audio(ObjectWalk& walk, MessageMedia& out) {
  Media audio;
  read_level2_media<kAudioRows>(walk, "audio", audio, out);
  if (out.file_id != 0) out.size = std::max<std::int64_t>(audio.file.size, 0);
}

void read_animation(ObjectWalk& walk, MessageMedia& out) {
  Media animation;
  read_level2_media<kAnimationRows>(walk, "animation", animation, out);
}

void read_sticker(ObjectWalk& walk, MessageMedia& out) {
  Media sticker;
  read_level2_media<kStickerRows>(walk, "sticker", sticker, out);
}

// A content's member, which is its media when the content is of that type.
template <const auto& kType, auto kRead>
void media_of(ObjectWalk& walk, MessageContent& content) {
  if (content.type == kType) kRead(walk, content.media);
}
constexpr char kPhoto[] = "messagePhoto";
constexpr char kVideo[] = "messageVideo";
constexpr char kVideoNote[] = "messageVideoNote";
constexpr char kVoiceNote[] = "messageVoiceNote";
constexpr char kDocument[] = "messageDocument";
constexpr char kAudio[] = "messageAudio";
constexpr char kAnimation[] = "messageAnimation";
constexpr char kSticker[] = "messageSticker";

constexpr Row<FormattedText> kTextRows[] = {{"text", word_into<&FormattedText::text>}};
constexpr Row<MessageContent> kContentRows[] = {
    {"text", members_into<&MessageContent::text, kTextRows>},
    {"caption", members_into<&MessageContent::caption, kTextRows>},
    {"emoji", word_into<&MessageContent::emoji>},
    {"photo", media_of<kPhoto, read_inner<kSizesRows, MessageMedia>>},
    {"video", media_of<kVideo, extract_message_video_file>},
    {"video_note", media_of<kVideoNote, extract_message_video_note_file>},
    {"voice_note", media_of<kVoiceNote, extract_message_voice_note_file>},
    {"document", media_of<kDocument, extract_message_document_file>},
    {"audio", media_of<kAudio, read_audio>},
    {"animation", media_of<kAnimation, read_animation>},
    {"sticker", media_of<kSticker, read_sticker>},
};

}  // namespace

MessageContent read_content(ObjectWalk& walk) {
  MessageContent content;
  ObjectWalk inner{value_here(walk)};
  content.type = object_type(inner.text);
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
