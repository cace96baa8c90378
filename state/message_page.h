// The messages of a page that TDLib answers with ("messages", "foundChatMessages",
// "foundMessages"): the elements of the answer's own array, in its order, whatever messages nest
// in them. Main thread only. Views point into the answer's text.
#pragma once

#include <cstdint>
#include <string_view>

#include "json/walk.h"
#include "state/message.h"

struct MessagePage {
  std::int64_t total_count = -1;  // the page's own, wherever it stands; -1: none
  ArrayWalk messages;
};

MessagePage open_message_page(std::string_view answer);
// The next message's text; null elements and what is no message are left out. False at the end.
bool next_message(MessagePage& page, std::string_view& message);
// The next message as a record, and its sender, 0 when that is a chat.
bool next_message(MessagePage& page, TextProfile profile, MessagePreview& out,
                  std::int64_t& sender_user_id);
