// Logging in and out, what the client is told at the beginning, and its options.
#include <filesystem>
#include <fstream>

#include "world/world.h"

namespace world {

static constexpr std::string_view kRightCode = "12345";
static constexpr std::string_view kRightPassword = "world";
static constexpr int kMostAttempts = 3;
static constexpr double kLockSeconds = 30;
static constexpr double kQrSeconds = 8;

static Stage g_stage = kParameters;
static std::string g_phone;
static std::string g_email_pattern;
static int g_attempts = 0;        // wrong codes or passwords since the last right one
static double g_locked_till = 0;  // when there were too many
static int g_codes_sent = 0;
static std::map<std::string, std::string> g_options;  // set by the client: the value objects

Stage stage() { return g_stage; }
bool is_ready() { return g_stage == kReady; }

// %a the telephone, %b how the code is sent and %c how it is sent next, %d the e-mail address, %e
// the link for another device.
static constexpr struct {
  Stage stage;
  const char* shape;
} kStates[] = {
    {kParameters, "authorizationStateWaitTdlibParameters"},
    {kPhone, "authorizationStateWaitPhoneNumber"},
    {kCode,
     "authorizationStateWaitCode code_info.phone_number=%a code_info.type=%b "
     "code_info.next_type=%c code_info.timeout=60"},
    {kPassword,
     "authorizationStateWaitPassword password_hint='where you are' "
     "has_recovery_email_address=true recovery_email_address_pattern='r***@example.org'"},
    {kEmail, "authorizationStateWaitEmailAddress"},
    {kEmailCode,
     "authorizationStateWaitEmailCode code_info.email_address_pattern=%d code_info.length=5"},
    {kRegistration, "authorizationStateWaitRegistration terms_of_service.text.text='Be kind.'"},
    {kOtherDevice, "authorizationStateWaitOtherDeviceConfirmation link=%e"},
    {kReady, "authorizationStateReady"},
    {kLoggingOut, "authorizationStateLoggingOut"},
    {kClosing, "authorizationStateClosing"},
    {kClosed, "authorizationStateClosed"},
};

static std::string state_text() {
  const bool again = g_codes_sent > 1;
  const std::string sms = object("authenticationCodeTypeSms length=5");
  const std::string code = object("authenticationCodeTypeTelegramMessage length=5");
  const auto state = std::find_if(std::begin(kStates), std::end(kStates),
                                  [](const auto& row) { return row.stage == g_stage; });
  return object(state->shape, {g_phone, again ? sms : code, again ? "" : sms, g_email_pattern,
                               "tg://login?token=d29ybGQ" + std::to_string(g_world.settings.seed)});
}

static std::string enter(Stage stage) {
  g_stage = stage;
  tell("updateAuthorizationState authorization_state", {state_text()});
  return {};
}

// ---- options

static std::string option_text(std::string_view name, std::string_view value) {
  return object("updateOption name value", {name, value});
}
static std::string number_text(Id number) { return object("optionValueInteger value", {number}); }
static std::string version_text() { return object("optionValueString value='1.8.61'"); }

static void tell_numbers() {
  static constexpr std::pair<const char*, Id> kNumbers[] = {
      {"utc_time_offset", 0},
      {"telegram_service_notifications_chat_id", 777000},
      {"message_caption_length_max", 1024},
      {"message_reply_quote_length_max", 1024},
      {"message_text_length_max", 4096},
      {"bio_length_max", 70},
      {"pinned_chat_count_max", 5},
      {"basic_group_size_max", 200},
      {"supergroup_size_max", 200000},
      {"forwarded_message_count_max", 100},
  };
  tell(option_text("unix_time", number_text(date_now())));
  for (const auto& [name, value] : kNumbers) tell(option_text(name, number_text(value)));
}

// All that the client may have missed, as updates.
static std::string get_current_state(Asked&) {
  List updates;
  updates.next() += option_text("version", version_text());
  for (const auto& option : g_options) updates.next() += option_text(option.first, option.second);
  if (is_ready()) updates.next() += option_text("my_id", number_text(kMe));
  updates.next() += object("updateAuthorizationState authorization_state", {state_text()});
  updates.next() += object("updateConnectionState state", {bare_object(g_world.connection)});
  std::vector<std::string> chats;  // first: they may name further people
  for (Chat& chat : g_world.chats) {
    if (chat.told) chats.push_back(object("updateNewChat chat", {chat_text(chat)}));
  }
  for (const Id id : g_world.told_people)
    updates.next() += object("updateUser user", {user_text(id)});
  for (const std::string& chat : chats) updates.next() += chat;
  return object("updates updates", {updates.done()});
}

static std::string set_option(Asked& asked) {
  const std::string name(asked.json.string("name"));
  const Json& value = asked.json["value"];
  if (name != "online" && name != "ignore_background_updates") return refuse("Option can't be set");
  std::string text = object("optionValueEmpty");
  if (value.type() == "optionValueBoolean") {
    text = object("optionValueBoolean value", {value.boolean("value")});
  } else if (!value.is_null() && value.type() != "optionValueEmpty") {
    return refuse("Option \"" + name + "\" must have boolean value");
  }
  std::string& known = g_options[name];
  if (known != text && name != "online") tell(option_text(name, text));
  known = text;
  return {};
}

// ---- the login that lasts

static std::filesystem::path login_file() {
  return std::filesystem::path(g_world.database_directory) / "world_login";
}

// The account is logged in.
static std::string open_world() {
  std::ofstream(login_file()).flush();
  tell(option_text("my_id", number_text(kMe)));
  tell_person(kMe);
  enter(kReady);
  for (const char* scope :
       {"notificationSettingsScopePrivateChats", "notificationSettingsScopeGroupChats",
        "notificationSettingsScopeChannelChats"}) {
    tell("updateScopeNotificationSettings scope notification_settings.show_preview=true",
         {bare_object(scope)});
  }
  tell("updateDefaultReactionType reaction_type=@reactionTypeEmoji reaction_type.emoji='👍'");
  come_online();
  begin_life();
  steer_from_start();
  return {};
}

void begin_login() {
  tell(option_text("version", version_text()));
  tell(option_text("commit_hash", object("optionValueString value='world'")));
  enter(kParameters);
}

static std::string set_parameters(Asked& asked) {
  if (asked.json.number("api_id") == 0)
    return refuse("Valid api_id must be provided. Can be obtained at https://my.telegram.org");
  g_world.database_directory = asked.json.string("database_directory");
  g_world.files_directory = asked.json.string("files_directory");
  if (g_world.files_directory.empty()) g_world.files_directory = g_world.database_directory;
  std::error_code ignored;
  std::filesystem::create_directories(g_world.database_directory, ignored);
  std::filesystem::create_directories(g_world.files_directory, ignored);
  tell_numbers();
  if (g_world.settings.login == "ready" || std::filesystem::exists(login_file(), ignored))
    return open_world();
  enter(kPhone);
  tell_connection(g_world.connection);
  return {};
}

// ---- the steps

// A right code or password leads on; why a wrong one is not taken.
static std::string try_secret(bool right, std::string_view why, Stage next = kReady) {
  if (now() < g_locked_till) return error_text(429, "Too Many Requests: retry after 30");
  g_attempts = right ? 0 : g_attempts + 1;
  if (g_attempts >= kMostAttempts) g_locked_till = now() + kLockSeconds;
  if (!right) return refuse(why);
  return next == kReady ? open_world() : enter(next);
}

static std::string set_phone(Asked& asked) {
  const std::string_view phone = asked.json.string("phone_number");
  if (phone.empty()) return refuse("Phone number must be non-empty");
  g_phone.clear();
  std::copy_if(phone.begin(), phone.end(), std::back_inserter(g_phone),
               [](char c) { return c >= '0' && c <= '9'; });
  if (g_phone.size() < 5) return refuse("PHONE_NUMBER_INVALID");
  g_codes_sent = 1;
  return enter(g_world.settings.login == "email" ? kEmail : kCode);
}

static std::string check_code(Asked& asked) {
  const std::string& login = g_world.settings.login;
  return try_secret(asked.json.string("code") == kRightCode, "PHONE_CODE_INVALID",
                    login == "password"   ? kPassword
                    : login == "register" ? kRegistration
                                          : kReady);
}

static std::string check_password(Asked& asked) {
  return try_secret(asked.json.string("password") == kRightPassword, "PASSWORD_HASH_INVALID");
}

static std::string set_email(Asked& asked) {
  const std::string email(asked.json.string("email_address"));
  const std::size_t at = email.find('@');
  if (at == std::string::npos) return refuse("EMAIL_INVALID");
  g_email_pattern = email.substr(0, 1) + "***" + email.substr(at);
  return enter(kEmailCode);
}

static std::string register_user(Asked& asked) {
  if (asked.json.string("first_name").empty()) return refuse("FIRSTNAME_INVALID");
  Person me = person(kMe);
  me.first_name = asked.json.string("first_name");
  me.last_name = asked.json.string("last_name");
  change_person(kMe, me);
  return open_world();
}

static std::string resend_code(Asked&) {
  if (g_stage == kEmailCode) return {};
  if (g_codes_sent > 1) return refuse("Authentication code can't be resend");
  ++g_codes_sent;
  return enter(kCode);
}

static std::string request_qr(Asked&) {
  later(kQrSeconds, [] {
    if (g_stage == kOtherDevice) open_world();
  });
  return enter(kOtherDevice);
}

static std::string set_network(Asked& asked) {
  const bool none = asked.json["type"].type() == "networkTypeNone";
  if (none == !is_online()) return {};
  none ? set_connection("connectionStateWaitingForNetwork") : come_online();
  return {};
}

void close_world() {
  enter(kClosing);
  enter(kClosed);
  close_client();
}

static std::string end(Asked& asked) {
  if (asked.json.type() == "logOut") {
    enter(kLoggingOut);
    std::error_code ignored;
    std::filesystem::remove(login_file(), ignored);
  }
  close_world();
  return {};
}

static std::string check_email_code(Asked& asked) {
  if (asked.json["code"].is_null()) return refuse("Code must be non-empty");
  if (g_stage != kEmailCode) return refuse("Call to checkAuthenticationEmailCode unexpected");
  return try_secret(asked.json["code"].string("code") == kRightCode, "EMAIL_CODE_INVALID");
}

const Requests kLoginRequests = {
    {"getAuthorizationState", kNothing, [](Asked&) { return state_text(); }, kAnyStage},
    {"setOption", kNothing, set_option, kAnyStage},
    {"close", kNothing, end, kAnyStage},
    {"setNetworkType", kNothing, set_network, kWithParameters},
    {"getCurrentState", kNothing, get_current_state, kWithParameters},
    {"logOut", kNothing, end, kWithParameters},
    {"setTdlibParameters", kNothing, set_parameters, kParameters},
    {"setAuthenticationPhoneNumber", kNothing, set_phone, kLoggingIn},
    {"checkAuthenticationCode", kNothing, check_code, kCode},
    {"checkAuthenticationPassword", kNothing, check_password, kPassword},
    {"setAuthenticationEmailAddress", kNothing, set_email, kEmail | kEmailCode},
    {"checkAuthenticationEmailCode", kNothing, check_email_code, kWithParameters},
    {"registerUser", kNothing, register_user, kRegistration},
    {"resendAuthenticationCode", kNothing, resend_code, kCode | kEmailCode},
    {"requestQrCodeAuthentication", kNothing, request_qr, kLoggingIn},
};

}  // namespace world
