#include "state/chat_object.h"

#include <algorithm>
#include <limits>

#include "json/scan.h"
#include "json/search.h"
#include "json/walk.h"

namespace {

constexpr std::string_view kMainList = "\"@type\":\"chatListMain\"";

struct Field {
  std::string_view key;
  std::string_view ChatObject::*value;
};
constexpr Field kFields[] = {
    {"id", &ChatObject::id},
    {"title", &ChatObject::title},
    {"type", &ChatObject::type},
    {"photo", &ChatObject::photo},
    {"last_message", &ChatObject::last_message},
    {"positions", &ChatObject::positions},
    {"unread_count", &ChatObject::unread_count},
    {"last_read_outbox_message_id", &ChatObject::last_read_outbox_message_id},
    {"notification_settings", &ChatObject::notification_settings},
    {"available_reactions", &ChatObject::available_reactions},
};

// The raw value behind the first occurrence of the key. An object or array that breaks off reaches
// to the end of the text; half a number or string is worth nothing.
std::string_view first_value(std::string_view text, std::string_view key) {
  const std::string pattern = "\"" + std::string(key) + "\":";
  const std::size_t at = find_bytes(text, pattern);
  if (at == kNotFound) return {};
  const std::size_t begin = text.find_first_not_of(" \t\r\n", at + pattern.size());
  if (begin == std::string_view::npos) return {};
  const std::size_t end = skip_value(text, begin);
  if (end != kNotFound) return text.substr(begin, end - begin);
  return text[begin] == '{' || text[begin] == '[' ? text.substr(begin) : std::string_view();
}

// A number, bare or quoted; -1 is what a missing one looks like.
bool known_order(std::string_view value, std::int64_t& order) {
  const std::int64_t found = value_int64(value);
  if (found == -1) return false;
  order = found;
  return true;
}

}  // namespace

std::string_view find_chat_object(std::string_view json) {
  const std::size_t marker = find_bytes(json, "\"@type\":\"chat\"");
  if (marker == kNotFound || marker == 0) return {};
  // The type comes first; where it does not, the text itself is taken to be the chat.
  return json.substr(json[marker - 1] == '{' ? marker - 1 : 0);
}

static void set_field(ChatObject& chat, const JsonMember& member) {
  for (const Field& field : kFields) {
    if (member.key != field.key) continue;
    if ((chat.*field.value).empty()) chat.*field.value = member.value;
    return;
  }
}

ChatObject read_chat_object(std::string_view chat_json) {
  ChatObject chat;
  chat.text = chat_json;
  ObjectWalk walk{chat_json};
  std::size_t end = 1;  // past the last member
  for (JsonMember member; next_member(walk, member);) {
    set_field(chat, member);
    end = static_cast<std::size_t>(member.value.data() - chat_json.data()) + member.value.size();
  }
  const std::size_t brace = chat_json.find_first_not_of(" \t\r\n", end);
  if (brace != std::string_view::npos && chat_json[brace] == '}') return chat;
  for (const Field& field : kFields) chat.*field.value = first_value(chat_json, field.key);
  return chat;
}

std::string_view chat_type_word(std::string_view type_object) {
  const std::string_view type = object_type(type_object);
  if (type == "chatTypePrivate") return "private";
  if (type == "chatTypeSecret") return "secret";
  if (type == "chatTypeBasicGroup") return "basic_group";
  if (type != "chatTypeSupergroup") return "unknown";
  return member_true(type_object, "is_channel") ? "channel" : "supergroup";
}

std::string parse_chat_type(std::string_view chat_json) {
  return std::string(chat_type_word(read_chat_object(chat_json).type));
}

bool is_group_type(std::string_view chat_type) {
  return chat_type == "basic_group" || chat_type == "supergroup" || chat_type == "channel";
}

static std::int64_t photo_small_id(std::string_view photo) {
  return std::max<std::int64_t>(member_int(member_object(photo, "small"), "id", 0), 0);
}

bool extract_position_main_order(std::string_view position, std::int64_t& order) {
  const std::string_view list = member_object(position, "list");
  const bool main =
      list.empty() ? json_contains(position, kMainList) : object_type(list) == "chatListMain";
  return main && known_order(object_member(position, "order"), order);
}

static bool positions_main_order(std::string_view positions, std::int64_t& order) {
  ArrayWalk walk{positions};
  for (std::string_view position; next_element(walk, position);) {
    if (extract_position_main_order(position, order)) return true;
  }
  return false;
}

// Where there is no list of positions to walk: behind the first marker of the main list.
static bool first_main_order(std::string_view text, std::int64_t& order) {
  const std::size_t marker = find_bytes(text, kMainList);
  if (marker == kNotFound) return false;
  const std::int64_t found = extract_json_int64_field_loose(text.substr(marker), "order");
  if (found == -1) return false;
  order = found;
  return true;
}

static bool main_order(std::string_view text, std::string_view positions, std::int64_t& order) {
  const bool is_list = !positions.empty() && positions.front() == '[';
  return is_list ? positions_main_order(positions, order) : first_main_order(text, order);
}

bool extract_chat_main_order_known(std::string_view chat_json, std::int64_t& order) {
  return main_order(chat_json, object_member(chat_json, "positions"), order);
}

std::int64_t extract_chat_main_order(std::string_view chat_json) {
  std::int64_t order = 0;
  (void)extract_chat_main_order_known(chat_json, order);
  return order;
}

std::int64_t extract_chat_photo_small_file_id(std::string_view chat_json) {
  return photo_small_id(read_chat_object(chat_json).photo);
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
  row.title = value_string(chat.title);
  row.type = chat_type_word(chat.type);
  row.unread_count = value_int(chat.unread_count);
  row.last_read_outbox_message_id = value_int(chat.last_read_outbox_message_id);
  (void)main_order(chat.text, chat.positions, row.order);
  row.photo_small_id = photo_small_id(chat.photo);
  if (is_group_type(row.type)) {
    const std::string_view key = row.type == "basic_group" ? "basic_group_id" : "supergroup_id";
    row.group_id = std::max<std::int64_t>(member_int(chat.type, key, 0), 0);
  }
  if (value_is_object(chat.last_message)) {
    (void)parse_first_message(chat.last_message, row.last, kChatPreview.max_text_bytes,
                              kChatPreview.ellipsis);
  }
  return row;
}
