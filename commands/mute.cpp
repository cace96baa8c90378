#include "commands/mute.h"

#include "frame/channels.h"
#include "json/scan.h"
#include "json/search.h"
#include "json/text.h"

constexpr std::int64_t kMuteForever = 2147483647;  // seconds

// Offset of the value behind the key, or kNotFound.
static std::size_t value_behind(std::string_view text, std::string_view key_and_colon) {
  const std::size_t key = find_bytes(text, key_and_colon);
  if (key == kNotFound) return kNotFound;
  const std::size_t value = text.find_first_not_of(" \t\n\r", key + key_and_colon.size());
  return value == std::string_view::npos ? kNotFound : value;
}

bool patch_mute_for(std::string& settings, std::int64_t mute_for) {
  const std::size_t flag = value_behind(settings, "\"use_default_mute_for\":");
  if (flag != kNotFound && settings.compare(flag, 4, "true") == 0) {
    settings.replace(flag, 4, "false");
  }
  const std::size_t number = value_behind(settings, "\"mute_for\":");
  if (number == kNotFound) return false;
  const std::size_t digits = settings[number] == '-' ? number + 1 : number;
  std::size_t end = digits;
  while (end < settings.size() && settings[end] >= '0' && settings[end] <= '9') ++end;
  if (end == digits) return false;
  settings.replace(number, end - number, std::to_string(mute_for));
  return true;
}

static std::string make_set_chat_notification_settings(std::int64_t chat_id,
                                                       std::string_view settings) {
  std::string request = "{\"@type\":\"setChatNotificationSettings\"";
  append_int_member(request, "chat_id", chat_id);
  request += ",\"notification_settings\":";
  request += settings;
  request += '}';
  return request;
}

static void refuse_toggle(const CommandCall& call, std::int64_t chat_id, std::string_view reply,
                          std::string_view why) {
  dbg("MUTE_TOGGLE chat_id=" + std::to_string(chat_id) + " " + std::string(why));
  refuse(call, reply);
}

void run_mute_toggle(CommandCall& call, const ChatTable& chats, const TdClient& td) {
  std::int64_t chat_id = 0;
  if (!arg_id(call, chat_id)) return refuse_usage(call);
  if (!gate_open(call)) return;
  // Where the state is not known the toggle unmutes: a notification too many does less harm than
  // one that never comes.
  bool muted = false;
  const bool known = chat_muted(chats, chat_id, muted);
  const std::int64_t mute_for = known && !muted ? kMuteForever : 0;
  const Chat* chat = find_chat(chats, chat_id);
  if (chat == nullptr || chat->notification_settings == nullptr) {
    return refuse_toggle(call, chat_id, "mute_toggle_settings_missing",
                         "missing_notification_settings");
  }
  std::string settings = *chat->notification_settings;
  if (!patch_mute_for(settings, mute_for)) {
    return refuse_toggle(call, chat_id, "mute_toggle_patch_failed", "patch_failed");
  }
  td_request(td, make_set_chat_notification_settings(chat_id, settings),
             make_tag("muteToggle", chat_id, mute_for));
  reply_ok(call, "SEND setChatNotificationSettings (mute_toggle)");
}

void on_mute_toggled(Answer& answer) {
  const std::int64_t chat_id = next_field_i64(answer.fields);
  const std::int64_t mute_for = next_field_i64(answer.fields, -1);
  if (chat_id == 0 || mute_for < 0) return;
  std::string event = begin_event("chat_mute_toggled");
  append_int_member(event, "chat_id", chat_id);
  append_bool_member(event, "muted", mute_for > 0);
  end_event(event);
  dbg("TD_OK muteToggle chat_id=" + std::to_string(chat_id) +
      " muted=" + (mute_for > 0 ? "1" : "0"));
}
