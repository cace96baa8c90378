// Commands that concern the process itself.
#pragma once

#include "commands/call.h"

void run_ping();
