// Logging in and out, what the client is told at the beginning, and its options.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "world/world.h"

namespace world {

static constexpr std::string_view kRightCode = "12345";
static constexpr std::string_view kRightPassword = "world";
static constexpr int kMostAttempts = 3;
static constexpr double kQrSeconds = 8;

// A bit each, so that a step can name several.
enum Stage : unsigned {
  kParameters = 1,
  kPhone = 2,
  kCode = 4,
  kPassword = 8,
  kEmail = 16,
  kEmailCode = 32,
  kRegistration = 64,
  kOtherDevice = 128,
  kReady = 256,
  kLoggingOut = 512,
  kClosing = 1024,
  kClosed = 2048,
};
static Stage g_stage = kParameters;
static std::string g_phone;
static std::string g_email_pattern;
static int g_attempts = 0;  // wrong codes or passwords since the last right one
static int g_codes_sent = 0;

bool is_ready() { return g_stage == kReady; }
bool has_parameters() { return g_stage != kParameters; }

static std::string state_text() {
  const std::string sms = object("authenticationCodeTypeSms length=5");
  const bool again = g_codes_sent > 1;
  switch (g_stage) {
    case kParameters: return object("authorizationStateWaitTdlibParameters");
    case kPhone: return object("authorizationStateWaitPhoneNumber");
    case kCode:
      return object(
          "authorizationStateWaitCode code_info.phone_number code_info.type code_info.next_type "
          "code_info.timeout=60",
          {g_phone, again ? sms : object("authenticationCodeTypeTelegramMessage length=5"),
           again ? "" : sms});
    case kPassword:
      return object(
          "authorizationStateWaitPassword password_hint='where you are' "
          "has_recovery_email_address=true recovery_email_address_pattern='r***@example.org'");
    case kEmail: return object("authorizationStateWaitEmailAddress");
    case kEmailCode:
      return object(
          "authorizationStateWaitEmailCode code_info.email_address_pattern code_info.length=5",
          {g_email_pattern});
    case kRegistration:
      return object("authorizationStateWaitRegistration terms_of_service.text.text='Be kind.'");
    case kOtherDevice:
      return object("authorizationStateWaitOtherDeviceConfirmation link",
                    {"tg://login?token=d29ybGQ" + std::to_string(g_world.settings.seed)});
    case kReady: return object("authorizationStateReady");
    case kLoggingOut: return object("authorizationStateLoggingOut");
    case kClosing: return object("authorizationStateClosing");
    case kClosed: return object("authorizationStateClosed");
  }
  return {};
}

static std::string enter(Stage stage) {
  g_stage = stage;
  tell("updateAuthorizationState authorization_state", {state_text()});
  return ok_text();
}

// ---- options

static std::string option_text(std::string_view name, std::string_view value) {
  return object("updateOption name value", {name, value});
}
static std::string number_text(Id number) { return object("optionValueInteger value", {number}); }
static std::string version_text() { return object("optionValueString value='1.8.61'"); }

static void tell_numbers() {
  static constexpr struct {
    const char* name;
    Id value;
  } kOptions[] = {
      {"utc_time_offset", 0},
      {"telegram_service_notifications_chat_id", 777000},
      {"replies_bot_chat_id", 1271266957},
      {"verification_codes_bot_chat_id", 489000},
      {"message_caption_length_max", 1024},
      {"message_reply_quote_length_max", 1024},
      {"message_text_length_max", 4096},
      {"bio_length_max", 70},
      {"suggested_video_note_length", 384},
      {"suggested_video_note_video_bitrate", 1000},
      {"suggested_video_note_audio_bitrate", 64},
      {"chat_folder_count_max", 10},
      {"pinned_chat_count_max", 5},
      {"pinned_archived_chat_count_max", 100},
      {"poll_answer_count_max", 12},
      {"favorite_stickers_limit", 5},
      {"basic_group_size_max", 200},
      {"supergroup_size_max", 200000},
      {"forwarded_message_count_max", 100},
  };
  tell(option_text("unix_time", number_text(date_now())));
  for (const auto& option : kOptions) tell(option_text(option.name, number_text(option.value)));
}

std::string current_options_text() {
  std::string list = option_text("version", version_text());
  for (const auto& option : g_world.options) list += "," + option_text(option.first, option.second);
  if (is_ready()) list += "," + option_text("my_id", number_text(kMe));
  return list + "," + object("updateAuthorizationState authorization_state", {state_text()});
}

static std::string set_option(const Json& request) {
  const std::string name(request.string("name"));
  const Json& value = request["value"];
  if (name != "online" && name != "ignore_background_updates") return refuse("Option can't be set");
  std::string text = object("optionValueEmpty");
  if (value.type() == "optionValueBoolean") {
    text = object("optionValueBoolean value", {value.boolean("value")});
  } else if (!value.is_null() && value.type() != "optionValueEmpty") {
    return refuse("Option \"" + name + "\" must have boolean value");
  }
  std::string& known = g_world.options[name];
  if (known != text && name != "online") tell(option_text(name, text));
  known = text;
  return ok_text();
}

static std::string get_option(const Json& request) {
  const std::string name(request.string("name"));
  const auto found = g_world.options.find(name);
  if (name == "version") return version_text();
  if (name == "my_id" && is_ready()) return number_text(kMe);
  if (name == "unix_time") return number_text(date_now());
  return found != g_world.options.end() ? found->second : object("optionValueEmpty");
}

// ---- the login that lasts

static std::string login_file() { return g_world.database_directory + "/world_login"; }

// The account is logged in.
static std::string open_world() {
  if (FILE* file = std::fopen(login_file().c_str(), "w")) std::fclose(file);
  g_attempts = 0;
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
  const auto& list = g_world.list;
  const auto unread = std::count_if(list.begin(), list.end(), [](const auto& place) {
    return find_chat(place.second)->unread > 0;
  });
  tell(
      "updateUnreadChatCount chat_list=@chatListMain total_count=%a unread_count=%b "
      "unread_unmuted_count=%b",
      {static_cast<Id>(list.size()), static_cast<Id>(unread)});
  come_online();
  begin_life();
  return ok_text();
}

void begin_login() {
  tell(option_text("version", version_text()));
  tell(option_text("commit_hash", object("optionValueString value='world'")));
  enter(kParameters);
}

static void make_directories(const std::string& path) {
  for (std::size_t i = 1; i <= path.size(); ++i) {
    if (i == path.size() || path[i] == '/') mkdir(path.substr(0, i).c_str(), 0700);
  }
}

static std::string set_parameters(const Json& request) {
  if (request.number("api_id") == 0)
    return refuse("Valid api_id must be provided. Can be obtained at https://my.telegram.org");
  g_world.database_directory = request.string("database_directory");
  g_world.files_directory = request.string("files_directory");
  if (g_world.files_directory.empty()) g_world.files_directory = g_world.database_directory;
  make_directories(g_world.database_directory);
  make_directories(g_world.files_directory);
  tell_numbers();
  if (g_world.settings.login == "ready" || access(login_file().c_str(), R_OK) == 0)
    return open_world();
  enter(kPhone);
  tell_connection(g_world.connection);
  return ok_text();
}

// ---- the steps

static std::string refuse_attempt(std::string_view why) {
  return ++g_attempts > kMostAttempts ? error_text(429, "Too Many Requests: retry after 30")
                                      : refuse(why);
}

static std::string set_phone(const Json& request) {
  const std::string_view phone = request.string("phone_number");
  if (phone.empty()) return refuse("Phone number must be non-empty");
  g_phone.clear();
  std::copy_if(phone.begin(), phone.end(), std::back_inserter(g_phone),
               [](char c) { return c >= '0' && c <= '9'; });
  if (g_phone.size() < 5) return refuse("PHONE_NUMBER_INVALID");
  g_codes_sent = 1;
  return enter(g_world.settings.login == "email" ? kEmail : kCode);
}

static std::string check_code(const Json& request) {
  if (request.string("code") != kRightCode) return refuse_attempt("PHONE_CODE_INVALID");
  g_attempts = 0;
  if (g_world.settings.login == "password") return enter(kPassword);
  if (g_world.settings.login == "register") return enter(kRegistration);
  return open_world();
}

static std::string check_password(const Json& request) {
  if (request.string("password") == kRightPassword) return open_world();
  return refuse_attempt("PASSWORD_HASH_INVALID");
}

static std::string set_email(const Json& request) {
  const std::string email(request.string("email_address"));
  const std::size_t at = email.find('@');
  if (at == std::string::npos) return refuse("EMAIL_INVALID");
  g_email_pattern = email.substr(0, 1) + "***" + email.substr(at);
  return enter(kEmailCode);
}

static std::string check_email_code(const Json& request) {
  if (request["code"].is_null()) return refuse("Code must be non-empty");
  if (request["code"].string("code") == kRightCode) return open_world();
  return refuse_attempt("EMAIL_CODE_INVALID");
}

static std::string register_user(const Json& request) {
  if (request.string("first_name").empty()) return refuse("FIRSTNAME_INVALID");
  Person me = person(kMe);
  me.first_name = request.string("first_name");
  me.last_name = request.string("last_name");
  g_world.renamed[kMe] = me;
  return open_world();
}

static std::string resend_code(const Json&) {
  if (g_stage == kEmailCode) return ok_text();
  if (g_codes_sent > 1) return refuse("Authentication code can't be resend");
  ++g_codes_sent;
  return enter(kCode);
}

static std::string request_qr(const Json&) {
  later(kQrSeconds, [] {
    if (g_stage == kOtherDevice) open_world();
  });
  return enter(kOtherDevice);
}

static std::string close(const Json&) {
  enter(kClosing);
  enter(kClosed);
  close_client();
  return ok_text();
}

static std::string log_out(const Json& request) {
  enter(kLoggingOut);
  unlink(login_file().c_str());
  return close(request);
}

static constexpr unsigned kAnyStage = ~0u;
static constexpr unsigned kWithParameters = kAnyStage & ~unsigned{kParameters};

static constexpr struct Step {
  std::string_view request;
  unsigned stages;
  std::string (*answer)(const Json&);
} kSteps[] = {
    {"getAuthorizationState", kAnyStage, [](const Json&) { return state_text(); }},
    {"setOption", kAnyStage, set_option},
    {"getOption", kAnyStage, get_option},
    {"close", kAnyStage, close},
    {"logOut", kWithParameters, log_out},
    {"setTdlibParameters", kParameters, set_parameters},
    {"setAuthenticationPhoneNumber",
     kPhone | kCode | kPassword | kEmail | kEmailCode | kRegistration | kOtherDevice, set_phone},
    {"checkAuthenticationCode", kCode, check_code},
    {"checkAuthenticationPassword", kPassword, check_password},
    {"setAuthenticationEmailAddress", kEmail | kEmailCode, set_email},
    {"checkAuthenticationEmailCode", kEmailCode, check_email_code},
    {"registerUser", kRegistration, register_user},
    {"resendAuthenticationCode", kCode | kEmailCode, resend_code},
    {"requestQrCodeAuthentication", kPhone | kCode | kEmail | kEmailCode | kOtherDevice,
     request_qr},
};

std::string answer_login(const Json& request) {
  const std::string type(request.type());
  const Step* step = std::find_if(std::begin(kSteps), std::end(kSteps),
                                  [&](const Step& row) { return row.request == type; });
  const bool known = step != std::end(kSteps);
  if (known && (step->stages & g_stage) != 0) return step->answer(request);
  if (g_stage == kParameters)
    return refuse("Initialization parameters are needed: call setTdlibParameters first");
  if (!known) return {};
  if (type == "checkAuthenticationEmailCode" && request["code"].is_null())
    return refuse("Code must be non-empty");
  return refuse(type == "setTdlibParameters" ? "Unexpected setTdlibParameters"
                                             : "Call to " + type + " unexpected");
}

}  // namespace world
