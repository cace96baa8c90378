#include "auth/auth.h"
#include "calls/call_updates.h"
#include "state/chat_level2.h"
#include "state/chat_rows.h"
#include "state/chat_updates.h"
#include "state/connection_state.h"
#include "state/downloads.h"
#include "state/learn_user.h"
#include "state/message_updates.h"
#include "state/notifications.h"
#include "tables/bind.h"
#include "tables/tables.h"

namespace {

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
    {"authorizationStateWaitEmailAddress", authorization, 2},
    {"authorizationStateWaitEmailCode", authorization, 2},
    {"authorizationStateWaitRegistration", authorization, 2},
    {"authorizationStateWaitOtherDeviceConfirmation", authorization, 2},
    {"authorizationStateWaitPremiumPurchase", authorization, 2},
    {"authorizationStateLoggingOut", authorization, 2},
    {"updateFile", update<on_update_file>},
    {"updateUser", update<learn_user>},
    {"updateUserStatus", update<learn_user_status>},
    {"updateNewChat", update<on_new_chat>},
    {"updateChatLastMessage", update<on_chat_last_message>},
    {"updateChatPosition", update<on_chat_position>},
    {"updateChatDraftMessage", update<on_chat_draft>},
    {"updateChatRemovedFromList", update<on_chat_removed_from_list>},
    {"updateChatPhoto", update<on_chat_photo>},
    {"updateBasicGroup", update<on_basic_group>},
    {"updateSupergroup", update<on_supergroup>},
    {"updateChatReadInbox", update<on_chat_read_inbox>},
    {"updateChatReadOutbox", update<on_chat_read_outbox>},
    {"updateChatOnlineMemberCount", update<on_chat_online_member_count>},
    {"updateChatTitle", update<on_chat_title>},
    {"updateCall", update<on_update_call>},
    {"updateNewCallSignalingData", update<on_update_new_call_signaling_data>},
    {"updateNewMessage", update<on_new_message>},
    {"updateMessageSendAcknowledged", update<on_message_send_acknowledged>},
    {"updateMessageSendSucceeded", update<on_message_send_succeeded>},
    {"updateMessageSendFailed", update<on_message_send_failed>},
    {"updateMessageContent", update<on_message_content>},
    {"updateChatUnreadMentionCount", update<on_chat_mentions>, 2},
    {"updateMessageMentionRead", update<on_chat_mentions>, 2},
    {"updateChatIsMarkedAsUnread", update<on_chat_marked>, 2},
    {"updateChatAction", update<on_chat_action>, 2},
    {"updateMessageIsPinned", update<on_message_is_pinned>, 2},
    {"updateMessageInteractionInfo", update<on_message_interaction_info>},
    {"updateDeleteMessages", update<on_delete_messages>},
    {"updateConnectionState", update<on_connection_state>},
    {"updateChatNotificationSettings", update<on_chat_notification_settings>},
    {"updateScopeNotificationSettings", update<on_scope_notification_settings>},
};
// clang-format on
static_assert(sizeof kUpdates / sizeof *kUpdates <= 64);  // the dispatcher keeps a bit for each

}  // namespace

Table<UpdateRow> update_table() { return {kUpdates, sizeof kUpdates / sizeof *kUpdates}; }
