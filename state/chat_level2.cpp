#include "state/chat_level2.h"

#include <algorithm>

#include "frame/channels.h"
#include "frame/protocol.h"
#include "json/scan.h"
#include "json/text.h"
#include "json/walk.h"
#include "state/chat_events.h"
#include "state/chats.h"

// A draft that is no text, such as a voice note, has no words.
static std::string draft_text(std::string_view draft_message) {
  const std::string_view content = member_object(draft_message, "input_message_text");
  std::string text = member_string(member_object(content, "text"), "text");
  if (text.size() > kChatPreview.max_text_bytes) {
    text.resize(kChatPreview.max_text_bytes);
    text += "...";
  }
  return text;
}

static bool pinned_in_main_list(std::string_view positions) {
  ArrayWalk walk{positions};
  std::int64_t order = 0;
  for (std::string_view position; next_element(walk, position);) {
    if (extract_position_main_order(position, order)) return member_true(position, "is_pinned");
  }
  return false;
}

ChatDetails read_chat_details(const ChatObject& chat) {
  ChatDetails details;
  details.pinned = pinned_in_main_list(chat.positions);
  details.last_read_inbox_message_id = chat.last_read_inbox_message_id;
  details.unread_mention_count = chat.unread_mention_count;
  details.marked_as_unread = chat.is_marked_as_unread;
  details.draft = draft_text(chat.draft_message);
  return details;
}

void append_chat_details(std::string& event, const ChatDetails& details) {
  if (details.pinned) append_bool_member(event, "pinned", true);
  if (details.last_read_inbox_message_id >= 1) {
    append_int_member(event, "last_read_inbox_message_id", details.last_read_inbox_message_id);
  }
  if (details.unread_mention_count >= 1) {
    append_int_member(event, "unread_mention_count", details.unread_mention_count);
  }
  if (details.marked_as_unread) append_bool_member(event, "marked_as_unread", true);
  if (!details.draft.empty()) append_string_member(event, "draft", details.draft);
}

void amend_waiting_rows(ChatTable& table, std::int64_t chat_id,
                        const std::function<void(ChatDescription&)>& amend) {
  if (!at_level2()) return;
  for (auto& checks : table.member_checks) {
    const auto found = checks.find(chat_id);
    if (found != checks.end()) amend(found->second.chat);
  }
}

void note_chat_place(ChatTable& table, std::int64_t chat_id, std::int64_t order) {
  if (chat_id == 0) return;
  chat_record(table, chat_id).in_main_list = order != 0;
  amend_waiting_rows(table, chat_id, [&](auto& row) { row.order = order; });
}

void tell_lost_place(ChatTable& table, std::int64_t chat_id, std::string_view update) {
  const Chat* chat = find_chat(table, chat_id);
  if (chat == nullptr || !chat->in_main_list || member_array(update, "positions").empty()) return;
  note_chat_place(table, chat_id, 0);
  emit_chat_position_event(chat_id, 0, false, false);
}

// The chat that the update is about; 0 when its events are not the UI's.
static std::int64_t told_chat(const ChatTable& table, std::string_view text) {
  const std::int64_t chat_id = member_int(text, "chat_id", 0);
  return chat_filtered(table, chat_id) ? 0 : chat_id;
}

void on_chat_mentions(ChatTable& table, std::string_view text) {
  const std::int64_t chat_id = told_chat(table, text);
  const std::int64_t count = member_int(text, "unread_mention_count");
  if (chat_id == 0 || count < 0) return;
  amend_waiting_rows(table, chat_id, [&](auto& row) { row.details.unread_mention_count = count; });
  emit_chat_number_event("chat_mentions", chat_id, "unread_mention_count", count);
}

void on_chat_marked(ChatTable& table, std::string_view text) {
  const std::int64_t chat_id = told_chat(table, text);
  if (chat_id == 0) return;
  const bool marked = member_true(text, "is_marked_as_unread");
  amend_waiting_rows(table, chat_id, [&](auto& row) { row.details.marked_as_unread = marked; });
  std::string event = begin_chat_event("chat_marked", chat_id);
  append_bool_member(event, "marked_as_unread", marked);
  end_event(event);
}

// "chatActionTyping" is "typing".
static std::string action_word(std::string_view type) {
  static constexpr std::string_view kPrefix = "chatAction";
  if (!json_starts_with(type, kPrefix) || type.size() == kPrefix.size()) return {};
  std::string word(type.substr(kPrefix.size()));
  if (word[0] >= 'A' && word[0] <= 'Z') word[0] = static_cast<char>(word[0] - 'A' + 'a');
  return word;
}

void on_chat_action(const ChatTable& table, std::string_view text) {
  const std::int64_t chat_id = told_chat(table, text);
  const std::string word = action_word(object_type(member_object(text, "action")));
  const std::string_view sender = member_object(text, "sender_id");
  const std::int64_t user_id = member_int(sender, "user_id", 0);
  const std::int64_t sender_chat_id = member_int(sender, "chat_id", 0);
  if (chat_id == 0 || word.empty() || (user_id == 0 && sender_chat_id == 0)) return;
  std::string event = begin_chat_event("chat_action", chat_id);
  if (user_id != 0) {
    append_int_member(event, "sender_user_id", user_id);
  } else {
    append_int_member(event, "sender_chat_id", sender_chat_id);
  }
  append_string_member(event, "action", word);
  end_event(event);
}

void emit_chat_draft(ChatTable& table, std::int64_t chat_id, std::string_view update) {
  const std::string draft = draft_text(member_object(update, "draft_message"));
  amend_waiting_rows(table, chat_id, [&](auto& row) { row.details.draft = draft; });
  std::string event = begin_chat_event("chat_draft", chat_id);
  append_string_member(event, "text", draft);
  end_event(event);
}

void emit_chat_photo(ChatTable& table, std::int64_t chat_id, std::string_view update) {
  const std::int64_t photo = extract_chat_photo_small_file_id(update);
  amend_waiting_rows(table, chat_id, [&](auto& row) { row.photo_small_id = photo; });
  emit_chat_number_event("chat_photo", chat_id, "photo_small_id", photo);
}
