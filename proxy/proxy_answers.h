// TDLib's answers to the proxy commands. Main thread only.
#pragma once

#include "frame/answer.h"

// "proxy_state" from a list of proxies, in its present or its older form.
void on_proxies(const Answer& answer);
void on_proxies_error(const TdError& error);

// Disabling and removing have no event of their own: the UI asks for the state again.
void on_proxy_disabled();
void on_proxy_removed(const Answer& answer);

// `log_word` names what was tried: "pingProxy" or "proxyTest".
void on_proxy_test_ok(const Answer& answer, const char* log_word);
void on_proxy_test_error(const TdError& error, const char* log_word);

void on_proxy_added(const Answer& answer);
void on_proxy_try_error(const TdError& error);
