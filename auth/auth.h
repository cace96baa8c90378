// The login: follows TDLib's authorization state, answers it with what is known, and tells the UI
// what is missing. Main thread only.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "auth/auth_requests.h"
#include "frame/in_flight.h"
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
  // Followed at protocol level 2 only.
  kAuthWaitEmailAddress = 8,
  kAuthWaitEmailCode = 9,
  kAuthWaitRegistration = 10,
  kAuthWaitOtherDeviceConfirmation = 11,
  kAuthWaitPremiumPurchase = 12,
  kAuthLoggingOut = 13,
};

struct AuthState {
  AuthorizationState state = kAuthUnknown;  // the last one acted on
  // What the UI has given and TDLib not yet asked for; empty: nothing. Each is sent once.
  std::string pending_phone;  // normalized
  std::string pending_code;
  std::string pending_password;
  bool params_requested = false;
  // Commands whose input waits.
  CommandHold phone_hold;
  CommandHold code_hold;
  CommandHold password_hold;
  CommandHold params_hold;
  bool auto_set_params = false;
  bool auto_send_phone = false;
  bool background_updates_ignored = false;  // the option has been sent (hub mode)
  bool code_resent = false;                 // the next code's description is told, too (level 2)
  bool logging_out = false;                 // LoggingOut came (level 2)
  std::string qr_link;                      // the last one told (level 2)
  std::string me;                           // the "me" event as begun; empty: not come yet
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
// What the UI is asked for in the state; null: nothing.
const char* needed_input(AuthorizationState state);
// Tells the UI what the state waits for: reply line, log line and "need" event. Nothing in a state
// that waits for nothing.
void ask_for_state(AuthorizationState state);
// The number normalized; empty when nothing but punctuation (a lone plus, too) is left.
std::string usable_phone_number(std::string_view text);
// Sends what was given in the meantime and fits the state. Once an iteration.
void send_pending_inputs(AuthState& auth, const TdClient& td);
