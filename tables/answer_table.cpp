#include "auth/auth_commands.h"
#include "calls/call_commands.h"
#include "commands/chat_action_commands.h"
#include "commands/chat_find_commands.h"
#include "commands/chat_info_commands.h"
#include "commands/chat_list_commands.h"
#include "commands/history_answers.h"
#include "commands/history_commands.h"
#include "commands/message_actions.h"
#include "commands/mute_commands.h"
#include "commands/pinned_commands.h"
#include "commands/search_answers.h"
#include "commands/send_commands.h"
#include "commands/td_errors.h"
#include "commands/thread_commands.h"
#include "frame/channels.h"
#include "proxy/proxy_answers.h"
#include "state/chat_loads.h"
#include "state/downloads.h"
#include "state/learn_user.h"
#include "state/live_chats.h"
#include "state/notify_updates.h"
#include "tables/tables.h"

namespace {

using R = Rooms;
using A = const Answer&;
using E = const TdError&;

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

// clang-format off
constexpr AnswerRow kAnswers[] = {
    {"setParams", kOk, [](R& r, A a) { on_set_params_ok(a, r.auth, r.td); }, nullptr},
    {"setPhone", kOk, [](R&, A a) { on_login_ok(a); }, nullptr},
    {"resend", kOk, [](R&, A a) { on_login_ok(a); }, nullptr},
    {"checkCode", kOk, [](R&, A a) { on_login_ok(a); }, nullptr},
    {"checkPassword", kOk, [](R&, A a) { on_login_ok(a); }, nullptr},
    {"getMe", begins("{\"@type\":\"user\",\"id\":"), [](R&, A a) { on_me(a); }, nullptr},
    {"getUser:", kUser, [](R&, A a) { learn_user(a.text); }, [](R&, E) { dbg("TD_ERROR getUser"); }},

    {"getChats:", kAny, [](R& r, A a) { on_chats(a, r.chats, r.td); }, [](R& r, E e) { on_chats_error(e, r.chats, r.td); }},
    {"getChat:", kAny, [](R& r, A a) { take_list_chat(r.chats, r.td, a); }, [](R& r, E e) { on_list_chat_error(e, r.chats, r.td); }},
    {"member:", kAny, [](R& r, A a) { take_member(r.chats, r.td, a); }, [](R& r, E e) { take_member_error(r.chats, r.td, e); }},
    {"liveGetChat:", kAny, [](R& r, A a) { take_live_chat(r.chats, r.td, a); }, [](R& r, E e) { on_live_chat_error(e, r.chats); }},
    {"liveMember:", kAny, [](R& r, A a) { take_live_member(r.chats, a); }, [](R& r, E e) { take_live_member_error(r.chats, e); }},
    {"resolve:", kChat, [](R& r, A a) { on_resolve(a, r.chats); }, [](R&, E e) { on_resolve_error(e); }},
    {"chatInfo:", kChat, [](R& r, A a) { on_chat_info(a, r.chats, r.td); }, [](R&, E e) { on_chat_info_error(e); }},
    {"chatInfoUser:", kUser, [](R&, A a) { on_chat_info_user(a); }, nullptr},
    {"chatInfoUserFull:", kUserFull, [](R&, A a) { on_chat_info_user_full(a); }, nullptr},
    {"chatInfoBasic:", begins("{\"@type\":\"basicGroup\""), [](R& r, A a) { on_chat_info_group(a, r.chats); }, nullptr},
    {"chatInfoBasicFull:", begins("{\"@type\":\"basicGroupFullInfo\""), [](R&, A a) { on_chat_info_group_full(a); }, nullptr},
    {"chatInfoSuper:", begins("{\"@type\":\"supergroup\""), [](R& r, A a) { on_chat_info_group(a, r.chats); }, nullptr},
    {"chatInfoSuperFull:", begins("{\"@type\":\"supergroupFullInfo\""), [](R&, A a) { on_chat_info_group_full(a); }, nullptr},
    {"userInfoUser:", kUser, [](R&, A a) { on_user_info(a); }, [](R&, E) { on_user_info_error(); }},
    {"userInfoUserFull:", kUserFull, [](R&, A a) { on_user_info_full(a); }, [](R&, E) { on_user_info_error(); }},
    {"openUserChat:", kChat, [](R& r, A a) { on_open_user_chat(a, r.chats); }, [](R&, E e) { on_open_user_chat_error(e); }},
    {"join:", kOk, [](R& r, A a) { on_joined(a, r.chats); }, [](R&, E e) { report_action_error("join", e); }},
    {"leave:", kOk, [](R& r, A a) { on_left(a, r.chats); }, [](R&, E e) { report_action_error("leave", e); }},
    {"clearHistory:", kOk, [](R&, A a) { on_history_cleared(a); }, [](R&, E e) { report_action_error("clear_history", e); }},
    {"deleteChatHistory:", kOk, [](R& r, A a) { on_chat_deleted(a, r.chats); }, [](R& r, E e) { on_delete_chat_error(e, r.chats); }},
    {"muteToggle:", kOk, [](R&, A a) { on_mute_toggled(a); }, [](R&, E e) { report_action_error("mute", e); }},
    {"history:", kAny, [](R& r, A a) { on_history(a, r.history, r.timers, r.td); }, [](R& r, E e) { on_history_error(e, r.history); }},
    {"threadOpen:", begins("{\"@type\":\"messageThreadInfo\""), [](R& r, A a) { on_thread_info(a, r.history, r.td); }, [](R&, E e) { on_thread_open_error(e); }},
    {"pinned:", kMessage, [](R&, A a) { on_pinned_message(a); }, [](R&, E e) { on_pinned_message_error(e); }},
    {"pinned_list:", kAny, [](R&, A a) { on_pinned_list(a); }, [](R&, E e) { on_pinned_list_error(e); }},
    {"read:", kOk, [](R&, A a) { on_read(a); }, [](R&, E e) { report_action_error("read", e); }},

    {"send:", kMessage, [](R&, A a) { on_sent(a); }, nullptr},
    {"sendfile:", kMessage, [](R&, A a) { on_sent(a); }, nullptr},
    {"sendvoice:", kMessage, [](R&, A a) { on_sent(a); }, nullptr},
    {"sendvideonote:", kMessage, [](R&, A a) { on_sent(a); }, nullptr},
    {"edit:", kMessage, nullptr, [](R&, E e) { report_message_error("edit_error", e); }},
    {"delete:", kOk, nullptr, [](R&, E e) { on_delete_error(e); }},
    {"react:", kOk, [](R&, A a) { on_reacted(a); }, [](R&, E e) { on_react_error(e); }},
    {"pin:", kOk, [](R& r, A a) { on_pinned(a, r.pinned, r.td); }, [](R&, E e) { report_message_error("pin_error", e); }},
    {"props:", contains("\"@type\":\"messageProperties\""), [](R&, A a) { on_message_properties(a); }, [](R&, E e) { report_message_error("message_properties_error", e); }},
    {"preview:", kMessage, [](R&, A a) { on_message_preview(a); }, nullptr},
    {"download:", begins("{\"@type\":\"file\""), [](R& r, A a) { on_download_answer(r.downloads, a.text); }, nullptr},

    {"callStart:", begins("{\"@type\":\"callId\""), [](R&, A a) { on_call_created(a); }, [](R&, E e) { on_call_error(e); }},
    {"callAccept:", kOk, nullptr, [](R&, E e) { on_call_error(e); }},
    {"callDiscard:", kOk, nullptr, [](R&, E e) { on_call_discard_error(e); }},

    {"proxyGet", begins("{\"@type\":\"proxies\"", "{\"@type\":\"addedProxies\""), [](R&, A a) { on_proxies(a); }, [](R&, E e) { on_proxies_error(e); }},
    {"proxyDisable", kOk, [](R&, A) { on_proxy_disabled(); }, nullptr},
    {"proxyRemove:", kOk, [](R&, A a) { on_proxy_removed(a); }, nullptr},
    {"proxyPing:", kSeconds, [](R&, A a) { on_proxy_test_ok(a, "pingProxy"); }, [](R&, E e) { on_proxy_test_error(e, "pingProxy"); }},
    {"proxyTest:", kTested, [](R&, A a) { on_proxy_test_ok(a, "proxyTest"); }, [](R&, E e) { on_proxy_test_error(e, "proxyTest"); }},
    {"proxyTry:", begins("{\"@type\":\"addedProxy\"", "{\"@type\":\"proxy\""), [](R&, A a) { on_proxy_added(a); }, [](R&, E e) { on_proxy_try_error(e); }},
    {"scope:", kAny, [](R& r, A a) { on_scope_settings_answer(r.chats, a); }, nullptr},

    {"searchServer:", kAny, [](R& r, A a) { on_public_chats_found(a, r.searches, r.td); }, [](R& r, E e) { on_public_search_error(e, r.searches); }},
    {"searchChat:", kAny, [](R& r, A a) { on_search_chat(a, r.searches, r.chats); }, [](R& r, E e) { on_search_chat_error(e, r.searches); }},
    {"chatSearch:", kAny, [](R& r, A a) { on_chat_search_found(a, r.searches); }, [](R& r, E e) { on_chat_search_error(e, r.searches); }},
    {"shared:", kAny, [](R&, A a) { on_shared_found(a); }, [](R&, E e) { on_shared_error(e); }},
};
// clang-format on

}  // namespace

Table<AnswerRow> answer_table() { return {kAnswers, sizeof kAnswers / sizeof *kAnswers}; }
