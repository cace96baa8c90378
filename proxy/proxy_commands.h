// The proxy commands of the UI. They work before the login, too. Main thread only.
#pragma once

#include <cstdint>
#include <string_view>

#include "commands/call.h"
#include "frame/tdlib.h"

struct ProxyState {
  // Numbers the tests and tries that come without a number of their own.
  std::int64_t last_sequence = 0;
};

void run_proxy_get(const CommandCall& call, const TdClient& td);
void run_proxy_disable(const CommandCall& call, const TdClient& td);
void run_proxy_remove(CommandCall& call, const TdClient& td);
// Arguments: [sequence number] server port secret.
void run_proxy_test_mtproto(CommandCall& call, ProxyState& state, const TdClient& td);
void run_proxy_try_mtproto(CommandCall& call, ProxyState& state, const TdClient& td);

// What log lines tell of a secret: "hex", "b64url", "b64" or "raw".
std::string_view secret_kind(std::string_view secret);
