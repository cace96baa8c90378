// The updates that follow a message through its life. Main thread only. An update without the ids
// that it is about (0 is none) writes nothing.
#pragma once

#include <string_view>

#include "frame/tdlib.h"
#include "state/chats.h"

void on_new_message(ChatTable& chats, const OpenChat& open, const TdClient& td,
                    std::string_view text);
void on_message_send_acknowledged(std::string_view text);
void on_message_send_succeeded(std::string_view text);
void on_message_send_failed(std::string_view text);
void on_message_content(std::string_view text);
void on_message_is_pinned(std::string_view text);  // level 2
void on_message_interaction_info(std::string_view text);
void on_delete_messages(ChatTable& chats, std::string_view text);
