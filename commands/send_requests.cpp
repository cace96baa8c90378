#include "commands/send_requests.h"

#include "json/text.h"

namespace {

constexpr std::string_view kSendOptions =
    "\"options\":{\"@type\":\"messageSendOptions\",\"suggested_post_info\":null,"
    "\"disable_notification\":false,\"from_background\":false,\"protect_content\":false,"
    "\"allow_paid_broadcast\":false,\"paid_message_star_count\":0,"
    "\"update_order_of_installed_sticker_sets\":false,\"scheduling_state\":null,\"effect_id\":0,"
    "\"sending_id\":1,\"only_preview\":false}";
constexpr std::size_t kRequestBytes = 700;  // what a request holds beside its texts

// A request up to its options; the content follows.
std::string begin_send(std::int64_t chat_id, std::int64_t reply_to, std::size_t text_bytes) {
  std::string json;
  json.reserve(kRequestBytes + text_bytes);
  json += "{\"@type\":\"sendMessage\"";
  append_int_member(json, "chat_id", chat_id);
  json += ",\"topic_id\":null,";
  append_send_reply_to(json, reply_to);
  json += kSendOptions;
  return json;
}

// ,"key":{"@type":"formattedText",...}
void append_formatted_text(std::string& json, std::string_view key, std::string_view text) {
  json += ",\"";
  json += key;
  json += "\":{\"@type\":\"formattedText\"";
  append_string_member(json, "text", text);
  json += ",\"entities\":[]}";
}

void append_local_file(std::string& json, std::string_view key, std::string_view path) {
  json += ",\"";
  json += key;
  json += "\":{\"@type\":\"inputFileLocal\"";
  append_string_member(json, "path", path);
  json += '}';
}

void append_text_content(std::string& json, std::string_view text) {
  json += ",\"reply_markup\":null,\"input_message_content\":{\"@type\":\"inputMessageText\"";
  append_formatted_text(json, "text", text);
  json += ",\"link_preview_options\":null,\"clear_draft\":false}}";
}

}  // namespace

void append_message_ids(std::string& json, const std::vector<std::int64_t>& message_ids) {
  json += ",\"message_ids\":[";
  for (std::size_t i = 0; i < message_ids.size(); ++i) {
    if (i > 0) json += ',';
    append_i64(json, message_ids[i]);
  }
  json += ']';
}

void append_send_reply_to(std::string& json, std::int64_t reply_to) {
  if (reply_to < 1) {
    json += "\"reply_to\":null,";
    return;
  }
  json += "\"reply_to\":{\"@type\":\"inputMessageReplyToMessage\"";
  append_int_member(json, "message_id", reply_to);
  json += "},";
}

std::string make_send_message_text(std::int64_t chat_id, std::string_view text,
                                   std::int64_t reply_to) {
  std::string json = begin_send(chat_id, reply_to, text.size());
  append_text_content(json, text);
  return json;
}

std::string make_send_document(std::int64_t chat_id, std::int64_t reply_to, std::string_view path,
                               std::string_view caption) {
  std::string json = begin_send(chat_id, reply_to, path.size() + caption.size());
  json += ",\"input_message_content\":{\"@type\":\"inputMessageDocument\"";
  append_local_file(json, "document", path);
  json += ",\"thumbnail\":null";
  append_formatted_text(json, "caption", caption);
  json += ",\"disable_content_type_detection\":false}}";
  return json;
}

std::string make_send_voice_note(std::int64_t chat_id, std::int64_t reply_to, std::string_view path,
                                 std::int64_t duration_seconds) {
  std::string json = begin_send(chat_id, reply_to, path.size());
  json += ",\"input_message_content\":{\"@type\":\"inputMessageVoiceNote\"";
  append_local_file(json, "voice_note", path);
  append_int_member(json, "duration", duration_seconds);
  json += ",\"waveform\":\"\"";
  append_formatted_text(json, "caption", "");
  json += ",\"self_destruct_type\":null}}";
  return json;
}

std::string make_send_video_note(std::int64_t chat_id, std::int64_t reply_to, std::string_view path,
                                 std::int64_t duration_seconds, std::int64_t length) {
  std::string json = begin_send(chat_id, reply_to, path.size());
  json += ",\"input_message_content\":{\"@type\":\"inputMessageVideoNote\"";
  append_local_file(json, "video_note", path);
  append_int_member(json, "duration", duration_seconds);
  append_int_member(json, "length", length);
  json += "}}";
  return json;
}

std::string make_edit_message_text(std::int64_t chat_id, std::int64_t message_id,
                                   std::string_view text) {
  std::string json;
  json.reserve(kRequestBytes + text.size());
  json += "{\"@type\":\"editMessageText\"";
  append_int_member(json, "chat_id", chat_id);
  append_int_member(json, "message_id", message_id);
  append_text_content(json, text);
  return json;
}

std::string make_forward_messages(std::int64_t chat_id, std::int64_t from_chat_id,
                                  const std::vector<std::int64_t>& message_ids) {
  std::string json = "{\"@type\":\"forwardMessages\"";
  append_int_member(json, "chat_id", chat_id);
  append_int_member(json, "from_chat_id", from_chat_id);
  append_message_ids(json, message_ids);
  json += ',';
  json += kSendOptions;
  json += ",\"send_copy\":false,\"remove_caption\":false}";
  return json;
}
