// The main loop: one thread, one wait. Each iteration takes what standard input has and runs it,
// does the periodic work, then takes at most one object from TDLib.
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

#include "frame/tdlib.h"

// What the frame calls and does not know.
struct LoopHooks {
  // Trimmed, not empty; `line` lives until the call returns.
  std::function<void(std::string_view line)> command;
  std::function<void()> follow_up;  // once an iteration, after the commands
  // When the periodic work has to be done next: mono_ms, or -1 when nothing is due.
  std::function<std::int64_t()> next_deadline;
  // One object; `text` lives until the call returns.
  std::function<void(std::string_view text)> object;
};

struct LoopSettings {
  bool wake_on_input = false;  // waits until something happens; else a fifth of a second at most
  bool exit_on_eof = false;    // the end of standard input is like "quit"
};

enum class LoopEnd { kStopped, kSignal, kInputEnded };

// Runs until `keep_running` is cleared, by "quit" or by a hook, or a signal asks for the end; the
// iteration is then finished. Tells which it was.
LoopEnd run_loop(const TdApi& api, const TdClient& td, const LoopHooks& hooks,
                 const LoopSettings& settings, bool& keep_running);
