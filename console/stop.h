// Set by SIGINT, SIGTERM and SIGHUP: the console ends in order.
#pragma once

#include <csignal>

extern volatile std::sig_atomic_t g_stop;
