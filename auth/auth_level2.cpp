#include "auth/auth_level2.h"

#include <iterator>
#include <string>

#include "frame/channels.h"
#include "frame/protocol.h"
#include "frame/td_errors.h"
#include "json/scan.h"
#include "json/text.h"

namespace {

// By the tag of the request that failed.
constexpr std::string_view kErrorSubjects[][2] = {
    {"setPhone", "phone"},
    {"checkCode", "code"},
    {"checkPassword", "password"},
    {"setEmail", "email"},
    {"checkEmailCode", "email_code"},
    {"register", "name"},
    {"qr", "qr"},
    {"resend", "resend"},
    {"setParams", "params"},
};

void tell_password_info(std::string_view text) {
  bool has_recovery_email = false;
  (void)extract_json_bool_field(text, "has_recovery_email_address", has_recovery_email);
  std::string event = begin_event("password_info");
  append_string_member(event, "hint", extract_json_string_field(text, "password_hint"));
  append_bool_member(event, "has_recovery_email", has_recovery_email);
  end_event(event);
}

void tell_email_code_info(std::string_view text) {
  const std::string_view info = extract_json_object_field_raw(text, "code_info");
  const std::int64_t length = extract_json_int_field(info, "length");
  const std::string pattern = extract_json_string_field(info, "email_address_pattern");
  std::string event = begin_event("code_info");
  append_string_member(event, "delivery", "email");
  if (length >= 0) append_int_member(event, "length", length);
  if (!pattern.empty()) append_string_member(event, "pattern", pattern);
  end_event(event);
}

// A link lives for half a minute; the library then brings the next one in the same state.
void tell_qr_link(AuthState& auth, std::string_view text) {
  std::string link = extract_json_string_field(text, "link");
  if (link.empty() || link == auth.qr_link) return;
  auth.qr_link = std::move(link);
  std::string event = begin_event("qr_link");
  append_string_member(event, "link", auth.qr_link);
  end_event(event);
}

void refuse_not_awaited(const CommandCall& call) { refuse_and_log(call, "not_awaited"); }

bool takes_qr(AuthorizationState state) {
  return state == kAuthWaitPhoneNumber || state == kAuthWaitCode ||
         state == kAuthWaitEmailAddress || state == kAuthWaitEmailCode;
}

}  // namespace

void tell_state_details(AuthState& auth, std::string_view text) {
  auth.code_resent = false;
  switch (auth.state) {
    case kAuthWaitPassword: return tell_password_info(text);
    case kAuthWaitEmailCode: return tell_email_code_info(text);
    case kAuthWaitOtherDeviceConfirmation: auth.qr_link.clear(); return tell_qr_link(auth, text);
    case kAuthLoggingOut: auth.logging_out = true; return;
    default: return;
  }
}

void tell_renewed_state(AuthState& auth, std::string_view text) {
  if (auth.state == kAuthWaitOtherDeviceConfirmation) return tell_qr_link(auth, text);
  if (!auth.code_resent) return;
  if (auth.state == kAuthWaitCode) report_code_info(text);
  if (auth.state == kAuthWaitEmailCode) tell_email_code_info(text);
  auth.code_resent = false;
}

void run_email(const CommandCall& call, const AuthState& auth, const TdClient& td) {
  if (call.args.empty() || !is_utf8(call.args)) return refuse_usage(call);
  if (auth.state != kAuthWaitEmailAddress) return refuse_not_awaited(call);
  td_request(td, make_set_authentication_email_address(call.args), "setEmail");
  reply_ok(call, "SEND setAuthenticationEmailAddress");
}

void run_email_code(const CommandCall& call, const AuthState& auth, const TdClient& td) {
  if (call.args.empty() || !is_utf8(call.args)) return refuse_usage(call);
  if (auth.state != kAuthWaitEmailCode) return refuse_not_awaited(call);
  td_request(td, make_check_authentication_email_code(call.args), "checkEmailCode");
  reply_ok(call, "SEND checkAuthenticationEmailCode");
}

void run_register64(CommandCall& call, const AuthState& auth, const TdClient& td) {
  const std::string_view first = next_arg(call);
  const std::string_view last = next_arg(call);
  if (first.empty()) return refuse_usage(call);
  if (auth.state != kAuthWaitRegistration) return refuse_not_awaited(call);
  std::string first_name;
  std::string last_name;
  if (!decode_text(first, first_name) || !decode_text(last, last_name)) {
    return refuse_with(call, "bad_base64");
  }
  td_request(td, make_register_user(first_name, last_name), "register");
  reply_ok(call, "SEND registerUser");
}

void run_qr(const CommandCall& call, const AuthState& auth, const TdClient& td) {
  if (!takes_qr(auth.state)) return refuse_not_awaited(call);
  td_request(td, make_request_qr_code_authentication(), "qr");
  reply_ok(call, "SEND requestQrCodeAuthentication");
}

void run_logout(const CommandCall& call, const TdClient& td) {
  if (!gate_open(call)) return;
  td_request(td, "{\"@type\":\"logOut\"}", "logout");
  reply_ok(call, "SEND logOut");
}

void on_login_error(const TdError& error, AuthState& auth) {
  if (!at_level2()) return report_td_error(error);
  if (error.tag == "resend") auth.code_resent = false;
  report_td_error_text(error);
  std::string event = begin_event("auth_error");
  for (const auto& subject : kErrorSubjects) {
    if (error.tag == subject[0]) append_string_member(event, "what", subject[1]);
  }
  append_int_member(event, "code", error.code);
  append_string_member(event, "message", error.message);
  end_event(event);
  ask_for_state(auth.state);
}
