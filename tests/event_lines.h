// The event lines that the code under test writes while this lives.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "frame/channels.h"

class EventLines {
 public:
  EventLines() : file_(std::tmpfile()), before_(g_events_fd) {
    if (file_ == nullptr) std::abort();
    g_events_fd = fileno(file_);
  }
  EventLines(const EventLines&) = delete;
  EventLines& operator=(const EventLines&) = delete;
  ~EventLines() {
    g_events_fd = before_;
    std::fclose(file_);
  }

  // What has been written since the last call.
  std::vector<std::string> take() {
    std::vector<std::string> lines(1);
    char block[4096];
    for (ssize_t got; (got = pread(fileno(file_), block, sizeof block, read_to_)) > 0;) {
      read_to_ += got;
      for (const char* c = block; c < block + got; ++c) {
        *c == '\n' ? void(lines.emplace_back()) : lines.back().push_back(*c);
      }
    }
    lines.pop_back();
    return lines;
  }

 private:
  std::FILE* file_;
  int before_;
  off_t read_to_ = 0;
};
