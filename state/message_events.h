// The event lines that show a message. Main thread only.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "state/message.h"

// Who wrote it, as far as the user cache knows.
struct Sender {
  std::int64_t user_id = 0;  // 0: a chat, or unknown
  std::string name;
  std::int64_t photo_small_id = 0;
};
// Looks the user up; one that is not cached is requested and has no name yet.
Sender find_sender(std::int64_t user_id);
// The same for a message's sender; at level 2 a chat's title is its name.
Sender find_sender(const MessagePreview& message, std::int64_t user_id);

// "message"; `gen` 0 for a live message.
void emit_message_event(std::int64_t chat_id, std::int64_t gen, const MessagePreview& message,
                        const Sender& sender);
// "message_preview": the same fields for a message that was asked for alone.
void emit_message_preview_event(std::int64_t chat_id, const MessagePreview& message,
                                const Sender& sender);
// "message_new": the same fields in an order of its own, without a generation.
void emit_message_new_event(const MessagePreview& message, const Sender& sender);
// "message_update", unless an id is 0 or the text empty.
void emit_message_update_event(std::int64_t chat_id, std::int64_t id, std::string_view text);
// The same with the media that the message shows now (level 2).
void emit_media_update_event(std::int64_t chat_id, std::int64_t id, const MessagePreview& message);
// "chat_last_message"; `last` has the chat-list profile.
void emit_chat_last_message_event(std::int64_t chat_id, const MessagePreview& last);
// The "message" event's members from "media_type" to "media_size", each when it is there.
void append_media_members(std::string& event, const MessagePreview& message);
