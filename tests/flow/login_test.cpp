// The login: TDLib's states, the inputs that they wait for, and what the UI is told.

#include <gtest/gtest.h>

#include <string>

#include "tests/support/backend_run.h"

static std::string phone_request(const std::string& phone) {
  return R"({"@type":"setAuthenticationPhoneNumber","phone_number":")" + phone +
         R"(","settings":{"@type":"phoneNumberAuthenticationSettings","allow_flash_call":false,)"
         R"("allow_missed_call":false,"is_current_phone_number":false,)"
         R"("allow_sms_retriever_api":false},"@extra":"setPhone"})";
}

static std::string code_request(const std::string& code) {
  return R"({"@type":"checkAuthenticationCode","code":")" + code + R"(","@extra":"checkCode"})";
}

static std::string password_request(const std::string& password) {
  return R"({"@type":"checkAuthenticationPassword","password":")" + password +
         R"(","@extra":"checkPassword"})";
}

static std::string state_event(const std::string& state) {
  return R"({"type":"auth_state","state":")" + state + R"("})";
}

static std::string need_event(const std::string& what) {
  return R"({"type":"need","what":")" + what + R"("})";
}

// Everything that one step has said, on every channel.
static void expect_said(BackendRun& run, const Lines& requests, const Lines& log,
                        const Lines& replies, const Lines& events) {
  EXPECT_EQ(run.requests(), requests);
  EXPECT_EQ(run.dbg_lines(), log);
  EXPECT_EQ(run.replies(), replies);
  EXPECT_EQ(run.events(), events);
}

TEST(Login, TheWholeWay) {
  BackendRun run;
  run.start();
  run.deliver_auth_state("authorizationStateWaitTdlibParameters");
  run.forget();
  run.answer(R"({"@type":"ok"})", "setParams");
  expect_said(run, {}, {"TD_OK setParams"}, {}, {});

  run.deliver_auth_state("authorizationStateWaitPhoneNumber");
  expect_said(run, {}, {"AUTH_STATE WaitPhoneNumber", "NEED phone"},
              {"AUTH_STATE WaitPhoneNumber", "NEED phone"},
              {state_event("WaitPhoneNumber"), need_event("phone")});
  run.send_line("phone  +49 (30) 1+2-3 ");
  expect_said(run, {phone_request("+4930123")}, {"CMD phone", "SEND setAuthenticationPhoneNumber"},
              {}, {});
  run.answer(R"({"@type":"ok"})", "setPhone");
  expect_said(run, {}, {"TD_OK setPhone"}, {}, {});

  run.deliver(
      R"({"@type":"updateAuthorizationState","authorization_state":)"
      R"({"@type":"authorizationStateWaitCode","code_info":{"@type":"authenticationCodeInfo",)"
      R"("phone_number":"4930123","type":{"@type":"authenticationCodeTypeSms","length":5},)"
      R"("next_type":{"@type":"authenticationCodeTypeCall","length":6},"timeout":60}},)"
      R"("@client_id":1})");
  expect_said(
      run, {}, {"AUTH_STATE WaitCode", "CODE_INFO type=sms length=5 timeout=60", "NEED code"},
      {"AUTH_STATE WaitCode", "NEED code"},
      {state_event("WaitCode"), R"({"type":"code_info","delivery":"sms","length":5,"timeout":60})",
       need_event("code")});
  run.send_line("resend");
  expect_said(run, {R"({"@type":"resendAuthenticationCode","@extra":"resend"})"},
              {"SEND resendAuthenticationCode"}, {}, {});
  run.answer(R"({"@type":"ok"})", "resend");
  expect_said(run, {}, {"TD_OK resend"}, {}, {});
  run.send_line("code 12\"345");
  expect_said(run, {code_request("12\\\"345")}, {"CMD code", "SEND checkAuthenticationCode"}, {},
              {});
  run.answer(R"({"@type":"ok"})", "checkCode");
  expect_said(run, {}, {"TD_OK checkCode"}, {}, {});

  run.deliver_auth_state("authorizationStateWaitPassword");
  expect_said(run, {}, {"AUTH_STATE WaitPassword", "NEED password"},
              {"AUTH_STATE WaitPassword", "NEED password"},
              {state_event("WaitPassword"), need_event("password")});
  run.send_line("password two words\\");
  expect_said(run, {password_request("two words\\\\")},
              {"CMD password", "SEND checkAuthenticationPassword"}, {}, {});
  run.answer(R"({"@type":"ok"})", "checkPassword");
  expect_said(run, {}, {"TD_OK checkPassword"}, {}, {});

  run.deliver_auth_state("authorizationStateReady");
  expect_said(run,
              {R"({"@type":"getMe","@extra":"getMe"})",
               R"({"@type":"getScopeNotificationSettings","scope":)"
               R"({"@type":"notificationSettingsScopePrivateChats"},"@extra":"scope:private"})",
               R"({"@type":"getScopeNotificationSettings","scope":)"
               R"({"@type":"notificationSettingsScopeGroupChats"},"@extra":"scope:group"})",
               R"({"@type":"getScopeNotificationSettings","scope":)"
               R"({"@type":"notificationSettingsScopeChannelChats"},"@extra":"scope:channel"})"},
              {"AUTH_STATE Ready", "SEND getMe", "SEND getScopeNotificationSettings"},
              {"AUTH_STATE Ready"}, {state_event("Ready")});
  EXPECT_EQ(run.quit(), 0);
}

TEST(Login, InputsGivenEarlyAreSentOnceWhenTheirStateComes) {
  BackendRun run;
  run.start();
  run.feed("code 12345\npassword pw\nphone 49\n");
  run.forget();
  run.deliver_auth_state("authorizationStateWaitPhoneNumber");
  expect_said(run, {phone_request("49")},
              {"AUTH_STATE WaitPhoneNumber", "SEND setAuthenticationPhoneNumber"},
              {"AUTH_STATE WaitPhoneNumber"}, {state_event("WaitPhoneNumber")});
  run.deliver_auth_state("authorizationStateWaitCode");
  EXPECT_EQ(run.requests(), Lines{code_request("12345")});
  run.deliver_auth_state("authorizationStateWaitPassword");
  EXPECT_EQ(run.requests(), Lines{password_request("pw")});
  run.deliver_auth_state("authorizationStateWaitCode");
  EXPECT_EQ(run.replies().back(), "NEED code") << "each is sent once";
  run.deliver_auth_state("authorizationStateWaitPassword");
  EXPECT_EQ(run.replies().back(), "NEED password");
  run.deliver_auth_state("authorizationStateWaitPhoneNumber");
  EXPECT_EQ(run.replies().back(), "NEED phone");
  EXPECT_EQ(run.requests(), Lines{});
}

TEST(Login, OnlyChangesOfStateCount) {
  BackendRun run;
  run.start();
  run.deliver_auth_state("authorizationStateWaitCode");
  run.forget();
  run.deliver(
      R"({"@type":"updateAuthorizationState","authorization_state":)"
      R"({"@type":"authorizationStateWaitCode","code_info":{"@type":"authenticationCodeInfo",)"
      R"("type":{"@type":"authenticationCodeTypeCall","length":5},"timeout":1}}})");
  expect_said(run, {}, {}, {}, {});
  // The answer to the first request brings the state bare.
  run.deliver(R"({"@type":"authorizationStateWaitPassword","password_hint":"x","@client_id":1})");
  EXPECT_EQ(run.dbg_lines(), (Lines{"AUTH_STATE WaitPassword", "NEED password"}));
}

TEST(Login, AnotherNumberWhileACodeIsAwaited) {
  BackendRun run;
  run.start();
  run.deliver_auth_state("authorizationStateWaitCode");
  run.forget();
  run.feed("code 1\nphone +12\n");
  // Both came in one go: the number first, the code one pass later.
  EXPECT_EQ(run.requests(), Lines{phone_request("+12")});
  run.idle();
  EXPECT_EQ(run.requests(), Lines{code_request("1")});
  run.idle();
  EXPECT_EQ(run.requests(), Lines{});
}

TEST(Login, ParametersOnRequest) {
  BackendRun run;
  run.set_env("TD_AUTO_SET_PARAMS", "0");
  run.start();
  run.forget();
  run.deliver_auth_state("authorizationStateWaitTdlibParameters");
  expect_said(run, {}, {"AUTH_STATE WaitTdlibParameters", "NEED params"},
              {"AUTH_STATE WaitTdlibParameters", "NEED params"},
              {state_event("WaitTdlibParameters"), need_event("params")});
  run.send_line("params");
  EXPECT_EQ(run.requests().size(), 1u);
  EXPECT_EQ(run.dbg_lines(), (Lines{"CMD params", "SEND setTdlibParameters (manual)"}));
  run.idle();
  EXPECT_EQ(run.requests(), Lines{}) << "asked for once, sent once";

  BackendRun early;
  early.set_env("TD_AUTO_SET_PARAMS", "yes");
  early.start();
  early.send_line("params");
  early.forget();
  early.deliver_auth_state("authorizationStateWaitTdlibParameters");
  EXPECT_EQ(early.requests().size(), 1u);
  EXPECT_EQ(early.dbg_lines(),
            (Lines{"AUTH_STATE WaitTdlibParameters", "SEND setTdlibParameters"}));
}

TEST(Login, NumberFromTheEnvironment) {
  const struct {
    const char* number;
    const char* sent;  // null: the UI is asked
  } cases[] = {{" +49 (30) 1 ", "+49301"}, {"", nullptr}, {"()", nullptr}, {"+", nullptr}};
  for (const auto& c : cases) {
    BackendRun run;
    run.set_env("TG_AUTO_SEND_PHONE", "1");
    run.set_env("TG_PHONE_NUMBER", c.number);
    run.start();
    run.forget();
    run.deliver_auth_state("authorizationStateWaitPhoneNumber");
    EXPECT_EQ(run.requests(), c.sent != nullptr ? Lines{phone_request(c.sent)} : Lines{});
    EXPECT_EQ(run.dbg_lines().back(),
              c.sent != nullptr ? "SEND setAuthenticationPhoneNumber (from env)" : "NEED phone");
  }
  BackendRun given;  // the UI's number goes before
  given.set_env("TG_AUTO_SEND_PHONE", "1");
  given.set_env("TG_PHONE_NUMBER", "1");
  given.start();
  given.send_line("phone 2");
  given.forget();
  given.deliver_auth_state("authorizationStateWaitPhoneNumber");
  EXPECT_EQ(given.requests(), Lines{phone_request("2")});
}

TEST(Login, InputsThatAreEmpty) {
  BackendRun run;
  run.without_events();
  run.start();
  run.deliver_auth_state("authorizationStateWaitPhoneNumber");
  run.forget();
  run.feed("phone\nphone ( ) -\nphone +\n");
  EXPECT_EQ(run.replies(), (Lines{"OK phone", "OK phone", "OK phone"}));
  run.deliver_auth_state("authorizationStateWaitCode");
  run.forget();
  run.feed("code\n");
  run.deliver_auth_state("authorizationStateWaitPassword");
  run.feed("password  \n");
  EXPECT_EQ(run.requests(), Lines{});
  EXPECT_EQ(run.replies(),
            (Lines{"OK code", "AUTH_STATE WaitPassword", "NEED password", "OK password"}));
}

TEST(Login, CodeInformation) {
  const struct {
    const char* type;
    const char* timeout;
    const char* log;
    const char* event;
  } cases[] = {
      {R"({"@type":"authenticationCodeTypeTelegramMessage","length":5})", R"("timeout":0)",
       "telegram_message length=5 timeout=0", R"("telegram_message","length":5,"timeout":0})"},
      {R"({"@type":"authenticationCodeTypeCall","length":0})", R"("timeout":-1)", "call length=0",
       R"("call","length":0})"},
      {R"({"@type":"authenticationCodeTypeFlashCall","pattern":"*"})", R"("timeout":9)",
       "flash_call timeout=9", R"("flash_call","timeout":9})"},
      {R"({"@type":"authenticationCodeTypeMissedCall","phone_number_prefix":"1","length":4})",
       R"("x":1)", "missed_call length=4", R"("missed_call","length":4})"},
      {R"({"@type":"authenticationCodeTypeFragment","url":"u","length":-2})", R"("timeout":5)",
       "unknown timeout=5", R"("unknown","timeout":5})"}};
  for (const auto& c : cases) {
    BackendRun run;
    run.start();
    run.forget();
    run.deliver(R"({"@type":"updateAuthorizationState","authorization_state":)"
                R"({"@type":"authorizationStateWaitCode","code_info":)"
                R"({"@type":"authenticationCodeInfo","phone_number":"1","type":)" +
                std::string(c.type) +
                R"(,"next_type":{"@type":"authenticationCodeTypeSms","length":8},)" + c.timeout +
                "}}}");
    EXPECT_EQ(run.dbg_lines().at(1), std::string("CODE_INFO type=") + c.log);
    EXPECT_EQ(run.events().at(1), R"({"type":"code_info","delivery":)" + std::string(c.event));
  }
  BackendRun bare;
  bare.start();
  bare.forget();
  bare.deliver_auth_state("authorizationStateWaitCode");
  EXPECT_EQ(bare.dbg_lines().at(1), "CODE_INFO type=unknown");
  EXPECT_EQ(bare.events().at(1), R"({"type":"code_info","delivery":"unknown"})");

  BackendRun odd;  // the next code first, and no object around the code's own members
  odd.start();
  odd.forget();
  odd.deliver(R"({"@type":"authorizationStateWaitCode","next_type": {"@type":)"
              R"("authenticationCodeTypeSms","length":8},"type":{"@type":)"
              R"("authenticationCodeTypeCall"},"length": 5,"timeout":  7})");
  EXPECT_EQ(odd.events().at(1), R"({"type":"code_info","delivery":"call","length":5,"timeout":7})");
}

TEST(Login, OwnUser) {
  BackendRun run;
  run.start();
  run.login();
  run.answer(
      R"({"@type":"user","id":7000000001,"first_name":"An\u00e9","last_name":"O\"Neil",)"
      R"("usernames":{"@type":"usernames","active_usernames":["ann_x"],"disabled_usernames":[],)"
      R"("editable_username":"ann"},"phone_number":"4930","status":{"@type":"userStatusOnline",)"
      R"("expires":1700000000},"profile_photo":{"@type":"profilePhoto","id":"99","small":)"
      R"({"@type":"file","id":12}}})",
      "getMe");
  EXPECT_EQ(run.replies(), Lines{"ME id=7000000001 username=ann name=An\xc3\xa9 O\"Neil"});
  EXPECT_EQ(run.events(), (Lines{R"({"type":"me","id":7000000001,"username":"ann","phone":"4930",)"
                                 R"("photo_small_id":12,"first_name":"An)"
                                 "\xc3\xa9"
                                 R"(","last_name":"O\"Neil"})",
                                 R"({"type":"user","id":7000000001,"name":"An)"
                                 "\xc3\xa9"
                                 R"( O\"Neil","photo_small_id":12,"status_type":"online",)"
                                 R"("expires":1700000000})"}));
  run.answer(R"({"@type":"user","id":5})", "getMe");
  EXPECT_EQ(run.replies(), Lines{"ME id=5"});
  EXPECT_EQ(run.events(), (Lines{R"({"type":"me","id":5})", R"({"type":"user","id":5})"}));
}

TEST(Login, HubModeAsksForNothing) {
  BackendRun run(Mode::kHub);
  run.start();
  run.deliver_auth_state("authorizationStateWaitTdlibParameters");
  run.forget();
  run.answer(R"({"@type":"ok"})", "setParams");
  expect_said(run, {}, {"TD_OK setParams"}, {}, {});
  run.deliver_auth_state("authorizationStateReady");
  expect_said(run, {}, {"AUTH_STATE Ready"}, {"AUTH_STATE Ready"}, {state_event("Ready")});
}

TEST(Login, StateCommand) {
  BackendRun run;
  run.start();
  run.forget();
  const char* names[] = {"Unknown",  "WaitTdlibParameters", "WaitPhoneNumber",
                         "WaitCode", "WaitPassword",        "Ready",
                         "Closing"};
  for (const char* name : names) {
    if (name != names[0]) run.deliver_auth_state(std::string("authorizationState") + name);
    run.forget();
    run.send_line("state");
    expect_said(run, {}, {"CMD state"}, {}, {state_event(name)});
  }
}

TEST(Login, WrongCodeIsToldAndTheStateStays) {
  BackendRun run;
  run.start();
  run.deliver_auth_state("authorizationStateWaitCode");
  run.send_line("code 1");
  run.forget();
  run.answer(R"({"@type":"error","code":400,"message":"PHONE_CODE_INVALID"})", "checkCode");
  EXPECT_EQ(run.events(), Lines{R"({"type":"td_error","json":"{\"@type\":\"error\",\"code\":400,)"
                                R"(\"message\":\"PHONE_CODE_INVALID\",\"@extra\":\"checkCode\",)"
                                R"(\"@client_id\":1}"})"});
  run.send_line("code 2");
  EXPECT_EQ(run.requests(), Lines{code_request("2")});
}
