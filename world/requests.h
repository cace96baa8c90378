// The functions behind the table of requests. Each answers with the text of an object, an error
// among them, or with nothing when its answer comes later.
#pragma once

#include <string>

#include "world/world.h"

namespace world {

// The chat of a request; null when it is unknown, as it is to the library until it was told.
Chat* asked_chat(const Json& request);

// history.cpp
std::string get_chat_history(const Json& request);
std::string get_message(const Json& request);
std::string get_message_properties(const Json& request);
std::string get_message_thread(const Json& request);
std::string get_message_thread_history(const Json& request);
std::string get_pinned_message(const Json& request);
std::string search_chat_messages(const Json& request);
std::string search_messages(const Json& request);
std::string search_public_chat(const Json& request);
std::string search_public_chats(const Json& request);
std::string search_chats(const Json& request);
std::string view_messages(const Json& request);

// sending.cpp
std::string send_message(const Json& request);
std::string resend_messages(const Json& request);
std::string forward_messages(const Json& request);
std::string edit_text(const Json& request);
std::string delete_some_messages(const Json& request);
std::string delete_history(const Json& request);
std::string add_reaction(const Json& request);
std::string remove_reaction(const Json& request);
std::string pin_message(const Json& request);
std::string unpin_message(const Json& request);

// files.cpp
std::string download_file(const Json& request);
std::string cancel_download(const Json& request);
std::string get_file(const Json& request);
std::string get_storage(const Json& request);
std::string optimize_storage(const Json& request);

// calls.cpp
std::string create_call(const Json& request);
std::string accept_call(const Json& request);
std::string discard_call(const Json& request);
std::string send_signaling(const Json& request);

// proxies.cpp
std::string add_proxy(const Json& request);
std::string enable_proxy(const Json& request);
std::string disable_proxy(const Json& request);
std::string remove_proxy(const Json& request);
std::string get_proxies(const Json& request);
std::string ping_proxy(const Json& request);

// messages.cpp, for these
Id append_message(Chat& chat, Message message);  // stores it as the chat's next; tells nothing
void tell_new_message(Chat& chat, Id id);
bool thread_head(const Chat& chat, const Message& message, Chat*& where, Id& root);
std::string no_chat_text();
std::string no_message_text();

}  // namespace world
