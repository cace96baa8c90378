// TDLib's search requests, without their tags.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

std::string make_search_public_chats(std::string_view query);

struct MessageSearch {
  std::int64_t chat_id = 0;
  std::string_view query;            // empty: any text
  std::int64_t from_message_id = 0;  // 0: from the newest
  std::int64_t limit = 0;
  std::string_view filter;  // TDLib's "@type" of it
};
std::string make_search_chat_messages(const MessageSearch& search);
