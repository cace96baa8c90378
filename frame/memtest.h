// The "memtest" command: which allocation sizes still succeed. Main thread.
#pragma once

#include <string_view>

// Diagnostic lines for each probe, then the reply "MEMTEST_DONE". `argument` is what followed the
// command word; it is only echoed. The probes bypass operator new and its table.
void run_memtest(std::string_view argument);
