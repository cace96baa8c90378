// TDLib's updates about chats. Updates of chats that this account has left are dropped, and what
// an update lacks is left out or ends its handling. Main thread only.
#pragma once

#include <string_view>

#include "state/chats.h"

void on_new_chat(ChatTable& table, std::string_view text);
void on_chat_last_message(ChatTable& table, const TdClient& td, std::string_view text);
void on_chat_position(ChatTable& table, std::string_view text);
// A draft moves its chat in the list.
void on_chat_draft(ChatTable& table, std::string_view text);
// Its last message or draft is gone: TDLib lists positions without the main list, then says this.
void on_chat_removed_from_list(ChatTable& table, std::string_view text);
// A shown row has the old photo: it is fetched and shown once more.
void on_chat_photo(ChatTable& table, const TdClient& td, std::string_view text);
void on_chat_read_inbox(ChatTable& table, const TdClient& td, std::string_view text);
void on_chat_read_outbox(ChatTable& table, std::string_view text);
void on_chat_online_member_count(const ChatTable& table, std::string_view text);
void on_chat_title(ChatTable& table, std::string_view text);
