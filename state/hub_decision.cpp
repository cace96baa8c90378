#include "state/hub_decision.h"

#include <memory>
#include <string>

#include "frame/channels.h"
#include "frame/ui_running.h"
#include "state/hub.h"

constexpr std::size_t kHubTextMax = 256;  // bytes, without the dots

static std::string hub_text(const std::string& text) {
  return text.size() > kHubTextMax ? text.substr(0, kHubTextMax) + "..." : text;
}

// The user is looking at the message already.
static bool is_on_screen(const OpenChat& open, std::int64_t chat_id) {
  return open.chat_id == chat_id && !g_ui_running_marker_path.empty() && is_ui_running_active();
}

void decide_hub_notification(ChatTable& chats, const OpenChat& open, const MessagePreview& message,
                             std::string_view sender_name) {
  const std::int64_t chat_id = message.chat_id;
  if (chat_id == 0 || message.outgoing || is_on_screen(open, chat_id)) return;
  const std::string chat = "chat_id=" + std::to_string(chat_id);
  if (chat_filtered(chats, chat_id)) return dbg("HUB_SKIP " + chat + " reason=not_member");

  bool muted = false;
  if (chat_muted(chats, chat_id, muted)) {
    if (muted) return dbg("HUB_SKIP " + chat + " reason=muted");
    emit_hub_notify_message_event(chat_id, message.id, message.date, chat_title(chats, chat_id),
                                  sender_name, hub_text(message.text));
    return;
  }
  chat_record(chats, chat_id).waiting = std::make_unique<PendingHubNotification>(
      PendingHubNotification{message.id, message.date, std::string(chat_title(chats, chat_id)),
                             std::string(sender_name), hub_text(message.text)});
  dbg("HUB_DEFER " + chat + " reason=mute_unknown");
}
