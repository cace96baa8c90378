// How chats and people are called, and what they do.
#include <algorithm>

#include "console/client.h"

std::vector<std::int64_t> chat_order(const Client& client) {
  std::vector<std::int64_t> ids;
  for (const auto& [id, chat] : client.chats) {
    if (chat.says("order")) ids.push_back(id);
  }
  const auto order = [&](std::int64_t id) { return std::pair(client.chat(id).num("order"), id); };
  std::sort(ids.begin(), ids.end(), [&](auto a, auto b) { return order(a) > order(b); });
  return ids;
}

std::string chat_title(const Client& client, std::int64_t chat_id) {
  if (client.chats.count(chat_id) == 0) return "chat " + std::to_string(chat_id);
  const std::string& title = client.chat(chat_id).str("title");
  return title.empty() ? "(no title)" : title;
}

std::int64_t other_side(const Client& client, std::int64_t chat_id) {
  return client.chat(chat_id).str("chat_type") == "private" ? chat_id : 0;
}

std::string sender_name(const Client& client, const Event& message) {
  if (message.on("outgoing")) return "You";
  if (message.says("sender_name")) return message.str("sender_name");
  const std::int64_t user = message.num("sender_user_id");
  const std::string& name = Client::find(client.users, user).str("name");
  if (!name.empty()) return name;
  if (user != 0) return "user " + std::to_string(user);
  return chat_title(client, message.num("sender_chat_id", message.num("chat_id")));
}

std::string presence(const Client& client, std::int64_t chat_id) {
  const Event& chat = client.chat(chat_id);
  if (chat.says("doing")) return chat.str("doing");
  if (chat.says("online")) return chat.str("online") + " online";
  const Event& user = Client::find(client.users, other_side(client, chat_id));
  if (user.members.empty()) return in_words(client, chat, "{chat_type:spaced}");
  if (user.says("was_online")) return in_words(client, user, "last seen {was_online:time}");
  return user.str("status_type") == "empty" ? "" : in_words(client, user, "{status_type:spaced}");
}
