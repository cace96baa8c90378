#include "state/message_page.h"

// TDLib writes the count first, and then the messages are passed over only once, when they are
// read.
constexpr Row<MessagePage> kPageRows[] = {
    {"total_count", value_into<&MessagePage::total_count>},
    {"messages",
     [](ObjectWalk& walk, MessagePage& page) { page.messages.text = value_here(walk); }},
};

MessagePage open_message_page(std::string_view answer) {
  MessagePage page;
  read_members<kPageRows>(answer, page);
  return page;
}

bool next_message(MessagePage& page, std::string_view& message) {
  for (std::string_view element; next_element(page.messages, element);) {
    if (object_type(element) != "message") continue;
    message = element;
    return true;
  }
  return false;
}

bool next_message(MessagePage& page, TextProfile profile, MessagePreview& out,
                  std::int64_t& sender_user_id) {
  while (next_place(page.messages)) {
    ObjectWalk walk{value_here(page.messages)};
    if (object_type(walk.text) != "message") continue;
    const bool is_message = read_message(walk, profile, out, sender_user_id);
    leave(page.messages, walk);
    if (is_message) return true;
  }
  return false;
}
