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

  bool muted = false;
  if (chat_muted(chats, chat_id, muted)) {
    if (muted) return log_decision("HUB_SKIP", chat_id, "muted");
    emit_hub_notify_message_event(chat_id, message.id, message.date, chat_title(chats, chat_id),
                                  sender_name, hub_text(message.text));
    return;
  }
  defer(chat_record(chats, chat_id), message, sender_name);
  log_decision("HUB_DEFER", chat_id, "mute_unknown");
}
