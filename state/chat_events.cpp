#include "state/chat_events.h"

#include <string>

#include "frame/channels.h"
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

void emit_chat_event(std::int64_t chat_id, std::string_view title, std::string_view chat_type,
                     std::int64_t unread_count, std::int64_t last_read_outbox_message_id,
                     const MessagePreview* last, std::int64_t photo_small_id, std::int64_t order,
                     bool muted_known, bool muted) {
  std::size_t size = 240 + title.size() + chat_type.size();
  if (last != nullptr) size += last->content_type.size() + last->text.size();
  std::string event;
  event.reserve(size);
  event = begin_event("chat");
  append_int_member(event, "id", chat_id);
  append_string_member(event, "title", title);
  if (!chat_type.empty()) append_string_member(event, "chat_type", chat_type);
  if (photo_small_id >= 1) append_int_member(event, "photo_small_id", photo_small_id);
  if (order != 0) append_int_member(event, "order", order);
  if (unread_count >= 0) append_int_member(event, "unread_count", unread_count);
  if (last_read_outbox_message_id >= 0) {
    append_int_member(event, "last_read_outbox_message_id", last_read_outbox_message_id);
  }
  if (last != nullptr && last->id != 0) append_last_members(event, *last);
  append_bool_member(event, "muted_known", muted_known);
  append_bool_member(event, "muted", muted);
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
