// The td_backend process of this console: its start, its two pipes, its events file and its end.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <string_view>

struct Backend {
  std::string program;  // path of td_backend
  std::string dir;      // private: the events file and ui_running.txt; removed by remove_files
  pid_t pid = -1;       // -1: none runs
  int status = 0;       // of the last one that ended, as a shell would tell it
  int input = -1, output = -1, events = -1;
  std::string unsent;       // commands that its input had no room for
  std::string output_part;  // the begin of a line whose end has not come
  std::string events_part;
  bool more = false;  // there may be events that were not read yet
};

using OnLine = std::function<void(std::string_view line)>;

// Hands over the whole lines of what can be read now; `part` keeps the begin of one whose end has
// not come. Above 0: there may be more; 0: the end was met; below: there is no more for now.
ssize_t drain(int fd, std::string& part, const OnLine& on_line);
// Makes the private directory at the first call and starts the process in it. 0, or an errno.
int start(Backend& backend);
// A command without its line feed. Never blocks; dropped when no process is there.
void send_line(Backend& backend, std::string_view line);
// Until something may be read from the process or from `terminal` (-1: none), or a signal comes.
void wait_for_news(Backend& backend, int terminal);
// Hands over the whole lines that are there, at most 1 MiB of each kind. False once, when the
// process has ended and everything that it wrote was handed over.
bool read_lines(Backend& backend, const OnLine& on_output, const OnLine& on_event);
// Tells the backend that a person is looking at the chat that was opened last.
void touch_ui_running(const Backend& backend);
void remove_files(const Backend& backend);
