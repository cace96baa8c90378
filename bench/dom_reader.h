// A message read through a parsed tree into the record that the program makes of it, by the same
// rules. `Node` is a thin wrapper of one library's value: get(key), is_object(), str(), num(),
// yes(), each(f); a missing member is a node that is nothing.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "json/text.h"
#include "state/message.h"
#include "state/message_content.h"
#include "state/users.h"

namespace dom_reader {

inline bool is_video_name(std::string_view name) {
  const std::string lowered = to_lower_ascii(std::string(name));
  for (const char* ending : {".mp4", ".mkv", ".webm", ".mov", ".avi", ".3gp"}) {
    if (ends_with(lowered, ending)) return true;
  }
  return false;
}

inline std::string added_sentence(const std::vector<std::int64_t>& members, std::int64_t sender) {
  std::vector<std::int64_t> missing;
  std::string text = resolve_user_name(sender, missing);
  if (members.size() == 1 && members.front() == sender) return text + " joined the group";
  if (members.empty()) return text + " added members";
  text += " added ";
  return members.size() == 1 ? text + resolve_user_name(members.front(), missing)
                             : text + std::to_string(members.size()) + " members";
}

// The photo's choice, as sizes come by.
struct BestPhoto {
  std::int64_t id[2] = {};
  std::int32_t w[2] = {};
  std::int32_t h[2] = {};
  std::int64_t area[2] = {-1, -1};

  void consider(std::int64_t file, std::int64_t width, std::int64_t height) {
    if (file < 1) return;
    const bool bounded = width >= 1 && width <= 1280 && height >= 1 && height <= 1280;
    for (int i = 0; i < (bounded ? 2 : 1); ++i) {
      if (width * height <= area[i]) continue;
      id[i] = file;
      w[i] = static_cast<std::int32_t>(width);
      h[i] = static_cast<std::int32_t>(height);
      area[i] = width * height;
    }
  }
  void take(MessagePreview& out) const {
    const int best = id[1] != 0 ? 1 : 0;
    if (id[best] == 0) return;
    out.media_type = "photo";
    out.media_file_id = id[best];
    out.media_w = w[best];
    out.media_h = h[best];
  }
};

inline void append_reaction(std::string& array, std::string_view emoji, std::int64_t count,
                            bool chosen) {
  array += array.empty() ? "[{\"emoji\":\"" : ",{\"emoji\":\"";
  append_json_escaped(array, emoji);
  array += '"';
  append_int_member(array, "count", std::min<std::int64_t>(count, 1000000000));
  append_bool_member(array, "chosen", chosen);
  array += '}';
}

template <class Node>
void read_media(const Node& content, MessagePreview& out) {
  const auto i32 = [](const Node& node) { return static_cast<std::int32_t>(node.num()); };
  if (out.content_type == "messagePhoto") {
    BestPhoto best;
    content.get("photo").get("sizes").each([&](const Node& size) {
      best.consider(size.get("photo").get("id").num(), size.get("width").num(),
                    size.get("height").num());
    });
    best.take(out);
  } else if (out.content_type == "messageVideo") {
    const Node video = content.get("video");
    out.media_type = "video";
    out.media_file_id = video.get("video").get("id").num();
    out.media_thumb_file_id = video.get("thumbnail").get("file").get("id").num();
    out.media_w = i32(video.get("width"));
    out.media_h = i32(video.get("height"));
    out.media_duration = i32(video.get("duration"));
  } else if (out.content_type == "messageVideoNote") {
    const Node note = content.get("video_note");
    out.media_type = "video_note";
    out.media_file_id = note.get("video").get("id").num();
    out.media_thumb_file_id = note.get("thumbnail").get("file").get("id").num();
    out.media_w = i32(note.get("length"));
    out.media_duration = i32(note.get("duration"));
  } else if (out.content_type == "messageVoiceNote") {
    const Node note = content.get("voice_note");
    out.media_type = "voice";
    out.media_file_id = note.get("voice").get("id").num();
    out.media_duration = i32(note.get("duration"));
  } else if (out.content_type == "messageDocument") {
    const Node document = content.get("document");
    const Node file = document.get("document");
    out.media_file_id = file.get("id").num();
    out.media_size = file.get("size").num();
    out.media_name = document.get("file_name").str();
    const bool video =
        document.get("mime_type").str().substr(0, 6) == "video/" || is_video_name(out.media_name);
    out.media_type = video ? "video" : "file";
    if (video) out.media_thumb_file_id = document.get("thumbnail").get("file").get("id").num();
    if (out.text == "[file]") out.text = video ? std::string("[video]") : out.media_name;
  }
}

template <class Node>
std::string read_text(const Node& content, const MessagePreview& out, std::int64_t sender) {
  std::string text;
  if (out.content_type == "messageText") {
    text = content.get("text").get("text").str();
  } else if (out.content_type == "messageAnimatedEmoji") {
    text = content.get("emoji").str();
  } else {
    text = content.get("caption").get("text").str();
  }
  if (!text.empty()) return text;
  if (out.content_type == "messageChatAddMembers") {
    std::vector<std::int64_t> members;
    content.get("member_user_ids").each([&](const Node& id) { members.push_back(id.num()); });
    return added_sentence(members, sender);
  }
  return message_preview_fallback(out.content_type);
}

template <class Node>
void read_message(const Node& message, MessagePreview& out, std::int64_t& sender_user_id) {
  out = MessagePreview();
  out.id = message.get("id").num();
  out.chat_id = message.get("chat_id").num();
  out.date = message.get("date").num();
  out.outgoing = message.get("is_outgoing").yes();
  out.forwarded = message.get("forward_info").is_object();
  const Node sender = message.get("sender_id");
  sender_user_id =
      sender.get("@type").str() == "messageSenderUser" ? sender.get("user_id").num() : 0;
  const std::string_view state = message.get("sending_state").get("@type").str();
  if (state == "messageSendingStateFailed") out.sending_state = "failed";
  if (state == "messageSendingStatePending") out.sending_state = "pending";
  const Node reply = message.get("reply_to");
  if (reply.get("@type").str() == "messageReplyToMessage") {
    out.reply_to_message_id = reply.get("message_id").num();
  }
  const Node topic = message.get("topic_id");
  if (topic.get("@type").str() == "messageTopicThread") {
    out.message_thread_id = topic.get("message_thread_id").num();
  }
  const Node info = message.get("interaction_info");
  out.reply_count = static_cast<std::int32_t>(info.get("reply_info").get("reply_count").num());
  const Node content = message.get("content");
  out.content_type = content.get("@type").str();
  out.text = read_text(content, out, sender_user_id);
  read_media(content, out);
  if (out.text.size() > 4096) out.text.resize(4096);
  info.get("reactions").get("reactions").each([&](const Node& reaction) {
    const Node type = reaction.get("type");
    if (type.get("@type").str() != "reactionTypeEmoji") return;
    append_reaction(out.reactions, type.get("emoji").str(), reaction.get("total_count").num(),
                    reaction.get("is_chosen").yes());
  });
  if (!out.reactions.empty()) out.reactions += ']';
}

}  // namespace dom_reader
