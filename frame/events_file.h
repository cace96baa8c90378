// The events file over its life: opened at the start, put aside for a new one when it has grown
// to a limit. Main thread only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// Opens it and writes the run's first event. Reported on standard error when that fails; the run
// then goes on without events. `max_bytes`: 0 or less is no limit; a FIFO or device never has one.
void open_events_file(const std::string& path, bool append, std::int64_t max_bytes);

// A line of `bytes` has been written. At the limit {"type":"events_rotated"} becomes the file's
// last line, it is renamed to "<path>.1", and a new file is opened under the path. Where that
// fails the old one is written on, and the log says so once.
void events_file_grew(std::size_t bytes);

// The file is not put aside any more, so that the run's last event stays where its reader looks.
void keep_events_file();
