// The event lines that show chats. Main thread only.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "state/message.h"

// {"type":"<type>","chat_id":<chat_id> and whatever the caller appends (frame/channels.h).
std::string begin_chat_event(std::string_view type, std::int64_t chat_id);
// "chat", one whole row. A count or message id of -1 is unknown, an order or photo of 0 is none;
// `last` may be null.
void emit_chat_event(std::int64_t chat_id, std::string_view title, std::string_view chat_type,
                     std::int64_t unread_count, std::int64_t last_read_outbox_message_id,
                     const MessagePreview* last, std::int64_t photo_small_id, std::int64_t order,
                     bool muted_known, bool muted);
// "chat_position"; `pinned` is told when `has_pinned`. Nothing for chat 0.
void emit_chat_position_event(std::int64_t chat_id, std::int64_t order, bool has_pinned,
                              bool pinned);
// {"type":"<type>","chat_id":<chat_id>,"<key>":<value>}
void emit_chat_number_event(std::string_view type, std::int64_t chat_id, std::string_view key,
                            std::int64_t value);
// {"type":"<type>","chat_id":<chat_id>}
void emit_chat_id_event(std::string_view type, std::int64_t chat_id);
void emit_chat_title_event(std::int64_t chat_id, std::string_view title);
