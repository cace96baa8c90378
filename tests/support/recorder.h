// Keeps what all runs of a test process have said, for checks over all of it.
#pragma once

#include <string_view>

// Appends the line to <directory>/<process id>.jsonl; the directory is made when missing.
void record_event_line(std::string_view line);    // in EVENT_LINES_DIR
void record_request_line(std::string_view line);  // in REQUEST_LINES_DIR
