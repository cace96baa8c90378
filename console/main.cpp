// td_console: a client of td_backend in the terminal. It knows what docs/protocol.md says and
// nothing else of the backend.

#include <langinfo.h>
#include <unistd.h>
#include <clocale>
#include <cstdio>
#include <cstring>
#include <string>

#include "console/client.h"
#include "console/plain.h"
#include "console/screen.h"
#include "console/stop.h"

volatile std::sig_atomic_t g_stop = 0;

namespace {

constexpr char kUsage[] =
    "usage: td_console [--plain] [PATH_OF_TD_BACKEND]\n"
    "\n"
    "A client in the terminal. It starts the backend (the td_backend beside it unless a path is\n"
    "given) with this environment. --plain, or a standard output that is no terminal, writes a\n"
    "line for an event. Enter /help, or press ? in the window, for what can be entered.\n";

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
  if (!start_client(client)) {
    std::fprintf(stderr, "td_console: %s\n", client.note.c_str());
    remove_files(client.backend);
    return 1;
  }
  const int status = plain ? run_plain_mode(client) : run_screen(client);
  remove_files(client.backend);
  return status;
}
