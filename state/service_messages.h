// Messages that say what happened in a chat ("Ann added Bob"). They have no text of their own; the
// sentence is built from names, and one that lacks a name is remembered and told again when the
// name comes. An entry lives until every name in its sentence is known or a user whom it names
// cannot be had; of more than 1,024 the oldest go. The hub mode keeps none. Main thread only.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "state/message_key.h"

struct PendingServiceMessage {
  std::int64_t chat_id = 0;
  std::int64_t message_id = 0;
  std::string content_type;
  std::string message_json;            // the whole message object
  std::string text;                    // the sentence last told
  std::vector<std::int64_t> user_ids;  // every user whom the sentence names
  std::uint64_t number = 0;            // in the order of their coming
};

extern std::unordered_map<MsgKey, PendingServiceMessage, MsgKeyHash, MsgKeyEq>
    g_pending_service_messages;

// The sentence, or empty for content of another type. Users whose names are not known are
// appended to `missing`, and requested.
std::string format_service_message_text(std::string_view content_type,
                                        std::string_view message_json,
                                        std::vector<std::int64_t>& missing);
// The text for a message without words: its sentence, or the substitute for its content type. A
// sentence that lacks a name is remembered unless an id is 0.
std::string format_message_preview_and_track(std::int64_t chat_id, std::int64_t message_id,
                                             std::string_view content_type,
                                             std::string_view message_json);

// Builds the remembered sentences anew and tells those that have changed: all, or only those that
// name the user. Those that lack no name any more are forgotten.
void update_pending_service_messages();
void update_pending_service_messages(std::int64_t user_id);
// The user cannot be had: the sentences that name it will lack the name for good.
void forget_service_messages_of(std::int64_t user_id);
