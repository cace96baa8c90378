// Chats: a first few with a part to play, the others as the seed has them.
#include "world/world.h"

namespace world {

using K = ChatKind;
using S = Standing;

// Ids of chats: this less the group's, and this more the secret chat's.
static constexpr Id kSupergroups = -1000000000000, kSecretChats = -2000000000000;
static constexpr int kSlowSeconds = 30;

// clang-format off
static constexpr Role kRoles[] = {
    {"World",          K::kBot,          1,   0, S::kMember,          0, "pinned"},
    {"",               K::kPrivate,    200,   0, S::kMember,          3, ""},  // Ann
    {"",               K::kPrivate,     60,   0, S::kMember,          0, "pinned"},  // Bob
    {"",               K::kPrivate,     45,   0, S::kMember,         12, ""},
    {"",               K::kPrivate,     30,   0, S::kMember,          0, ""},
    {"",               K::kPrivate,     20,   0, S::kMember,          0, "muted"},
    {"",               K::kDeleted,     10,   0, S::kMember,          0, ""},
    {"",               K::kBot,         15,   0, S::kMember,          1, ""},  // weather
    {"",               K::kSecret,      12,   0, S::kMember,          2, ""},  // Zoë
    {"",               K::kPrivate,      0,   0, S::kMember,          0, ""},  // nothing yet
    {"Family",         K::kBasic,      300,   6, S::kMember,          5, "named"},
    {"Old class",      K::kBasic,       80,  22, S::kLeft,            0, ""},
    {"Builders",       K::kSuper,   100000, 420, S::kMember,        250, "muted public"},
    {"Gallery",        K::kSuper,      400,  30, S::kMember,          0, "gallery"},
    {"Our street",     K::kSuper,      120,  35, S::kOwner,           0, ""},
    {"Slow talk",      K::kSuper,       90,  80, S::kMember,          4, "slow"},
    {"Club",           K::kForum,      240,  60, S::kMember,          7, "named"},
    {"News",           K::kChannel,    150, 900, S::kMember,          9, "linked public"},
    {"News talk",      K::kSuper,     2400, 310, S::kMember,          0, "linked"},
    {"Notices",        K::kChannel,     40, 120, S::kMember,          0, "muted"},
    {"My channel",     K::kChannel,     25,  12, S::kAdministrator,   0, ""},
    {"Closed club",    K::kSuper,       50,  70, S::kBanned,          0, ""},
    {"Former friends", K::kSuper,      110,  18, S::kLeft,            0, "public"},
    {"Archive",        K::kBasic,       70,   9, S::kMember,          0, "archived"},
};
// clang-format on
static_assert(sizeof kRoles / sizeof *kRoles == kFirstChats);

static Role roll_role(unsigned number) {
  const std::uint64_t dice = mix(g_world.settings.seed, 0xC0000000u + number);
  const int kind = roll(dice, 100);
  Role role;
  role.kind = kind < 70 ? K::kPrivate : kind < 82 ? K::kBasic : kind < 94 ? K::kSuper : K::kChannel;
  role.messages = 20 + roll(dice >> 16, 160);
  if (role.kind != K::kPrivate) role.members = 3 + roll(dice >> 8, 128);
  if (roll(dice >> 32, 4) == 0) role.unread = roll(dice >> 36, 9);
  if (roll(dice >> 48, 8) == 0) role.traits = "muted";
  return role;
}

static Id chat_id_of(const Chat& chat) {
  if (chat.kind == K::kSecret) return kSecretChats + 7000 + chat.number;
  return chat.is_super() ? kSupergroups - chat.peer : chat.is_group() ? -chat.peer : chat.peer;
}

static void make_chat(Chat& chat, int n) {
  const Role role = n < kFirstChats ? kRoles[n] : roll_role(static_cast<unsigned>(n));
  chat.number = n;
  chat.role = role;
  chat.kind = role.kind;
  chat.standing = role.standing;
  chat.members = role.members;
  chat.archived = chat.has("archived");
  chat.pinned = chat.has("pinned") ? 1 + n : 0;
  chat.default_mute = !chat.has("muted");
  chat.mute_for = chat.default_mute ? 0 : 365 * 86400;
  chat.peer = chat.is_group() ? 5000 + n : kMe + 1 + n;
  chat.id = chat_id_of(chat);
  g_world.chat_numbers[chat.id] = static_cast<std::size_t>(n);
  for (int i = 3; (chat.pinned > 0 || n % 6 == 0) && i < role.messages && i < 60; i += 11) {
    if (!is_service(find_message(chat, message_id(i)))) changes(chat).pins.insert(message_id(i));
  }
  chat.last_read_outbox = role.messages > 0 ? message_id(role.messages - 1) : 0;
  const int read = role.messages - std::min(role.unread, role.messages);
  chat.last_read_inbox = read > 0 ? message_id(read - 1) : 0;
  count_unread(chat);
  chat.told_mentions = chat.mentions;
  place_chat(chat, false);
}

void make_chats() {
  g_world.chats.resize(static_cast<std::size_t>(g_world.settings.chats));
  g_world.chat_numbers.reserve(g_world.chats.size());
  int n = 0;
  for (Chat& chat : g_world.chats) make_chat(chat, n++);
}

bool can_write(const Chat& chat) {
  if (!chat.is_group()) return chat.kind != K::kDeleted;
  return !chat.is_outside() && (!chat.is_channel() || chat.is_ruled());
}

// A channel and its discussion group stand beside each other in the table.
Chat& linked_chat(const Chat& chat) {
  const int number = chat.number + (chat.is_channel() ? 1 : -1);
  return g_world.chats[static_cast<std::size_t>(number)];
}

Chat* find_chat(Id id) {
  const auto found = g_world.chat_numbers.find(id);
  return found == g_world.chat_numbers.end() ? nullptr : &g_world.chats[found->second];
}

static std::string username_of(const Chat& chat) {
  if (!chat.is_group()) return person(chat.peer).username;
  std::string name = chat.has("public") ? to_lower_ascii(chat.role.title) : "";
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
  if (!chat.is_group()) return person_name(chat.peer);
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

// As getBasicGroup and getSupergroup answer.
static std::string group_text(const Chat& chat) {
  return object(chat.is_super() ? "supergroup id=%a usernames=%b date=%c status=%d member_count=%e "
                                  "has_linked_chat=%f is_slow_mode_enabled=%g is_channel=%h "
                                  "is_forum=%i"
                                : "basicGroup id=%a member_count=%e status=%d is_active=true",
                {chat.peer, usernames_text(username_of(chat)), kFirstDate - 90000000 + chat.number,
                 standing_text(chat.standing), chat.members, chat.has("linked"), chat.has("slow"),
                 chat.is_channel(), chat.kind == K::kForum});
}

static std::string members_text(const Chat& chat) {
  List members;
  for (int i = 0; i < std::min(chat.members, 200); ++i) {
    const Id id = i == 0 && !chat.is_outside() ? kMe : kAnn + (i + chat.number) % 30;
    members.next() += object("chatMember member_id inviter_user_id joined_chat_date status",
                             {sender_text(id), kAnn, kFirstDate - 8000000,
                              standing_text(i == 0 ? chat.standing : S::kMember)});
  }
  return members.done();
}

static std::string group_full_text(const Chat& chat) {
  if (chat.standing == S::kBanned) return refuse("CHANNEL_PRIVATE");
  const std::string description = "About " + chat_title(chat);
  if (!chat.is_super()) {
    return object("basicGroupFullInfo description creator_user_id members",
                  {description, kAnn, members_text(chat)});
  }
  return object(
      "supergroupFullInfo description member_count administrator_count=2 linked_chat_id "
      "slow_mode_delay slow_mode_delay_expires_in can_get_members is_all_history_available=true",
      {description, chat.members, chat.has("linked") ? linked_chat(chat).id : 0,
       chat.has("slow") ? kSlowSeconds : 0, static_cast<double>(slow_wait(chat)),
       !chat.is_channel()});
}

Id slow_wait(const Chat& chat) {
  return chat.has("slow") ? std::max<Id>(chat.sent_last + kSlowSeconds - date_now(), 0) : 0;
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

static std::string chat_type_text(const Chat& chat) {
  return object(chat.kind == K::kSecret ? "chatTypeSecret secret_chat_id=%c user_id=%a"
                : chat.is_super()       ? "chatTypeSupergroup supergroup_id=%a is_channel=%b"
                : chat.is_group()       ? "chatTypeBasicGroup basic_group_id=%a"
                                        : "chatTypePrivate user_id=%a",
                {chat.peer, chat.is_channel(), chat.id - kSecretChats});
}

// A private chat shows its person's.
std::string chat_photo_text(const Chat& chat) {
  const Id of_group = chat.number % 3 == 0 ? 0 : chat.number * Id{8} + 3;
  const Id key = chat.is_group() ? of_group : photo_key(chat.peer);
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
      {!chat.is_channel(), !chat.is_super()});
  return object(
      "chat id type title photo accent_color_id profile_accent_color_id=-1 permissions "
      "last_message positions chat_lists view_as_topics "
      "can_be_deleted_only_for_self can_be_reported unread_count last_read_inbox_message_id "
      "last_read_outbox_message_id unread_mention_count notification_settings "
      "available_reactions=@chatAvailableReactionsAll available_reactions.max_reaction_count=11",
      {chat.id, chat_type_text(chat), chat_title(chat), chat_photo_text(chat), chat.number % 7,
       rights, complete ? message_text(chat, last_id(chat)) : "",
       complete ? positions_text(chat) : "[]", chat.order != 0 ? "[" + list_text(chat) + "]" : "[]",
       chat.kind == K::kForum, chat.standing != S::kBanned, chat.is_super(), chat.unread,
       chat.last_read_inbox, chat.last_read_outbox, chat.mentions,
       notification_settings_text(chat)});
}

std::string chat_text(Chat& chat) { return chat_object(chat, true); }

// The group or the person behind the chat.
static void tell_peer(const Chat& chat) {
  if (!chat.is_group()) tell_person(chat.peer);
  if (chat.is_group()) {
    tell(chat.is_super() ? "updateSupergroup supergroup" : "updateBasicGroup basic_group",
         {group_text(chat)});
  } else if (chat.kind == K::kSecret) {
    tell(
        "updateSecretChat secret_chat.id secret_chat.user_id "
        "secret_chat.state=@secretChatStateReady secret_chat.layer=144",
        {chat.id - kSecretChats, chat.peer});
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
  chat.members += chat.is_outside() - is_outside(standing);
  chat.standing = standing;
  if (!chat.is_outside()) chat.listed = true;
  if (chat.told) tell_peer(chat);
  place_chat(chat, true);
}

// ---- requests

static std::string open_or_close(Asked& asked) {
  Chat& chat = *asked.chat;
  chat.open = asked.json.type() == "openChat";
  if (chat.open && chat.is_group() && !chat.is_channel()) {
    tell("updateChatOnlineMemberCount chat_id online_member_count",
         {chat.id, 1 + chat.members / 3});
  }
  return {};
}

static std::string create_private_chat(Asked& asked) {
  Chat* chat = asked.user > 0 ? find_chat(asked.user) : nullptr;
  if (chat == nullptr) return refuse("User not found");
  tell_chat(*chat);
  return chat_text(*chat);
}

static std::string join_chat(Asked& asked) {
  if (!asked.chat->is_super()) return refuse("Can't join the chat");
  if (asked.chat->standing == S::kBanned) return refuse("USER_BANNED_IN_CHANNEL");
  if (asked.chat->standing != S::kLeft) return refuse("USER_ALREADY_PARTICIPANT");
  set_standing(*asked.chat, S::kMember);
  return {};
}

static std::string leave_chat(Asked& asked) {
  if (!asked.chat->is_group()) return refuse("Can't leave private and secret chats");
  if (asked.chat->standing != S::kBanned) set_standing(*asked.chat, S::kLeft);
  return {};
}

static std::string set_notifications(Asked& asked) {
  Chat& chat = *asked.chat;
  const Json& settings = asked.json["notification_settings"];
  const Id seconds = std::clamp<Id>(settings.number("mute_for"), 0, INT32_MAX);
  const Id mute_for = seconds > 366 * 86400 ? INT32_MAX : seconds;
  chat.default_mute = settings.boolean("use_default_mute_for");
  chat.mute_for = chat.default_mute ? 0 : static_cast<int>(mute_for);
  tell("updateChatNotificationSettings chat_id notification_settings",
       {chat.id, notification_settings_text(chat)});
  return {};
}

// A group is asked for by an id of its own, and the client must know it.
static std::string get_group(Asked& asked) {
  const Id basic = asked.json.number("basic_group_id"), super = asked.json.number("supergroup_id");
  const bool possible = std::max(basic, super) < 1000000000 && std::min(basic, super) >= 0;
  const Chat* chat = possible ? told_chat(super != 0 ? kSupergroups - super : -basic) : nullptr;
  if (chat == nullptr) return refuse(super != 0 ? "Supergroup not found" : "Basic group not found");
  return ends_with(asked.json.type(), "FullInfo") ? group_full_text(*chat) : group_text(*chat);
}

const Requests kChatRequests = {
    {"getChat", kChat, [](Asked& asked) { return chat_text(*asked.chat); }},
    {"openChat", kChat, open_or_close},
    {"closeChat", kChat, open_or_close},
    {"createPrivateChat", kNothing, create_private_chat},
    {"joinChat", kChat, join_chat},
    {"leaveChat", kChat, leave_chat},
    {"setChatNotificationSettings", kChat, set_notifications},
    {"getScopeNotificationSettings", kNothing,
     [](Asked&) { return object("scopeNotificationSettings show_preview=true"); }},
    {"getBasicGroup", kNothing, get_group},
    {"getBasicGroupFullInfo", kNothing, get_group},
    {"getSupergroup", kNothing, get_group},
    {"getSupergroupFullInfo", kNothing, get_group},
};

}  // namespace world
