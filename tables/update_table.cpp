#include "auth/auth.h"
#include "calls/call_updates.h"
#include "state/learn_user.h"
#include "tables/tables.h"

namespace {

using R = Rooms;
using T = std::string_view;

void authorization(Rooms& r, std::string_view text) {
  if (on_authorization_state(r.auth, r.td, text)) r.keep_running = false;
}

// clang-format off
constexpr UpdateRow kUpdates[] = {
    // The state comes as an update and, bare, as the answer to the first request.
    {"updateAuthorizationState", authorization},
    {"authorizationStateWaitTdlibParameters", authorization},
    {"authorizationStateWaitPhoneNumber", authorization},
    {"authorizationStateWaitCode", authorization},
    {"authorizationStateWaitPassword", authorization},
    {"authorizationStateReady", authorization},
    {"authorizationStateClosing", authorization},
    {"authorizationStateClosed", authorization},
    {"updateUser", [](R&, T text) { learn_user(text); }},
    {"updateUserStatus", [](R&, T text) { learn_user_status(text); }},
    {"updateCall", [](R& r, T text) { on_update_call(r.chats, text); }},
    {"updateNewCallSignalingData", [](R&, T text) { on_update_new_call_signaling_data(text); }},
};
// clang-format on

}  // namespace

Table<UpdateRow> update_table() { return {kUpdates, sizeof kUpdates / sizeof *kUpdates}; }
