#include <gtest/gtest.h>

#include "tests/support/backend_run.h"

namespace {

constexpr const char* kProtocol =
    R"("protocol":{"@type":"callProtocol","udp_p2p":true,"udp_reflector":true,)"
    R"("min_layer":65,"max_layer":92,"library_versions":["libtgvoip"]})";

TEST(Calls, StateComesBeforeArguments) {
  BackendRun run;
  run.without_events();
  run.start();
  for (const std::string command : {"call_start", "call_accept", "call_mute", "call_discard"}) {
    run.forget();
    run.send_line(command);  // without any argument
    EXPECT_EQ(run.replies(), Lines{"ERR not_ready"}) << command;
    EXPECT_EQ(run.dbg_lines(), Lines{"ERR " + command + " not_ready"});
  }
  EXPECT_EQ(run.requests(), Lines{});
}

TEST(Calls, CommandsSendAndTell) {
  BackendRun run;
  run.without_events();
  run.start();
  run.login();
  run.send_line("call_start 4503599627370497");
  run.send_line("call_accept 7 what stands behind is ignored");
  run.send_line("call_discard 7");
  EXPECT_EQ(run.requests(),
            (Lines{R"({"@type":"createCall","user_id":4503599627370497,)" + std::string(kProtocol) +
                       R"(,"is_video":false,"@extra":"callStart:4503599627370497"})",
                   R"({"@type":"acceptCall","call_id":7,)" + std::string(kProtocol) +
                       R"(,"@extra":"callAccept:7"})",
                   R"({"@type":"discardCall","call_id":7,"is_disconnected":false,)"
                   R"("invite_link":"","duration":0,"is_video":false,"connection_id":0,)"
                   R"("@extra":"callDiscard:7"})"}));
  EXPECT_EQ(run.replies(), (Lines{"OK call_start", "OK call_accept", "OK call_discard"}));
  EXPECT_EQ(
      run.dbg_lines(),
      (Lines{"CALL_PROTO_DBG voip=0 tgcalls=0",
             "CALL_PROTO create min_layer=65 max_layer=92 versions=[libtgvoip]",
             "SEND createCall user_id=4503599627370497",
             "CALL_PROTO accept min_layer=65 max_layer=92 versions=[libtgvoip]",
             "SEND acceptCall call_id=7", "SEND discardCall call_id=7 duration=0 conn_id=0"}));
}

TEST(Calls, BadArgumentsAreRefused) {
  struct Case {
    const char* line;
    const char* reply;
    const char* log;
  };
  BackendRun run;
  run.without_events();
  run.start();
  run.login();
  for (const Case& c : {
           Case{"call_start", "ERR bad_user_id", "ERR call_start bad_user_id"},
           Case{"call_start 0", "ERR bad_user_id", "ERR call_start bad_user_id"},
           Case{"call_start 9223372036854775808", "ERR bad_user_id", "ERR call_start bad_user_id"},
           Case{"call_accept -1", "ERR bad_call_id", "ERR call_accept bad_call_id"},
           Case{"call_discard 7x", "ERR bad_call_id", "ERR call_discard bad_call_id"},
           Case{"call_mute 0 1", "ERR bad_call_id", "ERR call_mute bad_call_id"},
           Case{"call_mute 5", "ERR usage call_mute <call_id> <0|1>", "ERR call_mute bad_args"},
           Case{"call_mute 5 2", "ERR usage call_mute <call_id> <0|1>", "ERR call_mute bad_args"},
           Case{"call_mute 5 1", "ERR voip_disabled", "ERR call_mute voip_disabled"},
       }) {
    run.send_line(c.line);
    EXPECT_EQ(run.replies(), Lines{c.reply}) << c.line;
    EXPECT_EQ(run.dbg_lines(), Lines{c.log}) << c.line;
  }
  EXPECT_EQ(run.requests(), Lines{});
}

TEST(Calls, OfferFollowsTheEnvironment) {
  BackendRun run;
  run.set_env("LUMO_CALL_MIN_LAYER", "0");
  run.set_env("LUMO_CALL_MAX_LAYER", "1001");
  run.set_env("LUMO_CALL_LIBRARY_VERSIONS", "; a b ,\"c\"\t,;");
  run.set_env("LUMO_FORCE_RELAY", "2");
  run.start();
  run.login();
  run.send_line("call_accept 1");
  run.send_line("call_accept 2");
  EXPECT_EQ(run.requests().front(),
            R"({"@type":"acceptCall","call_id":1,"protocol":{"@type":"callProtocol",)"
            R"("udp_p2p":false,"udp_reflector":true,"min_layer":0,"max_layer":92,)"
            R"("library_versions":["a b","\"c\""]},"@extra":"callAccept:1"})");
  const std::string summary = "CALL_PROTO accept min_layer=0 max_layer=92 versions=[a b,\"c\"]";
  EXPECT_EQ(run.dbg_lines(),
            (Lines{"CALL_PROTO_DBG voip=0 tgcalls=0 env_versions=; a b ,\"c\" ,;"
                   " force_relay=1",
                   summary, "SEND acceptCall call_id=1", summary, "SEND acceptCall call_id=2"}));
}

TEST(Calls, AnswersAndErrors) {
  BackendRun run;
  run.start();
  run.login();
  run.answer(R"({"@type":"callId","id":33})", "callStart:42");
  run.answer(R"({"@type":"callId"})", "callStart:42");
  run.answer(R"({"@type":"ok"})", "callAccept:33");
  run.answer(R"({"@type":"error","code":400,"message":"Call not found"})", "callDiscard:33");
  run.answer(R"({"@type":"error","code":404,"message":"Call not found"})", "callDiscard:33");
  run.answer(R"({"@type":"error","code":400,"message":"Call not found"})", "callAccept:33");
  run.answer(R"({"@type":"error","code":6,"message":""})", "callStart:42");
  run.answer(R"({"@type":"error"})", "callStart:");
  EXPECT_EQ(run.events(), (Lines{R"({"type":"call_created","user_id":42,"call_id":33})",
                                 R"({"type":"call_created","user_id":42,"call_id":-1})",
                                 R"({"type":"call_discard_gone","call_id":33})",
                                 R"({"type":"call_error","extra":"callDiscard:33","code":404,)"
                                 R"("message":"Call not found"})",
                                 R"({"type":"call_error","extra":"callAccept:33","code":400,)"
                                 R"("message":"Call not found"})",
                                 R"({"type":"call_error","extra":"callStart:42","code":6})",
                                 R"({"type":"call_error","extra":"callStart:","code":-1})"}));
  EXPECT_EQ(
      run.dbg_lines(),
      (Lines{"TD_OK createCall user_id=42 call_id=33", "TD_OK createCall user_id=42 call_id=-1",
             "TD_OK discardCall already_gone extra=callDiscard:33",
             "TD_ERROR call extra=callDiscard:33 code=404",
             "TD_ERROR call extra=callAccept:33 code=400",
             "TD_ERROR call extra=callStart:42 code=6", "TD_ERROR call extra=callStart: code=-1"}));
}

constexpr const char* kReadyCall =
    R"({"@type":"updateCall","call":{"@type":"call","id":12,"unique_id":"9007199254740993",)"
    R"("user_id":42,"is_outgoing":true,"is_video":false,"state":{"@type":"callStateReady",)"
    R"("protocol":{"@type":"callProtocol","udp_p2p":true,"udp_reflector":true,"min_layer":65,)"
    R"("max_layer":92,"library_versions":["2.4.4","5.0.0"]},"servers":[)"
    R"({"@type":"callServer","id":"9007199254740993","ip_address":"192.0.2.1","port":1,)"
    R"("type":{"@type":"callServerTypeTelegramReflector","peer_tag":"YQ==","is_tcp":false}},)"
    R"({"@type":"callServer","id":"-5","ip_address":"192.0.2.2","port":2,)"
    R"("type":{"@type":"callServerTypeWebrtc","username":"u","password":"p"}},null,)"
    R"({"@type":"callServer","id":"6","port":3}],"config":"{\"min_layer\":1,\"servers\":[]}",)"
    R"("encryption_key":"YWJj","emojis":["a"],"allow_p2p":true}}})";

TEST(Calls, UpdatesCarryWhatIsKnownOfThePeer) {
  BackendRun run;
  run.start();
  run.login();
  run.deliver(kReadyCall);
  EXPECT_EQ(run.events(), Lines{R"({"type":"call_update","call_id":12,"user_id":42,)"
                                R"("outgoing":true,"state":"callStateReady"})"});
  EXPECT_EQ(run.dbg_lines(),
            Lines{"CALL_READY call_id=12 min_layer=65 max_layer=92 versions=[2.4.4,5.0.0] "
                  "servers=3 reflector=1 webrtc=1 other=1"});

  run.deliver(R"({"@type":"updateUser","user":{"@type":"user","id":42,"first_name":"An\"n",)"
              R"("last_name":"Lee"}})");
  run.deliver(R"({"@type":"updateNewChat","chat":{"@type":"chat","id":42,)"
              R"("type":{"@type":"chatTypePrivate","user_id":42},"title":"Ann & Co"}})");
  run.forget();
  run.deliver(R"({"@type":"updateCall","call":{"@type":"call","id":12,"user_id":42,)"
              R"("is_outgoing":false,"state":{"@type":"callStatePending","is_created":true}}})");
  EXPECT_EQ(run.events(),
            Lines{R"({"type":"call_update","call_id":12,"user_id":42,"chat_id":42,)"
                  R"("chat_title":"Ann & Co","user_name":"An\"n Lee","outgoing":false,)"
                  R"("state":"callStatePending"})"});
  EXPECT_EQ(run.dbg_lines(), Lines{});
}

TEST(Calls, FailedCalls) {
  BackendRun run;
  run.start();
  run.login();
  run.deliver(R"({"@type":"updateCall","call":{"@type":"call","id":3,"user_id":42,"state":)"
              R"({"@type":"callStateError","error":{"@type":"error","code":406,)"
              R"("message":"CALL_PROTOCOL_COMPAT_LAYER_INVALID"}}}})");
  run.deliver(R"({"@type":"updateCall","call":{"@type":"call","id":3,"state":)"
              R"({"@type":"callStateError","error":{"@type":"error","code":1,"message":""}}}})");
  run.deliver(R"({"@type":"updateCall","call":{"@type":"call","id":3,)"
              R"("state":{"@type":"callStateError"}}})");
  EXPECT_EQ(run.events(),
            (Lines{R"({"type":"call_update","call_id":3,"user_id":42,"outgoing":false,)"
                   R"("state":"callStateError","code":406,)"
                   R"("message":"CALL_PROTOCOL_COMPAT_LAYER_INVALID"})",
                   R"({"type":"call_update","call_id":3,"outgoing":false,)"
                   R"("state":"callStateError","code":1})",
                   R"({"type":"call_update","call_id":3,"outgoing":false,)"
                   R"("state":"callStateError","code":-1})"}));
  EXPECT_EQ(run.dbg_lines(),
            (Lines{"CALL_ERROR call_id=3 code=406 msg=CALL_PROTOCOL_COMPAT_LAYER_INVALID",
                   "CALL_ERROR_HINT compat_layer_invalid: peer likely doesn't support "
                   "libtgvoip-only protocol; may require tgcalls/webrtc",
                   "CALL_ERROR call_id=3 code=1 msg=", "CALL_ERROR call_id=3 code=-1 msg="}));
}

TEST(Calls, UpdatesWithMissingParts) {
  BackendRun run;
  run.start();
  run.login();
  run.deliver(R"({"@type":"updateCall"})");
  run.deliver(R"({"@type":"updateCall","call":{"@type":"call","user_id":42}})");
  run.deliver(R"({"@type":"updateCall","call":{"@type":"call","id":0,"user_id":42}})");
  run.deliver(R"({"@type":"updateCall","call":{"@type":"call","id":5,"user_id":42)");
  EXPECT_EQ(run.events(), Lines{});
  run.deliver(R"({"call":{"id":5,"state":{}},"@type":"updateCall"})");
  run.deliver(R"({"@type":"updateCall","call":{"id":5,"state":{"@type":"callStateReady"}}})");
  run.deliver(R"({"@type":"updateNewCallSignalingData","call_id":5,"data":"QUJD\/+=="})");
  run.deliver(R"({"@type":"updateNewCallSignalingData","call_id":5})");
  EXPECT_EQ(run.events(), (Lines{R"({"type":"call_update","call_id":5,"outgoing":false})",
                                 R"({"type":"call_update","call_id":5,"outgoing":false,)"
                                 R"("state":"callStateReady"})",
                                 R"({"type":"call_signaling","call_id":5,"b64_len":8})",
                                 R"({"type":"call_signaling","call_id":5,"b64_len":0})"}));
  EXPECT_EQ(run.dbg_lines(), Lines{"CALL_READY call_id=5 min_layer=-1 max_layer=-1 versions=[] "
                                   "servers=0 reflector=0 webrtc=0 other=0"});
}

TEST(Calls, OnlyTheStateOfACallLeavesInHubMode) {
  BackendRun run(Mode::kHub);
  run.start();
  run.login();
  run.deliver(R"({"@type":"updateCall","call":{"id":5,"user_id":42,)"
              R"("state":{"@type":"callStatePending"}}})");
  run.deliver(R"({"@type":"updateNewCallSignalingData","call_id":5,"data":"QUJD"})");
  EXPECT_EQ(run.events(), Lines{R"({"type":"call_update","call_id":5,"user_id":42,)"
                                R"("outgoing":false,"state":"callStatePending"})"});
}

}  // namespace
