#include "state/hub.h"

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

#include "frame/channels.h"
#include "json/text.h"

void emit_hub_notify_message_event(std::int64_t chat_id, std::int64_t message_id, std::int64_t date,
                                   std::string_view chat_title, std::string_view sender_name,
                                   std::string_view text) {
  if (chat_id == 0 || message_id == 0) return;
  std::string event = begin_event("hub_notify_message");
  append_int_member(event, "chat_id", chat_id);
  append_int_member(event, "message_id", message_id);
  if (date >= 1) append_int_member(event, "date", date);
  if (!chat_title.empty()) append_string_member(event, "chat_title", chat_title);
  if (!sender_name.empty()) append_string_member(event, "sender_name", sender_name);
  if (!text.empty()) append_string_member(event, "text", text);
  end_event(event);
}

void settle_hub_notification(ChatTable& table, std::int64_t chat_id) {
  const auto found = table.chats.find(chat_id);
  if (found == table.chats.end() || found->second.waiting == nullptr) return;
  Chat& chat = found->second;
  if (chat.is_member == false) {
    chat.waiting.reset();
    return;
  }
  bool muted = false;
  if (!chat_muted(table, chat_id, muted)) return;
  const std::unique_ptr<PendingHubNotification> waiting = std::move(chat.waiting);
  if (muted) {
    dbg("HUB_SKIP chat_id=" + std::to_string(chat_id) + " reason=muted_pending");
    return;
  }
  const std::string& title = chat.title.empty() ? waiting->chat_title : chat.title;
  emit_hub_notify_message_event(chat_id, waiting->message_id, waiting->date, title,
                                waiting->sender_name, waiting->text);
}

void settle_hub_notifications(ChatTable& table) {
  std::vector<std::tuple<std::int64_t, std::int64_t>> waiting;  // date, chat
  for (const auto& [chat_id, chat] : table.chats) {
    if (chat.waiting != nullptr) waiting.emplace_back(chat.waiting->date, chat_id);
  }
  std::sort(waiting.begin(), waiting.end());
  for (const auto& entry : waiting) settle_hub_notification(table, std::get<1>(entry));
}
