// "resync" (level 2): the state of things once more, for a client that has lost events or was
// restarted. Main thread only.
#pragma once

#include "auth/auth.h"
#include "frame/answer.h"
#include "frame/command.h"
#include "frame/td_errors.h"
#include "frame/tdlib.h"
#include "state/chats.h"

// "resync_begin", and the question to the library.
void run_resync(const CommandCall& call, const TdClient& td);
// The login's state and what it needs, the own user, the connection, every user, every chat that
// is shown, "resync_end".
void on_current_state(Answer& answer, const AuthState& auth, ChatTable& chats);
// The login's state alone, and the end.
void on_current_state_error(const TdError& error, const AuthState& auth);
