// Notifications for the platform's inbox: whether a new message becomes one, and the settings that
// decide it. Main thread only.
#pragma once

#include <cstdint>
#include <string_view>

#include "frame/answer.h"
#include "state/chats.h"
#include "state/message.h"

// "hub_notify_message", unless an id is 0. `date` below 1 and empty texts are left out.
void emit_hub_notify_message_event(std::int64_t chat_id, std::int64_t message_id, std::int64_t date,
                                   std::string_view chat_title, std::string_view sender_name,
                                   std::string_view text);

// A new message: writes "hub_notify_message", or logs why not. While the chat's mute state is
// unknown the notification waits in the chat's record, the newest one only.
void decide_hub_notification(ChatTable& chats, const OpenChat& open, const MessagePreview& message,
                             std::string_view sender_name);

// Looks at the chat's waiting notification after its settings, its scope's default or its
// membership became known: told, dropped, or left waiting.
void settle_hub_notification(ChatTable& table, std::int64_t chat_id);
// The same for every chat, oldest message first.
void settle_hub_notifications(ChatTable& table);

// Level 2: the chat's notification that still stands, and with it all before, is withdrawn by
// "hub_notify_withdrawn" when its message is `up_to_message_id` or older.
constexpr std::int64_t kEveryMessage = INT64_MAX;
void withdraw_notification(ChatTable& table, std::int64_t chat_id, std::int64_t up_to_message_id);
// The same when its message is the one.
void withdraw_notification_of(ChatTable& table, std::int64_t chat_id, std::int64_t message_id);

// Changes of a chat's or a scope's settings. Those that do not parse leave the old state.
void on_chat_notification_settings(ChatTable& chats, std::string_view text);
void on_scope_notification_settings(ChatTable& chats, std::string_view text);
// The answer to a question for a scope's default, tagged "scope:private" and its siblings.
void on_scope_settings_answer(ChatTable& chats, const Answer& answer);
