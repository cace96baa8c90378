#include "state/message.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "frame/protocol.h"
#include "json/walk.h"
#include "state/message_content.h"
#include "state/reactions.h"
#include "state/service_messages.h"

namespace {

// How a message object begins; where this is not there, there is no message.
constexpr std::string_view kMessageStart = "\"@type\":\"message\",\"id\":";

constexpr std::int64_t kMostReplies = std::numeric_limits<std::int32_t>::max();

// A message's own members, as far as they count.
struct MessageMembers {
  std::int64_t id = 0;
  std::int64_t chat_id = 0;
  std::int64_t date = 0;
  std::int64_t edit_date = 0;
  bool is_outgoing = false;
  std::string_view sender_id;
  std::string_view sending_state;
  std::string_view forward_info;
  InteractionInfo interaction_info;
  std::string_view reply_to;
  std::string_view topic_id;
  MessageContent content;
};
constexpr Row<MessageMembers> kMessageRows[] = {
    {"id", value_into<&MessageMembers::id>},
    {"sender_id", object_into<&MessageMembers::sender_id>},
    {"chat_id", value_into<&MessageMembers::chat_id>},
    {"sending_state", object_into<&MessageMembers::sending_state>},
    {"is_outgoing", value_into<&MessageMembers::is_outgoing>},
    {"date", value_into<&MessageMembers::date>},
    {"edit_date", value_into<&MessageMembers::edit_date>},
    {"forward_info", object_into<&MessageMembers::forward_info>},
    {"interaction_info", result_into<&MessageMembers::interaction_info, read_interaction_info>},
    {"reply_to", object_into<&MessageMembers::reply_to>},
    {"topic_id", object_into<&MessageMembers::topic_id>},
    {"content", result_into<&MessageMembers::content, read_content>},
};

// The integer `key` of an object of that type; 0 when it is of another.
std::int64_t typed_int(std::string_view object, std::string_view type, std::string_view key) {
  return object_type(object) == type ? member_int(object, key, 0) : 0;
}

// A caption that is only the file's name, or the substitute, counts as none.
void settle_document_text(MessagePreview& out) {
  const bool substitute = out.text == message_preview_fallback(out.content_type);
  if (out.media_type == "video") {
    if (substitute || out.text == out.media_name) out.text = "[video]";
  } else if (substitute && !out.media_name.empty()) {
    out.text = out.media_name;
  }
}

void cut_text(std::string& text, TextProfile profile) {
  if (text.size() <= profile.max_text_bytes) return;
  text.resize(profile.max_text_bytes);
  if (profile.ellipsis) text += "...";
}

void fill_preview(MessageMembers& members, std::string_view message_json, TextProfile profile,
                  MessagePreview& out) {
  out.chat_id = members.chat_id;
  out.id = members.id;
  out.reply_to_message_id = extract_reply_to_message_id(members.reply_to);
  out.message_thread_id = extract_message_topic_thread_id(members.topic_id);
  out.reply_count = static_cast<std::int32_t>(
      std::clamp<std::int64_t>(members.interaction_info.reply_count, 0, kMostReplies));
  out.forwarded = !members.forward_info.empty();
  out.outgoing = members.is_outgoing;
  out.date = std::max<std::int64_t>(members.date, 0);
  out.sending_state = extract_message_sending_state(members.sending_state);
  out.content_type = members.content.type;
  out.text = message_words(members.content);
  if (out.text.empty()) {
    out.text =
        format_message_preview_and_track(out.chat_id, out.id, out.content_type, message_json);
  }
  take_message_media(std::move(members.content.media), out);
  cut_text(out.text, profile);
  out.reactions = std::move(members.interaction_info.reactions);
  if (at_level2()) {
    out.details = read_message_details(members.chat_id, members.edit_date, members.sender_id,
                                       members.reply_to, members.forward_info);
  }
}

// The message object that the walk, not yet begun, is for.
bool read_message(ObjectWalk& walk, TextProfile profile, MessagePreview& out,
                  std::int64_t& sender_user_id) {
  out = MessagePreview();
  MessageMembers members;
  read_members<kMessageRows>(walk, members);
  sender_user_id = extract_sender_user_id(members.sender_id);
  if (members.id != 0) fill_preview(members, walk.text, profile, out);
  return members.id != 0;
}

// TDLib writes the count first, and then the messages are passed over only once, when they are
// read.
constexpr Row<MessagePage> kPageRows[] = {
    {"total_count", value_into<&MessagePage::total_count>},
    {"messages",
     [](ObjectWalk& walk, MessagePage& page) { page.messages.text = value_here(walk); }},
};

}  // namespace

std::string message_words(const MessageContent& content) {
  std::string words = extract_content_words(content);
  if (words.empty() && at_level2()) words = level2_content_words(content.object);
  return words;
}

void take_message_media(MessageMedia media, MessagePreview& out) {
  out.media_type = media.type;
  out.media_file_id = media.file_id;
  out.media_thumb_file_id = media.thumb_file_id;
  out.media_w = media.w;
  out.media_h = media.h;
  out.media_duration = media.duration;
  out.media_name = std::move(media.name);
  out.media_size = media.size;
  if (out.content_type == "messageDocument" && out.media_file_id != 0) settle_document_text(out);
}

bool parse_first_message(std::string_view json, TextProfile profile, MessagePreview& out,
                         std::int64_t& sender_user_id) {
  std::string copy;
  ObjectWalk walk{find_object(json, kMessageStart, copy)};
  return read_message(walk, profile, out, sender_user_id);
}

bool parse_first_message(std::string_view json, MessagePreview& out, unsigned max_text_bytes,
                         bool ellipsis) {
  std::int64_t sender_user_id = 0;
  return parse_first_message(json, {max_text_bytes, ellipsis}, out, sender_user_id);
}

std::string extract_message_sending_state(std::string_view sending_state) {
  const std::string_view type = object_type(sending_state);
  if (type == "messageSendingStateFailed") return "failed";
  return type == "messageSendingStatePending" ? "pending" : "";
}

std::int64_t extract_reply_to_message_id(std::string_view reply_to) {
  return typed_int(reply_to, "messageReplyToMessage", "message_id");
}

std::int64_t extract_message_topic_thread_id(std::string_view topic_id) {
  return typed_int(topic_id, "messageTopicThread", "message_thread_id");
}

std::int64_t extract_sender_user_id(std::string_view sender_id) {
  return typed_int(sender_id, "messageSenderUser", "user_id");
}

MessagePage open_message_page(std::string_view answer) {
  MessagePage page;
  read_members<kPageRows>(answer, page);
  return page;
}

bool next_message(MessagePage& page, std::string_view& message) {
  for (std::string_view element; next_element(page.messages, element);) {
    if (object_type(element) != "message") continue;
    message = element;
    return true;
  }
  return false;
}

bool next_message(MessagePage& page, TextProfile profile, MessagePreview& out,
                  std::int64_t& sender_user_id) {
  while (next_place(page.messages)) {
    ObjectWalk walk{value_here(page.messages)};
    if (object_type(walk.text) != "message") continue;
    const bool is_message = read_message(walk, profile, out, sender_user_id);
    leave(page.messages, walk);
    if (is_message) return true;
  }
  return false;
}
