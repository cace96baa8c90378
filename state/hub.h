// Notifications for the platform's inbox. Main thread only.
#pragma once

#include <cstdint>
#include <string_view>

#include "state/chats.h"

// "hub_notify_message", unless an id is 0. `date` below 1 and empty texts are left out.
void emit_hub_notify_message_event(std::int64_t chat_id, std::int64_t message_id, std::int64_t date,
                                   std::string_view chat_title, std::string_view sender_name,
                                   std::string_view text);

// Looks at the chat's waiting notification after its settings, its scope's default or its
// membership became known: told, dropped, or left waiting.
void settle_hub_notification(ChatTable& table, std::int64_t chat_id);
// The same for every chat, oldest message first.
void settle_hub_notifications(ChatTable& table);
