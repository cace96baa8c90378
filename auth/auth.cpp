#include "auth/auth.h"

#include <utility>

#include "auth/auth_level2.h"
#include "frame/channels.h"
#include "frame/config.h"
#include "frame/protocol.h"
#include "json/scan.h"
#include "json/text.h"

namespace {

struct StateName {
  const char* name;
  const char* object;
  const char* need = nullptr;  // what the UI is asked for; null: nothing
};

// By number, in the order in which they are looked for.
constexpr StateName kStates[] = {
    {"Unknown", nullptr},
    {"WaitTdlibParameters", "\"@type\":\"authorizationStateWaitTdlibParameters\"", "params"},
    {"WaitPhoneNumber", "\"@type\":\"authorizationStateWaitPhoneNumber\"", "phone"},
    {"WaitCode", "\"@type\":\"authorizationStateWaitCode\"", "code"},
    {"WaitPassword", "\"@type\":\"authorizationStateWaitPassword\"", "password"},
    {"Ready", "\"@type\":\"authorizationStateReady\""},
    {"Closing", "\"@type\":\"authorizationStateClosing\""},
    {"Closed", "\"@type\":\"authorizationStateClosed\""},
    {"WaitEmailAddress", "\"@type\":\"authorizationStateWaitEmailAddress\"", "email"},
    {"WaitEmailCode", "\"@type\":\"authorizationStateWaitEmailCode\"", "email_code"},
    {"WaitRegistration", "\"@type\":\"authorizationStateWaitRegistration\"", "name"},
    {"WaitOtherDeviceConfirmation", "\"@type\":\"authorizationStateWaitOtherDeviceConfirmation\""},
    {"WaitPremiumPurchase", "\"@type\":\"authorizationStateWaitPremiumPurchase\"", "purchase"},
    {"LoggingOut", "\"@type\":\"authorizationStateLoggingOut\""},
};

}  // namespace

const char* authorization_state_name(AuthorizationState state) { return kStates[state].name; }

static AuthorizationState find_state(std::string_view text) {
  const int last = at_level2() ? kAuthLoggingOut : kAuthClosed;
  for (int state = kAuthWaitTdlibParameters; state <= last; ++state) {
    if (json_contains(text, kStates[state].object)) return static_cast<AuthorizationState>(state);
  }
  return kAuthUnknown;
}

void send_ignore_background_updates(AuthState& auth, const TdClient& td, std::string_view when) {
  td_request(td, make_set_option_bool("ignore_background_updates", true), "opt:bg_updates");
  auth.background_updates_ignored = true;
  dbg("SEND setOption ignore_background_updates" + std::string(when));
}

void send_first_requests(AuthState& auth, const TdClient& td) {
  if (g_hub_mode) send_ignore_background_updates(auth, td, " (early)");
  td_request(td, "{\"@type\":\"getAuthorizationState\"}", "");
}

// The text without its "next_type", which describes the next code and has a type and a length, too.
static std::string without_next_type(std::string_view text) {
  const std::string_view next_type = extract_json_object_field_raw(text, "next_type");
  if (next_type.empty()) return std::string(text);
  const auto begin = static_cast<std::size_t>(next_type.data() - text.data());
  std::string rest(text.substr(0, begin));
  rest += text.substr(begin + next_type.size());
  return rest;
}

static const char* code_delivery(std::string_view description) {
  static constexpr const char* kDeliveries[][2] = {
      {"\"authenticationCodeTypeTelegramMessage\"", "telegram_message"},
      {"\"authenticationCodeTypeSms\"", "sms"},
      {"\"authenticationCodeTypeCall\"", "call"},
      {"\"authenticationCodeTypeFlashCall\"", "flash_call"},
      {"\"authenticationCodeTypeMissedCall\"", "missed_call"},
  };
  for (const auto& delivery : kDeliveries) {
    if (json_contains(description, delivery[0])) return delivery[1];
  }
  return "unknown";
}

void report_code_info(std::string_view text) {
  const std::string description = without_next_type(text);
  const char* delivery = code_delivery(description);
  const std::int64_t length = extract_json_int_field(description, "length");
  const std::int64_t timeout = extract_json_int_field(description, "timeout");
  std::string log = std::string("CODE_INFO type=") + delivery;
  std::string event = begin_event("code_info");
  append_string_member(event, "delivery", delivery);
  if (length >= 0) {
    log += " length=" + std::to_string(length);
    append_int_member(event, "length", length);
  }
  if (timeout >= 0) {
    log += " timeout=" + std::to_string(timeout);
    append_int_member(event, "timeout", timeout);
  }
  dbg(log);
  end_event(event);
}

const char* needed_input(AuthorizationState state) { return kStates[state].need; }

void ask_for_state(AuthorizationState state) {
  const char* what = needed_input(state);
  if (what == nullptr) return;
  const std::string line = std::string("NEED ") + what;
  print_line(line);
  dbg(line);
  emit_event_type_state("need", "what", what);
}

// Sends in the name of the command that gave the input, which nothing holds any more.
static void send_held(CommandHold& waiting, const TdClient& td, std::string request,
                      std::string_view tag) {
  const CommandHold hold = std::move(waiting);
  as_command(hold.command(), [&] { td_request(td, std::move(request), tag); });
}

static void send_parameters(AuthState& auth, const TdClient& td, const char* log) {
  dbg(log);
  const CommandHold hold = std::move(auth.params_hold);
  as_command(hold.command(), [&] {
    td_request_with_raw_paths(td, make_set_tdlib_parameters(auth.parameters), "setParams");
  });
  auth.params_requested = false;
}

static void send_phone(AuthState& auth, const TdClient& td, std::string_view phone,
                       const char* log) {
  dbg(log);
  send_held(auth.phone_hold, td, make_set_auth_phone_number(phone), "setPhone");
}

static void send_pending_phone(AuthState& auth, const TdClient& td) {
  send_phone(auth, td, std::exchange(auth.pending_phone, {}), "SEND setAuthenticationPhoneNumber");
}

static void send_pending_code(AuthState& auth, const TdClient& td) {
  dbg("SEND checkAuthenticationCode");
  send_held(auth.code_hold, td, make_check_auth_code(std::exchange(auth.pending_code, {})),
            "checkCode");
}

static void send_pending_password(AuthState& auth, const TdClient& td) {
  dbg("SEND checkAuthenticationPassword");
  send_held(auth.password_hold, td,
            make_check_auth_password(std::exchange(auth.pending_password, {})), "checkPassword");
}

std::string usable_phone_number(std::string_view text) {
  std::string phone = normalize_phone_number(text);
  if (phone == "+") phone.clear();
  return phone;
}

static void enter_wait_phone(AuthState& auth, const TdClient& td) {
  if (!auth.pending_phone.empty()) return send_pending_phone(auth, td);
  if (auth.auto_send_phone) {
    const std::string phone = usable_phone_number(get_env("TG_PHONE_NUMBER", ""));
    if (!phone.empty())
      return send_phone(auth, td, phone, "SEND setAuthenticationPhoneNumber (from env)");
  }
  ask_for_state(auth.state);
}

static void enter_ready(const TdClient& td) {
  if (g_hub_mode) return;
  dbg("SEND getMe");
  td_request(td, "{\"@type\":\"getMe\"}", "getMe");
  static constexpr const char* kScopes[][2] = {
      {"notificationSettingsScopePrivateChats", "scope:private"},
      {"notificationSettingsScopeGroupChats", "scope:group"},
      {"notificationSettingsScopeChannelChats", "scope:channel"},
  };
  for (const auto& scope : kScopes) {
    td_request(td, make_get_scope_notification_settings(scope[0]), scope[1]);
  }
  dbg("SEND getScopeNotificationSettings");
}

static void enter_closed() {
  print_line("TD_CLOSED");
  dbg("TD_CLOSED");
  emit_event_json_line("{\"type\":\"td_closed\"}");
}

static void enter_state(AuthState& auth, const TdClient& td) {
  switch (auth.state) {
    case kAuthWaitTdlibParameters:
      auth.params_requested = auth.params_requested || auth.auto_set_params;
      if (!auth.params_requested) return ask_for_state(auth.state);
      return send_parameters(auth, td, "SEND setTdlibParameters");
    case kAuthWaitPhoneNumber: return enter_wait_phone(auth, td);
    case kAuthWaitCode:
      return auth.pending_code.empty() ? ask_for_state(auth.state) : send_pending_code(auth, td);
    case kAuthWaitPassword:
      return auth.pending_password.empty() ? ask_for_state(auth.state)
                                           : send_pending_password(auth, td);
    case kAuthReady: return enter_ready(td);
    case kAuthClosed: return enter_closed();
    case kAuthUnknown:
    case kAuthClosing:
    case kAuthWaitOtherDeviceConfirmation:
    case kAuthLoggingOut: return;
    case kAuthWaitEmailAddress:
    case kAuthWaitEmailCode:
    case kAuthWaitRegistration:
    case kAuthWaitPremiumPurchase: return ask_for_state(auth.state);
  }
}

bool on_authorization_state(AuthState& auth, const TdClient& td, std::string_view text) {
  const AuthorizationState state = find_state(text);
  if (state == kAuthUnknown) return false;
  if (state == auth.state) {
    if (at_level2()) tell_renewed_state(auth, text);
    return false;
  }
  auth.state = state;
  const char* name = authorization_state_name(state);
  const std::string line = std::string("AUTH_STATE ") + name;
  print_line(line);
  dbg(line);
  emit_event_type_state("auth_state", "state", name);
  if (json_contains(text, kStates[kAuthWaitCode].object)) report_code_info(text);
  if (at_level2()) tell_state_details(auth, text);
  enter_state(auth, td);
  return state == kAuthClosed;
}

void send_pending_inputs(AuthState& auth, const TdClient& td) {
  if (auth.state == kAuthWaitTdlibParameters && auth.params_requested) {
    send_parameters(auth, td, "SEND setTdlibParameters (manual)");
  }
  // While a code is awaited a wrong number can still be replaced.
  const bool takes_phone = auth.state == kAuthWaitPhoneNumber || auth.state == kAuthWaitCode;
  if (takes_phone && !auth.pending_phone.empty()) {
    send_pending_phone(auth, td);
  } else if (auth.state == kAuthWaitCode && !auth.pending_code.empty()) {
    send_pending_code(auth, td);
  } else if (auth.state == kAuthWaitPassword && !auth.pending_password.empty()) {
    send_pending_password(auth, td);
  }
}
