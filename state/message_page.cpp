#include "state/message_page.h"

#include "json/scan.h"
#include "json/search.h"
#include "json/walk.h"

namespace {

constexpr std::string_view kMessageMarker = "\"@type\":\"message\",\"id\":";

bool is_message(std::string_view element) {
  return value_is_object(element) && object_type(element) == "message";
}

// From one marker to the next: what is left when the array breaks off.
bool next_marked(MessagePage& page, std::string_view& message) {
  const std::size_t marker = find_bytes(page.text, kMessageMarker, page.pos);
  if (marker == kNotFound) return false;
  const std::size_t begin = marker == 0 ? 0 : marker - 1;
  const std::string_view object = extract_json_object_raw_at(page.text, begin);
  const std::size_t next = find_bytes(page.text, kMessageMarker, marker + 1);
  message =
      object.empty() ? page.text.substr(begin, next == kNotFound ? next : next - begin) : object;
  page.pos = object.empty() ? (next == kNotFound ? page.text.size() : next) : begin + object.size();
  return true;
}

}  // namespace

MessagePage open_message_page(std::string_view answer) {
  MessagePage page;
  ObjectWalk walk{answer};
  for (JsonMember member; next_member(walk, member);) {
    if (member.key == "total_count") page.total_count = value_int(member.value);
    if (member.key == "messages" && member.value.front() == '[') {
      page.text = member.value;
      page.in_array = true;
    }
  }
  if (page.in_array) return page;
  page.text = answer;
  if (page.total_count == -1) page.total_count = extract_json_int_field(answer, "total_count");
  return page;
}

bool next_message(MessagePage& page, std::string_view& message) {
  if (!page.in_array) return next_marked(page, message);
  ArrayWalk walk{page.text, page.pos};
  bool found = false;
  while (!found && next_element(walk, message)) found = is_message(message);
  page.pos = walk.pos;
  return found;
}

bool next_message(MessagePage& page, TextProfile profile, MessagePreview& out,
                  std::int64_t& sender_user_id) {
  std::string_view message;
  while (next_message(page, message)) {
    if (parse_first_message(message, profile, out, sender_user_id)) return true;
  }
  return false;
}
