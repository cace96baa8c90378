#include "state/message.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "json/scan.h"
#include "json/search.h"
#include "json/walk.h"
#include "state/message_media.h"
#include "state/reactions.h"
#include "state/service_messages.h"

namespace {

constexpr std::string_view kMessageMarker = "\"@type\":\"message\",\"id\":";

// The members of a message that a record is made of, as they stand in the text.
struct MessageMembers {
  std::int64_t chat_id = 0;
  std::int64_t date = 0;
  bool outgoing = false;
  bool forwarded = false;
  ObjectText sender;
  ObjectText sending_state;
  ObjectText reply_to;
  ObjectText topic;
  ObjectText interaction;
  ObjectText content;
};

void take_member(MessageMembers& found, std::string_view key, std::string_view value) {
  if (key == "chat_id") {
    found.chat_id = value_int(value, 0);
  } else if (key == "date") {
    found.date = value_int(value, 0);
  } else if (key == "is_outgoing") {
    found.outgoing = value_true(value);
  } else if (key == "forward_info") {
    found.forwarded = value_is_object(value);
  } else if (key == "sender_id") {
    found.sender = object_text_of(value);
  } else if (key == "sending_state") {
    found.sending_state = object_text_of(value);
  } else if (key == "reply_to") {
    found.reply_to = object_text_of(value);
  } else if (key == "topic_id") {
    found.topic = object_text_of(value);
  } else if (key == "interaction_info") {
    found.interaction = object_text_of(value);
  } else if (key == "content") {
    found.content = object_text_of(value);
  }
}

MessageMembers message_members(const ObjectText& message) {
  MessageMembers found;
  if (message.whole) {
    ObjectWalk walk{message.text};
    for (JsonMember member; next_member(walk, member);) {
      take_member(found, member.key, member.value);
    }
    return found;
  }
  found.chat_id = own_int(message, "chat_id", 0);
  found.date = own_int(message, "date", 0);
  found.outgoing = json_contains(message.text, "\"is_outgoing\":true");
  found.forwarded = json_contains(message.text, "\"forward_info\":{");
  found.sender = own_object(message, "sender_id");
  found.sending_state = own_object(message, "sending_state");
  found.reply_to = own_object(message, "reply_to");
  found.topic = own_object(message, "topic_id");
  found.interaction = own_object(message, "interaction_info");
  found.content = own_object(message, "content");
  return found;
}

std::string_view sending_state_word(const ObjectText& state) {
  const std::string_view type = own_type(state);
  if (type == "messageSendingStateFailed") return "failed";
  return type == "messageSendingStatePending" ? "pending" : "";
}

// An id inside an object of the type given; 0 when it is of another.
std::int64_t id_in(const ObjectText& object, std::string_view type, std::string_view key) {
  return own_type(object) == type ? own_int(object, key, 0) : 0;
}

std::int64_t reply_message_id(const ObjectText& reply_to) {
  return id_in(reply_to, "messageReplyToMessage", "message_id");
}

std::int64_t topic_thread_id(const ObjectText& topic) {
  return id_in(topic, "messageTopicThread", "message_thread_id");
}

std::int64_t sender_user_id_of(const ObjectText& sender) {
  return id_in(sender, "messageSenderUser", "user_id");
}

std::int32_t reply_count_of(const ObjectText& interaction) {
  constexpr std::int64_t kMax = std::numeric_limits<std::int32_t>::max();
  const std::int64_t count = own_int(own_object(interaction, "reply_info"), "reply_count", 0);
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(count, 0, kMax));
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

void cut_text(std::string& text, unsigned max_bytes, bool ellipsis) {
  if (text.size() <= max_bytes) return;
  text.resize(max_bytes);
  if (ellipsis) text += "...";
}

void fill_preview(MessagePreview& out, const ObjectText& message, TextProfile profile,
                  std::int64_t& sender_user_id) {
  const MessageMembers members = message_members(message);
  out.chat_id = members.chat_id;
  out.date = std::max<std::int64_t>(members.date, 0);
  out.outgoing = members.outgoing;
  out.sending_state = sending_state_word(members.sending_state);
  out.reply_to_message_id = reply_message_id(members.reply_to);
  out.message_thread_id = topic_thread_id(members.topic);
  out.reply_count = reply_count_of(members.interaction);
  out.forwarded = members.forwarded;
  sender_user_id = sender_user_id_of(members.sender);
  out.content_type = own_type(members.content);
  out.text = content_text(members.content);
  if (out.text.empty()) {
    out.text =
        format_message_preview_and_track(out.chat_id, out.id, out.content_type, message.text);
  }
  MediaFile media;
  if (read_content_media(members.content, out.content_type, media)) set_media(out, media);
  cut_text(out.text, profile.max_text_bytes, profile.ellipsis);
  if (members.interaction.whole) out.reactions = reactions_event_array(members.interaction.text);
}

}  // namespace

bool parse_first_message(std::string_view json, TextProfile profile, MessagePreview& out,
                         std::int64_t& sender_user_id) {
  out = MessagePreview();
  sender_user_id = 0;
  const std::size_t marker = find_bytes(json, kMessageMarker);
  if (marker == kNotFound || !parse_int_at(json, marker + kMessageMarker.size(), out.id)) {
    return false;
  }
  fill_preview(out, find_message(json), profile, sender_user_id);
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

std::string content_text(const ObjectText& content) {
  const std::string_view type = own_type(content);
  if (type == "messageText") return own_string(own_object(content, "text"), "text");
  if (type == "messageAnimatedEmoji") {
    std::string emoji = own_string(content, "emoji");
    if (!emoji.empty()) return emoji;
  }
  return own_string(own_object(content, "caption"), "text");
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

std::string extract_message_sending_state(std::string_view json) {
  return std::string(sending_state_word(own_object(find_message(json), "sending_state")));
}

std::int64_t extract_reply_to_message_id(std::string_view json) {
  return reply_message_id(own_object(find_message(json), "reply_to"));
}

std::int64_t extract_message_topic_thread_id(std::string_view json) {
  return topic_thread_id(own_object(find_message(json), "topic_id"));
}

std::int32_t extract_message_reply_count(std::string_view json) {
  return reply_count_of(own_object(find_message(json), "interaction_info"));
}

std::int64_t extract_sender_user_id(std::string_view json) {
  return sender_user_id_of(own_object(find_message(json), "sender_id"));
}
