// Ends the loop's wait for TDLib when standard input has something or a signal has come: a thread
// sends TDLib a request whose answer comes back at once.
#pragma once

#include <string_view>

#include "frame/tdlib.h"

// Starts the thread, once; false when the system has none to give. Main thread only, as for the
// three below.
bool start_waker(const TdClient& td);
// Ends it. Nothing is sent after that.
void stop_waker();
// The input has been drained: what comes next wakes again. Until this is called after a wake,
// input wakes no more.
void watch_input_again();
// Whether the object is the answer to a wake, which is nobody's business.
bool is_wake_answer(std::string_view object);

// Wakes the loop; nothing without the thread. Any thread, and async-signal-safe.
void wake_loop();
