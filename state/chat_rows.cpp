#include "state/chat_rows.h"

#include "state/chat_events.h"
#include "state/hub.h"

bool take_chat_object(ChatTable& table, std::string_view text, std::int64_t chat_id,
                      ChatDescription& row) {
  const std::string_view chat_json = find_chat_object(text);
  if (chat_json.empty() || chat_id == 0) return false;
  const ChatObject object = read_chat_object(chat_json);
  (void)fill_chat_record(table, object.id, object);
  if (object.id != chat_id) return false;
  row = describe_chat(chat_id, object);
  return true;
}

void show_chat(ChatTable& table, const ChatDescription& chat) {
  set_chat_member(table, chat.id, true);
  bool muted = false;
  const bool muted_known = chat_muted(table, chat.id, muted);
  Chat& record = chat_record(table, chat.id);
  record.row_written = true;
  if (chat.unread_count >= 0) record.unread_count = chat.unread_count;
  emit_chat_event(chat.id, chat.title, chat.type, chat.unread_count,
                  chat.last_read_outbox_message_id, &chat.last, chat.photo_small_id, chat.order,
                  muted_known, muted);
  settle_hub_notification(table, chat.id);
}

void hide_chat(ChatTable& table, const ChatDescription& chat, std::string_view reason) {
  set_chat_member(table, chat.id, false);
  log_chat_filtered(chat, reason);
  settle_hub_notification(table, chat.id);
}
