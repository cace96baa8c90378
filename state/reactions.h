// The reactions to a message. Pure functions, any thread.
#pragma once

#include <string>
#include <string_view>

// A JSON array [{"emoji":"..","count":N,"chosen":true|false},...] of the emoji among the first 32
// reactions; empty when none is left. `json` is a message, or any text with an "interaction_info".
std::string extract_message_reactions_event_json_array(std::string_view json);
// The same from the object "interaction_info" itself.
std::string reactions_event_array(std::string_view interaction_info);
