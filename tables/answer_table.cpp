#include "auth/auth_commands.h"
#include "auth/auth_level2.h"
#include "calls/call_commands.h"
#include "commands/chat_actions.h"
#include "commands/chat_info.h"
#include "commands/chat_list.h"
#include "commands/device.h"
#include "commands/download.h"
#include "commands/history.h"
#include "commands/message_actions.h"
#include "commands/mute.h"
#include "commands/pinned.h"
#include "commands/resync.h"
#include "commands/search.h"
#include "commands/send.h"
#include "commands/thread.h"
#include "frame/td_errors.h"
#include "proxy/proxy.h"
#include "state/chat_rows.h"
#include "state/downloads.h"
#include "state/learn_user.h"
#include "state/notifications.h"
#include "tables/bind.h"
#include "tables/tables.h"

namespace {

constexpr AnswerShape begins(std::string_view head, std::string_view other = "") {
  return {head, other, ""};
}
constexpr AnswerShape contains(std::string_view marker) { return {"", "", marker}; }
// For requests that a row or an end event waits for: whatever comes, the waiting ends.
constexpr AnswerShape kAny{};
constexpr AnswerShape kOk = begins("{\"@type\":\"ok\"");
constexpr AnswerShape kChat = begins("{\"@type\":\"chat\"");
constexpr AnswerShape kUserFull = begins("{\"@type\":\"userFullInfo\"");
constexpr AnswerShape kSeconds = begins("{\"@type\":\"seconds\"");
constexpr AnswerShape kTested = begins("{\"@type\":\"seconds\"", "{\"@type\":\"ok\"");
constexpr AnswerShape kMessage = begins("{\"@type\":\"message\"");
constexpr AnswerShape kUser = begins("{\"@type\":\"user\"");

constexpr AnswerShape kProxies = begins("{\"@type\":\"proxies\"", "{\"@type\":\"addedProxies\"");

constexpr ErrorMember kChatId{"chat_id"};
constexpr ErrorMember kMessageId{"id"};
constexpr ErrorMember kUserId{"user_id"};
constexpr ErrorMember kSequence{"seq"};
constexpr ErrorMember kMode{"mode", ErrorMember::kText};
constexpr ErrorMember kScope{"scope", ErrorMember::kText};
constexpr ErrorMember kUsername{"username", ErrorMember::kRest};
constexpr ErrorMessage kIfAny = ErrorMessage::kIfAny;
constexpr ErrorMessage kAlways = ErrorMessage::kAlways;

// The events of errors; those that a handler tells, too, stand with it.
// clang-format off
constexpr ErrorEvent kUserInfoError{"", {}, kAlways, "TD_ERROR user_info"};
constexpr ErrorEvent kResolveError{"tg_resolve_error", {kUsername}, kAlways, "TD_ERROR resolve"};
constexpr ErrorEvent kChatInfoError{"chat_info_error", {kChatId}, kAlways, "TD_ERROR getChat (chat_info)"};
constexpr ErrorEvent kOpenUserChatError{"open_user_chat_error", {kUserId}, kAlways, "TD_ERROR createPrivateChat (open_user_chat)"};
constexpr ErrorEvent kJoinError = action_error("join");
constexpr ErrorEvent kLeaveError = action_error("leave");
constexpr ErrorEvent kClearHistoryError = action_error("clear_history");
constexpr ErrorEvent kMuteError = action_error("mute");
constexpr ErrorEvent kReadError = action_error("read");
constexpr ErrorEvent kEditError{"edit_error", {kChatId, kMessageId}, kAlways, ""};
constexpr ErrorEvent kPinError{"pin_error", {kChatId, kMessageId}, kAlways, ""};
constexpr ErrorEvent kMessagePropertiesError{"message_properties_error", {kChatId, kMessageId}, kAlways, ""};
constexpr ErrorEvent kDeleteError{"delete_error", {kChatId, kScope}, kAlways, ""};
constexpr ErrorEvent kReactionError{"reaction_error", {kChatId, kMessageId, kMode}, kAlways, ""};
constexpr ErrorEvent kProxyStateError{"proxy_state_error", {}, kIfAny, "TD_ERROR getProxies code=%c msg=%m"};
constexpr ErrorEvent kProxyPingError{"proxy_test_error", {kSequence}, kIfAny, "TD_ERROR pingProxy seq=%f code=%c msg=%s"};
constexpr ErrorEvent kProxyTestError{"proxy_test_error", {kSequence}, kIfAny, "TD_ERROR proxyTest seq=%f code=%c msg=%s"};
constexpr ErrorEvent kProxyTryError{"proxy_try_error", {kSequence}, kAlways, "TD_ERROR proxyTry seq=%f"};

constexpr AnswerRow kAnswers[] = {
    {"setParams", kOk, answer<on_set_params_ok>, error<on_login_error>},
    {"setPhone", kOk, answer<on_login_ok>, error<on_login_error>},
    {"resend", kOk, answer<on_login_ok>, error<on_login_error>},
    {"checkCode", kOk, answer<on_login_ok>, error<on_login_error>},
    {"checkPassword", kOk, answer<on_login_ok>, error<on_login_error>},
    {"setEmail", kOk, answer<on_login_ok>, error<on_login_error>, 2},
    {"checkEmailCode", kOk, answer<on_login_ok>, error<on_login_error>, 2},
    {"register", kOk, answer<on_login_ok>, error<on_login_error>, 2},
    {"qr", kOk, answer<on_login_ok>, error<on_login_error>, 2},
    {"getMe", begins("{\"@type\":\"user\",\"id\":"), answer<on_me>, nullptr},
    {"getUser:", kUser, answer<learn_user>, error<on_user_error>},

    {"getChats:", kAny, answer<on_chats>, error<on_chats_error>},
    {"getChat:", kAny, answer<take_list_chat>, error<on_list_chat_error>},
    {"member:", kAny, answer<take_member>, error<take_member_error>},
    {"liveGetChat:", kAny, answer<take_live_chat>, error<on_live_chat_error>},
    {"liveMember:", kAny, answer<take_member>, error<take_member_error>},
    {"resolve:", kChat, answer<on_resolve>, error_event<kResolveError>},
    {"chatInfo:", kChat, answer<on_chat_info>, error_event<kChatInfoError>},
    {"chatInfoUser:", kUser, answer<on_chat_info_user>, nullptr},
    {"chatInfoUserFull:", kUserFull, answer<on_chat_info_user_full>, nullptr},
    {"chatInfoBasic:", begins("{\"@type\":\"basicGroup\""), answer<on_chat_info_group>, nullptr},
    {"chatInfoBasicFull:", begins("{\"@type\":\"basicGroupFullInfo\""), answer<on_chat_info_group_full>, nullptr},
    {"chatInfoSuper:", begins("{\"@type\":\"supergroup\""), answer<on_chat_info_group>, nullptr},
    {"chatInfoSuperFull:", begins("{\"@type\":\"supergroupFullInfo\""), answer<on_chat_info_group_full>, nullptr},
    {"userInfoUser:", kUser, answer<on_user_info>, error_event<kUserInfoError>},
    {"userInfoUserFull:", kUserFull, answer<on_user_info_full>, error_event<kUserInfoError>},
    {"openUserChat:", kChat, answer<on_open_user_chat>, error_event<kOpenUserChatError>},
    {"join:", kOk, answer<on_joined>, error_event<kJoinError>},
    {"leave:", kOk, answer<on_left>, error_event<kLeaveError>},
    {"clearHistory:", kOk, answer<on_history_cleared>, error_event<kClearHistoryError>},
    {"deleteChatHistory:", kOk, answer<on_chat_deleted>, error<on_delete_chat_error>},
    {"muteToggle:", kOk, answer<on_mute_toggled>, error_event<kMuteError>},
    {"history:", kAny, answer<on_history>, error<on_history_error>},
    {"threadOpen:", begins("{\"@type\":\"messageThreadInfo\""), answer<on_thread_info>, error<on_thread_open_error>},
    {"pinned:", kMessage, answer<on_pinned_message>, error<on_pinned_message_error>, 1, true},
    {"pinned_list:", kAny, answer<on_pinned_list>, error<on_pinned_list_error>},
    {"read:", kOk, answer<on_read>, error_event<kReadError>},

    {"send:", kMessage, answer<on_sent>, nullptr},
    {"sendfile:", kMessage, answer<on_sent>, nullptr},
    {"sendvoice:", kMessage, answer<on_sent>, nullptr},
    {"sendvideonote:", kMessage, answer<on_sent>, nullptr},
    {"edit:", kMessage, nullptr, error_event<kEditError>},
    {"delete:", kOk, nullptr, error_event<kDeleteError>},
    {"react:", kOk, answer<on_reacted>, error_event<kReactionError>},
    {"pin:", kOk, answer<on_pinned>, error_event<kPinError>},
    {"props:", contains("\"@type\":\"messageProperties\""), answer<on_message_properties>, error_event<kMessagePropertiesError>},
    {"preview:", kMessage, answer<on_message_preview>, nullptr},
    {"download:", begins("{\"@type\":\"file\""), answer<on_download_answer>, nullptr},

    {"callStart:", begins("{\"@type\":\"callId\""), answer<on_call_created>, error_event<kCallError>},
    {"callAccept:", kOk, nullptr, error_event<kCallError>},
    {"callDiscard:", kOk, nullptr, error<on_call_discard_error>},

    {"proxyGet", kProxies, answer<on_proxies>, error_event<kProxyStateError>},
    {"proxyDisable", kOk, answer<on_proxy_disabled>, nullptr},
    {"proxyRemove:", kOk, answer<on_proxy_removed>, nullptr},
    {"proxyPing:", kSeconds, answer<on_proxy_pinged>, error_event<kProxyPingError>},
    {"proxyTest:", kTested, answer<on_proxy_tested>, error_event<kProxyTestError>},
    {"proxyTry:", begins("{\"@type\":\"addedProxy\"", "{\"@type\":\"proxy\""), answer<on_proxy_added>, error_event<kProxyTryError>},
    {"scope:", kAny, answer<on_scope_settings_answer>, nullptr},

    {"searchServer:", kAny, answer<on_public_chats_found>, error<on_public_search_error>},
    {"searchChat:", kAny, answer<on_search_chat>, error<on_search_chat_error>},
    {"chatSearch:", kAny, answer<on_chat_search_found>, error<on_chat_search_error>},
    {"shared:", kAny, answer<on_shared_found>, error<on_shared_error>},

    {"loadChats:", kAny, answer<on_chats_loaded>, error<on_load_chats_error>, 2, true},
    {"storage", begins("{\"@type\":\"storageStatisticsFast\""), answer<on_storage>, nullptr, 2},
    {"storageClean", begins("{\"@type\":\"storageStatistics\""), answer<on_storage_cleaned>, nullptr, 2},
    {"resync", kAny, answer<on_current_state>, error<on_current_state_error>, 2},
    {"proxyList", kProxies, answer<on_proxy_list>, error<on_proxy_list_error>, 2},
    {"proxyEnable:", kOk, answer<on_proxy_enabled>, nullptr, 2},
    {"sendphoto:", kMessage, answer<on_sent>, nullptr, 2},
    {"sendvideo:", kMessage, answer<on_sent>, nullptr, 2},
    {"sendAgain:", kAny, answer<on_sent_again>, nullptr, 2},
    {"cancel:", kOk, answer<on_cancelled>, nullptr, 2},
};
// clang-format on

}  // namespace

Table<AnswerRow> answer_table() { return {kAnswers, sizeof kAnswers / sizeof *kAnswers}; }
