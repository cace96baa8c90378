#include "state/message_media.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "json/scan.h"
#include "json/search.h"
#include "json/text.h"
#include "json/walk.h"
#include "state/message.h"

namespace {

// Larger photos are not loaded while a smaller size will do.
constexpr std::int32_t kPhotoBound = 1280;

std::int32_t clamp_i32(std::int64_t value) {
  constexpr std::int64_t kMax = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, 0, kMax));
}

// A raw value as a file id; 0 unless it is a decimal number of at least 1 that fits.
std::int64_t file_id_of(std::string_view value) {
  std::int64_t id = 0;
  return parse_int_at(value, 0, id) && id >= 1 ? id : 0;
}

std::int64_t file_id_in(const ObjectText& file) {
  if (file.whole) return file_id_of(object_member(file.text, "id"));
  constexpr std::string_view kMarker = "{\"@type\":\"file\",\"id\":";
  return json_starts_with(file.text, kMarker) ? file_id_of(file.text.substr(kMarker.size())) : 0;
}

std::int64_t thumbnail_file_id(const ObjectText& thumbnail) {
  if (thumbnail.text.empty()) return 0;
  const std::int64_t id = file_id_in(own_object(thumbnail, "file"));
  return id != 0 ? id : file_id_in(own_object(thumbnail, "photo"));
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

void consider_size_object(PhotoChoice& choice, std::string_view object) {
  std::int64_t file_id = 0;
  std::int64_t width = 0;
  std::int64_t height = 0;
  ObjectWalk walk{object};
  for (JsonMember member; next_member(walk, member);) {
    if (member.key == "photo") file_id = file_id_in(object_text_of(member.value));
    if (member.key == "width") width = value_int(member.value);
    if (member.key == "height") height = value_int(member.value);
  }
  consider_size(choice, file_id, width, height);
}

std::size_t find_size_marker(std::string_view text, std::size_t from) {
  return std::min(find_bytes(text, "\"@type\":\"photoSize\"", from),
                  find_bytes(text, "\"@type\":\"photoSizeProgressive\"", from));
}

// Sizes that stand in no array of their own, or in one that broke off.
void consider_marked_sizes(PhotoChoice& choice, std::string_view text) {
  constexpr std::string_view kFile = "\"photo\":{\"@type\":\"file\",\"id\":";
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
}

bool read_photo(const ObjectText& content, MediaFile& out) {
  PhotoChoice choice;
  const std::string_view sizes = content.whole
                                     ? member_array(member_object(content.text, "photo"), "sizes")
                                     : std::string_view();
  if (sizes.empty()) consider_marked_sizes(choice, content.text);
  ArrayWalk walk{sizes};
  for (std::string_view size; next_element(walk, size);) consider_size_object(choice, size);
  const PhotoChoice::Size& best = choice.bounded.file_id != 0 ? choice.bounded : choice.largest;
  if (best.file_id == 0) return false;
  out.file_id = best.file_id;
  out.w = best.w;
  out.h = best.h;
  return true;
}

bool is_video_name(std::string_view name) {
  const std::string lowered = to_lower_ascii(std::string(name));
  for (const char* ending : {".mp4", ".mkv", ".webm", ".mov", ".avi", ".3gp"}) {
    if (ends_with(lowered, ending)) return true;
  }
  return false;
}

// Where the file of each kind stands: content."media", which has the type given, and in it "file".
struct MediaKind {
  std::string_view content_type;
  std::string_view media;
  std::string_view type;
  std::string_view file;
};
constexpr MediaKind kMediaKinds[] = {
    {"messageVideo", "video", "video", "video"},
    {"messageVideoNote", "video_note", "videoNote", "video"},
    {"messageVoiceNote", "voice_note", "voiceNote", "voice"},
    {"messageDocument", "document", "document", "document"},
};
constexpr std::string_view kDocument = "messageDocument";

// The file object of a text that broke off: the key is also that of the object around it.
ObjectText find_file(std::string_view text, std::string_view key) {
  std::string marker;
  marker.append("\"").append(key).append("\":{\"@type\":\"file\"");
  const std::size_t at = find_bytes(text, marker);
  return at == kNotFound ? ObjectText{} : object_text_at(text, at + key.size() + 3);
}

struct MediaMembers {
  std::int64_t duration = 0;
  std::int64_t width = 0;
  std::int64_t height = 0;
  std::int64_t length = 0;
  std::string name;
  std::string mime_type;
  ObjectText thumbnail;
  ObjectText file;
};

MediaMembers media_members(const ObjectText& media, const MediaKind& kind) {
  MediaMembers found;
  if (!media.whole) {
    found.duration = own_int(media, "duration");
    found.width = own_int(media, "width");
    found.height = own_int(media, "height");
    found.length = own_int(media, "length");
    found.name = own_string(media, "file_name");
    found.mime_type = own_string(media, "mime_type");
    found.thumbnail = own_object(media, "thumbnail");
    found.file = find_file(media.text, kind.file);
    return found;
  }
  ObjectWalk walk{media.text};
  for (JsonMember member; next_member(walk, member);) {
    const std::string_view key = member.key;
    if (key == kind.file) {
      found.file = object_text_of(member.value);
    } else if (key == "duration") {
      found.duration = value_int(member.value);
    } else if (key == "width") {
      found.width = value_int(member.value);
    } else if (key == "height") {
      found.height = value_int(member.value);
    } else if (key == "length") {
      found.length = value_int(member.value);
    } else if (key == "file_name") {
      found.name = value_string(member.value);
    } else if (key == "mime_type") {
      found.mime_type = value_string(member.value);
    } else if (key == "thumbnail") {
      found.thumbnail = object_text_of(member.value);
    }
  }
  return found;
}

// The object that describes the media, or none.
ObjectText media_object(const ObjectText& content, const MediaKind& kind) {
  ObjectText media = own_object(content, kind.media);
  if (!media.text.empty() && own_type(media) == kind.type) return media;
  // A document's members are looked for wherever they stand.
  return kind.content_type == kDocument ? ObjectText{content.text, false} : ObjectText{};
}

bool is_video_document(const MediaMembers& members) {
  return json_starts_with(members.mime_type, "video/") || is_video_name(members.name);
}

const MediaKind* find_media_kind(std::string_view content_type) {
  for (const MediaKind& kind : kMediaKinds) {
    if (kind.content_type == content_type) return &kind;
  }
  return nullptr;
}

// The content of the type given in the first message of `json`, or in `json` itself; else none.
ObjectText content_of_type(std::string_view json, std::string_view type) {
  const ObjectText content = find_message_content(json);
  if (content.whole) return own_type(content) == type ? content : ObjectText{};
  const std::string marker = "\"@type\":\"" + std::string(type) + "\"";
  const std::size_t at = find_bytes(json, marker);
  return at == kNotFound ? ObjectText{} : object_text_at(json, at == 0 ? 0 : at - 1);
}

bool extract_media(std::string_view json, std::string_view type, MediaFile& media) {
  const ObjectText content = content_of_type(json, type);
  return !content.text.empty() && read_content_media(content, type, media);
}

MediaMembers document_members(std::string_view json) {
  const ObjectText content = content_of_type(json, kDocument);
  if (content.text.empty()) return {};
  const MediaKind& kind = *find_media_kind(kDocument);
  return media_members(media_object(content, kind), kind);
}

}  // namespace

bool read_content_media(const ObjectText& content, std::string_view content_type, MediaFile& out) {
  if (content_type == "messagePhoto") return read_photo(content, out);
  const MediaKind* kind = find_media_kind(content_type);
  if (kind == nullptr) return false;
  const ObjectText media = media_object(content, *kind);
  if (media.text.empty()) return false;
  MediaMembers members = media_members(media, *kind);
  const std::int64_t file_id = file_id_in(members.file);
  if (file_id == 0) return false;
  out.file_id = file_id;
  out.thumb_file_id = thumbnail_file_id(members.thumbnail);
  out.duration = clamp_i32(members.duration);
  out.w = clamp_i32(content_type == "messageVideoNote" ? members.length : members.width);
  out.h = clamp_i32(members.height);
  if (content_type == kDocument) {
    out.size = std::max<std::int64_t>(own_int(members.file, "size"), 0);
    out.is_video = is_video_document(members);
    out.name = std::move(members.name);
  }
  return true;
}

bool extract_message_photo_best_file(std::string_view json, std::int64_t& file_id, std::int32_t& w,
                                     std::int32_t& h) {
  MediaFile media;
  if (!extract_media(json, "messagePhoto", media)) return false;
  file_id = media.file_id;
  w = media.w;
  h = media.h;
  return true;
}

bool extract_message_video_file(std::string_view json, std::int64_t& file_id,
                                std::int64_t& thumb_file_id, std::int32_t& w, std::int32_t& h,
                                std::int32_t& duration) {
  MediaFile media;
  if (!extract_media(json, "messageVideo", media)) return false;
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
  MediaFile media;
  if (!extract_media(json, "messageVideoNote", media)) return false;
  file_id = media.file_id;
  thumb_file_id = media.thumb_file_id;
  length = media.w;
  duration = media.duration;
  return true;
}

bool extract_message_voice_note_file(std::string_view json, std::int64_t& file_id,
                                     std::int32_t& duration) {
  MediaFile media;
  if (!extract_media(json, "messageVoiceNote", media)) return false;
  file_id = media.file_id;
  duration = media.duration;
  return true;
}

bool extract_message_document_file(std::string_view json, std::int64_t& file_id, std::int64_t& size,
                                   std::string& file_name) {
  MediaFile media;
  if (!extract_media(json, kDocument, media)) return false;
  file_id = media.file_id;
  size = media.size;
  file_name = std::move(media.name);
  return true;
}

std::int64_t extract_message_document_thumbnail_file_id(std::string_view json) {
  return thumbnail_file_id(document_members(json).thumbnail);
}

bool is_message_document_video(std::string_view json) {
  return is_video_document(document_members(json));
}
