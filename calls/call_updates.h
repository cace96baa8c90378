// What TDLib tells of calls, passed on to the UI as it comes. No call table is kept: TDLib owns
// the calls. Main thread only.
#pragma once

#include <string_view>

#include "state/chats.h"

// "call_update", and the log lines of a call that is ready or has failed. A call without an id
// is passed over.
void on_update_call(const ChatTable& chats, std::string_view text);
// "call_signaling" with the length of the data, which itself is not forwarded.
void on_update_new_call_signaling_data(std::string_view text);
