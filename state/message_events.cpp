#include "state/message_events.h"

#include "frame/channels.h"
#include "frame/protocol.h"
#include "json/text.h"
#include "state/reactions.h"
#include "state/users.h"

namespace {

constexpr std::size_t kFixedPart = 260;

std::string begin_message_event(std::string_view type, const MessagePreview& message,
                                const Sender& sender) {
  return begin_event(
      type, kFixedPart + sender.name.size() + message.content_type.size() + message.text.size());
}

// The small optional fields, by the one rule for each kind.
void append_positive(std::string& event, std::string_view key, std::int64_t value) {
  if (value >= 1) append_int_member(event, key, value);
}

void append_non_empty(std::string& event, std::string_view key, std::string_view value) {
  if (!value.empty()) append_string_member(event, key, value);
}

void append_state_and_date(std::string& event, const MessagePreview& message) {
  append_int_member(event, "id", message.id);
  append_bool_member(event, "outgoing", message.outgoing);
  append_non_empty(event, "sending_state", message.sending_state);
  append_positive(event, "date", message.date);
}

void append_words_and_sender(std::string& event, const MessagePreview& message,
                             const Sender& sender) {
  append_non_empty(event, "content_type", message.content_type);
  append_non_empty(event, "text", message.text);
  append_positive(event, "sender_user_id", sender.user_id);
  append_non_empty(event, "sender_name", sender.name);
  append_positive(event, "sender_photo_small_id", sender.photo_small_id);
}

void append_references(std::string& event, const MessagePreview& message) {
  append_positive(event, "reply_to_message_id", message.reply_to_message_id);
  append_positive(event, "message_thread_id", message.message_thread_id);
  append_positive(event, "reply_count", message.reply_count);
  if (message.forwarded) append_bool_member(event, "forwarded", true);
}

void append_reactions(std::string& event, std::int64_t chat_id, const MessagePreview& message) {
  if (message.reactions.empty()) return;
  note_told_reactions(chat_id, message.id);
  event += ",\"reactions\":";
  event += message.reactions;
}

}  // namespace

Sender find_sender(std::int64_t user_id) {
  Sender sender;
  sender.user_id = user_id;
  if (const UserInfo* user = find_user(user_id)) {
    sender.name = user_display_name(*user);
    sender.photo_small_id = user->photo_small_id;
  } else {
    queue_user_request(user_id);
  }
  return sender;
}

Sender find_sender(const MessagePreview& message, std::int64_t user_id) {
  if (message.details.sender_chat_id == 0) return find_sender(user_id);
  Sender sender;
  sender.name = known_chat_title(message.details.sender_chat_id);
  return sender;
}

void append_media_members(std::string& event, const MessagePreview& message) {
  append_non_empty(event, "media_type", message.media_type);
  append_positive(event, "media_file_id", message.media_file_id);
  append_positive(event, "media_thumb_file_id", message.media_thumb_file_id);
  append_positive(event, "media_w", message.media_w);
  append_positive(event, "media_h", message.media_h);
  append_positive(event, "media_duration", message.media_duration);
  append_non_empty(event, "media_name", message.media_name);
  append_positive(event, "media_size", message.media_size);
}

static void emit_whole_message(std::string_view type, std::int64_t chat_id, std::int64_t gen,
                               const MessagePreview& message, const Sender& sender) {
  std::string event = begin_message_event(type, message, sender);
  append_int_member(event, "chat_id", chat_id);
  append_positive(event, "gen", gen);
  append_state_and_date(event, message);
  append_words_and_sender(event, message, sender);
  append_references(event, message);
  append_media_members(event, message);
  append_reactions(event, chat_id, message);
  if (at_level2()) append_message_details(event, message);
  end_event(event);
}

void emit_message_event(std::int64_t chat_id, std::int64_t gen, const MessagePreview& message,
                        const Sender& sender) {
  emit_whole_message("message", chat_id, gen, message, sender);
}

void emit_message_preview_event(std::int64_t chat_id, const MessagePreview& message,
                                const Sender& sender) {
  emit_whole_message("message_preview", chat_id, 0, message, sender);
}

void emit_message_new_event(const MessagePreview& message, const Sender& sender) {
  std::string event = begin_message_event("message_new", message, sender);
  append_int_member(event, "chat_id", message.chat_id);
  append_state_and_date(event, message);
  append_references(event, message);
  append_words_and_sender(event, message, sender);
  append_media_members(event, message);
  append_reactions(event, message.chat_id, message);
  if (at_level2()) append_message_details(event, message);
  end_event(event);
}

void emit_message_update_event(std::int64_t chat_id, std::int64_t id, std::string_view text) {
  if (chat_id == 0 || id == 0 || text.empty()) return;
  std::string event = begin_event("message_update");
  append_int_member(event, "chat_id", chat_id);
  append_int_member(event, "id", id);
  append_string_member(event, "text", text);
  end_event(event);
}

void emit_media_update_event(std::int64_t chat_id, std::int64_t id, const MessagePreview& message) {
  std::string event = begin_event("message_update");
  append_int_member(event, "chat_id", chat_id);
  append_int_member(event, "id", id);
  append_non_empty(event, "text", message.text);
  append_media_members(event, message);
  end_event(event);
}

void emit_chat_last_message_event(std::int64_t chat_id, const MessagePreview& last) {
  std::string event = begin_event("chat_last_message");
  append_int_member(event, "chat_id", chat_id);
  append_int_member(event, "message_id", last.id);
  append_bool_member(event, "outgoing", last.outgoing);
  append_positive(event, "date", last.date);
  append_non_empty(event, "content_type", last.content_type);
  append_non_empty(event, "text", last.text);
  if (at_level2()) append_message_details(event, last);
  end_event(event);
}
