#include "frame/input.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/heap.h"

constexpr std::size_t kReadAtOnce = 1024 * 1024;
constexpr std::size_t kKeptCapacity = 64 * 1024;

static void report_error(Input& input, int error) {
  std::vector<int>& told = input.told_errors;
  if (std::find(told.begin(), told.end(), error) != told.end()) return;
  told.push_back(error);
  std::fprintf(stderr, "read(stdin) failed: %s\n", std::strerror(error));
}

InputState read_input(Input& input) {
  char buffer[4096];
  for (std::size_t total = 0; total < kReadAtOnce;) {
    const ssize_t got = read(STDIN_FILENO, buffer, sizeof buffer);
    if (got > 0) {
      input.bytes.append(buffer, static_cast<std::size_t>(got));
      total += static_cast<std::size_t>(got);
    } else if (got == 0) {
      return InputState::kEnded;
    } else if (errno == EAGAIN) {
      return InputState::kDrained;
    } else if (errno != EINTR) {
      report_error(input, errno);
      return InputState::kEnded;
    }
  }
  return InputState::kMore;
}

bool take_line(Input& input, std::string_view& line) {
  const std::size_t end = input.bytes.find('\n', std::max(input.taken, input.searched));
  if (end == std::string::npos) {
    input.searched = input.bytes.size();
    return false;
  }
  line = std::string_view(input.bytes).substr(input.taken, end - input.taken);
  input.taken = end + 1;
  return true;
}

std::string_view take_rest(Input& input) {
  const std::string_view rest = std::string_view(input.bytes).substr(input.taken);
  input.taken = input.bytes.size();
  return rest;
}

void drop_taken(Input& input) {
  input.bytes.erase(0, input.taken);
  input.taken = 0;
  input.searched = input.bytes.size();
  const std::size_t capacity = input.bytes.capacity();
  if (capacity <= kKeptCapacity || capacity / 4 < input.bytes.size()) return;
  input.bytes.shrink_to_fit();
  give_back_free_memory();
}
