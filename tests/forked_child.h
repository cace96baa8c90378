// Runs a piece of the program in a forked child that may crash, with its channels in files of
// their own, and hands back what each of them holds.
#pragma once

#include <functional>
#include <string>

struct ChildResult {
  int exit_status = -1;  // -1: ended by a signal
  std::string out;       // descriptor 1
  std::string err;       // descriptor 2
  std::string log;
  std::string mirror;
  std::string events;
};

// In the child descriptors 1 and 2, g_log_fd, g_log_mirror_fd and g_events_fd are the files when
// `body` starts; a body that returns ends the child with status 0.
ChildResult run_in_child(const std::function<void()>& body);
