#include "state/chat_events.h"

#include <string>

#include "frame/channels.h"
#include "frame/protocol.h"
#include "json/text.h"

std::string begin_chat_event(std::string_view type, std::int64_t chat_id) {
  std::string event = begin_event(type);
  append_int_member(event, "chat_id", chat_id);
  return event;
}

static void append_last_members(std::string& event, const MessagePreview& last) {
  append_int_member(event, "last_message_id", last.id);
  if (last.date >= 1) append_int_member(event, "last_date", last.date);
  if (!last.content_type.empty()) {
    append_string_member(event, "last_content_type", last.content_type);
  }
  if (!last.text.empty()) append_string_member(event, "last_text", last.text);
  append_bool_member(event, "last_outgoing", last.outgoing);
}

void emit_chat_event(const ChatDescription& chat, MuteState mute) {
  constexpr std::size_t kFixedPart = 240;
  std::string event =
      begin_event("chat", kFixedPart + chat.title.size() + chat.type.size() +
                              chat.last.content_type.size() + chat.last.text.size());
  append_int_member(event, "id", chat.id);
  append_string_member(event, "title", chat.title);
  if (!chat.type.empty()) append_string_member(event, "chat_type", chat.type);
  if (chat.photo_small_id >= 1) append_int_member(event, "photo_small_id", chat.photo_small_id);
  if (chat.order != 0) append_int_member(event, "order", chat.order);
  if (chat.unread_count >= 0) append_int_member(event, "unread_count", chat.unread_count);
  if (chat.last_read_outbox_message_id >= 0) {
    append_int_member(event, "last_read_outbox_message_id", chat.last_read_outbox_message_id);
  }
  if (chat.last.id != 0) append_last_members(event, chat.last);
  append_bool_member(event, "muted_known", mute.known);
  append_bool_member(event, "muted", mute.muted);
  if (at_level2()) append_chat_details(event, chat.details);
  end_event(event);
}

void emit_chat_position_event(std::int64_t chat_id, std::int64_t order, bool has_pinned,
                              bool pinned) {
  if (chat_id == 0) return;
  std::string event = begin_chat_event("chat_position", chat_id);
  append_int_member(event, "order", order);
  if (has_pinned) append_bool_member(event, "pinned", pinned);
  end_event(event);
}

void emit_chat_number_event(std::string_view type, std::int64_t chat_id, std::string_view key,
                            std::int64_t value) {
  std::string event = begin_chat_event(type, chat_id);
  append_int_member(event, key, value);
  end_event(event);
}

void emit_chat_id_event(std::string_view type, std::int64_t chat_id) {
  std::string event = begin_chat_event(type, chat_id);
  end_event(event);
}

void emit_chat_title_event(std::int64_t chat_id, std::string_view title) {
  std::string event = begin_chat_event("chat_title", chat_id);
  append_string_member(event, "title", title);
  end_event(event);
}
