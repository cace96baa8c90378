#include "state/chat_updates.h"

#include <algorithm>
#include <string>

#include "frame/channels.h"
#include "frame/protocol.h"
#include "json/text.h"
#include "json/walk.h"
#include "state/chat_events.h"
#include "state/chat_level2.h"
#include "state/chat_rows.h"
#include "state/message_events.h"
#include "state/notifications.h"

// TDLib shows every chat in this update before it names it in any other. Nobody asked for the
// chat, so the UI is told nothing and its row stays unwritten; but its mute state, title and user
// are known from then on, and a notification need not wait for a fetch.
void on_new_chat(ChatTable& table, std::string_view text) {
  (void)record_chat(table, member_object(text, "chat"));
}

// The place that the update's "positions" give the chat.
static void tell_place(ChatTable& table, std::int64_t chat_id, std::string_view update) {
  std::int64_t order = 0;
  if (extract_chat_main_order_known(update, order)) {
    if (at_level2()) note_chat_place(table, chat_id, order);
    emit_chat_position_event(chat_id, order, false, false);
  } else if (at_level2()) {
    tell_lost_place(table, chat_id, update);
  }
}

void on_chat_last_message(ChatTable& table, const TdClient& td, std::string_view text) {
  // The message has a chat id of its own, so the first one in the text is not the update's.
  std::int64_t chat_id = member_int(text, "chat_id", 0);
  if (chat_filtered(table, chat_id)) return;
  MessagePreview last;
  const bool parsed = parse_first_message(member_object(text, "last_message"), last,
                                          kChatPreview.max_text_bytes, kChatPreview.ellipsis);
  if (chat_id == 0) chat_id = last.chat_id;
  if (chat_id == 0 || chat_filtered(table, chat_id)) return;
  ensure_chat_known(table, td, chat_id);
  amend_waiting_rows(table, chat_id, [&](auto& row) { row.last = last; });
  if (parsed) emit_chat_last_message_event(chat_id, last);
  tell_place(table, chat_id, text);
}

void on_chat_position(ChatTable& table, std::string_view text) {
  const std::int64_t chat_id = member_int(text, "chat_id", 0);
  if (chat_id == 0 || chat_filtered(table, chat_id)) return;
  const std::string_view position = member_object(text, "position");
  std::int64_t order = 0;
  // Positions in the archive and in folders are no concern of the UI's one list.
  if (!extract_position_main_order(position, order)) return;
  if (at_level2()) note_chat_place(table, chat_id, order);
  const std::string_view pinned = object_member(position, "is_pinned");
  amend_waiting_rows(table, chat_id, [&](auto& row) { row.details.pinned = pinned == "true"; });
  emit_chat_position_event(chat_id, order, pinned == "true" || pinned == "false", pinned == "true");
}

void on_chat_draft(ChatTable& table, std::string_view text) {
  const std::int64_t chat_id = member_int(text, "chat_id", 0);
  if (chat_id == 0 || chat_filtered(table, chat_id)) return;
  if (at_level2()) emit_chat_draft(table, chat_id, text);
  tell_place(table, chat_id, text);
}

void on_chat_removed_from_list(ChatTable& table, std::string_view text) {
  const std::int64_t chat_id = member_int(text, "chat_id", 0);
  if (chat_id == 0 || chat_filtered(table, chat_id)) return;
  if (object_type(member_object(text, "chat_list")) != "chatListMain") return;
  if (at_level2()) note_chat_place(table, chat_id, 0);
  emit_chat_position_event(chat_id, 0, false, false);
}

void on_chat_photo(ChatTable& table, const TdClient& td, std::string_view text) {
  const std::int64_t chat_id = member_int(text, "chat_id", 0);
  const Chat* chat = find_chat(table, chat_id);
  if (chat == nullptr || chat->is_member == false) return;
  if (at_level2()) return emit_chat_photo(table, chat_id, text);
  if (!chat->row_written) return;
  forget_chat_row(table, chat_id);
  ensure_chat_known(table, td, chat_id);
}

void on_chat_read_inbox(ChatTable& table, const TdClient& td, std::string_view text) {
  const std::int64_t chat_id = member_int(text, "chat_id", 0);
  if (chat_id == 0 || chat_filtered(table, chat_id)) return;
  ensure_chat_known(table, td, chat_id);
  const std::int64_t unread = std::max<std::int64_t>(member_int(text, "unread_count"), 0);
  std::string event = begin_chat_event("chat_unread", chat_id);
  append_int_member(event, "unread_count", unread);
  const std::int64_t last_read = member_int(text, "last_read_inbox_message_id", 0);
  amend_waiting_rows(table, chat_id, [&](auto& row) {
    row.unread_count = unread;
    row.details.last_read_inbox_message_id = last_read;
  });
  if (at_level2()) append_int_member(event, "last_read_inbox_message_id", last_read);
  end_event(event);
  if (at_level2()) withdraw_notification(table, chat_id, last_read);
}

// Tells one number of the update under the name given; a missing one tells nothing.
static void tell_number(const ChatTable& table, std::string_view text, std::string_view member,
                        std::string_view type, std::string_view key) {
  const std::int64_t chat_id = member_int(text, "chat_id", 0);
  const std::int64_t value = member_int(text, member);
  if (chat_id == 0 || value < 0 || chat_filtered(table, chat_id)) return;
  emit_chat_number_event(type, chat_id, key, value);
}

void on_chat_read_outbox(ChatTable& table, std::string_view text) {
  static constexpr std::string_view kMember = "last_read_outbox_message_id";
  const std::int64_t last_read = member_int(text, kMember);
  amend_waiting_rows(table, member_int(text, "chat_id", 0), [&](auto& row) {
    if (last_read >= 0) row.last_read_outbox_message_id = last_read;
  });
  tell_number(table, text, kMember, "chat_read_outbox", kMember);
}

void on_chat_online_member_count(const ChatTable& table, std::string_view text) {
  tell_number(table, text, "online_member_count", "chat_online_count", "count");
}

void on_chat_title(ChatTable& table, std::string_view text) {
  const std::int64_t chat_id = member_int(text, "chat_id", 0);
  if (chat_id == 0 || chat_filtered(table, chat_id)) return;
  const std::string_view member = object_member(text, "title");
  if (member.empty()) return;
  std::string title = string_of(member);
  amend_waiting_rows(table, chat_id, [&](auto& row) { row.title = title; });
  emit_chat_title_event(chat_id, title);
  chat_record(table, chat_id).title = std::move(title);
}
