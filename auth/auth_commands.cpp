#include "auth/auth_commands.h"

#include "frame/channels.h"
#include "json/scan.h"
#include "json/text.h"
#include "json/walk.h"
#include "state/file.h"
#include "state/learn_user.h"
#include "state/users.h"

// The command stays open as long as its input waits.
static CommandHold hold_for(const std::string& input) {
  return input.empty() ? CommandHold() : CommandHold::of_current();
}

void run_phone(const CommandCall& call, AuthState& auth) {
  if (!is_utf8(call.args)) return refuse_usage(call);
  auth.pending_phone = usable_phone_number(call.args);
  auth.phone_hold = hold_for(auth.pending_phone);
  reply_ok(call, "CMD phone");
}

void run_code(const CommandCall& call, AuthState& auth) {
  if (!is_utf8(call.args)) return refuse_usage(call);
  auth.pending_code = call.args;
  auth.code_hold = hold_for(auth.pending_code);
  reply_ok(call, "CMD code");
}

void run_password(const CommandCall& call, AuthState& auth) {
  if (!is_utf8(call.args)) return refuse_usage(call);
  auth.pending_password = call.args;
  auth.password_hold = hold_for(auth.pending_password);
  reply_ok(call, "CMD password");
}

void run_params(const CommandCall& call, AuthState& auth) {
  auth.params_requested = true;
  auth.params_hold = CommandHold::of_current();
  reply_ok(call, "CMD params");
}

void run_resend(const CommandCall& call, AuthState& auth, const TdClient& td) {
  auth.code_resent = true;
  td_request(td, "{\"@type\":\"resendAuthenticationCode\"}", "resend");
  reply_ok(call, "SEND resendAuthenticationCode");
}

void run_state(const AuthState& auth) {
  emit_event_type_state("auth_state", "state", authorization_state_name(auth.state));
  dbg("CMD state");
}

void on_login_ok(Answer& answer) { dbg("TD_OK " + std::string(answer.tag)); }

void on_set_params_ok(Answer& answer, AuthState& auth, const TdClient& td) {
  on_login_ok(answer);
  if (g_hub_mode && !auth.background_updates_ignored) send_ignore_background_updates(auth, td);
}

void tell_me(const AuthState& auth) {
  if (auth.me.empty()) return;
  std::string event = auth.me;
  end_event(event);
}

void on_me(Answer& answer, AuthState& auth) {
  static constexpr std::string_view kHead = "{\"@type\":\"user\",\"id\":";
  std::int64_t id = 0;
  if (!json_starts_with(answer.text, kHead)) return;
  (void)parse_int_at(answer.text, kHead.size(), id);
  if (id < 1) return;
  const std::string first_name = member_string(answer.text, "first_name");
  const std::string last_name = member_string(answer.text, "last_name");
  const std::string username = extract_json_string_field(answer.text, "editable_username");
  const std::string phone = member_string(answer.text, "phone_number");
  ObjectWalk photo_walk = walk_to(answer.text, "profile_photo");
  const std::int64_t photo = photo_small_file_id(photo_walk);

  std::string line = "ME id=" + std::to_string(id);
  if (!username.empty()) line += " username=" + username;
  if (!first_name.empty()) line += " name=" + first_name;
  if (!first_name.empty() && !last_name.empty()) line += " " + last_name;
  print_line(line);
  dbg(line);

  std::string& event = auth.me;
  event = begin_event("me");
  append_int_member(event, "id", id);
  if (!username.empty()) append_string_member(event, "username", username);
  if (!phone.empty()) append_string_member(event, "phone", phone);
  if (photo >= 1) append_int_member(event, "photo_small_id", photo);
  if (!first_name.empty()) append_string_member(event, "first_name", first_name);
  if (!last_name.empty()) append_string_member(event, "last_name", last_name);
  tell_me(auth);
  learn_user(answer.text);
}
