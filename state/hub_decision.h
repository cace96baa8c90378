// Whether a new message becomes a notification. Main thread only.
#pragma once

#include <string_view>

#include "state/chats.h"
#include "state/message.h"
#include "state/open_chat.h"

// Writes "hub_notify_message", or logs why not; while the chat's mute state is unknown the
// notification waits in the chat's record, the newest one only.
void decide_hub_notification(ChatTable& chats, const OpenChat& open, const MessagePreview& message,
                             std::string_view sender_name);
