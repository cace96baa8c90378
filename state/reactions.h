// The answers and reactions to a message, and which of them the UI has been told. Main thread
// only; the readers are pure.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "json/walk.h"

// Each reads the value that the walk stands before, which is passed over.
// Of an object "reply_info"; -1: none.
std::int64_t extract_message_reply_count(ObjectWalk& walk);
// A JSON array [{"emoji":"..","count":N,"chosen":true|false},...] of the emoji among the first 32
// of an object "reactions"; empty when none is left.
std::string extract_message_reactions_event_json_array(ObjectWalk& walk);

// An object "interaction_info".
struct InteractionInfo {
  std::int64_t reply_count = -1;
  std::string reactions;
};
InteractionInfo read_interaction_info(ObjectWalk& walk);

// The messages that the UI has been shown with reactions, so that it can be told when the last one
// is removed. An entry lives until then or until the message is deleted; of more than 4,096 the
// oldest go, and the hub mode keeps none.
void note_told_reactions(std::int64_t chat_id, std::int64_t message_id);
// True when the message was shown with reactions; it no longer counts as such.
bool forget_told_reactions(std::int64_t chat_id, std::int64_t message_id);
