#include "frame/wake.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <system_error>
#include <thread>

#include "frame/answer.h"
#include "frame/files.h"

namespace {

// What the thread is told through the pipe, one byte each.
enum Order : char { kWatch = 'w', kWake = 'k', kStop = 's' };

std::thread g_thread;
std::atomic<int> g_orders{-1};         // the pipe's writing end
std::atomic<bool> g_sees_input{true};  // the thread watches the input
std::atomic<unsigned> g_sent{0};
unsigned g_answered = 0;

void give_order(Order order) {
  const int fd = g_orders;
  if (fd < 0) return;
  while (write(fd, &order, 1) < 0 && errno == EINTR) {
  }
}

void send_wake(const TdClient& td) {
  ++g_sent;
  td.send(td.id, R"({"@type":"testCallEmpty","@extra":"wake"})");
}

// False when the thread has to end.
bool take_orders(int orders, const TdClient& td, bool& watches) {
  char order = 0;
  while (read(orders, &order, 1) == 1) {
    if (order == kStop) return false;
    if (order == kWatch) watches = true;
    if (order == kWake) send_wake(td);
  }
  return true;
}

void watch(int orders, TdClient td) {
  bool watches = true;
  for (bool runs = true; runs;) {
    pollfd fds[] = {{orders, POLLIN, 0}, {watches ? STDIN_FILENO : -1, POLLIN, 0}};
    if (poll(fds, 2, -1) < 0) continue;
    if (fds[0].revents != 0) {
      runs = take_orders(orders, td, watches);
    } else if (fds[1].revents != 0) {
      watches = false;
      g_sees_input = false;
      send_wake(td);
    }
  }
}

}  // namespace

bool start_waker(const TdClient& td) {
  int ends[2];
  if (pipe(ends) != 0) return false;
  for (const int fd : ends) {
    set_fd_nonblocking(fd);
    (void)fcntl(fd, F_SETFD, FD_CLOEXEC);
  }
  try {
    g_thread = std::thread(watch, ends[0], td);
  } catch (const std::system_error&) {
    for (const int fd : ends) (void)close(fd);
    return false;
  }
  g_orders = ends[1];
  return true;
}

// The pipe stays open: a signal may be about to write to it.
void stop_waker() {
  if (!g_thread.joinable()) return;
  give_order(kStop);
  g_thread.join();
}

void watch_input_again() {
  if (g_sees_input || g_orders < 0) return;
  g_sees_input = true;
  give_order(kWatch);
}

bool is_wake_answer(std::string_view object) {
  constexpr std::size_t kLongest = 256;
  if (g_answered == g_sent || object.size() > kLongest || take_tag(object) != "wake") return false;
  ++g_answered;
  return true;
}

void wake_loop() { give_order(kWake); }
