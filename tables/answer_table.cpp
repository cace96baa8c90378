#include "auth/auth_commands.h"
#include "calls/call_commands.h"
#include "commands/search_answers.h"
#include "commands/td_errors.h"
#include "frame/channels.h"
#include "proxy/proxy_answers.h"
#include "state/learn_user.h"
#include "state/notify_updates.h"
#include "tables/tables.h"

namespace {

using R = Rooms;
using A = const Answer&;
using E = const TdError&;

constexpr AnswerShape begins(std::string_view head, std::string_view other = "") {
  return {head, other, ""};
}
constexpr AnswerShape kAny{};
constexpr AnswerShape contains(std::string_view marker) { return {"", "", marker}; }
constexpr AnswerShape kOk = begins("{\"@type\":\"ok\"");
constexpr AnswerShape kChat = begins("{\"@type\":\"chat\"");
constexpr AnswerShape kFoundChatMessages = contains("\"@type\":\"foundChatMessages\"");
constexpr AnswerShape kSeconds = begins("{\"@type\":\"seconds\"");
constexpr AnswerShape kTested = begins("{\"@type\":\"seconds\"", "{\"@type\":\"ok\"");
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

    {"searchServer:", contains("\"@type\":\"chats\""), [](R& r, A a) { on_public_chats_found(a, r.searches, r.td); }, [](R& r, E e) { on_public_search_error(e, r.searches); }},
    {"searchChat:", kChat, [](R& r, A a) { on_search_chat(a, r.searches, r.chats); }, [](R& r, E e) { on_search_chat_error(e, r.searches); }},
    {"chatSearch:", kFoundChatMessages, [](R& r, A a) { on_chat_search_found(a, r.searches); }, [](R& r, E e) { on_chat_search_error(e, r.searches); }},
    {"shared:", kFoundChatMessages, [](R&, A a) { on_shared_found(a); }, [](R&, E e) { on_shared_error(e); }},
};
// clang-format on

}  // namespace

Table<AnswerRow> answer_table() { return {kAnswers, sizeof kAnswers / sizeof *kAnswers}; }
