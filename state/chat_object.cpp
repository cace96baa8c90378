#include "state/chat_object.h"

#include <algorithm>
#include <limits>

#include "frame/protocol.h"
#include "json/scan.h"
#include "json/search.h"
#include "json/walk.h"
#include "state/file.h"

namespace {

constexpr std::string_view kMainList = "\"@type\":\"chatListMain\"";

constexpr Row<ChatObject> kChatRows[] = {
    {"id", value_into<&ChatObject::id>},
    {"type", object_into<&ChatObject::type>},
    {"title", value_into<&ChatObject::title>},
    {"photo", result_into<&ChatObject::photo_small_id, photo_small_file_id>},
    {"last_message", object_into<&ChatObject::last_message>},
    {"positions", array_into<&ChatObject::positions>},
    {"unread_count", value_into<&ChatObject::unread_count>},
    {"last_read_outbox_message_id", value_into<&ChatObject::last_read_outbox_message_id>},
    {"notification_settings", object_into<&ChatObject::notification_settings>},
    {"last_read_inbox_message_id", value_into<&ChatObject::last_read_inbox_message_id>},
    {"unread_mention_count", value_into<&ChatObject::unread_mention_count>},
    {"is_marked_as_unread", value_into<&ChatObject::is_marked_as_unread>},
    {"draft_message", object_into<&ChatObject::draft_message>},
    {"available_reactions", object_into<&ChatObject::available_reactions>},
};

// -1 is what a missing order looks like.
bool known_order(std::int64_t found, std::int64_t& order) {
  if (found != -1) order = found;
  return found != -1;
}

}  // namespace

std::string_view find_chat_object(std::string_view json) {
  const std::size_t marker = find_bytes(json, "\"@type\":\"chat\"");
  if (marker == kNotFound || marker == 0) return {};
  // The type comes first; where it does not, the text itself is taken to be the chat.
  return json.substr(json[marker - 1] == '{' ? marker - 1 : 0);
}

ChatObject read_chat_object(std::string_view chat_json) {
  ChatObject chat;
  read_members<kChatRows>(chat_json, chat);
  return chat;
}

std::string_view parse_chat_type(std::string_view type_object) {
  const std::string_view type = object_type(type_object);
  if (type == "chatTypePrivate") return "private";
  if (type == "chatTypeSecret") return "secret";
  if (type == "chatTypeBasicGroup") return "basic_group";
  if (type != "chatTypeSupergroup") return "unknown";
  return member_true(type_object, "is_channel") ? "channel" : "supergroup";
}

bool is_group_type(std::string_view chat_type) {
  return chat_type == "basic_group" || chat_type == "supergroup" || chat_type == "channel";
}

bool extract_position_main_order(std::string_view position, std::int64_t& order) {
  const std::string_view list = member_object(position, "list");
  const bool main =
      list.empty() ? json_contains(position, kMainList) : object_type(list) == "chatListMain";
  return main && known_order(member_int64(position, "order"), order);
}

static bool positions_main_order(std::string_view positions, std::int64_t& order) {
  ArrayWalk walk{positions};
  for (std::string_view position; next_element(walk, position);) {
    if (extract_position_main_order(position, order)) return true;
  }
  return false;
}

bool extract_chat_main_order_known(std::string_view chat_json, std::int64_t& order) {
  return positions_main_order(member_array(chat_json, "positions"), order);
}

std::int64_t extract_chat_main_order(std::string_view positions) {
  std::int64_t order = 0;
  (void)positions_main_order(positions, order);
  return order;
}

std::int64_t extract_chat_photo_small_file_id(std::string_view chat_json) {
  ObjectWalk walk = walk_to(chat_json, "photo");
  return photo_small_file_id(walk);
}

bool extract_chat_notification_settings(std::string_view settings_json, std::int32_t& mute_for,
                                        bool& use_default) {
  const std::string_view default_value = object_member(settings_json, "use_default_mute_for");
  const bool default_known = default_value == "true" || default_value == "false";
  const std::int64_t seconds = member_int(settings_json, "mute_for");
  if (seconds < 0 && !default_known) return false;
  constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
  mute_for = static_cast<std::int32_t>(std::clamp<std::int64_t>(seconds, 0, kMost));
  use_default = default_value != "false";
  return true;
}

ChatDescription describe_chat(std::int64_t chat_id, const ChatObject& chat) {
  ChatDescription row;
  row.id = chat_id;
  row.title = chat.title.value_or(std::string());
  row.type = parse_chat_type(chat.type);
  row.unread_count = chat.unread_count;
  row.last_read_outbox_message_id = chat.last_read_outbox_message_id;
  row.order = extract_chat_main_order(chat.positions);
  row.photo_small_id = chat.photo_small_id;
  if (is_group_type(row.type)) {
    const std::string_view key = row.type == "basic_group" ? "basic_group_id" : "supergroup_id";
    row.group_id = std::max<std::int64_t>(member_int(chat.type, key, 0), 0);
  }
  if (!chat.last_message.empty()) {
    (void)parse_first_message(chat.last_message, row.last, kChatPreview.max_text_bytes,
                              kChatPreview.ellipsis);
  }
  if (at_level2()) row.details = read_chat_details(chat);
  return row;
}
