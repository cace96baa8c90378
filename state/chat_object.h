// Reading TDLib's chat objects. Values come from the chat's own members, never from what nests in
// it: a last message has ids, titles and counters of its own. Views point into the text.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "state/chat_level2.h"
#include "state/message.h"

// The members that anybody reads.
struct ChatObject {
  std::int64_t id = 0;               // 0: missing
  std::optional<std::string> title;  // absent: missing
  std::int64_t unread_count = -1;
  std::int64_t last_read_outbox_message_id = -1;  // -1: missing, both
  std::int64_t photo_small_id = 0;                // 0: none
  // Objects, and an array; empty: missing.
  std::string_view type;
  std::string_view last_message;
  std::string_view positions;
  std::string_view notification_settings;
  std::string_view available_reactions;
  // For level 2; 0, false or empty: missing.
  std::int64_t last_read_inbox_message_id = 0;
  std::int64_t unread_mention_count = 0;
  bool is_marked_as_unread = false;
  std::string_view draft_message;
};

// The text from the first chat object's brace on; empty when there is none.
std::string_view find_chat_object(std::string_view json);
ChatObject read_chat_object(std::string_view chat_json);

// "private", "secret", "basic_group", "supergroup", "channel" or "unknown", of a chat's "type".
std::string_view parse_chat_type(std::string_view type_object);
// Basic groups, supergroups and channels: what one can be a member of.
bool is_group_type(std::string_view chat_type);

// Of a chat's "positions"; 0: no position in the main list.
std::int64_t extract_chat_main_order(std::string_view positions);
// False when the text holds no main-list order, which an order of 0 is not. Also for the text of
// an update that has "positions".
bool extract_chat_main_order_known(std::string_view chat_json, std::int64_t& order);
// The same for one position object.
bool extract_position_main_order(std::string_view position, std::int64_t& order);
// 0: no photo.
std::int64_t extract_chat_photo_small_file_id(std::string_view chat_json);

// False when the settings say nothing about muting; the arguments are then untouched.
bool extract_chat_notification_settings(std::string_view settings_json, std::int32_t& mute_for,
                                        bool& use_default);

// What a chat object tells, for its event.
struct ChatDescription {
  std::int64_t id = 0;
  std::string title;
  std::string type;
  std::int64_t unread_count = -1;                 // -1: unknown
  std::int64_t last_read_outbox_message_id = -1;  // -1: unknown
  std::int64_t order = 0;                         // main list; 0: none
  std::int64_t photo_small_id = 0;
  std::int64_t group_id = 0;  // the basic group or supergroup behind the chat; 0: none
  MessagePreview last;        // id 0: none
  ChatDetails details;        // level 2 only
};
// The chat list's view of a chat. A last message that is a service message may be remembered for
// names that its sentence lacks.
ChatDescription describe_chat(std::int64_t chat_id, const ChatObject& chat);
