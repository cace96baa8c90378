#include "state/notify_updates.h"

#include <algorithm>
#include <limits>
#include <string>

#include "frame/channels.h"
#include "json/scan.h"
#include "json/text.h"
#include "json/walk.h"
#include "state/hub.h"

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
