// What level 2 of the protocol adds to the login: states that level 1 does not follow, the commands
// that answer them, and errors told as "auth_error". Main thread only.
#pragma once

#include <string_view>

#include "auth/auth.h"
#include "frame/answer.h"
#include "frame/command.h"

// "code_info" of a WaitCode state, with its log line.
void report_code_info(std::string_view text);
// The events that describe a state just entered, between "auth_state" and "need".
void tell_state_details(AuthState& auth, std::string_view text);
// The state that already stands has come again: a code that "resend" asked for, or a new link.
void tell_renewed_state(AuthState& auth, std::string_view text);

// Each is sent at once, and refused with "not_awaited" in a state that does not wait for it.
void run_email(const CommandCall& call, const AuthState& auth, const TdClient& td);
void run_email_code(const CommandCall& call, const AuthState& auth, const TdClient& td);
void run_register64(CommandCall& call, const AuthState& auth, const TdClient& td);
void run_qr(const CommandCall& call, const AuthState& auth, const TdClient& td);
void run_logout(const CommandCall& call, const TdClient& td);

// "auth_error" in place of "td_error", then what the state still waits for. At level 1 the general
// error event.
void on_login_error(const TdError& error, AuthState& auth);
