// The lists of chats: where each stands, and what is found in them.
#include "world/world.h"

namespace world {

// Where it stands now: pinned ones far above every date.
static Id order_of(const Chat& chat) {
  const Id last = last_id(chat);
  if (!chat.listed || chat.is_outside() || (last == 0 && chat.pinned == 0)) return 0;
  if (chat.pinned > 0) return (Id{2147000000} - chat.pinned) << 32;
  return find_message(chat, last).date << 32 | (message_index(last) & 0xFFFFF);
}

void place_chat(Chat& chat, bool tell_it) {
  auto& list = chat.archived ? g_world.archive : g_world.list;
  const Id before = chat.order;
  chat.order = order_of(chat);
  if (chat.order == before) return;
  if (before != 0) list.erase({-before, chat.id});
  if (chat.order != 0) list.insert({-chat.order, chat.id});
  if (!chat.told) return;
  if (chat.order == 0)
    tell("updateChatRemovedFromList chat_id chat_list", {chat.id, list_text(chat)});
  if (before == 0) tell("updateChatAddedToList chat_id chat_list", {chat.id, list_text(chat)});
  if (tell_it) tell("updateChatPosition chat_id position", {chat.id, position_text(chat)});
}

static const std::set<std::pair<Id, Id>>& asked_list(const Asked& asked) {
  const bool archive = asked.json["chat_list"].type() == "chatListArchive";
  return archive ? g_world.archive : g_world.list;
}

static std::string chats_text(std::size_t total, const std::vector<Id>& ids) {
  return object("chats total_count chat_ids", {static_cast<Id>(total), ids_text(ids)});
}

static std::string get_chats(Asked& asked) {
  const auto limit = static_cast<std::size_t>(asked.json.number("limit"));
  const auto& places = asked_list(asked);
  std::vector<Id> ids;
  for (auto place = places.begin(); place != places.end() && ids.size() < limit; ++place) {
    tell_chat(*find_chat(place->second));
    ids.push_back(place->second);
  }
  return chats_text(places.size(), ids);
}

static std::string load_chats(Asked& asked) {
  Id left = asked.json.number("limit");
  bool loaded = false;
  for (const auto& place : asked_list(asked)) {
    Chat& chat = *find_chat(place.second);
    if (chat.told) continue;
    if (left-- == 0) break;
    tell_chat(chat);
    loaded = true;
  }
  return loaded ? std::string() : error_text(404, "Not Found");
}

static std::string search_public_chats(Asked& asked) {
  const std::string wanted = to_lower_ascii(asked.json["query"].text);
  std::vector<Id> ids;
  for (Chat& chat : g_world.chats) {
    if (utf16_length(wanted) < 4 || ids.size() == 10) break;
    if (chat.order != 0 || to_lower_ascii(chat_title(chat)).find(wanted) == std::string::npos)
      continue;
    tell_chat(chat);
    ids.push_back(chat.id);
  }
  return chats_text(ids.size(), ids);
}

static std::string search_public_chat(Asked& asked) {
  std::string_view name = asked.json.string("username");
  if (!name.empty() && name[0] == '@') name.remove_prefix(1);
  if (name.size() < 3) return refuse("Username is invalid");
  Chat* chat = find_username(name);
  if (chat == nullptr) return refuse("USERNAME_NOT_OCCUPIED");
  tell_chat(*chat);
  return chat_text(*chat);
}

const Requests kListRequests = {
    {"getChats", kLimit, get_chats},
    {"loadChats", kLimit, load_chats},
    {"searchPublicChat", kNothing, search_public_chat},
    {"searchPublicChats", kNothing, search_public_chats},
};

}  // namespace world
