// The login: follows TDLib's authorization state, answers it with what is known, and tells the UI
// what is missing. Main thread only.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "auth/auth_requests.h"
#include "frame/tdlib.h"

enum AuthorizationState {
  kAuthUnknown = 0,
  kAuthWaitTdlibParameters = 1,
  kAuthWaitPhoneNumber = 2,
  kAuthWaitCode = 3,
  kAuthWaitPassword = 4,
  kAuthReady = 5,
  kAuthClosing = 6,
  kAuthClosed = 7,
};

struct AuthState {
  AuthorizationState state = kAuthUnknown;  // the last one acted on
  // What the UI has given and TDLib not yet asked for; empty: nothing. Each is sent once.
  std::string pending_phone;  // normalized
  std::string pending_code;
  std::string pending_password;
  bool params_requested = false;
  bool auto_set_params = false;
  bool auto_send_phone = false;
  bool background_updates_ignored = false;  // the option has been sent (hub mode)
  TdlibParameters parameters;
};

const char* authorization_state_name(AuthorizationState state);
// The first requests of the run: in hub mode the early option, then the question for the state.
void send_first_requests(AuthState& auth, const TdClient& td);
// Asks TDLib to leave background updates out; `when` ends the log line.
void send_ignore_background_updates(AuthState& auth, const TdClient& td,
                                    std::string_view when = "");
// Acts on a change of state found in `text`; nothing when there is none. True when the state
// became Closed.
bool on_authorization_state(AuthState& auth, const TdClient& td, std::string_view text);
// The number normalized; empty when nothing but punctuation (a lone plus, too) is left.
std::string usable_phone_number(std::string_view text);
// Sends what was given in the meantime and fits the state. Once an iteration.
void send_pending_inputs(AuthState& auth, const TdClient& td);
