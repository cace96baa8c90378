// The event lines that show chats. Main thread only.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "state/chat_object.h"

// {"type":"<type>","chat_id":<chat_id> and whatever the caller appends (frame/channels.h).
std::string begin_chat_event(std::string_view type, std::int64_t chat_id);
struct MuteState {
  bool known = false;
  bool muted = false;
};
// "chat", one whole row.
void emit_chat_event(const ChatDescription& chat, MuteState mute);
// "chat_position"; `pinned` is told when `has_pinned`. Nothing for chat 0.
void emit_chat_position_event(std::int64_t chat_id, std::int64_t order, bool has_pinned,
                              bool pinned);
// {"type":"<type>","chat_id":<chat_id>,"<key>":<value>}
void emit_chat_number_event(std::string_view type, std::int64_t chat_id, std::string_view key,
                            std::int64_t value);
// {"type":"<type>","chat_id":<chat_id>}
void emit_chat_id_event(std::string_view type, std::int64_t chat_id);
void emit_chat_title_event(std::int64_t chat_id, std::string_view title);
