// Changes of notification settings, of a chat and of a scope. Main thread only. Settings that do
// not parse leave the old state.
#pragma once

#include <string_view>

#include "frame/answer.h"
#include "state/chats.h"

void on_chat_notification_settings(ChatTable& chats, std::string_view text);
void on_scope_notification_settings(ChatTable& chats, std::string_view text);
// The answer to a question for a scope's default, tagged "scope:private" and its siblings.
void on_scope_settings_answer(ChatTable& chats, const Answer& answer);
