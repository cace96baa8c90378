#include "commands/process.h"

#include "frame/channels.h"

void run_ping() {
  print_line("PONG");
  dbg("CMD ping");
}
