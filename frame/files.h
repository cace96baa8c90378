// Descriptors and files at start-up and at the end. Main thread only.
#pragma once

#include <atomic>
#include <string>

// Opens "/dev/null" on whichever of descriptors 0, 1 and 2 is closed, so that no file of ours
// takes its number and receives what is meant for the UI.
void open_missing_standard_descriptors();
// Adds O_NONBLOCK to the descriptor's flags; nothing when they cannot be read.
void set_fd_nonblocking(int fd);
// One level, mode 0777. Nothing for an empty path; a failure other than "exists" is reported on
// standard error and otherwise ignored.
void mkdir_if_missing(const std::string& path);

// Log and mirror file, appended to. An empty path, or a mirror path equal to the log path, opens
// nothing; a file that cannot be opened is reported on standard error.
void open_log_files(const std::string& log_path, const std::string& mirror_path);
// The events file, and the run's first event. Reported like a log file when it cannot be opened;
// the run then goes on without events.
void open_events_file(const std::string& path, bool append);
// Takes the write lock on "<db_dir>/td_backend.lock" without waiting. False when it cannot be had;
// the reason is in the log; the caller closes the descriptor.
bool take_database_lock(const std::string& db_dir);
// Events, lock, log and mirror, in that order; each descriptor becomes -1.
void close_output_files();
// Closes the descriptor, if open, and sets it to -1.
void close_descriptor(std::atomic<int>& fd);
