// The last step of every way by which a chat's row reaches the UI. Main thread only.
#pragma once

#include "state/chats.h"

// Reads a chat object into its record and describes it; `chat_id` is the chat that was asked for.
// False when the text holds no chat or another one (which is recorded all the same).
bool take_chat_object(ChatTable& table, std::string_view text, std::int64_t chat_id,
                      ChatDescription& row);
// Writes the "chat" event: the account is taken to be a member, and a notification that waited for
// the chat is settled.
void show_chat(ChatTable& table, const ChatDescription& chat);
// The verdict was no: the chat stays hidden, and so does a notification that waited.
void hide_chat(ChatTable& table, const ChatDescription& chat, std::string_view reason);
