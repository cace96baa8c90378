#include "state/message_content.h"

#include <utility>

#include "json/search.h"

namespace {

constexpr std::string_view kTextType = "messageText";
constexpr std::string_view kEmojiType = "messageAnimatedEmoji";

// The text of the formattedText object that the walk stands before.
std::string walk_formatted_text(ObjectWalk& outer) {
  std::string text;
  ObjectWalk walk = walk_behind(value_here(outer), R"({"@type":"formattedText")");
  for (std::string_view key; next_key(walk, key);) {
    if (!is_key(key, "text")) continue;
    text = value_string(take_value(walk));
    break;
  }
  leave(outer, walk);
  return text;
}

// The members behind "@type", which is known, as far as they count.
void walk_members(ObjectWalk& walk, Content& content, const MediaKind* kind) {
  const bool is_emoji = content.type == kEmojiType;
  const std::string_view words_key = content.type == kTextType ? "text" : "caption";
  bool words_seen = false;
  bool media_seen = kind == nullptr;
  for (std::string_view key; !(words_seen && media_seen) && next_key(walk, key);) {
    if (!media_seen && key == kind->media) {
      walk_media(walk, *kind, content.media);
      media_seen = true;
    } else if (key == words_key && content.words.empty()) {
      content.words = walk_formatted_text(walk);
      words_seen = !is_emoji;
    } else if (is_emoji && is_key(key, "emoji")) {
      std::string emoji = value_string(take_value(walk));
      words_seen = !emoji.empty();
      if (words_seen) content.words = std::move(emoji);
    }
  }
}

Content scan_content(const ObjectText& object) {
  Content content;
  content.type = own_type(object);
  if (content.type == kEmojiType) content.words = own_string(object, "emoji");
  if (content.words.empty()) {
    const char* key = content.type == kTextType ? "text" : "caption";
    content.words = own_string(own_object(object, key), "text");
  }
  const MediaKind* kind = find_media_kind(content.type);
  if (kind != nullptr) scan_media(object.text, *kind, content.media);
  return content;
}

}  // namespace

void read_content(ObjectWalk& object, Content& content) {
  const std::string_view text = object.text;
  std::string_view key;
  if (next_key(object, key) && is_key(key, "@type")) {
    content.type = string_content(take_value(object));
  } else {
    // In another order the type is looked for first: what the members mean depends on it.
    content.type = object_type(text);
    object = ObjectWalk{text};
  }
  const MediaKind* kind = find_media_kind(content.type);
  walk_members(object, content, kind);
  if (kind == nullptr || content.media.file_id != 0) return;
  const std::size_t end = walk_end(object);
  if (end != kNotFound) scan_media(text.substr(0, end), *kind, content.media);
}

Content read_content(const ObjectText& object) {
  if (!object.whole) return scan_content(object);
  Content content;
  ObjectWalk walk{object.text};
  read_content(walk, content);
  return content;
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

std::string_view string_content(std::string_view value) {
  return value.size() >= 2 && value.front() == '"' ? value.substr(1, value.size() - 2)
                                                   : std::string_view();
}
