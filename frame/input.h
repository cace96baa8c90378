// Standard input as command lines. Main thread only.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// What was read and not yet taken. A line has no size limit; a byte is searched for a line feed
// once.
struct Input {
  std::string bytes;
  std::size_t taken = 0;         // bytes that are in lines already taken
  std::size_t searched = 0;      // bytes without a line feed behind `taken`
  std::vector<int> told_errors;  // each errno of a read is reported once
};

enum class InputState {
  kDrained,  // nothing more for now
  kMore,     // the rest is for the next iteration
  kEnded,    // its end, or it cannot be read
};

// Reads what standard input has now, at most 1 MiB at once, so that a flood of commands neither
// starves TDLib nor fills the memory.
InputState read_input(Input& input);
// The next complete line, without its line feed. `line` lives until read_input or drop_taken.
bool take_line(Input& input, std::string_view& line);
// What stands behind the last line feed, as a line; for the end of the input.
std::string_view take_rest(Input& input);
// Lets go of the lines taken and of memory that a large one needed.
void drop_taken(Input& input);
