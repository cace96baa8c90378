#include "frame/loop.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "frame/channels.h"
#include "frame/clock.h"
#include "frame/input.h"
#include "frame/signals.h"
#include "frame/wake.h"
#include "json/text.h"
#include "platform/heap.h"

constexpr std::int64_t kShortWaitMs = 200;
constexpr std::int64_t kLongWaitMs = 60000;
constexpr std::size_t kLargeObject = 1024 * 1024;

namespace {

void run_command(std::string_view line, const LoopHooks& hooks) {
  line = trim(line);
  if (!line.empty()) hooks.command(line);
}

// Lines behind "quit" are dropped.
InputState run_commands(Input& input, const LoopHooks& hooks, const LoopSettings& settings,
                        bool& keep_running, LoopEnd& end) {
  const InputState state = read_input(input);
  std::string_view line;
  while (keep_running && take_line(input, line)) run_command(line, hooks);
  if (state == InputState::kEnded && settings.exit_on_eof) {
    if (keep_running) run_command(take_rest(input), hooks);
    if (keep_running) {
      end = LoopEnd::kInputEnded;
      hooks.command("quit");
    }
  }
  drop_taken(input);
  return state;
}

// Closed input is always ready, and so would wake for ever; a terminal's is not.
bool can_wake_again(InputState state) {
  pollfd input = {STDIN_FILENO, POLLIN, 0};
  return state == InputState::kDrained || (state == InputState::kEnded && poll(&input, 1, 0) == 0);
}

std::int64_t wait_ms(InputState state, const LoopHooks& hooks, bool waits_long) {
  if (state == InputState::kMore) return 0;
  if (!waits_long) return kShortWaitMs;
  const std::int64_t due_ms = hooks.next_deadline();
  if (due_ms < 0) return kLongWaitMs;
  return std::clamp<std::int64_t>(due_ms - mono_ms(), 0, kLongWaitMs);
}

}  // namespace

LoopEnd run_loop(const TdApi& api, const TdClient& td, const LoopHooks& hooks,
                 const LoopSettings& settings, bool& keep_running) {
  const bool wakes = settings.wake_on_input && start_waker(td);
  Input input;
  LoopEnd end = LoopEnd::kStopped;
  while (keep_running && !end_signalled()) {
    const InputState state = run_commands(input, hooks, settings, keep_running, end);
    hooks.follow_up();
    if (wakes && can_wake_again(state)) watch_input_again();
    const std::int64_t wait = wait_ms(state, hooks, wakes && keep_running);
    // TDLib's text lives until the next call.
    const char* text = api.receive(static_cast<double>(wait) / 1000.0);
    if (text == nullptr || (wakes && is_wake_answer(text))) continue;
    const std::size_t size = std::strlen(text);
    hooks.object({text, size});
    if (size >= kLargeObject) give_back_free_memory();
  }
  if (wakes) stop_waker();
  return keep_running ? LoopEnd::kSignal : end;
}
