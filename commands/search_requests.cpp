#include "commands/search_requests.h"

#include "json/text.h"

std::string make_search_public_chats(std::string_view query) {
  std::string request = "{\"@type\":\"searchPublicChats\"";
  append_string_member(request, "query", query);
  request += '}';
  return request;
}

std::string make_search_chat_messages(const MessageSearch& search) {
  std::string request = "{\"@type\":\"searchChatMessages\"";
  append_int_member(request, "chat_id", search.chat_id);
  request += ",\"topic_id\":null";
  append_string_member(request, "query", search.query);
  request += ",\"sender_id\":null";
  append_int_member(request, "from_message_id", search.from_message_id);
  request += ",\"offset\":0";
  append_int_member(request, "limit", search.limit);
  request += ",\"filter\":{\"@type\":\"" + std::string(search.filter) + "\"}}";
  return request;
}
