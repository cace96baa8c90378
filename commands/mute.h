// "mute_toggle": the chat's own settings as TDLib last sent them, with only the muting changed.
#pragma once

#include <cstdint>
#include <string>

#include "frame/answer.h"
#include "frame/command.h"
#include "state/chats.h"

void run_mute_toggle(CommandCall& call, const ChatTable& chats, const TdClient& td);
void on_mute_toggled(Answer& answer);

// Sets "mute_for" in the settings object, and "use_default_mute_for" to false where it is given.
// False when there is no number to replace.
bool patch_mute_for(std::string& settings, std::int64_t mute_for);
