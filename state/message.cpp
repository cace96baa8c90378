#include "state/message.h"

#include <algorithm>
#include <utility>

#include "json/scan.h"
#include "json/search.h"
#include "state/message_content.h"
#include "state/reactions.h"
#include "state/service_messages.h"

namespace {

// What a message's text tells, before the rules of the record are applied.
struct MessageParts {
  std::int64_t sender_user_id = 0;
  Interaction interaction;
  Content content;
};

// How the objects begin that are read for one integer.
constexpr std::string_view kSenderUser = R"({"@type":"messageSenderUser")";
constexpr std::string_view kReplyToMessage = R"({"@type":"messageReplyToMessage")";
constexpr std::string_view kTopicThread = R"({"@type":"messageTopicThread")";

constexpr std::string_view type_in(std::string_view start) {
  return start.substr(10, start.size() - 11);
}

// The integer `key` of an object that is of the type in `start`; 0 when it is of another.
std::int64_t walk_typed_int(ObjectWalk& message, std::string_view start, std::string_view key) {
  std::int64_t value = 0;
  bool value_seen = false;
  ObjectWalk walk = walk_behind(value_here(message), start);
  bool right_type = walk.pos != 0;
  for (std::string_view found; !(right_type && value_seen) && next_key(walk, found);) {
    if (is_key(found, "@type")) {
      right_type = string_content(take_value(walk)) == type_in(start);
      if (!right_type) break;
    } else if (found == key) {
      value = value_int(take_value(walk), 0);
      value_seen = true;
    }
  }
  leave(message, walk);
  return right_type ? value : 0;
}

std::int64_t typed_int(const ObjectText& object, std::string_view start, std::string_view key) {
  return own_type(object) == type_in(start) ? own_int(object, key, 0) : 0;
}

std::string_view sending_state_word(std::string_view type) {
  if (type == "messageSendingStateFailed") return "failed";
  return type == "messageSendingStatePending" ? "pending" : "";
}

// Members that do not count stand together, and nearly every message has the same values there, so
// each row is stepped over by one comparison. A row that differs is walked like all else.
void skip_usual_members(ObjectWalk& walk) {
  static constexpr std::string_view kRows[] = {
      R"(,"is_pinned":false,"is_from_offline":false,"can_be_saved":true,)"
      R"("has_timestamped_media":true,"is_channel_post":false,"is_paid_star_suggested_post":false,)"
      R"("is_paid_ton_suggested_post":false,"contains_unread_mention":false)",
      R"(,"self_destruct_in":0,"auto_delete_in":0,"via_bot_user_id":0,)"
      R"("sender_business_bot_user_id":0,"sender_boost_count":0,"paid_message_star_count":0,)"
      R"("author_signature":"")",
  };
  if (walk.stage != WalkStage::kBetween) return;
  for (const std::string_view row : kRows) {
    const std::string_view rest = walk.text.substr(walk.pos);
    if (rest.size() > row.size() && rest[5] == row[5] && json_starts_with(rest, row)) {
      walk.pos += row.size();
    }
  }
}

// By their lengths, for a message has thirty members and ten of them count.
void take_member(ObjectWalk& walk, std::string_view key, MessagePreview& out, MessageParts& parts) {
  switch (key.size()) {
    case 4:
      if (is_key(key, "date")) out.date = value_int(take_value(walk), 0);
      break;
    case 7:
      if (is_key(key, "chat_id")) {
        out.chat_id = value_int(take_value(walk), 0);
      } else if (is_key(key, "content")) {
        ObjectWalk content{value_here(walk)};
        read_content(content, parts.content);
        leave(walk, content);
      }
      break;
    case 8:
      if (is_key(key, "reply_to")) {
        out.reply_to_message_id = walk_typed_int(walk, kReplyToMessage, "message_id");
      } else if (is_key(key, "topic_id")) {
        out.message_thread_id = walk_typed_int(walk, kTopicThread, "message_thread_id");
      }
      break;
    case 9:
      if (is_key(key, "sender_id")) {
        parts.sender_user_id = walk_typed_int(walk, kSenderUser, "user_id");
      }
      break;
    case 11:
      if (is_key(key, "is_outgoing")) out.outgoing = value_true(take_value(walk));
      break;
    case 12:
      if (is_key(key, "forward_info")) out.forwarded = value_is_object(value_here(walk));
      break;
    case 13:
      if (is_key(key, "sending_state")) {
        out.sending_state = sending_state_word(object_type(take_value(walk)));
      }
      break;
    case 16:
      if (is_key(key, "interaction_info")) {
        ObjectWalk info{value_here(walk)};
        read_interaction(info, parts.interaction);
        leave(walk, info);
      }
      break;
    default: break;
  }
}

void scan_message(const ObjectText& message, MessagePreview& out, MessageParts& parts) {
  out.chat_id = own_int(message, "chat_id", 0);
  out.date = own_int(message, "date", 0);
  out.outgoing = json_contains(message.text, "\"is_outgoing\":true");
  out.forwarded = json_contains(message.text, "\"forward_info\":{");
  out.sending_state = extract_message_sending_state(message.text);
  out.reply_to_message_id = extract_reply_to_message_id(message.text);
  out.message_thread_id = extract_message_topic_thread_id(message.text);
  parts.sender_user_id = extract_sender_user_id(message.text);
  parts.interaction = read_interaction(own_object(message, "interaction_info"));
  parts.content = read_content(own_object(message, "content"));
}

void set_document_text(MessagePreview& out, const MediaFile& media) {
  const bool substitute = out.text == message_preview_fallback("messageDocument");
  if (media.is_video) {
    if (out.text.empty() || substitute || out.text == media.name) out.text = "[video]";
  } else if (substitute && !media.name.empty()) {
    out.text = media.name;
  }
}

void set_media(MessagePreview& out, MediaFile& media) {
  out.media_file_id = media.file_id;
  out.media_w = media.w;
  out.media_h = media.h;
  out.media_duration = media.duration;
  if (out.content_type == "messagePhoto") {
    out.media_type = "photo";
  } else if (out.content_type == "messageVoiceNote") {
    out.media_type = "voice";
    out.media_w = out.media_h = 0;
  } else if (out.content_type == "messageDocument") {
    out.media_type = media.is_video ? "video" : "file";
    out.media_thumb_file_id = media.is_video ? media.thumb_file_id : 0;
    out.media_w = out.media_h = out.media_duration = 0;
    out.media_size = media.size;
    set_document_text(out, media);
    out.media_name = std::move(media.name);
  } else {
    const bool note = out.content_type == "messageVideoNote";
    out.media_type = note ? "video_note" : "video";
    out.media_thumb_file_id = media.thumb_file_id;
    if (note) out.media_h = 0;
    if (note && out.text.empty()) out.text = message_preview_fallback(out.content_type);
  }
}

void cut_text(std::string& text, TextProfile profile) {
  if (text.size() <= profile.max_text_bytes) return;
  text.resize(profile.max_text_bytes);
  if (profile.ellipsis) text += "...";
}

// `message_text` is the whole object, kept when it is a service message that lacks a name.
void fill_preview(MessagePreview& out, MessageParts& parts, std::string_view message_text,
                  TextProfile profile) {
  out.date = std::max<std::int64_t>(out.date, 0);
  out.reply_count = parts.interaction.reply_count;
  out.reactions = std::move(parts.interaction.reactions);
  out.content_type = parts.content.type;
  out.text = std::move(parts.content.words);
  if (out.text.empty()) {
    out.text =
        format_message_preview_and_track(out.chat_id, out.id, out.content_type, message_text);
  }
  if (parts.content.media.file_id != 0) set_media(out, parts.content.media);
  cut_text(out.text, profile);
}

// Offset of the id behind the marker at `marker`.
std::size_t id_behind(std::string_view text, std::size_t marker) {
  return text.find_first_not_of(" \t\r\n", marker + kMessageMarker.size());
}

// One that the end of the text cuts off is none.
bool read_message_id(std::string_view text, std::size_t pos, std::int64_t& id) {
  const bool whole =
      pos < text.size() && text.find_first_not_of("0123456789", pos + 1) != std::string_view::npos;
  return whole && parse_int_at(text, pos, id);
}

bool starts_with_message(std::string_view object) {
  return !object.empty() && object.front() == '{' &&
         json_starts_with(object.substr(1), kMessageMarker);
}

}  // namespace

bool read_message(ObjectWalk& walk, TextProfile profile, MessagePreview& out,
                  std::int64_t& sender_user_id) {
  out = MessagePreview();
  if (!starts_with_message(walk.text)) return false;
  const std::size_t id = id_behind(walk.text, 1);
  if (!read_message_id(walk.text, id, out.id)) return false;
  walk.pos = id;
  walk.stage = WalkStage::kAtValue;
  MessageParts parts;
  for (std::string_view key; next_key(walk, key);) {
    take_member(walk, key, out, parts);
    skip_usual_members(walk);
  }
  if (walk.stage != WalkStage::kClosed) return false;
  fill_preview(out, parts, walk.text.substr(0, walk.pos), profile);
  sender_user_id = parts.sender_user_id;
  return true;
}

bool parse_first_message(std::string_view json, TextProfile profile, MessagePreview& out,
                         std::int64_t& sender_user_id) {
  sender_user_id = 0;
  const std::size_t marker = find_bytes(json, kMessageMarker);
  ObjectWalk walk;
  if (marker != kNotFound && marker != 0) walk.text = json.substr(marker - 1);
  if (read_message(walk, profile, out, sender_user_id)) return true;
  out = MessagePreview();
  if (marker == kNotFound || !read_message_id(json, id_behind(json, marker), out.id)) {
    return false;
  }
  const ObjectText message = find_message(json);
  MessageParts parts;
  scan_message(message, out, parts);
  fill_preview(out, parts, message.text, profile);
  sender_user_id = parts.sender_user_id;
  return true;
}

bool parse_first_message(std::string_view json, MessagePreview& out, unsigned max_text_bytes,
                         bool ellipsis) {
  std::int64_t sender_user_id = 0;
  return parse_first_message(json, {max_text_bytes, ellipsis}, out, sender_user_id);
}

ObjectText find_message(std::string_view json) {
  const std::size_t marker = find_bytes(json, kMessageMarker);
  if (marker == kNotFound) return object_text_at(json, 0);
  const std::size_t begin = marker == 0 ? 0 : marker - 1;
  ObjectText message = object_text_at(json, begin);
  if (!message.whole) {
    const std::size_t next = find_bytes(json, kMessageMarker, marker + 1);
    message.text = json.substr(begin, next == kNotFound ? next : next - begin);
  }
  return message;
}

ObjectText find_message_content(std::string_view json) {
  return own_object(find_message(json), "content");
}

std::string extract_message_sending_state(std::string_view json) {
  return std::string(sending_state_word(own_type(own_object(find_message(json), "sending_state"))));
}

std::int64_t extract_reply_to_message_id(std::string_view json) {
  return typed_int(own_object(find_message(json), "reply_to"), kReplyToMessage, "message_id");
}

std::int64_t extract_message_topic_thread_id(std::string_view json) {
  return typed_int(own_object(find_message(json), "topic_id"), kTopicThread, "message_thread_id");
}

std::int32_t extract_message_reply_count(std::string_view json) {
  return read_interaction(own_object(find_message(json), "interaction_info")).reply_count;
}

std::int64_t extract_sender_user_id(std::string_view json) {
  return typed_int(own_object(find_message(json), "sender_id"), kSenderUser, "user_id");
}
