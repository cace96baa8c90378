#include "auth/auth.h"
#include "calls/call_updates.h"
#include "state/chat_updates.h"
#include "state/connection_state.h"
#include "state/downloads.h"
#include "state/learn_user.h"
#include "state/message_updates.h"
#include "state/notify_updates.h"
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
    {"updateFile", [](R& r, T text) { on_update_file(r.downloads, r.timers, text); }},
    {"updateUser", [](R&, T text) { learn_user(text); }},
    {"updateUserStatus", [](R&, T text) { learn_user_status(text); }},
    {"updateNewChat", [](R& r, T text) { on_new_chat(r.chats, text); }},
    {"updateChatLastMessage", [](R& r, T text) { on_chat_last_message(r.chats, r.td, text); }},
    {"updateChatPosition", [](R& r, T text) { on_chat_position(r.chats, text); }},
    {"updateChatReadInbox", [](R& r, T text) { on_chat_read_inbox(r.chats, r.td, text); }},
    {"updateChatReadOutbox", [](R& r, T text) { on_chat_read_outbox(r.chats, text); }},
    {"updateChatOnlineMemberCount", [](R& r, T text) { on_chat_online_member_count(r.chats, text); }},
    {"updateChatTitle", [](R& r, T text) { on_chat_title(r.chats, text); }},
    {"updateCall", [](R& r, T text) { on_update_call(r.chats, text); }},
    {"updateNewCallSignalingData", [](R&, T text) { on_update_new_call_signaling_data(text); }},
    {"updateNewMessage", [](R& r, T text) { on_new_message(r.chats, r.open_chat, r.td, text); }},
    {"updateMessageSendAcknowledged", [](R&, T text) { on_message_send_acknowledged(text); }},
    {"updateMessageSendSucceeded", [](R&, T text) { on_message_send_succeeded(text); }},
    {"updateMessageSendFailed", [](R&, T text) { on_message_send_failed(text); }},
    {"updateMessageContent", [](R&, T text) { on_message_content(text); }},
    {"updateMessageInteractionInfo", [](R&, T text) { on_message_interaction_info(text); }},
    {"updateDeleteMessages", [](R&, T text) { on_delete_messages(text); }},
    {"updateConnectionState", [](R&, T text) { on_connection_state(text); }},
    {"updateChatNotificationSettings", [](R& r, T text) { on_chat_notification_settings(r.chats, text); }},
    {"updateScopeNotificationSettings", [](R& r, T text) { on_scope_notification_settings(r.chats, text); }},
};
// clang-format on

}  // namespace

Table<UpdateRow> update_table() { return {kUpdates, sizeof kUpdates / sizeof *kUpdates}; }
