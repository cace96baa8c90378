#include "state/message_updates.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

#include "frame/channels.h"
#include "frame/protocol.h"
#include "json/scan.h"
#include "json/text.h"
#include "json/walk.h"
#include "state/chat_events.h"
#include "state/message.h"
#include "state/message_content.h"
#include "state/message_events.h"
#include "state/notifications.h"
#include "state/reactions.h"

constexpr std::size_t kDeletedIdsPerEvent = 1024;

// The update's own message; false when there is none, or one without its ids.
static bool read_new_message(std::string_view text, MessagePreview& message,
                             std::int64_t& sender_id) {
  return parse_first_message(text, kFullMessage, message, sender_id) && message.id != 0 &&
         message.chat_id != 0;
}

// What most of these updates are about. False when one of the ids is missing.
struct MessageRef {
  std::int64_t chat_id = 0;
  std::int64_t id = 0;
};

static bool read_message_ref(std::string_view text, MessageRef& ref) {
  ref.chat_id = member_int(text, "chat_id", 0);
  ref.id = member_int(text, "message_id", 0);
  return ref.chat_id != 0 && ref.id != 0;
}

void on_new_message(ChatTable& chats, const OpenChat& open, const TdClient& td,
                    std::string_view text) {
  MessagePreview message;
  std::int64_t sender_id = 0;
  if (!read_new_message(text, message, sender_id)) return;
  ensure_chat_known(chats, td, message.chat_id);
  const Sender sender = find_sender(message, sender_id);
  emit_message_new_event(message, sender);
  decide_hub_notification(chats, open, message, sender.name);
}

void on_message_send_acknowledged(std::string_view text) {
  MessageRef ref;
  if (!read_message_ref(text, ref)) return;
  std::string event = begin_chat_event("message_send_acked", ref.chat_id);
  append_int_member(event, "id", ref.id);
  end_event(event);
}

void on_message_send_succeeded(std::string_view text) {
  MessagePreview message;
  std::int64_t sender_id = 0;
  if (!read_new_message(text, message, sender_id)) return;
  std::string event = begin_chat_event("message_send_succeeded", message.chat_id);
  append_int_member(event, "old_id", member_int(text, "old_message_id", 0));
  append_int_member(event, "new_id", message.id);
  append_int_member(event, "date", message.date);
  end_event(event);
  emit_message_event(message.chat_id, 0, message, find_sender(message, sender_id));
}

// The library tells the wait as a fraction of seconds; a begun second counts.
static std::int64_t retry_seconds(std::string_view value) {
  const double seconds = std::strtod(std::string(value).c_str(), nullptr);
  if (!(seconds > 0)) return 0;
  return static_cast<std::int64_t>(std::ceil(std::min(seconds, 2147483647.0)));
}

static void append_failure_details(std::string& event, std::int64_t new_id, std::string_view text) {
  const std::string_view state = member_object(member_object(text, "message"), "sending_state");
  append_int_member(event, "new_id", new_id);
  append_int_member(event, "code", member_int(member_object(text, "error"), "code", 0));
  const std::int64_t retry_after = retry_seconds(object_member(state, "retry_after"));
  if (retry_after >= 1) append_int_member(event, "retry_after", retry_after);
  append_bool_member(event, "can_retry", member_true(state, "can_retry"));
}

void on_message_send_failed(std::string_view text) {
  MessagePreview message;
  std::int64_t sender_id = 0;
  if (!read_new_message(text, message, sender_id)) return;
  std::string event = begin_chat_event("message_send_failed", message.chat_id);
  append_int_member(event, "old_id", member_int(text, "old_message_id", 0));
  append_string_member(event, "error", member_string(member_object(text, "error"), "message"));
  if (at_level2()) append_failure_details(event, message.id, text);
  end_event(event);
}

// True when the content shows media, which level 2 tells with its text.
static bool tell_new_media(const MessageRef& ref, const MessageContent& content) {
  MessagePreview message;
  message.content_type = content.type;
  message.text = message_words(content);
  if (message.text.empty()) message.text = message_preview_fallback(message.content_type);
  take_message_media(content.media, message);
  if (message.media_file_id == 0) return false;
  emit_media_update_event(ref.chat_id, ref.id, message);
  return true;
}

void on_message_content(std::string_view text) {
  MessageRef ref;
  if (!read_message_ref(text, ref)) return;
  ObjectWalk walk = walk_to(text, "new_content");
  const MessageContent content = read_content(walk);
  if (at_level2() && tell_new_media(ref, content)) return;
  emit_message_update_event(ref.chat_id, ref.id, extract_content_words(content));
}

void on_message_is_pinned(std::string_view text) {
  MessageRef ref;
  if (!read_message_ref(text, ref)) return;
  std::string event = begin_chat_event("message_pinned", ref.chat_id);
  append_int_member(event, "id", ref.id);
  append_bool_member(event, "pinned", member_true(text, "is_pinned"));
  end_event(event);
}

// A message whose last shown reaction is gone is told once more, with none.
static void tell_reactions(const MessageRef& ref, std::string reactions) {
  if (!reactions.empty()) {
    note_told_reactions(ref.chat_id, ref.id);
  } else if (forget_told_reactions(ref.chat_id, ref.id)) {
    reactions = "[]";
  } else {
    return;
  }
  if (dbg_on()) {
    dbg("REACTIONS_EMIT src=updateMessageInteractionInfo chat_id=" + std::to_string(ref.chat_id) +
        " msg_id=" + std::to_string(ref.id) + " json=" + reactions);
  }
  std::string event = begin_chat_event("message_reactions", ref.chat_id);
  append_int_member(event, "id", ref.id);
  event += ",\"reactions\":";
  event += reactions;
  end_event(event);
}

void on_message_interaction_info(std::string_view text) {
  MessageRef ref;
  if (!read_message_ref(text, ref)) return;
  ObjectWalk walk = walk_to(text, "interaction_info");
  const InteractionInfo info = read_interaction_info(walk);
  if (info.reply_count >= 0) {
    std::string event = begin_chat_event("message_reply_count", ref.chat_id);
    append_int_member(event, "id", ref.id);
    append_int_member(event, "reply_count", info.reply_count);
    end_event(event);
  }
  tell_reactions(ref, info.reactions);
}

static void emit_messages_deleted(std::int64_t chat_id, const std::int64_t* ids, std::size_t count,
                                  bool from_cache) {
  std::string event = begin_chat_event("messages_deleted", chat_id);
  event += ",\"message_ids\":[";
  for (std::size_t i = 0; i < count; ++i) {
    if (i > 0) event += ',';
    append_i64(event, ids[i]);
  }
  event += ']';
  if (from_cache) append_bool_member(event, "from_cache", true);
  end_event(event);
}

void on_delete_messages(ChatTable& chats, std::string_view text) {
  const std::int64_t chat_id = member_int(text, "chat_id", 0);
  const std::vector<std::int64_t> ids =
      extract_json_int64_array_field(text, "message_ids", std::numeric_limits<unsigned>::max());
  if (chat_id == 0) return;
  const bool from_cache = member_true(text, "from_cache");
  for (std::size_t done = 0; done < ids.size(); done += kDeletedIdsPerEvent) {
    const std::size_t count = std::min(kDeletedIdsPerEvent, ids.size() - done);
    emit_messages_deleted(chat_id, ids.data() + done, count, from_cache);
  }
  // What the library merely drops from its memory still shows its reactions.
  if (from_cache) return;
  for (const std::int64_t id : ids) {
    (void)forget_told_reactions(chat_id, id);
    withdraw_notification_of(chats, chat_id, id);
  }
}
