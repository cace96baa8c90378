#include "state/message_media.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "json/object_text.h"
#include "json/scan.h"
#include "json/search.h"
#include "json/text.h"
#include "state/message.h"
#include "state/message_content.h"

namespace {

// Larger photos are not loaded while a smaller size will do.
constexpr std::int32_t kPhotoBound = 1280;

constexpr MediaKind kMediaKinds[] = {
    {"messagePhoto", "photo", "photo", ""},
    {"messageVideo", "video", "video", "video"},
    {"messageVideoNote", "video_note", "videoNote", "video"},
    {"messageVoiceNote", "voice_note", "voiceNote", "voice"},
    {"messageDocument", "document", "document", "document"},
};
const MediaKind& kPhoto = kMediaKinds[0];
const MediaKind& kVideoNote = kMediaKinds[2];
const MediaKind& kDocument = kMediaKinds[4];

std::int32_t clamp_i32(std::int64_t value) {
  constexpr std::int64_t kMax = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, 0, kMax));
}

// A raw value as a file id; 0 unless it is a decimal number of at least 1 that fits.
std::int64_t file_id_of(std::string_view value) {
  std::int64_t id = 0;
  return parse_int_at(value, 0, id) && id >= 1 ? id : 0;
}

struct File {
  std::int64_t id = 0;
  std::int64_t size = 0;
};

// The file object that the walk stands before. Its first members are what is wanted; the rest,
// some hundred bytes of paths and remote ids, is skipped at once.
template <class Walk>
File walk_file(Walk& outer, bool with_size) {
  File file;
  ObjectWalk walk = walk_behind(value_here(outer), R"({"@type":"file")");
  for (std::string_view key; next_key(walk, key);) {
    if (is_key(key, "id")) {
      file.id = file_id_of(take_value(walk));
      if (!with_size) break;
    } else if (is_key(key, "size")) {
      file.size = std::max<std::int64_t>(value_int(take_value(walk)), 0);
      if (file.id != 0) break;
    }
  }
  leave(outer, walk);
  return file;
}

std::int64_t walk_thumbnail(ObjectWalk& outer) {
  std::int64_t id = 0;
  ObjectWalk walk{value_here(outer)};
  for (std::string_view key; next_key(walk, key);) {
    if (!is_key(key, "file") && !is_key(key, "photo")) continue;
    id = walk_file(walk, false).id;
    if (id != 0) break;
  }
  leave(outer, walk);
  return id;
}

// The largest size, and the largest within the bound.
struct PhotoChoice {
  struct Size {
    std::int64_t file_id = 0;
    std::int32_t w = 0;
    std::int32_t h = 0;
    std::int64_t area = -1;
  };
  Size largest;
  Size bounded;
};

void consider_size(PhotoChoice& choice, std::int64_t file_id, std::int64_t width,
                   std::int64_t height) {
  if (file_id == 0) return;
  const std::int32_t w = clamp_i32(width);
  const std::int32_t h = clamp_i32(height);
  const PhotoChoice::Size size{file_id, w, h, std::int64_t{w} * h};
  if (size.area > choice.largest.area) choice.largest = size;
  const bool within = w >= 1 && w <= kPhotoBound && h >= 1 && h <= kPhotoBound;
  if (within && size.area > choice.bounded.area) choice.bounded = size;
}

void take_choice(const PhotoChoice& choice, MediaFile& media) {
  const PhotoChoice::Size& best = choice.bounded.file_id != 0 ? choice.bounded : choice.largest;
  media.file_id = best.file_id;
  media.w = best.w;
  media.h = best.h;
}

void walk_size(ArrayWalk& sizes, PhotoChoice& choice) {
  std::int64_t file_id = 0;
  std::int64_t width = 0;
  std::int64_t height = 0;
  int wanted = 3;
  ObjectWalk walk = walk_behind(value_here(sizes), R"({"@type":"photoSize")");
  for (std::string_view key; wanted > 0 && next_key(walk, key);) {
    if (is_key(key, "photo")) {
      file_id = walk_file(walk, false).id;
    } else if (is_key(key, "width")) {
      width = value_int(take_value(walk));
    } else if (is_key(key, "height")) {
      height = value_int(take_value(walk));
    } else {
      continue;
    }
    --wanted;
  }
  leave(sizes, walk);
  consider_size(choice, file_id, width, height);
}

void walk_photo(ObjectWalk& content, MediaFile& media) {
  PhotoChoice choice;
  ObjectWalk walk{value_here(content)};
  for (std::string_view key; next_key(walk, key);) {
    if (!is_key(key, "sizes")) continue;
    ArrayWalk sizes{value_here(walk)};
    while (next_place(sizes)) walk_size(sizes, choice);
    leave(walk, sizes);
    break;
  }
  leave(content, walk);
  take_choice(choice, media);
}

std::size_t find_size_marker(std::string_view text, std::size_t from) {
  return std::min(find_bytes(text, "\"@type\":\"photoSize\"", from),
                  find_bytes(text, "\"@type\":\"photoSizeProgressive\"", from));
}

void scan_photo(std::string_view text, MediaFile& media) {
  constexpr std::string_view kFile = "\"photo\":{\"@type\":\"file\",\"id\":";
  PhotoChoice choice;
  for (std::size_t at = find_size_marker(text, 0); at != kNotFound;) {
    const std::size_t next = find_size_marker(text, at + 1);
    const std::string_view entry = text.substr(at, next == kNotFound ? next : next - at);
    const std::size_t file = find_bytes(entry, kFile);
    if (file != kNotFound) {
      consider_size(choice, file_id_of(entry.substr(file + kFile.size())),
                    extract_json_int_field(entry, "width"),
                    extract_json_int_field(entry, "height"));
    }
    at = next;
  }
  take_choice(choice, media);
}

bool is_video_name(std::string_view name) {
  const std::string lowered = to_lower_ascii(std::string(name));
  for (const char* ending : {".mp4", ".mkv", ".webm", ".mov", ".avi", ".3gp"}) {
    if (ends_with(lowered, ending)) return true;
  }
  return false;
}

// What the object of a video, a note or a document says of its file.
struct MediaMembers {
  std::string_view type;
  std::int64_t duration = 0;
  std::int64_t width = 0;
  std::int64_t height = 0;
  std::int64_t length = 0;
  std::string name;
  std::string mime_type;
  std::int64_t thumb_file_id = 0;
  File file;
};

bool is_video_document(const MediaMembers& members) {
  return json_starts_with(members.mime_type, "video/") || is_video_name(members.name);
}

void take_members(MediaMembers& members, const MediaKind& kind, MediaFile& media) {
  media.thumb_file_id = members.thumb_file_id;
  media.file_id = members.file.id;
  if (members.file.id == 0) return;
  const bool is_note = kind.content_type == kVideoNote.content_type;
  media.duration = clamp_i32(members.duration);
  media.w = clamp_i32(is_note ? members.length : members.width);
  media.h = clamp_i32(members.height);
  if (kind.content_type != kDocument.content_type) return;
  media.size = members.file.size;
  media.is_video = is_video_document(members);
  media.name = std::move(members.name);
}

void walk_member(ObjectWalk& walk, std::string_view key, const MediaKind& kind,
                 MediaMembers& members) {
  const bool document = kind.content_type == kDocument.content_type;
  if (key == kind.file) {
    members.file = walk_file(walk, document);
  } else if (is_key(key, "@type")) {
    members.type = string_content(take_value(walk));
  } else if (is_key(key, "thumbnail")) {
    members.thumb_file_id = walk_thumbnail(walk);
  } else if (document) {
    if (is_key(key, "file_name")) members.name = value_string(take_value(walk));
    if (is_key(key, "mime_type")) members.mime_type = value_string(take_value(walk));
  } else if (is_key(key, "duration")) {
    members.duration = value_int(take_value(walk));
  } else if (is_key(key, "width")) {
    members.width = value_int(take_value(walk));
  } else if (is_key(key, "height")) {
    members.height = value_int(take_value(walk));
  } else if (is_key(key, "length")) {
    members.length = value_int(take_value(walk));
  }
}

// The file object of a text that broke off; its key may be that of the object around it, too.
File scan_file(std::string_view text, std::string_view key) {
  std::string marker;
  marker.append("\"").append(key).append("\":{\"@type\":\"file\",\"id\":");
  const std::size_t at = find_bytes(text, marker);
  if (at == kNotFound) return {};
  const ObjectText object = object_text_at(text, at + key.size() + 3);
  return {file_id_of(text.substr(at + marker.size())),
          std::max<std::int64_t>(own_int(object, "size"), 0)};
}

std::int64_t scan_thumbnail(std::string_view text) {
  const ObjectText thumbnail = own_object({text, false}, "thumbnail");
  const std::int64_t id = scan_file(thumbnail.text, "file").id;
  return id != 0 ? id : scan_file(thumbnail.text, "photo").id;
}

MediaMembers scan_members(std::string_view text, const MediaKind& kind) {
  MediaMembers members;
  members.duration = extract_json_int_field(text, "duration");
  members.width = extract_json_int_field(text, "width");
  members.height = extract_json_int_field(text, "height");
  members.length = extract_json_int_field(text, "length");
  members.name = extract_json_string_field(text, "file_name");
  members.mime_type = extract_json_string_field(text, "mime_type");
  members.thumb_file_id = scan_thumbnail(text);
  members.file = scan_file(text, kind.file);
  return members;
}

// The media of the content in `json`: of its first message, or of the content that it is.
MediaFile media_in(std::string_view json, const MediaKind& kind) {
  const ObjectText own = find_message_content(json);
  if (own.whole) {
    Content content = read_content(own);
    return content.type == kind.content_type ? std::move(content.media) : MediaFile();
  }
  const std::string marker = "\"@type\":\"" + std::string(kind.content_type) + "\"";
  const std::size_t at = find_bytes(json, marker);
  if (at == kNotFound) return {};
  return read_content(object_text_at(json, at == 0 ? 0 : at - 1)).media;
}

}  // namespace

const MediaKind* find_media_kind(std::string_view content_type) {
  for (const MediaKind& kind : kMediaKinds) {
    if (kind.content_type == content_type) return &kind;
  }
  return nullptr;
}

void walk_media(ObjectWalk& content, const MediaKind& kind, MediaFile& media) {
  if (kind.content_type == kPhoto.content_type) return walk_photo(content, media);
  MediaMembers members;
  ObjectWalk walk{value_here(content)};
  for (std::string_view key; next_key(walk, key);) walk_member(walk, key, kind, members);
  leave(content, walk);
  const bool document = kind.content_type == kDocument.content_type;
  if (document || members.type == kind.type) take_members(members, kind, media);
}

void scan_media(std::string_view content, const MediaKind& kind, MediaFile& media) {
  if (kind.content_type == kPhoto.content_type) return scan_photo(content, media);
  // A document's members count wherever they stand, the others' inside their object.
  if (kind.content_type != kDocument.content_type) {
    std::string marker;
    marker.append("\"")
        .append(kind.media)
        .append("\":{\"@type\":\"")
        .append(kind.type)
        .append("\"");
    const std::size_t at = find_bytes(content, marker);
    if (at == kNotFound) return;
    content = object_text_at(content, at + kind.media.size() + 3).text;
  }
  MediaMembers members = scan_members(content, kind);
  take_members(members, kind, media);
}

bool extract_message_photo_best_file(std::string_view json, std::int64_t& file_id, std::int32_t& w,
                                     std::int32_t& h) {
  const MediaFile media = media_in(json, kPhoto);
  if (media.file_id == 0) return false;
  file_id = media.file_id;
  w = media.w;
  h = media.h;
  return true;
}

bool extract_message_video_file(std::string_view json, std::int64_t& file_id,
                                std::int64_t& thumb_file_id, std::int32_t& w, std::int32_t& h,
                                std::int32_t& duration) {
  const MediaFile media = media_in(json, *find_media_kind("messageVideo"));
  if (media.file_id == 0) return false;
  file_id = media.file_id;
  thumb_file_id = media.thumb_file_id;
  w = media.w;
  h = media.h;
  duration = media.duration;
  return true;
}

bool extract_message_video_note_file(std::string_view json, std::int64_t& file_id,
                                     std::int64_t& thumb_file_id, std::int32_t& length,
                                     std::int32_t& duration) {
  const MediaFile media = media_in(json, kVideoNote);
  if (media.file_id == 0) return false;
  file_id = media.file_id;
  thumb_file_id = media.thumb_file_id;
  length = media.w;
  duration = media.duration;
  return true;
}

bool extract_message_voice_note_file(std::string_view json, std::int64_t& file_id,
                                     std::int32_t& duration) {
  const MediaFile media = media_in(json, *find_media_kind("messageVoiceNote"));
  if (media.file_id == 0) return false;
  file_id = media.file_id;
  duration = media.duration;
  return true;
}

bool extract_message_document_file(std::string_view json, std::int64_t& file_id, std::int64_t& size,
                                   std::string& file_name) {
  MediaFile media = media_in(json, kDocument);
  if (media.file_id == 0) return false;
  file_id = media.file_id;
  size = media.size;
  file_name = std::move(media.name);
  return true;
}

std::int64_t extract_message_document_thumbnail_file_id(std::string_view json) {
  return media_in(json, kDocument).thumb_file_id;
}

bool is_message_document_video(std::string_view json) { return media_in(json, kDocument).is_video; }
