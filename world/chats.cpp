// Chats: a first few with a part to play, the others as the seed has them.
#include <algorithm>

#include "world/schema.h"
#include "world/world.h"

namespace world {

using K = ChatKind;
using S = Standing;

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
    {"Family",         K::kBasicGroup,    300,   6, S::kMember,        5, ""},
    {"Old class",      K::kBasicGroup,     80,  22, S::kLeft,          0, ""},
    {"Builders",       K::kSupergroup, 100000, 420, S::kMember,      250, "muted public"},
    {"Gallery",        K::kSupergroup,    400,  30, S::kMember,        0, "gallery"},
    {"Our street",     K::kSupergroup,    120,  35, S::kOwner,         0, ""},
    {"Slow talk",      K::kSupergroup,     90,  80, S::kMember,        4, "slow"},
    {"Club",           K::kForum,         240,  60, S::kMember,        7, ""},
    {"News",           K::kChannel,       150, 900, S::kMember,        9, "linked public"},
    {"News talk",      K::kSupergroup,   2400, 310, S::kMember,        0, "linked"},
    {"Notices",        K::kChannel,        40, 120, S::kMember,        0, "muted"},
    {"My channel",     K::kChannel,        25,  12, S::kAdministrator, 0, ""},
    {"Closed club",    K::kSupergroup,     50,  70, S::kBanned,        0, ""},
    {"Former friends", K::kSupergroup,    110,  18, S::kLeft,          0, "public"},
    {"Archive",        K::kBasicGroup,     70,   9, S::kMember,        0, "archived"},
};
// clang-format on
static constexpr int kRoleCount = sizeof kRoles / sizeof *kRoles;

static bool has_trait(const Chat& chat, std::string_view trait) {
  return chat.role != nullptr &&
         std::string_view(chat.role->traits).find(trait) != std::string_view::npos;
}

static Id chat_id_of(K kind, Id peer) {
  switch (kind) {
    case K::kBasicGroup: return -peer;
    case K::kSupergroup:
    case K::kForum:
    case K::kChannel: return -1000000000000 - peer;
    case K::kSecret: return -2000000000000 + peer;
    default: return peer;
  }
}

static void play_role(Chat& chat, const Role& role) {
  chat.role = &role;
  chat.kind = role.kind;
  chat.standing = role.standing;
  chat.members = role.members;
  chat.first_messages = role.messages;
  chat.unread = role.unread;
  chat.archived = has_trait(chat, "archived");
  chat.pinned = has_trait(chat, "pinned") ? 1 + chat.number : 0;
  if (has_trait(chat, "muted")) {
    chat.default_mute = false;
    chat.mute_for = 365 * 86400;
  }
}

static void roll_chat(Chat& chat, std::uint64_t dice) {
  const auto roll = dice % 100;
  chat.kind = roll < 70   ? K::kPrivate
              : roll < 82 ? K::kBasicGroup
              : roll < 94 ? K::kSupergroup
                          : K::kChannel;
  chat.members = roll < 70 ? 0 : 3 + static_cast<int>(dice >> 8 & 127);
  chat.first_messages = 20 + static_cast<int>((dice >> 16) % 160);
  if ((dice >> 32) % 4 == 0) chat.unread = static_cast<int>((dice >> 36) % 9);
  if ((dice >> 48) % 8 == 0) {
    chat.default_mute = false;
    chat.mute_for = 365 * 86400;
  }
}

void make_chats() {
  World& w = g_world;
  const int count = w.settings.chats;
  w.chats.resize(static_cast<std::size_t>(count));
  w.chat_numbers.reserve(w.chats.size());
  for (int n = 0; n < count; ++n) {
    Chat& chat = w.chats[static_cast<std::size_t>(n)];
    chat.number = n;
    if (n < kRoleCount) {
      play_role(chat, kRoles[n]);
    } else {
      roll_chat(chat, mix(w.settings.seed, 0xC0000000u + static_cast<unsigned>(n)));
    }
    chat.first_standing = chat.standing;
    chat.first_members = chat.members;
    const bool group = is_group(chat);
    chat.peer = group ? 5000 + n : kMe + 1 + n;
    chat.id = chat_id_of(chat.kind, chat.kind == K::kSecret ? 7000 + n : chat.peer);
    w.chat_numbers[chat.id] = static_cast<std::size_t>(n);
    if (has_trait(chat, "pinned") || n % 6 == 0) {
      for (int i = 3; i < chat.first_messages && i < 60; i += 11) {
        if (!content_is_service(find_message(chat, message_id(i)).content)) {
          changes(chat).pins.insert(message_id(i));
        }
      }
    }
    const Id last = message_id(chat.first_messages - 1);
    chat.unread = std::min(chat.unread, chat.first_messages);
    chat.last_read_outbox = chat.first_messages > 0 ? last : 0;
    chat.last_read_inbox =
        chat.first_messages > chat.unread ? message_id(chat.first_messages - chat.unread - 1) : 0;
    chat.unread = count_unread(chat);
    place_chat(chat, false);
  }
}

bool is_group(const Chat& chat) { return chat.kind == K::kBasicGroup || is_super(chat); }
bool is_super(const Chat& chat) {
  return chat.kind == K::kSupergroup || chat.kind == K::kForum || chat.kind == K::kChannel;
}
bool is_channel(const Chat& chat) { return chat.kind == K::kChannel; }

static bool is_member(const Chat& chat) {
  return chat.standing != S::kLeft && chat.standing != S::kBanned;
}

bool can_write(const Chat& chat) {
  if (!is_group(chat)) return chat.kind != K::kDeleted;
  return is_member(chat) && (!is_channel(chat) || chat.standing != S::kMember);
}

Chat& world_chat() { return g_world.chats[0]; }

Chat* find_chat(Id id) {
  const auto found = g_world.chat_numbers.find(id);
  return found == g_world.chat_numbers.end() ? nullptr : &g_world.chats[found->second];
}

Chat* find_chat_named(std::string_view title) {
  for (Chat& chat : g_world.chats) {
    if (chat_title(chat) == title) return &chat;
    if (!is_group(chat) && person(chat.peer).first_name == title) return &chat;
  }
  return nullptr;
}

static std::string group_username(const Chat& chat) {
  std::string name;
  if (!has_trait(chat, "public")) return name;
  for (const char c : std::string_view(chat.role->title))
    name += c == ' ' ? '_' : static_cast<char>(c | 0x20);
  return name;
}

Chat* find_username(std::string_view username) {
  std::string wanted;
  for (const char c : username) wanted += c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c;
  for (Chat& chat : g_world.chats) {
    const std::string own = is_group(chat) ? group_username(chat) : person(chat.peer).username;
    if (!own.empty() && own == wanted && chat.kind != K::kSecret) return &chat;
  }
  return nullptr;
}

std::string chat_title(const Chat& chat) {
  if (chat.changes != nullptr && !chat.changes->title.empty()) return chat.changes->title;
  if (!is_group(chat)) return person_name(chat.peer);
  if (chat.role != nullptr) return chat.role->title;
  static constexpr const char* kPlaces[] = {"Harbour",  "Garden", "Kitchen", "Café Ö",
                                            "Workshop", "Поле",   "Library"};
  return std::string(kPlaces[chat.number % 7]) + " " + std::to_string(chat.number);
}

static std::string standing_text(const Chat& chat) {
  static const Shape member("chatMemberStatusMember", "");
  static const Shape owner("chatMemberStatusCreator", "is_member=true");
  static const Shape left("chatMemberStatusLeft", "");
  static const Shape banned("chatMemberStatusBanned", "");
  static const Shape administrator("chatMemberStatusAdministrator",
                                   "rights.can_manage_chat=true rights.can_post_messages=true "
                                   "rights.can_edit_messages=true rights.can_delete_messages=true "
                                   "rights.can_pin_messages=true");
  switch (chat.standing) {
    case S::kOwner: return owner.text({});
    case S::kLeft: return left.text({});
    case S::kBanned: return banned.text({});
    case S::kAdministrator: return administrator.text({});
    default: return member.text({});
  }
}

std::string group_text(const Chat& chat) {
  static const Shape basic("basicGroup", "id member_count status is_active=true");
  static const Shape super("supergroup",
                           "id usernames date status member_count has_linked_chat sign_messages "
                           "is_slow_mode_enabled is_channel is_forum");
  static const Shape names("usernames", "active_usernames editable_username");
  if (chat.kind == K::kBasicGroup)
    return basic.text({chat.peer, chat.members, standing_text(chat)});
  const std::string username = group_username(chat);
  return super.text({chat.peer,
                     username.empty() ? "" : names.text({"[\"" + username + "\"]", username}),
                     kFirstDate - 90000000 + chat.number, standing_text(chat), chat.members,
                     has_trait(chat, "linked"), false, has_trait(chat, "slow"), is_channel(chat),
                     chat.kind == K::kForum});
}

// A channel and its discussion group stand beside each other in the table.
Id linked_chat_id(const Chat& chat) {
  if (!has_trait(chat, "linked")) return 0;
  const int linked = chat.number + (is_channel(chat) ? 1 : -1);
  return g_world.chats[static_cast<std::size_t>(linked)].id;
}

static std::string members_text(const Chat& chat) {
  static const Shape member("chatMember", "member_id inviter_user_id joined_chat_date status");
  std::string list = "[";
  for (int i = 0; i < std::min(chat.members, 200); ++i) {
    if (i > 0) list += ',';
    const Id id = i == 0 && is_member(chat) ? kMe : kMe + 2 + (i + chat.number) % 30;
    member.append(list,
                  {sender_text(id), kMe + 2, kFirstDate - 8000000,
                   i == 0 ? standing_text(chat)
                          : "{\"@type\":\"chatMemberStatusMember\",\"member_until_date\":0}"});
  }
  return list + "]";
}

std::string group_full_text(const Chat& chat) {
  static const Shape basic("basicGroupFullInfo", "description creator_user_id members");
  static const Shape super("supergroupFullInfo",
                           "description member_count administrator_count=2 linked_chat_id "
                           "slow_mode_delay slow_mode_delay_expires_in can_get_members "
                           "is_all_history_available=true");
  const std::string description = "About " + chat_title(chat);
  if (chat.kind == K::kBasicGroup) return basic.text({description, kMe + 2, members_text(chat)});
  const bool slow = has_trait(chat, "slow");
  const Id wait = slow ? std::max<Id>(chat.sent_last + 30 - date_now(), 0) : 0;
  return super.text({description, chat.members, linked_chat_id(chat), slow ? 30 : 0,
                     static_cast<double>(wait), !is_channel(chat)});
}

std::string notification_settings_text(const Chat& chat) {
  static const Shape shape(
      "chatNotificationSettings",
      "use_default_mute_for mute_for use_default_sound=true use_default_show_preview=true "
      "show_preview=true use_default_mute_stories=true use_default_story_sound=true "
      "use_default_show_story_poster=true show_story_poster=true "
      "use_default_disable_pinned_message_notifications=true "
      "use_default_disable_mention_notifications=true");
  return shape.text({chat.default_mute, chat.mute_for});
}

static std::string list_text(const Chat& chat) {
  return chat.archived ? "{\"@type\":\"chatListArchive\"}" : "{\"@type\":\"chatListMain\"}";
}

std::string positions_text(const Chat& chat) {
  static const Shape shape("chatPosition", "list order is_pinned");
  if (chat.order == 0) return "[]";
  return "[" + shape.text({list_text(chat), chat.order, chat.pinned > 0}) + "]";
}

static std::string chat_type_text(const Chat& chat) {
  static const Shape user("chatTypePrivate", "user_id");
  static const Shape secret("chatTypeSecret", "secret_chat_id user_id");
  static const Shape basic("chatTypeBasicGroup", "basic_group_id");
  static const Shape super("chatTypeSupergroup", "supergroup_id is_channel");
  if (chat.kind == K::kSecret) return secret.text({chat.id + 2000000000000, chat.peer});
  if (chat.kind == K::kBasicGroup) return basic.text({chat.peer});
  if (is_super(chat)) return super.text({chat.peer, is_channel(chat)});
  return user.text({chat.peer});
}

static std::string photo_text(const Chat& chat) {
  static const Shape shape("chatPhotoInfo", "small big");
  if (chat.kind == K::kDeleted || chat.number % 3 == 0) return {};
  const Id key = is_group(chat) ? chat.number * Id{8} + 3 : chat.peer * 8 + 1;
  return shape.text(
      {file_text(file_of(key, 3000, true)), file_text(file_of(key + 1, 20000, true))});
}

static std::string draft_text(const Chat& chat) {
  static const Shape draft("draftMessage", "date input_message_text");
  static const Shape input("inputMessageText", "text");
  if (chat.changes == nullptr || chat.changes->draft.empty()) return {};
  return draft.text({kFirstDate, input.text({formatted_text(chat.changes->draft)})});
}

// `complete`: with what updateNewChat leaves to later updates.
static std::string chat_object(Chat& chat, bool complete) {
  static const Shape shape(
      "chat",
      "id type title photo accent_color_id profile_accent_color_id=-1 permissions last_message "
      "positions chat_lists has_protected_content=false is_marked_as_unread view_as_topics "
      "can_be_deleted_only_for_self "
      "can_be_reported unread_count last_read_inbox_message_id last_read_outbox_message_id "
      "unread_mention_count notification_settings available_reactions video_chat draft_message");
  static const Shape rights(
      "chatPermissions",
      "can_send_basic_messages can_send_audios can_send_documents can_send_photos can_send_videos "
      "can_send_video_notes can_send_voice_notes can_send_polls can_send_other_messages "
      "can_add_link_previews can_change_info=false can_invite_users=true can_pin_messages "
      "can_create_topics=false");
  static const Shape reactions("chatAvailableReactionsAll", "max_reaction_count=11");
  const bool may = !is_channel(chat);
  const bool pins = !is_group(chat) || chat.kind == K::kBasicGroup;
  const Id last = complete ? last_id(chat) : 0;
  return shape.text({chat.id,
                     chat_type_text(chat),
                     chat_title(chat),
                     photo_text(chat),
                     chat.number % 7,
                     rights.text({may, may, may, may, may, may, may, may, may, may, pins}),
                     last != 0 ? message_text(chat, find_message(chat, last)) : "",
                     complete ? positions_text(chat) : "[]",
                     chat.order != 0 ? "[" + list_text(chat) + "]" : "[]",
                     chat.marked_unread,
                     chat.kind == K::kForum,
                     chat.standing != S::kBanned,
                     is_super(chat),
                     chat.unread,
                     chat.last_read_inbox,
                     chat.last_read_outbox,
                     chat.mentions,
                     notification_settings_text(chat),
                     reactions.text({}),
                     "{\"@type\":\"videoChat\",\"group_call_id\":0,\"has_participants\":false}",
                     draft_text(chat)});
}

std::string chat_text(Chat& chat) { return chat_object(chat, true); }

static void tell_group(const Chat& chat) {
  static const Shape basic("updateBasicGroup", "basic_group");
  static const Shape super("updateSupergroup", "supergroup");
  static const Shape secret("updateSecretChat", "secret_chat");
  static const Shape secret_chat("secretChat", "id user_id state=@secretChatStateReady layer=144");
  if (chat.kind == K::kBasicGroup) {
    tell(basic.text({group_text(chat)}));
  } else if (is_super(chat)) {
    tell(super.text({group_text(chat)}));
  } else {
    tell_person(chat.peer);
    if (chat.kind == K::kSecret) {
      tell(secret.text({secret_chat.text({chat.id + 2000000000000, chat.peer})}));
    }
  }
}

void tell_chat(Chat& chat) {
  static const Shape shape("updateNewChat", "chat");
  if (chat.told) return;
  chat.told = true;
  tell_group(chat);
  tell(shape.text({chat_object(chat, false)}));
  tell_last_message(chat);
}

void tell_last_message(Chat& chat) {
  static const Shape shape("updateChatLastMessage", "chat_id last_message positions");
  const Id last = last_id(chat);
  if (last == 0 && chat.order == 0) return;
  const std::string message = last != 0 ? message_text(chat, find_message(chat, last)) : "";
  tell(shape.text({chat.id, message, positions_text(chat)}));
}

// Where it stands now: pinned ones far above every date.
static Id order_of(const Chat& chat) {
  const Id last = last_id(chat);
  if (!chat.listed || (is_group(chat) && !is_member(chat)) || (last == 0 && chat.pinned == 0))
    return 0;
  if (chat.pinned > 0) return (Id{2147000000} - chat.pinned) << 32;
  return find_message(chat, last).date << 32 | (message_index(last) & 0xFFFFF);
}

void place_chat(Chat& chat, bool tell_it) {
  static const Shape update("updateChatPosition", "chat_id position");
  static const Shape position("chatPosition", "list order is_pinned");
  static const Shape removed("updateChatRemovedFromList", "chat_id chat_list");
  static const Shape added("updateChatAddedToList", "chat_id chat_list");
  auto& list = chat.archived ? g_world.archive : g_world.list;
  const Id order = order_of(chat);
  if (chat.order != 0) {
    g_world.list.erase({-chat.order, chat.id});
    g_world.archive.erase({-chat.order, chat.id});
  }
  const bool moved = order != chat.order;
  if (chat.told && (order == 0) != (chat.order == 0))
    tell((order == 0 ? removed : added).text({chat.id, list_text(chat)}));
  chat.order = order;
  if (order != 0) list.insert({-order, chat.id});
  if (tell_it && moved && chat.told) {
    tell(update.text({chat.id, position.text({list_text(chat), order, chat.pinned > 0})}));
  }
}

void set_standing(Chat& chat, Standing standing) {
  if (chat.standing == standing) return;
  const bool was_member = is_member(chat);
  chat.standing = standing;
  chat.members += is_member(chat) - was_member;
  if (is_member(chat)) chat.listed = true;
  if (!chat.told) {
    place_chat(chat, false);
    return;
  }
  tell_group(chat);
  place_chat(chat, true);
}

}  // namespace world
