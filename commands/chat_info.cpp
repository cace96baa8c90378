#include "commands/chat_info.h"

#include <algorithm>
#include <string>
#include <vector>

#include "frame/channels.h"
#include "json/scan.h"
#include "json/text.h"
#include "json/walk.h"
#include "state/chat_rows.h"
#include "state/learn_user.h"
#include "state/membership.h"
#include "state/notifications.h"
#include "state/users.h"

namespace {

std::string make_get_user_full_info(std::int64_t user_id) {
  return make_id_request("getUserFullInfo", "user_id", user_id);
}

std::string begin_chat_info(std::int64_t chat_id) {
  std::string event = begin_event("chat_info");
  append_int_member(event, "chat_id", chat_id);
  return event;
}

std::vector<std::string> reaction_emojis(std::string_view reactions) {
  std::vector<std::string> emojis;
  if (object_type(reactions) != "chatAvailableReactionsSome") return emojis;
  ArrayWalk walk{member_array(reactions, "reactions")};
  for (std::string_view reaction; next_element(walk, reaction);) {
    if (object_type(reaction) != "reactionTypeEmoji") continue;
    std::string emoji = member_string(reaction, "emoji");
    if (!emoji.empty()) emojis.push_back(std::move(emoji));
  }
  return emojis;
}

void emit_chat_info(std::int64_t chat_id, const ChatObject& chat) {
  const std::string_view reactions = chat.available_reactions;
  std::string event = begin_chat_info(chat_id);
  append_string_member(event, "chat_type", parse_chat_type(chat.type));
  append_string_member(event, "title", chat.title.value_or(std::string()));
  append_bool_member(event, "available_reactions_all",
                     object_type(reactions) == "chatAvailableReactionsAll");
  event += ",\"available_reactions\":";
  event += make_json_string_array(reaction_emojis(reactions));
  end_event(event);
}

// What is asked about the user or group behind a chat, and the id's place in the chat's type.
struct FollowUp {
  std::string_view id_key;
  std::string (*make)(std::int64_t id);
  std::string_view tag;
  std::string_view full_method;
  std::string_view full_tag;
};
constexpr FollowUp kUserFollowUp{"user_id", make_get_user, "chatInfoUser", "getUserFullInfo",
                                 "chatInfoUserFull"};
constexpr FollowUp kBasicFollowUp{"basic_group_id", make_get_basic_group, "chatInfoBasic",
                                  "getBasicGroupFullInfo", "chatInfoBasicFull"};
constexpr FollowUp kSuperFollowUp{"supergroup_id", make_get_supergroup, "chatInfoSuper",
                                  "getSupergroupFullInfo", "chatInfoSuperFull"};

const FollowUp* follow_up_of(std::string_view chat_type) {
  if (chat_type == "private" || chat_type == "secret") return &kUserFollowUp;
  if (chat_type == "basic_group") return &kBasicFollowUp;
  return is_group_type(chat_type) ? &kSuperFollowUp : nullptr;
}

void send_follow_ups(const TdClient& td, std::int64_t chat_id, std::string_view type_object) {
  const FollowUp* follow_up = follow_up_of(parse_chat_type(type_object));
  if (follow_up == nullptr) return;
  const std::int64_t id = member_int(type_object, follow_up->id_key, 0);
  if (id < 1) return;
  td_request(td, follow_up->make(id), make_tag(follow_up->tag, chat_id, id));
  td_request(td, make_id_request(follow_up->full_method, follow_up->id_key, id),
             make_tag(follow_up->full_tag, chat_id, id));
}

// Shows who the user is, in the cache and to the UI; false when the answer shows nobody.
bool append_user_members(std::string& event, std::string_view user_json) {
  const UserInfo* user = find_user(learn_user(user_json));
  if (user == nullptr) return false;
  append_string_member(event, "name", user_display_name(*user));
  append_string_member(event, "username", user->username);
  append_string_member(event, "phone", member_string(user_json, "phone_number"));
  return true;
}

// A plain string, or a formattedText of which the text counts.
void append_about_member(std::string& event, std::string_view full_info) {
  const std::string_view bio = object_member(full_info, "bio");
  append_string_member(event, "about",
                       is_object(bio) ? member_string(bio, "text") : string_of(bio));
}

}  // namespace

static std::string make_search_public_chat(std::string_view username) {
  std::string request = "{\"@type\":\"searchPublicChat\"";
  append_string_member(request, "username", username);
  request += '}';
  return request;
}

static std::string make_create_private_chat(std::int64_t user_id) {
  std::string request = "{\"@type\":\"createPrivateChat\"";
  append_int_member(request, "user_id", user_id);
  append_bool_member(request, "force", true);
  request += '}';
  return request;
}

void run_resolve(CommandCall& call, const TdClient& td) {
  call.args = trim(call.args);
  if (!call.args.empty() && call.args.front() == '@') call.args.remove_prefix(1);
  const std::string username(next_text(call));
  if (username.empty()) return refuse_usage(call);
  if (!gate_open(call)) return;
  td_request(td, make_search_public_chat(username), "resolve:" + username);
  reply_ok(call, "SEND searchPublicChat");
}

void on_resolve(Answer& answer, ChatTable& chats) {
  const std::int64_t chat_id = record_chat(chats, answer.text);
  if (chat_id == 0) return;
  std::string event = begin_event("tg_resolve");
  append_string_member(event, "username", answer.fields);
  append_int_member(event, "chat_id", chat_id);
  append_int_member(event, "photo_small_id",
                    extract_chat_photo_small_file_id(find_chat_object(answer.text)));
  end_event(event);
  dbg("RESOLVE ok");
}

void run_open_user_chat(CommandCall& call, const ChatTable& chats, const TdClient& td) {
  std::int64_t user_id = 0;
  if (!arg_id(call, user_id)) return refuse_usage(call);
  if (!gate_open(call)) return;
  const std::int64_t chat_id = private_chat_of(chats, user_id);
  if (chat_id == 0) {
    td_request(td, make_create_private_chat(user_id), make_tag("openUserChat", user_id));
    return reply_ok(call, "SEND createPrivateChat (open_user_chat)");
  }
  std::string event = begin_event("open_user_chat");
  append_int_member(event, "user_id", user_id);
  append_int_member(event, "chat_id", chat_id);
  end_event(event);
  reply_ok(call, "HIT peer_user_chat_id_cache (open_user_chat)");
}

void on_open_user_chat(Answer& answer, ChatTable& chats) {
  const std::int64_t user_id = next_field_i64(answer.fields);
  const std::int64_t chat_id = record_chat(chats, answer.text);
  if (user_id == 0 || chat_id == 0) return;
  std::string event = begin_event("open_user_chat");
  append_int_member(event, "user_id", user_id);
  append_int_member(event, "chat_id", chat_id);
  append_string_member(event, "title", chat_title(chats, chat_id));
  end_event(event);
}

void run_chat_info(CommandCall& call, const TdClient& td) {
  std::int64_t chat_id = 0;
  if (!arg_id(call, chat_id)) return refuse_usage(call);
  if (!gate_open(call)) return;
  td_request(td, make_get_chat(chat_id), make_tag("chatInfo", chat_id));
  reply_ok(call, "SEND getChat (chat_info)");
}

void on_chat_info(Answer& answer, ChatTable& chats, const TdClient& td) {
  const std::int64_t chat_id = record_chat(chats, answer.text);
  if (chat_id == 0) return;
  const ChatObject chat = read_chat_object(find_chat_object(answer.text));
  emit_chat_info(chat_id, chat);
  send_follow_ups(td, chat_id, chat.type);
}

void on_chat_info_user(Answer& answer) {
  const std::int64_t chat_id = next_field_i64(answer.fields);
  std::string event = begin_chat_info(chat_id);
  if (append_user_members(event, answer.text) && chat_id != 0) end_event(event);
}

void on_chat_info_user_full(Answer& answer) {
  const std::int64_t chat_id = next_field_i64(answer.fields);
  if (chat_id == 0) return;
  std::string event = begin_chat_info(chat_id);
  append_about_member(event, answer.text);
  end_event(event);
}

void on_chat_info_group(Answer& answer, ChatTable& chats) {
  const std::int64_t chat_id = next_field_i64(answer.fields);
  if (chat_id == 0) return;
  const std::string_view status = group_status(answer.text);
  const bool is_member = chat_member_status_is_member(status);
  const std::string kind = chat_member_status_kind(status);
  const std::string username = extract_username(answer.text);
  // A supergroup's count of 0 means that TDLib does not know it.
  const std::int64_t member_count = member_int(answer.text, "member_count");
  set_chat_member(chats, chat_id, is_member);
  std::string event = begin_chat_info(chat_id);
  if (!username.empty()) append_string_member(event, "username", username);
  if (member_count >= 1) append_int_member(event, "member_count", member_count);
  append_bool_member(event, "is_member", is_member);
  append_bool_member(event, "can_send",
                     is_member && (kind == "creator" || kind == "administrator"));
  end_event(event);
  settle_hub_notification(chats, chat_id);
}

void on_chat_info_group_full(Answer& answer) {
  const std::int64_t chat_id = next_field_i64(answer.fields);
  if (chat_id == 0) return;
  std::string event = begin_chat_info(chat_id);
  append_string_member(event, "description", member_string(answer.text, "description"));
  if (json_starts_with(answer.text, "{\"@type\":\"supergroupFullInfo\"")) {
    append_int_member(event, "linked_chat_id", member_int(answer.text, "linked_chat_id", 0));
  }
  end_event(event);
}

void run_user_info(CommandCall& call, const TdClient& td) {
  std::int64_t user_id = 0;
  if (!arg_id(call, user_id)) return refuse_usage(call);
  if (!gate_open(call)) return;
  td_request(td, make_get_user(user_id), make_tag("userInfoUser", user_id));
  td_request(td, make_get_user_full_info(user_id), make_tag("userInfoUserFull", user_id));
  reply_ok(call, "SEND getUser + getUserFullInfo (user_info)");
}

static std::string begin_user_info(std::int64_t user_id) {
  std::string event = begin_event("user_info");
  append_int_member(event, "user_id", user_id);
  return event;
}

void on_user_info(Answer& answer) {
  const std::int64_t user_id = next_field_i64(answer.fields);
  if (user_id == 0) return;
  std::string event = begin_user_info(user_id);
  if (append_user_members(event, answer.text)) end_event(event);
}

void on_user_info_full(Answer& answer) {
  const std::int64_t user_id = next_field_i64(answer.fields);
  if (user_id == 0) return;
  std::string event = begin_user_info(user_id);
  append_about_member(event, answer.text);
  end_event(event);
}
