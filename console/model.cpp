#include "console/model.h"

#include <algorithm>

#include "console/text.h"

std::vector<std::int64_t> chat_order(const Model& model) {
  std::vector<std::pair<std::int64_t, std::int64_t>> places;
  for (const auto& [id, chat] : model.chats) {
    if (chat.says("order")) places.emplace_back(chat.num("order"), id);
  }
  std::sort(places.rbegin(), places.rend());
  std::vector<std::int64_t> ids;
  ids.reserve(places.size());
  for (const auto& [order, id] : places) ids.push_back(id);
  return ids;
}

std::string chat_title(const Model& model, std::int64_t chat_id) {
  if (model.chats.count(chat_id) == 0) return "chat " + std::to_string(chat_id);
  const std::string& title = model.chat(chat_id).str("title");
  return title.empty() ? "(no title)" : title;
}

std::int64_t other_side(const Model& model, std::int64_t chat_id) {
  return model.chat(chat_id).str("chat_type") == "private" ? chat_id : 0;
}

std::string sender_name(const Model& model, const Event& message) {
  if (message.on("outgoing")) return "You";
  if (message.says("sender_name")) return message.str("sender_name");
  const std::int64_t user = message.num("sender_user_id");
  const std::string& name = Model::find(model.users, user).str("name");
  if (!name.empty()) return name;
  if (user != 0) return "user " + std::to_string(user);
  return chat_title(model, message.num("sender_chat_id", message.num("chat_id")));
}

std::string presence(const Model& model, std::int64_t chat_id) {
  const auto action = model.actions.find(chat_id);
  if (action != model.actions.end()) {
    return in_words(model, action->second, "{chat_id:sender}: {action}…");
  }
  const Event& online = Model::find(model.online, chat_id);
  if (online.says("count")) return online.str("count") + " online";
  const Event& chat = model.chat(chat_id);
  const auto user = model.users.find(other_side(model, chat_id));
  if (user == model.users.end()) return in_words(model, chat, "{chat_type:spaced}");
  if (user->second.str("status_type") == "empty") return {};
  return in_words(
      model, user->second,
      user->second.says("was_online") ? "last seen {was_online:time}" : "{status_type:spaced}");
}

std::vector<Reaction> reactions(const Event& message) {
  std::vector<Reaction> all;
  for (const std::string_view item : array_items(message.str("reactions"))) {
    Event e;
    if (read_object(item, e)) all.push_back({e.str("emoji"), e.str("count"), e.on("chosen")});
  }
  return all;
}

void withdraw(Model& model, std::int64_t chat_id, std::int64_t message_id) {
  const auto goes = [&](const Event& n) {
    return n.num("chat_id") == chat_id && n.num("message_id") <= message_id;
  };
  auto& all = model.notifications;
  all.erase(std::remove_if(all.begin(), all.end(), goes), all.end());
}

void show_chat(Model& model, std::int64_t chat_id) {
  model.open_chat = chat_id;
  model.messages.clear();
  model.more_older = false;
  model.at_newest = true;
}
