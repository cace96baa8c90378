// The messages that the UI has been shown with reactions, so that it can be told when the last one
// is removed. Main thread only; an entry lives until then or until the message is deleted.
#pragma once

#include <cstdint>

void note_told_reactions(std::int64_t chat_id, std::int64_t message_id);
// True when the message was shown with reactions; it no longer counts as such.
bool forget_told_reactions(std::int64_t chat_id, std::int64_t message_id);
