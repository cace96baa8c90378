// Logging in and out, and the options: what may be asked before the world is open.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "world/schema.h"
#include "world/world.h"

namespace world {

static constexpr std::string_view kRightCode = "12345";
static constexpr std::string_view kRightPassword = "world";
static constexpr int kMostAttempts = 3;
static constexpr double kQrSeconds = 8;

enum class Stage {
  kParameters,
  kPhone,
  kCode,
  kPassword,
  kEmail,
  kEmailCode,
  kRegistration,
  kOtherDevice,
  kReady,
  kLoggingOut,
  kClosing,
  kClosed,
};
static Stage g_stage = Stage::kParameters;
static std::string g_phone;
static std::string g_email_pattern;
static int g_attempts = 0;  // wrong codes or passwords since the last right one
static int g_codes_sent = 0;
static std::vector<std::pair<Json, int>> g_waiting;  // options set before the parameters

bool is_ready() { return g_stage == Stage::kReady; }
bool has_parameters() { return g_stage != Stage::kParameters; }

std::string authorization_state_text() {
  static const Shape code(
      "authorizationStateWaitCode",
      "code_info.phone_number code_info.type code_info.next_type code_info.timeout=60");
  static const Shape password("authorizationStateWaitPassword",
                              "password_hint='where you are' has_recovery_email_address=true "
                              "recovery_email_address_pattern='r***@example.org'");
  static const Shape email("authorizationStateWaitEmailAddress", "");
  static const Shape email_code("authorizationStateWaitEmailCode",
                                "code_info.email_address_pattern code_info.length=5");
  static const Shape registration(
      "authorizationStateWaitRegistration",
      "terms_of_service.text.text='Be kind.' terms_of_service.min_user_age=0");
  static const Shape device("authorizationStateWaitOtherDeviceConfirmation", "link");
  static const Shape message("authenticationCodeTypeTelegramMessage", "length=5");
  static const Shape sms("authenticationCodeTypeSms", "length=5");
  const auto bare = [](const char* name) {
    return std::string("{\"@type\":\"authorizationState") + name + "\"}";
  };
  switch (g_stage) {
    case Stage::kParameters: return bare("WaitTdlibParameters");
    case Stage::kPhone: return bare("WaitPhoneNumber");
    case Stage::kCode:
      return code.text({g_phone, g_codes_sent > 1 ? sms.text({}) : message.text({}),
                        g_codes_sent > 1 ? "" : sms.text({})});
    case Stage::kPassword: return password.text({});
    case Stage::kEmail: return email.text({});
    case Stage::kEmailCode: return email_code.text({g_email_pattern});
    case Stage::kRegistration: return registration.text({});
    case Stage::kOtherDevice:
      return device.text({"tg://login?token=d29ybGQ" + std::to_string(g_world.settings.seed)});
    case Stage::kReady: return bare("Ready");
    case Stage::kLoggingOut: return bare("LoggingOut");
    case Stage::kClosing: return bare("Closing");
    case Stage::kClosed: return bare("Closed");
  }
  return {};
}

static void tell_option(std::string_view name, std::string_view value) {
  static const Shape shape("updateOption", "name value");
  tell(shape.text({name, value}));
}

static std::string option_number(Id number) {
  static const Shape shape("optionValueInteger", "value");
  return shape.text({number});
}

static void enter(Stage stage) {
  static const Shape shape("updateAuthorizationState", "authorization_state");
  g_stage = stage;
  tell(shape.text({authorization_state_text()}));
}

void begin_login() {
  static const Shape string("optionValueString", "value");
  tell_option("version", string.text({"1.8.61"}));
  tell_option("commit_hash", string.text({"world"}));
  enter(Stage::kParameters);
}

// ---- the login that lasts

static std::string login_file() { return g_world.database_directory + "/world_login"; }

static bool is_remembered() { return access(login_file().c_str(), R_OK) == 0; }

static void remember() {
  if (FILE* file = std::fopen(login_file().c_str(), "w")) std::fclose(file);
}

static void open_world() {
  static const Shape connection("updateConnectionState", "state");
  static const Shape unread("updateUnreadChatCount",
                            "chat_list total_count unread_count unread_unmuted_count");
  static const Shape scope("updateScopeNotificationSettings",
                           "scope notification_settings.show_preview=true");
  static const Shape reaction("updateDefaultReactionType",
                              "reaction_type=@reactionTypeEmoji reaction_type.emoji='👍'");
  remember();
  g_attempts = 0;
  tell_option("my_id", option_number(kMe));
  tell_person(kMe);
  enter(Stage::kReady);
  for (const char* kind : {"PrivateChats", "GroupChats", "ChannelChats"}) {
    tell(scope.text({std::string("{\"@type\":\"notificationSettingsScope") + kind + "\"}"}));
  }
  tell(reaction.text({}));
  int with_unread = 0;
  for (const auto& place : g_world.list) with_unread += find_chat(place.second)->unread > 0;
  tell(unread.text({"{\"@type\":\"chatListMain\"}", static_cast<Id>(g_world.list.size()),
                    with_unread, with_unread}));
  for (const char* state :
       {"connectionStateConnecting", "connectionStateUpdating", "connectionStateReady"}) {
    tell(connection.text({std::string("{\"@type\":\"") + state + "\"}"}));
  }
  begin_life();
}

static void make_directories(const std::string& path) {
  for (std::size_t i = 1; i <= path.size(); ++i) {
    if (i == path.size() || path[i] == '/') mkdir(path.substr(0, i).c_str(), 0700);
  }
}

static void tell_options() {
  struct Option {
    const char* name;
    Id value;
  };
  static constexpr Option kOptions[] = {
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
  tell_option("unix_time", option_number(date_now()));
  for (const Option& option : kOptions) tell_option(option.name, option_number(option.value));
}

static std::string set_parameters(const Json& request) {
  if (request.number("api_id") == 0) {
    return error_text(400,
                      "Valid api_id must be provided. Can be obtained at https://my.telegram.org");
  }
  g_world.database_directory = request.string("database_directory");
  g_world.files_directory = request.string("files_directory");
  if (g_world.files_directory.empty()) g_world.files_directory = g_world.database_directory;
  make_directories(g_world.database_directory);
  make_directories(g_world.files_directory);
  tell_options();
  if (g_world.settings.login == "ready" || is_remembered()) {
    open_world();
  } else {
    enter(Stage::kPhone);
    tell("{\"@type\":\"updateConnectionState\",\"state\":{\"@type\":\"connectionStateReady\"}}");
  }
  return ok_text();
}

// ---- the steps

static std::string refuse(std::string_view why) {
  if (++g_attempts > kMostAttempts) return error_text(429, "Too Many Requests: retry after 30");
  return error_text(400, why);
}

static std::string set_phone(const Json& request) {
  const std::string_view phone = request.string("phone_number");
  g_phone.clear();
  for (const char c : phone) {
    if (c >= '0' && c <= '9') g_phone += c;
  }
  if (g_phone.size() < 5) return error_text(400, "PHONE_NUMBER_INVALID");
  g_codes_sent = 1;
  enter(g_world.settings.login == "email" ? Stage::kEmail : Stage::kCode);
  return ok_text();
}

static std::string check_code(const Json& request) {
  if (request.string("code") != kRightCode) return refuse("PHONE_CODE_INVALID");
  g_attempts = 0;
  const std::string& login = g_world.settings.login;
  if (login == "password") {
    enter(Stage::kPassword);
  } else if (login == "register") {
    enter(Stage::kRegistration);
  } else {
    open_world();
  }
  return ok_text();
}

static std::string check_password(const Json& request) {
  if (request.string("password") != kRightPassword) return refuse("PASSWORD_HASH_INVALID");
  open_world();
  return ok_text();
}

static std::string set_email(const Json& request) {
  const std::string_view email = request.string("email_address");
  if (email.find('@') == std::string_view::npos) return error_text(400, "EMAIL_INVALID");
  g_email_pattern =
      std::string(email.substr(0, 1)) + "***" + std::string(email.substr(email.find('@')));
  enter(Stage::kEmailCode);
  return ok_text();
}

static std::string check_email_code(const Json& request) {
  if (request["code"].string("code") != kRightCode) return refuse("EMAIL_CODE_INVALID");
  open_world();
  return ok_text();
}

static std::string register_user(const Json& request) {
  if (request.string("first_name").empty()) return error_text(400, "FIRSTNAME_INVALID");
  Person me = person(kMe);
  me.first_name = request.string("first_name");
  me.last_name = request.string("last_name");
  g_world.renamed[kMe] = me;
  open_world();
  return ok_text();
}

static std::string resend_code(const Json&) {
  if (g_stage == Stage::kEmailCode) return ok_text();
  if (g_codes_sent > 1) return error_text(400, "Authentication code can't be resend");
  ++g_codes_sent;
  enter(Stage::kCode);
  return ok_text();
}

static std::string request_qr(const Json&) {
  enter(Stage::kOtherDevice);
  later(kQrSeconds, [] {
    if (g_stage == Stage::kOtherDevice) open_world();
  });
  return ok_text();
}

static std::string log_out(const Json&) {
  enter(Stage::kLoggingOut);
  unlink(login_file().c_str());
  enter(Stage::kClosing);
  enter(Stage::kClosed);
  close_client();
  return ok_text();
}

static std::string close(const Json&) {
  enter(Stage::kClosing);
  enter(Stage::kClosed);
  close_client();
  return ok_text();
}

namespace {

struct Step {
  std::string_view request;
  std::vector<Stage> stages;
  std::string (*run)(const Json&);
};

}  // namespace

static const std::vector<Step>& steps() {
  using T = Stage;
  static const std::vector<Step> kSteps = {
      {"setTdlibParameters", {T::kParameters}, set_parameters},
      {"setAuthenticationPhoneNumber",
       {T::kPhone, T::kCode, T::kPassword, T::kEmail, T::kEmailCode, T::kRegistration,
        T::kOtherDevice},
       set_phone},
      {"checkAuthenticationCode", {T::kCode}, check_code},
      {"checkAuthenticationPassword", {T::kPassword}, check_password},
      {"setAuthenticationEmailAddress", {T::kEmail, T::kEmailCode}, set_email},
      {"checkAuthenticationEmailCode", {T::kEmailCode}, check_email_code},
      {"registerUser", {T::kRegistration}, register_user},
      {"resendAuthenticationCode", {T::kCode, T::kEmailCode}, resend_code},
      {"requestQrCodeAuthentication",
       {T::kPhone, T::kCode, T::kEmail, T::kEmailCode, T::kOtherDevice},
       request_qr},
  };
  return kSteps;
}

// ---- options

static std::string set_option(const Json& request) {
  const std::string name(request.string("name"));
  const Json& value = request["value"];
  std::string text;
  if (name != "online" && name != "ignore_background_updates")
    return error_text(400, "Option can't be set");
  if (value.type() == "optionValueBoolean") {
    text = std::string("{\"@type\":\"optionValueBoolean\",\"value\":") +
           (value.boolean("value") ? "true}" : "false}");
  } else if (value.kind == Json::kNull || value.type() == "optionValueEmpty") {
    text = "{\"@type\":\"optionValueEmpty\"}";
  } else {
    return error_text(400, "Option \"" + name + "\" must have boolean value");
  }
  std::string& known = g_world.options[name];
  if (known != text && name != "online") tell_option(name, text);
  known = text;
  return ok_text();
}

static std::string get_option(const Json& request) {
  const std::string name(request.string("name"));
  if (name == "version") return "{\"@type\":\"optionValueString\",\"value\":\"1.8.61\"}";
  if (name == "my_id" && is_ready()) return option_number(kMe);
  if (name == "unix_time") return option_number(date_now());
  const auto found = g_world.options.find(name);
  return found != g_world.options.end() ? found->second : "{\"@type\":\"optionValueEmpty\"}";
}

// What may be asked in any state once there are parameters.
static bool needs_login(std::string_view type) {
  static constexpr std::string_view kFree[] = {
      "addProxy",   "editProxy", "enableProxy",    "disableProxy",    "removeProxy",
      "getProxies", "pingProxy", "setNetworkType", "getCurrentState", "getStorageStatisticsFast"};
  for (const std::string_view free : kFree) {
    if (free == type) return false;
  }
  return true;
}

std::string answer_login(const Json& request) {
  const std::string_view type = request.type();
  if (type == "getAuthorizationState") return authorization_state_text();
  if (type == "setOption") return set_option(request);
  if (type == "getOption") return get_option(request);
  if (type == "close") return close(request);
  if (g_stage == Stage::kParameters && type != "setTdlibParameters") {
    return error_text(400, "Initialization parameters are needed: call setTdlibParameters first");
  }
  if (type == "logOut") return log_out(request);
  if (type == "checkAuthenticationEmailCode" && request["code"].kind == Json::kNull) {
    return error_text(400, "Code must be non-empty");
  }
  if (type == "setAuthenticationPhoneNumber" && request.string("phone_number").empty()) {
    return error_text(400, "Phone number must be non-empty");
  }
  for (const Step& step : steps()) {
    if (step.request != type) continue;
    for (const Stage stage : step.stages) {
      if (stage == g_stage) return step.run(request);
    }
    return error_text(400, type == "setTdlibParameters"
                               ? "Unexpected setTdlibParameters"
                               : "Call to " + std::string(type) + " unexpected");
  }
  if (!is_ready() && needs_login(type)) return error_text(401, "Unauthorized");
  return {};
}

std::string current_options_text() {
  static const Shape shape("updateOption", "name value");
  static const Shape state("updateAuthorizationState", "authorization_state");
  std::string list =
      shape.text({"version", "{\"@type\":\"optionValueString\",\"value\":\"1.8.61\"}"});
  for (const auto& option : g_world.options)
    list += "," + shape.text({option.first, option.second});
  if (is_ready()) list += "," + shape.text({"my_id", option_number(kMe)});
  return list + "," + state.text({authorization_state_text()});
}

}  // namespace world
