// The table of what can be asked of the world, and the questions about chats and people.
#include "world/requests.h"

#include <algorithm>

#include "world/schema.h"

namespace world {

Chat* asked_chat(const Json& request) {
  Chat* chat = find_chat(request.number("chat_id"));
  return chat != nullptr && chat->told ? chat : nullptr;
}

// ---- the chat list

static bool asks_archive(const Json& request) {
  return request["chat_list"].type() == "chatListArchive";
}

static std::string get_chats(const Json& request) {
  static const Shape shape("chats", "total_count chat_ids");
  const Id limit = request.number("limit");
  if (limit <= 0) return error_text(400, "Parameter limit must be positive");
  const auto& places = asks_archive(request) ? g_world.archive : g_world.list;
  std::string ids = "[";
  Id count = 0;
  for (const auto& place : places) {
    if (count == limit) break;
    tell_chat(*find_chat(place.second));
    if (count++ > 0) ids += ',';
    append_number(ids, place.second);
  }
  return shape.text({static_cast<Id>(places.size()), ids + "]"});
}

static std::string load_chats(const Json& request) {
  const Id limit = request.number("limit");
  if (limit <= 0) return error_text(400, "Parameter limit must be positive");
  Id count = 0;
  for (const auto& place : asks_archive(request) ? g_world.archive : g_world.list) {
    Chat& chat = *find_chat(place.second);
    if (chat.told) continue;
    if (count++ == limit) break;
    tell_chat(chat);
  }
  return count == 0 ? error_text(404, "Not Found") : ok_text();
}

// ---- one chat

static std::string get_chat(const Json& request) {
  Chat* chat = asked_chat(request);
  return chat == nullptr ? no_chat_text() : chat_text(*chat);
}

static std::string open_chat(const Json& request) {
  static const Shape online("updateChatOnlineMemberCount", "chat_id online_member_count");
  Chat* chat = asked_chat(request);
  if (chat == nullptr) return no_chat_text();
  chat->open = true;
  if (is_group(*chat) && !is_channel(*chat)) tell(online.text({chat->id, 1 + chat->members / 3}));
  return ok_text();
}

static std::string close_chat(const Json& request) {
  Chat* chat = asked_chat(request);
  if (chat == nullptr) return no_chat_text();
  chat->open = false;
  return ok_text();
}

static std::string create_private_chat(const Json& request) {
  const Id user = request.number("user_id");
  if (!is_person(user)) return error_text(400, "User not found");
  Chat* chat = find_chat(user);
  if (chat == nullptr) return error_text(400, "User not found");
  tell_chat(*chat);
  return chat_text(*chat);
}

static std::string join_chat(const Json& request) {
  Chat* chat = asked_chat(request);
  if (chat == nullptr) return no_chat_text();
  if (!is_super(*chat)) return error_text(400, "Can't join the chat");
  if (chat->standing == Standing::kBanned) return error_text(400, "USER_BANNED_IN_CHANNEL");
  if (chat->standing != Standing::kLeft) return error_text(400, "USER_ALREADY_PARTICIPANT");
  set_standing(*chat, Standing::kMember);
  return ok_text();
}

static std::string leave_chat(const Json& request) {
  Chat* chat = asked_chat(request);
  if (chat == nullptr) return no_chat_text();
  if (!is_group(*chat)) return error_text(400, "Can't leave private and secret chats");
  if (chat->standing == Standing::kBanned) return ok_text();
  set_standing(*chat, Standing::kLeft);
  return ok_text();
}

static std::string set_notifications(const Json& request) {
  static const Shape shape("updateChatNotificationSettings", "chat_id notification_settings");
  Chat* chat = asked_chat(request);
  if (chat == nullptr) return no_chat_text();
  const Json& settings = request["notification_settings"];
  if (settings.kind == Json::kNull)
    return error_text(400, "New notification settings must be non-empty");
  chat->default_mute = settings.boolean("use_default_mute_for");
  chat->mute_for =
      chat->default_mute
          ? 0
          : static_cast<int>(std::clamp<Id>(settings.number("mute_for"), 0, 0x7FFFFFFF));
  if (chat->mute_for > 366 * 86400) chat->mute_for = 0x7FFFFFFF;
  tell(shape.text({chat->id, notification_settings_text(*chat)}));
  return ok_text();
}

static std::string get_scope(const Json& request) {
  static const Shape shape("scopeNotificationSettings", "mute_for show_preview=true");
  const std::string scope(request["scope"].type());
  if (scope.empty()) return error_text(400, "Scope must be non-empty");
  return shape.text({g_world.scope_mutes[scope]});
}

static std::string toggle_marked(const Json& request) {
  static const Shape shape("updateChatIsMarkedAsUnread", "chat_id is_marked_as_unread");
  Chat* chat = asked_chat(request);
  if (chat == nullptr) return no_chat_text();
  chat->marked_unread = request.boolean("is_marked_as_unread");
  tell(shape.text({chat->id, chat->marked_unread}));
  return ok_text();
}

// ---- people and groups

static std::string get_me(const Json&) { return user_text(kMe); }

static std::string get_user(const Json& request) {
  const Id id = request.number("user_id");
  if (!is_person(id) || g_world.told_people.count(id) == 0)
    return error_text(400, "User not found");
  return user_text(id);
}

static std::string get_user_full(const Json& request) {
  const Id id = request.number("user_id");
  if (!is_person(id) || g_world.told_people.count(id) == 0)
    return error_text(400, "User not found");
  return user_full_text(id);
}

static Chat* group_of(Id peer, bool super) {
  if (peer < 1 || peer >= 1000000000000) return nullptr;
  Chat* chat = find_chat(super ? -1000000000000 - peer : -peer);
  return chat != nullptr && chat->told ? chat : nullptr;
}

static std::string get_group(const Json& request) {
  const Chat* chat = group_of(request.number("basic_group_id"), false);
  return chat == nullptr ? error_text(400, "Basic group not found") : group_text(*chat);
}
static std::string get_group_full(const Json& request) {
  const Chat* chat = group_of(request.number("basic_group_id"), false);
  return chat == nullptr ? error_text(400, "Basic group not found") : group_full_text(*chat);
}
static std::string get_super(const Json& request) {
  const Chat* chat = group_of(request.number("supergroup_id"), true);
  return chat == nullptr ? error_text(400, "Supergroup not found") : group_text(*chat);
}
static std::string get_super_full(const Json& request) {
  const Chat* chat = group_of(request.number("supergroup_id"), true);
  if (chat == nullptr) return error_text(400, "Supergroup not found");
  if (chat->standing == Standing::kBanned) return error_text(400, "CHANNEL_PRIVATE");
  return group_full_text(*chat);
}

// ---- the device

static std::string set_network(const Json& request) {
  static const Shape shape("updateConnectionState", "state");
  const std::string_view type = request["type"].type();
  const bool none = type == "networkTypeNone";
  const char* state = none ? "connectionStateWaitingForNetwork" : "connectionStateReady";
  if (g_world.connection == state) return ok_text();
  g_world.connection = state;
  if (!none) tell(shape.text({"{\"@type\":\"connectionStateConnecting\"}"}));
  tell(shape.text({std::string("{\"@type\":\"") + state + "\"}"}));
  return ok_text();
}

static std::string get_current_state(const Json&) {
  static const Shape shape("updates", "updates");
  static const Shape user("updateUser", "user");
  static const Shape chat_update("updateNewChat", "chat");
  static const Shape connection("updateConnectionState", "state");
  std::string list = "[" + current_options_text();
  list += "," + connection.text({"{\"@type\":\"" + g_world.connection + "\"}"});
  std::vector<std::string> chats;  // first: they may name further people
  for (Chat& chat : g_world.chats) {
    if (chat.told) chats.push_back(chat_update.text({chat_text(chat)}));
  }
  for (const Id id : g_world.told_people) list += "," + user.text({user_text(id)});
  for (const std::string& chat : chats) list += "," + chat;
  return shape.text({list + "]"});
}

namespace {

struct RequestRow {
  std::string_view request;
  std::string (*answer)(const Json&);
};

// clang-format off
constexpr RequestRow kRequestRows[] = {
    {"getChats", get_chats},
    {"loadChats", load_chats},
    {"getChat", get_chat},
    {"openChat", open_chat},
    {"closeChat", close_chat},
    {"createPrivateChat", create_private_chat},
    {"joinChat", join_chat},
    {"leaveChat", leave_chat},
    {"setChatNotificationSettings", set_notifications},
    {"getScopeNotificationSettings", get_scope},
    {"toggleChatIsMarkedAsUnread", toggle_marked},
    {"getMe", get_me},
    {"getUser", get_user},
    {"getUserFullInfo", get_user_full},
    {"getBasicGroup", get_group},
    {"getBasicGroupFullInfo", get_group_full},
    {"getSupergroup", get_super},
    {"getSupergroupFullInfo", get_super_full},
    {"getChatHistory", get_chat_history},
    {"getMessage", get_message},
    {"getMessageProperties", get_message_properties},
    {"getMessageThread", get_message_thread},
    {"getMessageThreadHistory", get_message_thread_history},
    {"getChatPinnedMessage", get_pinned_message},
    {"searchChatMessages", search_chat_messages},
    {"searchMessages", search_messages},
    {"searchPublicChat", search_public_chat},
    {"searchPublicChats", search_public_chats},
    {"searchChats", search_chats},
    {"viewMessages", view_messages},
    {"sendMessage", send_message},
    {"resendMessages", resend_messages},
    {"forwardMessages", forward_messages},
    {"editMessageText", edit_text},
    {"deleteMessages", delete_some_messages},
    {"deleteChatHistory", delete_history},
    {"addMessageReaction", add_reaction},
    {"removeMessageReaction", remove_reaction},
    {"pinChatMessage", pin_message},
    {"unpinChatMessage", unpin_message},
    {"downloadFile", download_file},
    {"cancelDownloadFile", cancel_download},
    {"getFile", get_file},
    {"getStorageStatisticsFast", get_storage},
    {"optimizeStorage", optimize_storage},
    {"createCall", create_call},
    {"acceptCall", accept_call},
    {"discardCall", discard_call},
    {"sendCallSignalingData", send_signaling},
    {"addProxy", add_proxy},
    {"enableProxy", enable_proxy},
    {"disableProxy", disable_proxy},
    {"removeProxy", remove_proxy},
    {"getProxies", get_proxies},
    {"pingProxy", ping_proxy},
    {"setNetworkType", set_network},
    {"getCurrentState", get_current_state},
};
// clang-format on

}  // namespace

std::string answer_request(const Json& request) {
  const std::string_view type = request.type();
  for (const RequestRow& row : kRequestRows) {
    if (row.request == type) return row.answer(request);
  }
  return error_text(400, "The method is not part of this world");
}

}  // namespace world
