// Whether the UI is in the foreground: it touches a marker file at least every 15 seconds while
// it is. The backend only looks at the file. Main thread only.
#pragma once

#include <cstdint>
#include <string>

extern std::string g_ui_running_marker_path;          // empty: there is none
extern std::int64_t g_ui_running_last_check_mono_ms;  // 0: never
extern bool g_ui_running_cached_active;

// "ui_running.txt" beside the events file, when its path names a directory; else none.
void set_ui_running_marker(const std::string& events_path);
// Looks at the file at most once in 500 ms, however often it is asked.
bool is_ui_running_active();
