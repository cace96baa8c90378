// Chats: a first few with a part to play, the others as the seed has them.
#include <algorithm>

#include "world/world.h"

namespace world {

using K = ChatKind;
using S = Standing;

static constexpr Id kSupergroups =
    -1000000000000;  // an id of a chat is this less that of the group
static constexpr Id kSecretChats = -2000000000000;
static constexpr int kSlowSeconds = 30;

// clang-format off
static constexpr Role kRoles[] = {
    {"World",          K::kBot,             1,   0, S::kMember,        0, "pinned"},
    {"",               K::kPrivate,       200,   0, S::kMember,        3, ""},         // Ann
    {"",               K::kPrivate,        60,   0, S::kMember,        0, "pinned"},   // Bob
    {"",               K::kPrivate,        45,   0, S::kMember,       12, ""},
    {"",               K::kPrivate,        30,   0, S::kMember,        0, ""},
    {"",               K::kPrivate,        20,   0, S::kMember,        0, "muted"},
    {"",               K::kDeleted,        10,   0, S::kMember,        0, ""},
    {"",               K::kBot,            15,   0, S::kMember,        1, ""},         // weather
    {"",               K::kSecret,         12,   0, S::kMember,        2, ""},         // Zoë
    {"",               K::kPrivate,         0,   0, S::kMember,        0, ""},         // nothing yet
    {"Family",         K::kBasicGroup,    300,   6, S::kMember,        5, "named"},
    {"Old class",      K::kBasicGroup,     80,  22, S::kLeft,          0, ""},
    {"Builders",       K::kSupergroup, 100000, 420, S::kMember,      250, "muted public"},
    {"Gallery",        K::kSupergroup,    400,  30, S::kMember,        0, "gallery"},
    {"Our street",     K::kSupergroup,    120,  35, S::kOwner,         0, ""},
    {"Slow talk",      K::kSupergroup,     90,  80, S::kMember,        4, "slow"},
    {"Club",           K::kForum,         240,  60, S::kMember,        7, "named"},
    {"News",           K::kChannel,       150, 900, S::kMember,        9, "linked public"},
    {"News talk",      K::kSupergroup,   2400, 310, S::kMember,        0, "linked"},
    {"Notices",        K::kChannel,        40, 120, S::kMember,        0, "muted"},
    {"My channel",     K::kChannel,        25,  12, S::kAdministrator, 0, ""},
    {"Closed club",    K::kSupergroup,     50,  70, S::kBanned,        0, ""},
    {"Former friends", K::kSupergroup,    110,  18, S::kLeft,          0, "public"},
    {"Archive",        K::kBasicGroup,     70,   9, S::kMember,        0, "archived"},
};
// clang-format on
static_assert(sizeof kRoles / sizeof *kRoles == kFirstChats);

bool has_trait(const Chat& chat, std::string_view trait) {
  return std::string_view(chat.role.traits).find(trait) != std::string_view::npos;
}

static Role roll_role(unsigned number) {
  const std::uint64_t dice = mix(g_world.settings.seed, 0xC0000000u + number), roll = dice % 100;
  const K kind = roll < 70   ? K::kPrivate
                 : roll < 82 ? K::kBasicGroup
                 : roll < 94 ? K::kSupergroup
                             : K::kChannel;
  return {"",
          kind,
          20 + static_cast<int>((dice >> 16) % 160),
          kind == K::kPrivate ? 0 : 3 + static_cast<int>(dice >> 8 & 127),
          S::kMember,
          (dice >> 32) % 4 == 0 ? static_cast<int>((dice >> 36) % 9) : 0,
          (dice >> 48) % 8 == 0 ? "muted" : ""};
}

static Id chat_id_of(const Chat& chat) {
  switch (chat.kind) {
    case K::kBasicGroup: return -chat.peer;
    case K::kSecret: return kSecretChats + 7000 + chat.number;
    default: return is_super(chat) ? kSupergroups - chat.peer : chat.peer;
  }
}

static void make_chat(Chat& chat, int n) {
  const Role role = n < kFirstChats ? kRoles[n] : roll_role(static_cast<unsigned>(n));
  chat.number = n;
  chat.role = role;
  chat.kind = role.kind;
  chat.standing = role.standing;
  chat.members = role.members;
  chat.archived = has_trait(chat, "archived");
  chat.pinned = has_trait(chat, "pinned") ? 1 + n : 0;
  chat.default_mute = !has_trait(chat, "muted");
  chat.mute_for = chat.default_mute ? 0 : 365 * 86400;
  chat.peer = is_group(chat) ? 5000 + n : kMe + 1 + n;
  chat.id = chat_id_of(chat);
  g_world.chat_numbers[chat.id] = static_cast<std::size_t>(n);
  for (int i = 3; (chat.pinned > 0 || n % 6 == 0) && i < role.messages && i < 60; i += 11) {
    if (!content_is_service(find_message(chat, message_id(i)).content))
      changes(chat).pins.insert(message_id(i));
  }
  chat.last_read_outbox = role.messages > 0 ? message_id(role.messages - 1) : 0;
  const int read = role.messages - std::min(role.unread, role.messages);
  chat.last_read_inbox = read > 0 ? message_id(read - 1) : 0;
  count_unread(chat);
  place_chat(chat, false);
}

void make_chats() {
  g_world.chats.resize(static_cast<std::size_t>(g_world.settings.chats));
  g_world.chat_numbers.reserve(g_world.chats.size());
  int n = 0;
  for (Chat& chat : g_world.chats) make_chat(chat, n++);
}

bool is_channel(const Chat& chat) { return chat.kind == K::kChannel; }
bool is_super(const Chat& chat) {
  return chat.kind == K::kSupergroup || chat.kind == K::kForum || is_channel(chat);
}
bool is_group(const Chat& chat) { return chat.kind == K::kBasicGroup || is_super(chat); }

bool is_outside(Standing standing) { return standing == S::kLeft || standing == S::kBanned; }
bool is_outside(const Chat& chat) { return is_outside(chat.standing); }
bool is_ruled(const Chat& chat) {
  return chat.standing == S::kOwner || chat.standing == S::kAdministrator;
}
bool can_write(const Chat& chat) {
  if (!is_group(chat)) return chat.kind != K::kDeleted;
  return !is_outside(chat) && (!is_channel(chat) || is_ruled(chat));
}

// A channel and its discussion group stand beside each other in the table.
Chat& linked_chat(const Chat& chat) {
  const auto number = static_cast<std::size_t>(chat.number);
  return g_world.chats[is_channel(chat) ? number + 1 : number - 1];
}

Chat* find_chat(Id id) {
  const auto found = g_world.chat_numbers.find(id);
  return found == g_world.chat_numbers.end() ? nullptr : &g_world.chats[found->second];
}

static std::string username_of(const Chat& chat) {
  if (!is_group(chat)) return person(chat.peer).username;
  std::string name = has_trait(chat, "public") ? to_lower_ascii(chat.role.title) : "";
  std::replace(name.begin(), name.end(), ' ', '_');
  return name;
}

Chat* find_username(std::string_view username) {
  const std::string wanted = to_lower_ascii(std::string(username));
  for (Chat& chat : g_world.chats) {
    if (chat.kind != K::kSecret && username_of(chat) == wanted) return &chat;
  }
  return nullptr;
}

std::string chat_title(const Chat& chat) {
  static constexpr const char* kPlaces[] = {"Harbour",  "Garden", "Kitchen", "Café Ö",
                                            "Workshop", "Поле",   "Library"};
  if (!is_group(chat)) return person_name(chat.peer);
  if (chat.number < kFirstChats) return chat.role.title;
  return std::string(kPlaces[chat.number % 7]) + " " + std::to_string(chat.number);
}

// ---- texts of groups

static std::string standing_text(Standing standing) {
  static constexpr const char* kShapes[] = {
      "chatMemberStatusMember",
      "chatMemberStatusAdministrator rights.can_manage_chat=true rights.can_post_messages=true "
      "rights.can_edit_messages=true rights.can_delete_messages=true rights.can_pin_messages=true",
      "chatMemberStatusCreator is_member=true",
      "chatMemberStatusLeft",
      "chatMemberStatusBanned",
  };
  return object(kShapes[static_cast<int>(standing)]);
}

static std::string group_text(const Chat& chat) {
  const std::string standing = standing_text(chat.standing), username = username_of(chat);
  if (chat.kind == K::kBasicGroup) {
    return object("basicGroup id member_count status is_active=true",
                  {chat.peer, chat.members, standing});
  }
  return object(
      "supergroup id usernames date status member_count has_linked_chat is_slow_mode_enabled "
      "is_channel is_forum",
      {chat.peer, usernames_text(username), kFirstDate - 90000000 + chat.number, standing,
       chat.members, has_trait(chat, "linked"), has_trait(chat, "slow"), is_channel(chat),
       chat.kind == K::kForum});
}

static std::string members_text(const Chat& chat) {
  List members;
  for (int i = 0; i < std::min(chat.members, 200); ++i) {
    const Id id = i == 0 && !is_outside(chat) ? kMe : kAnn + (i + chat.number) % 30;
    members.next() += object("chatMember member_id inviter_user_id joined_chat_date status",
                             {sender_text(id), kAnn, kFirstDate - 8000000,
                              standing_text(i == 0 ? chat.standing : S::kMember)});
  }
  return members.done();
}

static std::string group_full_text(const Chat& chat) {
  if (chat.standing == S::kBanned) return refuse("CHANNEL_PRIVATE");
  const std::string description = "About " + chat_title(chat);
  if (chat.kind == K::kBasicGroup) {
    return object("basicGroupFullInfo description creator_user_id members",
                  {description, kAnn, members_text(chat)});
  }
  const bool slow = has_trait(chat, "slow"), linked = has_trait(chat, "linked");
  return object(
      "supergroupFullInfo description member_count administrator_count=2 linked_chat_id "
      "slow_mode_delay slow_mode_delay_expires_in can_get_members is_all_history_available=true",
      {description, chat.members, linked ? linked_chat(chat).id : 0, slow ? kSlowSeconds : 0,
       static_cast<double>(slow_wait(chat)), !is_channel(chat)});
}

Id slow_wait(const Chat& chat) {
  if (!has_trait(chat, "slow") || chat.sent_last == 0) return 0;
  return std::max<Id>(chat.sent_last + kSlowSeconds - date_now(), 0);
}

// ---- texts of chats

std::string list_text(const Chat& chat) {
  return object(chat.archived ? "chatListArchive" : "chatListMain");
}

std::string position_text(const Chat& chat) {
  return object("chatPosition list order is_pinned",
                {list_text(chat), chat.order, chat.pinned > 0});
}

static std::string positions_text(const Chat& chat) {
  return chat.order == 0 ? "[]" : "[" + position_text(chat) + "]";
}

static std::string notification_settings_text(const Chat& chat) {
  return object(
      "chatNotificationSettings use_default_mute_for mute_for use_default_sound=true "
      "use_default_show_preview=true show_preview=true use_default_mute_stories=true "
      "use_default_story_sound=true use_default_show_story_poster=true show_story_poster=true "
      "use_default_disable_pinned_message_notifications=true "
      "use_default_disable_mention_notifications=true",
      {chat.default_mute, chat.mute_for});
}

static Id secret_id(const Chat& chat) { return chat.id - kSecretChats; }

static std::string chat_type_text(const Chat& chat) {
  if (chat.kind == K::kSecret)
    return object("chatTypeSecret secret_chat_id user_id", {secret_id(chat), chat.peer});
  if (chat.kind == K::kBasicGroup) return object("chatTypeBasicGroup basic_group_id", {chat.peer});
  if (is_super(chat))
    return object("chatTypeSupergroup supergroup_id is_channel", {chat.peer, is_channel(chat)});
  return object("chatTypePrivate user_id", {chat.peer});
}

// A private chat shows its person's.
std::string chat_photo_text(const Chat& chat) {
  const Id of_group = chat.number % 3 == 0 ? 0 : chat.number * Id{8} + 3;
  const Id key = is_group(chat) ? of_group : photo_key(chat.peer);
  if (key == 0) return {};
  return object("chatPhotoInfo small big",
                {file_text(key, 3000, true), file_text(key + 1, 20000, true)});
}

// `complete`: with what updateNewChat leaves to later updates.
static std::string chat_object(Chat& chat, bool complete) {
  const std::string rights = object(
      "chatPermissions can_send_basic_messages=%a can_send_audios=%a can_send_documents=%a "
      "can_send_photos=%a can_send_videos=%a can_send_video_notes=%a can_send_voice_notes=%a "
      "can_send_polls=%a can_send_other_messages=%a can_add_link_previews=%a "
      "can_invite_users=true can_pin_messages=%b",
      {!is_channel(chat), !is_super(chat)});
  return object(
      "chat id type title photo accent_color_id profile_accent_color_id=-1 permissions "
      "last_message positions chat_lists view_as_topics "
      "can_be_deleted_only_for_self can_be_reported unread_count last_read_inbox_message_id "
      "last_read_outbox_message_id unread_mention_count notification_settings "
      "available_reactions=@chatAvailableReactionsAll available_reactions.max_reaction_count=11",
      {chat.id, chat_type_text(chat), chat_title(chat), chat_photo_text(chat), chat.number % 7,
       rights, complete ? message_text(chat, last_id(chat)) : "",
       complete ? positions_text(chat) : "[]", chat.order != 0 ? "[" + list_text(chat) + "]" : "[]",
       chat.kind == K::kForum, chat.standing != S::kBanned, is_super(chat), chat.unread,
       chat.last_read_inbox, chat.last_read_outbox, chat.mentions,
       notification_settings_text(chat)});
}

std::string chat_text(Chat& chat) { return chat_object(chat, true); }

// The group or the person behind the chat.
static void tell_peer(const Chat& chat) {
  if (chat.kind == K::kBasicGroup) {
    tell("updateBasicGroup basic_group", {group_text(chat)});
  } else if (is_super(chat)) {
    tell("updateSupergroup supergroup", {group_text(chat)});
  } else {
    tell_person(chat.peer);
  }
  if (chat.kind == K::kSecret) {
    tell(
        "updateSecretChat secret_chat.id secret_chat.user_id "
        "secret_chat.state=@secretChatStateReady secret_chat.layer=144",
        {secret_id(chat), chat.peer});
  }
}

void tell_chat(Chat& chat) {
  if (chat.told) return;
  chat.told = true;
  tell_peer(chat);
  tell("updateNewChat chat", {chat_object(chat, false)});
  if (chat.order != 0 || last_id(chat) != 0) tell_last_message(chat);
}

void tell_last_message(Chat& chat) { tell_last_message(chat, message_text(chat, last_id(chat))); }

void tell_last_message(Chat& chat, const std::string& message) {
  place_chat(chat, false);
  tell("updateChatLastMessage chat_id last_message positions",
       {chat.id, message, positions_text(chat)});
}

void set_standing(Chat& chat, Standing standing) {
  if (chat.standing == standing) return;
  chat.members += is_outside(chat);
  chat.standing = standing;
  chat.members -= is_outside(chat);
  if (!is_outside(chat)) chat.listed = true;
  if (chat.told) tell_peer(chat);
  place_chat(chat, true);
}

// ---- requests

static std::string open_chat(Asked& asked) {
  Chat& chat = *asked.chat;
  chat.open = true;
  if (is_group(chat) && !is_channel(chat)) {
    tell("updateChatOnlineMemberCount chat_id online_member_count",
         {chat.id, 1 + chat.members / 3});
  }
  return {};
}

static std::string create_private_chat(Asked& asked) {
  Chat* chat = is_person(asked.user) ? find_chat(asked.user) : nullptr;
  if (chat == nullptr) return refuse("User not found");
  tell_chat(*chat);
  return chat_text(*chat);
}

static std::string join_chat(Asked& asked) {
  if (!is_super(*asked.chat)) return refuse("Can't join the chat");
  if (asked.chat->standing == S::kBanned) return refuse("USER_BANNED_IN_CHANNEL");
  if (asked.chat->standing != S::kLeft) return refuse("USER_ALREADY_PARTICIPANT");
  set_standing(*asked.chat, S::kMember);
  return {};
}

static std::string leave_chat(Asked& asked) {
  if (!is_group(*asked.chat)) return refuse("Can't leave private and secret chats");
  if (asked.chat->standing != S::kBanned) set_standing(*asked.chat, S::kLeft);
  return {};
}

static std::string set_notifications(Asked& asked) {
  Chat& chat = *asked.chat;
  const Json& settings = asked.json["notification_settings"];
  if (settings.is_null()) return refuse("New notification settings must be non-empty");
  const Id seconds = std::clamp<Id>(settings.number("mute_for"), 0, INT32_MAX);
  chat.default_mute = settings.boolean("use_default_mute_for");
  chat.mute_for = chat.default_mute       ? 0
                  : seconds > 366 * 86400 ? INT32_MAX
                                          : static_cast<int>(seconds);
  tell("updateChatNotificationSettings chat_id notification_settings",
       {chat.id, notification_settings_text(chat)});
  return {};
}

static std::string get_scope(Asked& asked) {
  if (asked.json["scope"].is_null()) return refuse("Scope must be non-empty");
  return object("scopeNotificationSettings show_preview=true");
}

// The text of the group with that id of its own, which the client must know.
static std::string with_group(const Asked& asked, std::string (*text)(const Chat&)) {
  const Id basic = asked.json.number("basic_group_id"), super = asked.json.number("supergroup_id");
  const bool possible = std::max(basic, super) < 1000000000 && std::min(basic, super) >= 0;
  const Chat* chat = possible ? told_chat(super != 0 ? kSupergroups - super : -basic) : nullptr;
  if (chat != nullptr) return text(*chat);
  return refuse(super != 0 ? "Supergroup not found" : "Basic group not found");
}
static std::string get_group(Asked& asked) { return with_group(asked, group_text); }
static std::string get_group_full(Asked& asked) { return with_group(asked, group_full_text); }

const Requests kChatRequests = {
    {"getChat", kChat, [](Asked& asked) { return chat_text(*asked.chat); }},
    {"openChat", kChat, open_chat},
    {"closeChat", kChat, [](Asked& asked) { return asked.chat->open = false, std::string(); }},
    {"createPrivateChat", kNothing, create_private_chat},
    {"joinChat", kChat, join_chat},
    {"leaveChat", kChat, leave_chat},
    {"setChatNotificationSettings", kChat, set_notifications},
    {"getScopeNotificationSettings", kNothing, get_scope},
    {"getBasicGroup", kNothing, get_group},
    {"getBasicGroupFullInfo", kNothing, get_group_full},
    {"getSupergroup", kNothing, get_group},
    {"getSupergroupFullInfo", kNothing, get_group_full},
};

}  // namespace world
