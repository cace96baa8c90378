// The proxy commands of the UI, which work before the login, too, and TDLib's answers to them.
// Main thread only.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "frame/answer.h"
#include "frame/command.h"
#include "frame/td_errors.h"
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

// Level 2: every proxy that the library knows, and switching one on.
void run_proxy_list(const CommandCall& call, const TdClient& td);
void run_proxy_enable(CommandCall& call, const TdClient& td);

// What log lines tell of a secret: "hex", "b64url", "b64" or "raw".
std::string_view secret_kind(std::string_view secret);

// "proxy_state" from a list of proxies, in its present or its older form.
void on_proxies(Answer& answer);

// "proxy_item" for each and "proxy_list_end"; after an error the end alone.
void on_proxy_list(Answer& answer);
void on_proxy_list_error(const TdError& error);

// At level 1 these have no event of their own, and the UI asks for the state again; at level 2
// "proxy_changed" tells them.
void on_proxy_enabled(Answer& answer);
void on_proxy_disabled();
void on_proxy_removed(Answer& answer);

// "proxy_test_ok".
void on_proxy_pinged(Answer& answer);
void on_proxy_tested(Answer& answer);

void on_proxy_added(Answer& answer);
