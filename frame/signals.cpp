#include "frame/signals.h"

#include <signal.h>

#include <atomic>
#include <cerrno>

#include "frame/wake.h"

static_assert(ATOMIC_BOOL_LOCK_FREE == 2, "the signal handler stores it");
static std::atomic<bool> g_end_signalled{false};

constexpr int kEndSignals[] = {SIGTERM, SIGINT, SIGHUP};

void ignore_write_signals() {
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);
}

static void on_end_signal(int) {
  const int error = errno;
  for (const int sig : kEndSignals) signal(sig, SIG_DFL);
  g_end_signalled = true;
  wake_loop();
  errno = error;
}

void install_end_signals() {
  struct sigaction action = {};
  action.sa_handler = on_end_signal;
  action.sa_flags = SA_RESTART;  // TDLib's threads go on with what they were at
  sigemptyset(&action.sa_mask);
  for (const int sig : kEndSignals) {
    struct sigaction before = {};
    if (sigaction(sig, nullptr, &before) != 0 || before.sa_handler == SIG_IGN) continue;
    sigaction(sig, &action, nullptr);
  }
}

bool end_signalled() { return g_end_signalled; }
