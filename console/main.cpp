// td_console: a client of td_backend in the terminal. It knows what docs/protocol.md says and
// nothing else of the backend.
#include <langinfo.h>
#include <unistd.h>

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

constexpr char kUsage[] = R"(usage: td_console [--plain] PATH_OF_TD_BACKEND

A client in the terminal. It starts the backend with this environment. --plain, or a standard
output that is no terminal, writes a line for an event. Enter /help, or press ? in the window,
for what can be entered.
)";

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
    for (const List::Row& row : list.rows) print(row.text);
  }
  list.is_new = false;
}

// Without a screen, for logs and for ssh: a line for an event, the same input a line each. Returns
// when the backend has ended, with its status.
int run_plain(Client& c) {
  c.on_event = [&](const Event& e) { print(describe(c, e)); };
  const auto on_input = [&](std::string_view line) { enter_and_print(c, std::string(line)); };
  std::string part;
  bool open = true;
  while (!c.ended) {
    follow(c, open ? STDIN_FILENO : -1);
    if (!open || drain(STDIN_FILENO, part, on_input) != 0) continue;
    open = false;
    if (!c.quitting) on_input("/quit");
  }
  if (c.note_is_error) print(c.note);
  return c.backend.status;
}

void catch_signals() {
  struct sigaction action {};
  action.sa_handler = [](int) { g_stop = 1; };
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) sigaction(number, &action, nullptr);
  signal(SIGPIPE, SIG_IGN);
}

}  // namespace

int main(int argc, char** argv) {
  const bool asked = argc > 1 && std::strcmp(argv[1], "--plain") == 0;
  const bool help = argc == 2 && std::strcmp(argv[1], "--help") == 0;
  if (help || argc != (asked ? 3 : 2)) {
    std::fputs(kUsage, help ? stdout : stderr);
    return help ? 0 : 64;
  }
  const bool plain = asked || !isatty(STDIN_FILENO) || !isatty(STDOUT_FILENO);
  Client client;
  client.backend.program = argv[argc - 1];
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
