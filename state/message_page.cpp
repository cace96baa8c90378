#include "state/message_page.h"

#include "json/object_text.h"
#include "json/scan.h"
#include "json/search.h"
#include "json/walk.h"

namespace {

// From one marker to the next: what is left when the array breaks off.
bool next_marked(MessagePage& page, std::string_view& message) {
  if (find_bytes(page.rest, kMessageMarker) == kNotFound) return false;
  message = find_message(page.rest).text;
  page.rest.remove_prefix(static_cast<std::size_t>(message.data() - page.rest.data()) +
                          message.size());
  return true;
}

// The walk stands before an element that does not end.
void give_up_array(MessagePage& page, std::size_t place) {
  page.rest = page.array.text.substr(place);
  page.array = ArrayWalk();
}

std::int64_t find_total_count(std::string_view page) {
  return member_int(page, "total_count", extract_json_int_field(page, "total_count"));
}

}  // namespace

MessagePage open_message_page(std::string_view answer) {
  MessagePage page;
  ObjectWalk walk{answer};
  for (std::string_view key; page.array.text.empty() && next_key(walk, key);) {
    if (is_key(key, "total_count")) {
      page.total_count = value_int(take_value(walk));
    } else if (is_key(key, "messages") && json_starts_with(value_here(walk), "[")) {
      page.array.text = value_here(walk);
    }
  }
  if (page.array.text.empty()) page.rest = answer;
  // TDLib writes the count first; only where it does not are the messages passed over for it.
  if (page.total_count == -1) page.total_count = find_total_count(answer);
  return page;
}

bool next_message(MessagePage& page, std::string_view& message) {
  while (next_place(page.array)) {
    const std::size_t place = page.array.pos;
    const std::string_view element = take_value(page.array);
    if (element.empty()) {
      give_up_array(page, place);
    } else if (value_is_object(element) && object_type(element) == "message") {
      message = element;
      return true;
    }
  }
  return next_marked(page, message);
}

bool next_message(MessagePage& page, TextProfile profile, MessagePreview& out,
                  std::int64_t& sender_user_id) {
  while (next_place(page.array)) {
    ObjectWalk walk{value_here(page.array)};
    if (read_message(walk, profile, out, sender_user_id)) {
      leave(page.array, walk);
      return true;
    }
    // Null, no message, or one that breaks off.
    const std::size_t place = page.array.pos;
    const std::string_view element = take_value(page.array);
    if (element.empty()) {
      give_up_array(page, place);
    } else if (value_is_object(element) && object_type(element) == "message" &&
               parse_first_message(element, profile, out, sender_user_id)) {
      return true;
    }
  }
  for (std::string_view message; next_marked(page, message);) {
    if (parse_first_message(message, profile, out, sender_user_id)) return true;
  }
  return false;
}
