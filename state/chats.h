// What is known of each chat: one record a chat. Main thread only; records live as long as the
// process. Chat ids may be negative; 0 is none.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "frame/in_flight.h"
#include "frame/tdlib.h"
#include "state/chat_object.h"
#include "state/membership.h"

enum class NotifyScope : unsigned char { kUnknown, kPrivate, kGroup, kChannel };

struct ChatNotifySettingsCache {
  bool known = false;
  std::int32_t mute_for = 0;  // seconds
  bool use_default_mute_for = false;
};

// A notification that waits until the chat's mute state is known.
struct PendingHubNotification {
  std::int64_t message_id = 0;
  std::int64_t date = 0;
  std::string chat_title;
  std::string sender_name;
  std::string text;
};

struct Chat {
  std::string title;
  // The raw object as last received; null: never. Most chats have the same one and share it.
  std::shared_ptr<const std::string> notification_settings;
  ChatNotifySettingsCache notify;
  NotifyScope scope = NotifyScope::kUnknown;
  std::optional<bool> is_member;  // false: hidden from the UI; absent: not known
  bool row_written = false;       // the UI shows it: its "chat" event has been written
  bool fetch_pending = false;     // a live fetch or its membership check is under way
  bool fetch_missed = false;      // wanted while the chat list was being loaded
  // Level 2: has a place in the main list; the chain of loads that has listed it, 0: none; the last
  // message told by a notification that still stands, 0: none.
  bool in_main_list = false;
  std::int64_t chain = 0;
  std::int64_t notified_message_id = 0;
  std::unique_ptr<PendingHubNotification> waiting;  // the newest one, or null
};

struct ScopeDefault {
  bool known = false;
  std::int32_t mute_for = 0;
};

// One "chats" command until its end event.
struct ChatListLoad {
  bool listed = false;                    // the list of ids has come
  bool more = false;                      // goes on where the loads before it ended (level 2)
  bool all_loaded = false;                // the library has no chats to load any more
  bool has_more = false;                  // as far as the list of ids tells
  std::int64_t limit = 0;                 // rows asked for
  std::unordered_set<std::int64_t> owed;  // chats whose row, or refusal, is still to come
  CommandHold hold;                       // rows and end are written in the command's name
};

// The chat that the UI shows: the one of the last accepted "open", until its "close".
struct OpenChat {
  std::int64_t chat_id = 0;  // 0: none
};

struct ChatTable {
  std::unordered_map<std::int64_t, Chat> chats;
  std::unordered_map<std::int64_t, std::int64_t> peer_user_chat_id_cache;  // user: private chat
  std::unordered_map<std::int64_t, std::int64_t> basic_group_chats;        // by group id
  std::unordered_map<std::int64_t, std::int64_t> supergroup_chats;         // channels, too
  ScopeDefault scope_defaults[4];                                          // by NotifyScope
  // Raw settings that leave muting to the scope, by their text.
  std::unordered_map<std::string_view, std::shared_ptr<const std::string>> shared_settings;
  std::int64_t chat_list_gen = 0;  // of the last load
  // The last load that began anew, whose chain later ones go on, and how many chats it has listed.
  std::int64_t chain = 0;
  std::int64_t chain_count = 0;
  // The open ones by number; while there is any, live fetches wait.
  std::unordered_map<std::int64_t, ChatListLoad> loads;
  std::vector<std::int64_t> missed;  // chats that wait for them to end, in order of arrival
  // By flow, then by chat.
  std::unordered_map<std::int64_t, PendingMemberCheck> member_checks[kMemberFlows];
};

// The record, made when there is none. Never call with id 0.
Chat& chat_record(ChatTable& table, std::int64_t chat_id);
// The record, or null.
const Chat* find_chat(const ChatTable& table, std::int64_t chat_id);
// True when this account is known not to be a member; updates of such chats are dropped.
bool chat_filtered(const ChatTable& table, std::int64_t chat_id);
// The title, or empty.
std::string_view chat_title(const ChatTable& table, std::int64_t chat_id);
// The private chat with the user, or 0.
std::int64_t private_chat_of(const ChatTable& table, std::int64_t user_id);
// The chat of the group, or 0.
std::int64_t basic_group_chat(const ChatTable& table, std::int64_t basic_group_id);
std::int64_t supergroup_chat(const ChatTable& table, std::int64_t supergroup_id);
// False: the mute state is not known (`muted` is then false, too).
bool chat_muted(const ChatTable& table, std::int64_t chat_id, bool& muted);

// Fills the record from a chat object: title, type, scope, notification settings, private chat of
// its user. Whoever shows TDLib's chat objects calls record_chat (state/chat_rows.h). The id, 0
// when there is none.
std::int64_t fill_chat_record(ChatTable& table, const ChatObject& object);
// A chat's "notification_settings" object: kept as it is, and its mute state. False when it says
// nothing about muting; what was known before then stays.
bool record_notification_settings(ChatTable& table, Chat& chat, std::string_view settings);
// The verdict of a membership check, a join or a leave. A chat that is no longer shown is
// described anew when it comes back.
void set_chat_member(ChatTable& table, std::int64_t chat_id, bool is_member);
// The UI was told to drop the chat; whatever happens in it next describes it anew.
void forget_chat_row(ChatTable& table, std::int64_t chat_id);

std::string make_get_chat(std::int64_t chat_id);
// Fetches a chat that the UI has never been told of: its chat object, for a group its membership,
// then its row (state/chat_rows.h). Not while a fetch is pending, nor for a filtered chat. While
// the chat list is being loaded the chat is only noted, and fetched after the load if that has not
// shown it.
void ensure_chat_known(ChatTable& table, const TdClient& td, std::int64_t chat_id);
