// The main loop: one thread, one wait. Each iteration drains standard input into command lines
// and runs them, does the periodic work, then takes at most one object from TDLib.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "frame/tdlib.h"

// What the frame calls and does not know.
struct LoopHooks {
  std::function<void(std::string_view line)> command;  // trimmed, not empty, not "quit"
  std::function<void()> follow_up;                     // once an iteration, after the commands
  // One object; `text` lives until the call returns.
  std::function<void(std::string_view text)> object;
};

// Bytes read from standard input that do not form a complete line yet. It has no size limit; a
// byte is searched for a line feed once.
struct PendingInput {
  std::string bytes;
  std::size_t searched = 0;
};

// Reads all that standard input has now; complete lines, without their line feed, go to `lines`.
void read_input_lines(PendingInput& pending, std::vector<std::string>& lines);

// Runs until `keep_running` is cleared, by "quit" or by a hook; the iteration is then finished.
void run_loop(const TdApi& api, const LoopHooks& hooks, bool& keep_running);
