// The connection's state, for the UI's status line. Main thread only.
#pragma once

#include <string_view>

void on_connection_state(std::string_view text);
