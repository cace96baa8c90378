// The login's commands and TDLib's answers to its requests. All are accepted in every state.
#pragma once

#include "auth/auth.h"
#include "frame/answer.h"
#include "frame/command.h"

void run_phone(const CommandCall& call, AuthState& auth);
void run_code(const CommandCall& call, AuthState& auth);
void run_password(const CommandCall& call, AuthState& auth);
void run_params(const CommandCall& call, AuthState& auth);
void run_resend(const CommandCall& call, AuthState& auth, const TdClient& td);
void run_state(const AuthState& auth);

// "TD_OK <tag>" in the log.
void on_login_ok(Answer& answer);
void on_set_params_ok(Answer& answer, AuthState& auth, const TdClient& td);
// The own user: the "me" reply line and event, then the user cache.
void on_me(Answer& answer, AuthState& auth);
// The "me" event once more; nothing when the own user has not come yet.
void tell_me(const AuthState& auth);
