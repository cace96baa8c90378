// The way in: a command line or an object of TDLib finds its row.
#pragma once

#include <string_view>

#include "tables/rooms.h"

// A trimmed, non-empty command line.
void dispatch_command(Rooms& rooms, std::string_view line);
// One object: an error answer, an answer by its tag, or an update.
void dispatch_object(Rooms& rooms, std::string_view text);
