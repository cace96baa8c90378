// td_console: a client of td_backend in the terminal. It knows what docs/protocol.md says and
// nothing else of the backend.
#include <langinfo.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <clocale>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

#include "console/client.h"
#include "console/screen.h"
#include "console/text.h"

volatile std::sig_atomic_t g_stop = 0;

namespace {

constexpr char kUsage[] =
    "usage: td_console [--plain] [PATH_OF_TD_BACKEND]\n"
    "\n"
    "A client in the terminal. It starts the backend (the td_backend beside it unless a path is\n"
    "given) with this environment. --plain, or a standard output that is no terminal, writes a\n"
    "line for an event. Enter /help, or press ? in the window, for what can be entered.\n";

// One line, and nothing that would steer a terminal.
void print(const std::string& text) {
  std::string line = clock_text(std::time(nullptr), "%H:%M:%S ");
  for (const char c : visible(clean(text)))
    line += c == '\n' ? std::string(" / ") : std::string(1, c);
  std::puts(line.c_str());
  std::fflush(stdout);
}

void enter_and_print(Client& c, const std::string& line) {
  enter(c, line);
  if (!c.note.empty()) print(c.note);
  c.note.clear();
  // The help is there at once; other lists come row by row, as events.
  List& list = c.list;
  if (list.is_new && list.command == 0) {
    for (const List::Row& row : list.rows) print(row.text + ": " + row.meaning);
  }
  list.is_new = false;
}

// Without a screen, for logs and for ssh: a line for an event, the same input a line each. Returns
// when the backend has ended, with its status.
int run_plain(Client& c) {
  c.on_event = [&](const Event& e) { print(describe(c, e)); };
  std::string input;
  bool open = true;
  while (!c.ended) {
    follow(c, open ? STDIN_FILENO : -1);
    std::array<char, 4096> buffer;
    pollfd ready = {STDIN_FILENO, POLLIN, 0};
    if (!open || poll(&ready, 1, 0) <= 0) continue;
    const ssize_t got = read(STDIN_FILENO, buffer.data(), buffer.size());
    if (got > 0) input.append(buffer.data(), static_cast<std::size_t>(got));
    for (std::size_t end; (end = input.find('\n')) != std::string::npos;) {
      enter_and_print(c, input.substr(0, end));
      input.erase(0, end + 1);
    }
    open = got > 0;
    if (!open) enter_and_print(c, "/quit");
  }
  if (c.note_is_error) print(c.note);
  return c.backend.status;
}

std::string beside(const char* argv0) {
  const char* slash = std::strrchr(argv0, '/');
  return slash ? std::string(argv0, slash) + "/td_backend" : "./td_backend";
}

void catch_signals() {
  struct sigaction action {};
  action.sa_handler = [](int) { g_stop = 1; };
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) sigaction(number, &action, nullptr);
  signal(SIGPIPE, SIG_IGN);
}

}  // namespace

int main(int argc, char** argv) {
  bool plain = !isatty(STDIN_FILENO) || !isatty(STDOUT_FILENO);
  Client client;
  client.backend.program = beside(argv[0]);
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--plain") == 0) {
      plain = true;
    } else if (argv[i][0] == '-' || i + 1 < argc) {
      std::fputs(kUsage, std::strcmp(argv[i], "--help") == 0 ? stdout : stderr);
      return std::strcmp(argv[i], "--help") == 0 ? 0 : 64;
    } else {
      client.backend.program = argv[i];
    }
  }
  std::setlocale(LC_ALL, "");
  if (std::strcmp(nl_langinfo(CODESET), "UTF-8") != 0) std::setlocale(LC_ALL, "C.UTF-8");
  catch_signals();
  int status = 1;
  if (start_client(client)) {
    status = plain ? run_plain(client) : run_screen(client);
  } else {
    std::fprintf(stderr, "td_console: %s\n", client.note.c_str());
  }
  remove_files(client.backend);
  return status;
}
