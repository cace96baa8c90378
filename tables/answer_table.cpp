#include "auth/auth_commands.h"
#include "commands/td_errors.h"
#include "frame/channels.h"
#include "state/learn_user.h"
#include "tables/tables.h"

namespace {

using R = Rooms;
using A = const Answer&;
using E = const TdError&;

constexpr AnswerShape begins(std::string_view head, std::string_view other = "") {
  return {head, other, ""};
}
constexpr AnswerShape kOk = begins("{\"@type\":\"ok\"");
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
};
// clang-format on

}  // namespace

Table<AnswerRow> answer_table() { return {kAnswers, sizeof kAnswers / sizeof *kAnswers}; }
