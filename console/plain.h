// The console without a screen, for logs and for ssh: one readable line for an event, the same
// input a line each.
#pragma once

#include "console/client.h"

// Returns when the backend has ended. The status of the whole console.
int run_plain_mode(Client& client);
// An event in words, without its time and line feed.
std::string describe(const Model& model, const Event& event);
