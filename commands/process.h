// Commands that concern the process itself.
#pragma once

#include "frame/command.h"

void run_ping();
