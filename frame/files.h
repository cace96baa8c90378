// Descriptors and files at start-up and at the end. Main thread only.
#pragma once

#include <atomic>
#include <string>

// Opens "/dev/null" on whichever of descriptors 0, 1 and 2 is closed, so that no file of ours
// takes its number and receives what is meant for the UI.
void open_missing_standard_descriptors();
// Adds O_NONBLOCK to the descriptor's flags; nothing when they cannot be read.
void set_fd_nonblocking(int fd);
// The same for descriptors 0 to 2, and back to what they came with: a terminal is shared with
// whoever started the program.
void unblock_standard_descriptors();
void restore_standard_descriptors();
// One level, mode 0777. Nothing for an empty path; a failure other than "exists" is reported on
// standard error and otherwise ignored.
void mkdir_if_missing(const std::string& path);

// Opens a file for lines; `flags`: O_APPEND or O_TRUNC. `fd` gets the descriptor and `opened`, if
// given, is called. One that cannot be opened is reported on standard error; a FIFO without a
// reader waits until there is one, and the log says so.
void open_output_file(const std::string& path, int flags, std::atomic<int>& fd,
                      void (*opened)() = nullptr);
// Tries those that wait once more; nothing to try unless g_files_wait.
void open_waiting_files();
extern bool g_files_wait;
// Log and mirror file, appended to. An empty path, or a mirror path equal to the log path, opens
// nothing.
void open_log_files(const std::string& log_path, const std::string& mirror_path);
// Takes the write lock on "<db_dir>/td_backend.lock" without waiting. False when it cannot be had;
// the reason is in the log; the caller closes the descriptor.
bool take_database_lock(const std::string& db_dir);
// Events, lock, log and mirror, in that order; each descriptor becomes -1.
void close_output_files();
// Closes the file, if open, and sets the descriptor to -1. The number itself stays taken, by
// "/dev/null": a log line that is under way on a thread of TDLib's must not land in a file that
// another one opens.
void close_descriptor(std::atomic<int>& fd);
