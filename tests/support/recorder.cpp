#include "tests/support/recorder.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

static std::ofstream open_record(const std::filesystem::path& directory) {
  std::filesystem::create_directories(directory);
  return std::ofstream(directory / (std::to_string(getpid()) + ".jsonl"),
                       std::ios::binary | std::ios::app);
}

static void append(std::ofstream& record, std::string_view line) {
  record << line << '\n' << std::flush;
}

void record_event_line(std::string_view line) {
  static std::ofstream record = open_record(EVENT_LINES_DIR);
  append(record, line);
}

void record_request_line(std::string_view line) {
  static std::ofstream record = open_record(REQUEST_LINES_DIR);
  append(record, line);
}
