#include "state/notifications.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "frame/channels.h"
#include "frame/protocol.h"
#include "frame/ui_running.h"
#include "json/scan.h"
#include "json/text.h"
#include "json/walk.h"

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

static void withdraw(Chat& chat, std::int64_t chat_id) {
  std::string event = begin_event("hub_notify_withdrawn");
  append_int_member(event, "chat_id", chat_id);
  append_int_member(event, "message_id", chat.notified_message_id);
  chat.notified_message_id = 0;
  end_event(event);
}

void withdraw_notification(ChatTable& table, std::int64_t chat_id, std::int64_t up_to_message_id) {
  const auto found = table.chats.find(chat_id);
  if (found == table.chats.end()) return;
  const std::int64_t standing = found->second.notified_message_id;
  if (standing != 0 && standing <= up_to_message_id) withdraw(found->second, chat_id);
}

void withdraw_notification_of(ChatTable& table, std::int64_t chat_id, std::int64_t message_id) {
  const auto found = table.chats.find(chat_id);
  if (found == table.chats.end() || message_id == 0) return;
  if (found->second.notified_message_id == message_id) withdraw(found->second, chat_id);
}

static void withdraw_if_muted(ChatTable& table, std::int64_t chat_id) {
  bool muted = false;
  if (chat_muted(table, chat_id, muted) && muted) {
    withdraw_notification(table, chat_id, kEveryMessage);
  }
}

void settle_hub_notification(ChatTable& table, std::int64_t chat_id) {
  const auto found = table.chats.find(chat_id);
  if (found == table.chats.end()) return;
  Chat& chat = found->second;
  if (chat.is_member == false) {
    chat.waiting.reset();
    return withdraw_notification(table, chat_id, kEveryMessage);
  }
  if (chat.waiting == nullptr) return;
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
  if (at_level2()) chat.notified_message_id = waiting->message_id;
}

void settle_hub_notifications(ChatTable& table) {
  std::vector<std::tuple<std::int64_t, std::int64_t>> waiting;  // date, chat
  for (const auto& [chat_id, chat] : table.chats) {
    if (chat.waiting != nullptr) waiting.emplace_back(chat.waiting->date, chat_id);
  }
  std::sort(waiting.begin(), waiting.end());
  for (const auto& entry : waiting) settle_hub_notification(table, std::get<1>(entry));
}

constexpr std::size_t kHubTextMax = 256;  // bytes, without the dots

static std::string hub_text(const std::string& text) {
  return text.size() > kHubTextMax ? text.substr(0, kHubTextMax) + "..." : text;
}

static void log_decision(const char* word, std::int64_t chat_id, const char* reason) {
  if (!dbg_on()) return;
  dbg(std::string(word) + " chat_id=" + std::to_string(chat_id) + " reason=" + reason);
}

// The newest message takes the place of an older one that waits.
static void defer(Chat& chat, const MessagePreview& message, std::string_view sender_name) {
  if (!chat.waiting) chat.waiting = std::make_unique<PendingHubNotification>();
  PendingHubNotification& waiting = *chat.waiting;
  waiting.message_id = message.id;
  waiting.date = message.date;
  waiting.chat_title = chat.title;
  waiting.sender_name = sender_name;
  waiting.text = hub_text(message.text);
}

// The user is looking at the message already.
static bool is_on_screen(const OpenChat& open, std::int64_t chat_id) {
  return open.chat_id == chat_id && !g_ui_running_marker_path.empty() && is_ui_running_active();
}

void decide_hub_notification(ChatTable& chats, const OpenChat& open, const MessagePreview& message,
                             std::string_view sender_name) {
  const std::int64_t chat_id = message.chat_id;
  if (chat_id == 0 || message.outgoing || is_on_screen(open, chat_id)) return;
  if (chat_filtered(chats, chat_id)) return log_decision("HUB_SKIP", chat_id, "not_member");

  // While an older one waits, for whatever, the newer one must not overtake it.
  const Chat* chat = find_chat(chats, chat_id);
  const bool older_waits = chat != nullptr && chat->waiting != nullptr;
  bool muted = false;
  if (!older_waits && chat_muted(chats, chat_id, muted)) {
    if (muted) return log_decision("HUB_SKIP", chat_id, "muted");
    emit_hub_notify_message_event(chat_id, message.id, message.date, chat_title(chats, chat_id),
                                  sender_name, hub_text(message.text));
    if (at_level2()) chat_record(chats, chat_id).notified_message_id = message.id;
    return;
  }
  defer(chat_record(chats, chat_id), message, sender_name);
  log_decision("HUB_DEFER", chat_id, "mute_unknown");
}

namespace {

struct ScopeName {
  NotifyScope scope;
  std::string_view word;
  std::string_view object;
};

constexpr ScopeName kScopes[] = {
    {NotifyScope::kPrivate, "private", "\"@type\":\"notificationSettingsScopePrivateChats\""},
    {NotifyScope::kGroup, "group", "\"@type\":\"notificationSettingsScopeGroupChats\""},
    {NotifyScope::kChannel, "channel", "\"@type\":\"notificationSettingsScopeChannelChats\""},
};

}  // namespace

static void emit_chat_notify_event(const ChatTable& chats, std::int64_t chat_id,
                                   const ChatNotifySettingsCache& notify) {
  bool muted = false;
  const bool known = chat_muted(chats, chat_id, muted);
  std::string event = begin_event("chat_notify");
  append_int_member(event, "chat_id", chat_id);
  append_bool_member(event, "muted_known", known);
  append_bool_member(event, "muted", muted);
  append_int_member(event, "mute_for", notify.mute_for);
  append_bool_member(event, "use_default_mute_for", notify.use_default_mute_for);
  end_event(event);
}

void on_chat_notification_settings(ChatTable& chats, std::string_view text) {
  const std::int64_t chat_id = member_int(text, "chat_id", 0);
  const std::string_view settings = member_object(text, "notification_settings");
  if (chat_id == 0) return;
  Chat& chat = chat_record(chats, chat_id);
  if (!record_notification_settings(chats, chat, settings)) return;
  const ChatNotifySettingsCache& notify = chat.notify;
  dbg("CHAT_NOTIFY chat_id=" + std::to_string(chat_id) +
      " mute_for=" + std::to_string(notify.mute_for) +
      " use_default_mute_for=" + (notify.use_default_mute_for ? "1" : "0"));
  emit_chat_notify_event(chats, chat_id, notify);
  settle_hub_notification(chats, chat_id);
  withdraw_if_muted(chats, chat_id);
}

// False when the text holds no mute time.
static bool read_scope_mute_for(std::string_view text, std::int32_t& mute_for) {
  const std::int64_t value = extract_json_int_field(text, "mute_for");
  if (value < 0) return false;
  constexpr std::int64_t kMax = std::numeric_limits<std::int32_t>::max();
  mute_for = static_cast<std::int32_t>(std::min(value, kMax));
  return true;
}

static void store_scope_default(ChatTable& chats, NotifyScope scope, std::int32_t mute_for) {
  chats.scope_defaults[static_cast<int>(scope)] = {true, mute_for};
  if (mute_for == 0) return;
  for (const auto& [chat_id, chat] : chats.chats) {
    if (chat.notified_message_id != 0) withdraw_if_muted(chats, chat_id);
  }
}

void on_scope_notification_settings(ChatTable& chats, std::string_view text) {
  std::int32_t mute_for = 0;
  if (!read_scope_mute_for(text, mute_for)) return;
  std::string_view word = "unknown";
  for (const ScopeName& row : kScopes) {
    if (word != "unknown" || !json_contains(text, row.object)) continue;
    word = row.word;
    store_scope_default(chats, row.scope, mute_for);
  }
  dbg("SCOPE_UPDATE scope=" + std::string(word) + " mute_for=" + std::to_string(mute_for));
  settle_hub_notifications(chats);
}

void on_scope_settings_answer(ChatTable& chats, const Answer& answer) {
  std::int32_t mute_for = 0;
  if (!read_scope_mute_for(answer.text, mute_for)) return;
  for (const ScopeName& row : kScopes) {
    if (row.word == answer.fields) store_scope_default(chats, row.scope, mute_for);
  }
  dbg("SCOPE_SETTINGS extra=" + std::string(answer.tag) + " mute_for=" + std::to_string(mute_for));
  settle_hub_notifications(chats);
}
