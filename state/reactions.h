// The reactions to a message. Pure functions, any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "json/object_text.h"
#include "json/walk.h"

// A JSON array [{"emoji":"..","count":N,"chosen":true|false},...] of the emoji among the first 32
// reactions; empty when none is left. `json` is a message, or any text with an "interaction_info".
std::string extract_message_reactions_event_json_array(std::string_view json);

// What an object "interaction_info" tells.
struct Interaction {
  std::int32_t reply_count = 0;
  std::string reactions;  // the array above
};
// Reads the one that the walk, not yet begun, is for.
void read_interaction(ObjectWalk& info, Interaction& interaction);
// The same; of one that breaks off only a reply count is left.
Interaction read_interaction(const ObjectText& info);
