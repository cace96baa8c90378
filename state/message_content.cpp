#include "state/message_content.h"

#include <utility>

namespace {

constexpr std::string_view kTextType = "messageText";
constexpr std::string_view kEmojiType = "messageAnimatedEmoji";

// The text of the formattedText object that the walk stands before.
std::string walk_formatted_text(ObjectWalk& outer) {
  std::string text;
  ObjectWalk walk{value_here(outer)};
  for (std::string_view key; next_key(walk, key);) {
    if (key == "text") text = value_string(take_value(walk));
  }
  leave(outer, walk);
  return text;
}

// The members behind "@type", which is known.
void walk_members(ObjectWalk& walk, Content& content, const MediaKind* kind) {
  const bool is_text = content.type == kTextType;
  const bool is_emoji = content.type == kEmojiType;
  for (std::string_view key; next_key(walk, key);) {
    if (kind != nullptr && key == kind->media) {
      walk_media(walk, *kind, content.media);
    } else if (is_text ? key == "text" : key == "caption" && content.words.empty()) {
      content.words = walk_formatted_text(walk);
    } else if (is_emoji && key == "emoji") {
      std::string emoji = value_string(take_value(walk));
      if (!emoji.empty()) content.words = std::move(emoji);
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
  if (next_key(object, key) && key == "@type") {
    content.type = string_content(take_value(object));
  } else {
    // In another order the type is looked for first: what the members mean depends on it.
    content.type = object_type(text);
    object = ObjectWalk{text};
  }
  const MediaKind* kind = find_media_kind(content.type);
  walk_members(object, content, kind);
  if (kind != nullptr && content.media.file_id == 0 && object.stage == WalkStage::kClosed) {
    scan_media(text.substr(0, object.pos), *kind, content.media);
  }
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
