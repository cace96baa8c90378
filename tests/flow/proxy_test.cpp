#include <gtest/gtest.h>

#include "tests/support/backend_run.h"

namespace {

const std::string kHexSecret = "dd00112233445566778899aabbccddee";

std::string ping_request(const std::string& proxy, const std::string& tag) {
  return R"({"@type":"pingProxy","proxy":)" + proxy + R"(,"@extra":")" + tag + "\"}";
}

std::string add_request(const std::string& proxy, const std::string& tag) {
  return R"({"@type":"addProxy","proxy":)" + proxy + R"(,"enable":true,"@extra":")" + tag + "\"}";
}

std::string proxy(const std::string& server, const std::string& port, const std::string& secret) {
  return R"({"@type":"proxy","server":")" + server + R"(","port":)" + port +
         R"(,"type":{"@type":"proxyTypeMtproto","secret":")" + secret + "\"}}";
}

// Before the login: proxies are what makes a login possible.
TEST(Proxy, SimpleCommands) {
  BackendRun run;
  run.without_events();
  run.start();
  run.forget();
  run.send_line("proxy_get");
  run.send_line("proxy_disable");
  run.send_line("proxy_remove 9007199254740993");
  EXPECT_EQ(run.requests(), (Lines{R"({"@type":"getProxies","@extra":"proxyGet"})",
                                   R"({"@type":"disableProxy","@extra":"proxyDisable"})",
                                   R"({"@type":"removeProxy","proxy_id":9007199254740993,)"
                                   R"("@extra":"proxyRemove:9007199254740993"})"}));
  EXPECT_EQ(run.replies(), (Lines{"OK proxy_get", "OK proxy_disable", "OK proxy_remove"}));
  EXPECT_EQ(run.dbg_lines(), (Lines{"SEND getProxies", "SEND disableProxy",
                                    "SEND removeProxy proxy_id=9007199254740993"}));
  for (const char* line : {"proxy_remove", "proxy_remove 0", "proxy_remove -3", "proxy_remove x"}) {
    run.send_line(line);
    EXPECT_EQ(run.replies(), Lines{"ERR bad_proxy_id"}) << line;
    EXPECT_EQ(run.dbg_lines(), Lines{"ERR proxy_remove bad_proxy_id"}) << line;
  }
  run.send_line("proxy_remove 5");
  EXPECT_EQ(run.requests(),
            Lines{R"({"@type":"removeProxy","proxy_id":5,"@extra":"proxyRemove:5"})"});
  run.forget();
  run.answer(R"({"@type":"ok"})", "proxyDisable");
  run.answer(R"({"@type":"ok"})", "proxyRemove:5");
  EXPECT_EQ(run.dbg_lines(), (Lines{"TD_OK disableProxy", "TD_OK removeProxy proxy_id=5"}));
  EXPECT_EQ(run.replies(), Lines{});
  EXPECT_EQ(run.requests(), Lines{});
}

TEST(Proxy, SequenceNumbers) {
  BackendRun run;
  run.without_events();
  run.start();
  run.forget();
  run.send_line("proxy_test_mtproto a.example 443 " + kHexSecret);  // 1
  run.send_line("proxy_try_mtproto 7 a.example 65535 s-_+/");       // its own
  run.send_line("proxy_test_mtproto a.example 0 s");                // 2, refused
  run.send_line("proxy_test_mtproto 0 a.example 443 s");            // four arguments: none taken
  run.send_line("proxy_try_mtproto a.example +80 s+/");             // 3
  run.send_line("proxy_try_mtproto 9 a.example 443  odd ignored");  // its own
  EXPECT_EQ(run.requests(),
            (Lines{ping_request(proxy("a.example", "443", kHexSecret), "proxyPing:1"),
                   add_request(proxy("a.example", "65535", "s-_+/"), "proxyTry:7"),
                   add_request(proxy("a.example", "80", "s+/"), "proxyTry:3"),
                   add_request(proxy("a.example", "443", "odd"), "proxyTry:9")}));
  EXPECT_EQ(run.replies(),
            (Lines{"OK proxy_test_mtproto", "OK proxy_try_mtproto", "ERR bad_proxy_args",
                   "ERR bad_proxy_args", "OK proxy_try_mtproto", "OK proxy_try_mtproto"}));
  EXPECT_EQ(run.dbg_lines(),
            (Lines{"SEND pingProxy(mtproto) seq=1 server=a.example port=443 secret=hex:32",
                   "SEND addProxy(mtproto) seq=7 server=a.example port=65535 secret=b64url:5",
                   "ERR proxy_test_mtproto bad args",
                   "ERR proxy_test_mtproto bad args (unexpected extra token)",
                   "SEND addProxy(mtproto) seq=3 server=a.example port=80 secret=b64:3",
                   "SEND addProxy(mtproto) seq=9 server=a.example port=443 secret=raw:3"}));
}

TEST(Proxy, RefusedArguments) {
  struct Case {
    const char* arguments;
    const char* reason;
  };
  BackendRun run;
  run.without_events();
  run.start();
  run.forget();
  for (const Case& c : {
           Case{"", "bad args"},
           Case{" a.example", "bad args"},
           Case{" a.example 65536 s", "bad args"},
           Case{" a.example -1 s", "bad args"},
           Case{" a.example 443x s", "bad args"},
           Case{" 7 a.example 443", "bad args"},  // three arguments are never the long form
           Case{" 7  443 s", "bad args"},         // an empty server
           Case{" 7 a.example  s", "bad args"},   // an empty port
           Case{" -7 a.example 443 s", "bad args (unexpected extra token)"},
           Case{" seven a.example 443 s", "bad args (unexpected extra token)"},
           Case{" a.example  443 s", "bad args (unexpected extra token)"},
       }) {
    for (const std::string command : {"proxy_test_mtproto", "proxy_try_mtproto"}) {
      run.send_line(command + c.arguments);
      EXPECT_EQ(run.replies(), Lines{"ERR bad_proxy_args"}) << c.arguments;
      EXPECT_EQ(run.dbg_lines(), Lines{"ERR " + command + " " + c.reason}) << c.arguments;
    }
  }
  run.send_line("proxy_test_mtproto a.example 443");
  EXPECT_EQ(run.replies(), Lines{"ERR bad_proxy_secret"});
  EXPECT_EQ(run.dbg_lines(), Lines{"ERR proxy_test_mtproto empty secret"});
  EXPECT_EQ(run.requests(), Lines{});
}

TEST(Proxy, AnEmptySecretReleasesWhoWaits) {
  BackendRun run;
  run.start();
  run.forget();
  run.send_line("proxy_test_mtproto a.example 443");
  run.send_line("proxy_try_mtproto a.example 443");
  EXPECT_EQ(run.events(), (Lines{R"({"type":"proxy_test_error","seq":1,"code":400,)"
                                 R"("message":"Proxy secret must be non-empty"})",
                                 R"({"type":"proxy_try_error","seq":2,"code":400,)"
                                 R"("message":"Proxy secret must be non-empty"})"}));
  EXPECT_EQ(run.requests(), Lines{});
}

// Quotes, control bytes and bytes that are no UTF-8 reach TDLib escaped; the secret is seen
// nowhere else.
TEST(Proxy, OddServersAndTheSecret) {
  BackendRun run;
  run.start();
  run.forget();
  run.send_line("proxy_try_mtproto a\"b\x01\\\xff 443 top\"secret");
  EXPECT_EQ(
      run.requests(),
      Lines{add_request(proxy("a\\\"b\\u0001\\\\\xff", "443", "top\\\"secret"), "proxyTry:1")});
  run.answer(R"({"@type":"addedProxies","proxies":[{"@type":"addedProxy","id":1,)"
             R"("is_enabled":true,"proxy":{"@type":"proxy","server":"a\"b\u0001\\",)"
             R"("port":443,"type":{"@type":"proxyTypeMtproto","secret":"top\"secret"}}}]})",
             "proxyGet");
  EXPECT_EQ(run.events(), Lines{R"({"type":"proxy_state","enabled":true,"count":1,"proxy_id":1,)"
                                R"("server":"a\"b\u0001\\","port":443})"});
  EXPECT_EQ(run.dbg_lines(),
            (Lines{"SEND addProxy(mtproto) seq=1 server=a\"b \\\xff port=443 secret=raw:10",
                   "TD_OK getProxies enabled=true count=1 active=1"}));
}

TEST(Proxy, Lists) {
  struct Case {
    const char* answer;
    const char* event;
    const char* log;
  };
  BackendRun run;
  run.start();
  run.forget();
  for (const Case& c : {
           // The older form.
           Case{R"({"@type":"proxies","proxies":[{"@type":"proxy","id":1,"server":"a","port":1,)"
                R"("last_used_date":0,"is_enabled":false},{"@type":"proxy","id":4294967297,)"
                R"("server":"b.example","port":443,"last_used_date":5,"is_enabled":true,)"
                R"("type":{"@type":"proxyTypeSocks5","username":"u","password":"p"}},)"
                R"({"@type":"proxy","id":3,"server":"c","port":2,"is_enabled":true}]})",
                R"({"type":"proxy_state","enabled":true,"count":3,"proxy_id":4294967297,)"
                R"("server":"b.example","port":443})",
                "TD_OK getProxies enabled=true count=3 active=4294967297"},
           // The address object first and with traps in it.
           Case{R"({"@type":"addedProxies","proxies":[{"proxy":{"@type":"proxy","id":9,)"
                R"("is_enabled":true,"server":"x","port":1},"id":8,"is_enabled":false},)"
                R"({"proxy":{"@type":"proxy","server":"y","port":2},"id":7,"is_enabled":true}]})",
                R"({"type":"proxy_state","enabled":true,"count":2,"proxy_id":7,"server":"y",)"
                R"("port":2})",
                "TD_OK getProxies enabled=true count=2 active=7"},
           Case{R"({"@type":"addedProxies","proxies":[{"@type":"addedProxy","id":5,)"
                R"("is_enabled":false,"proxy":{"@type":"proxy","server":"a","port":1}}]})",
                R"({"type":"proxy_state","enabled":false,"count":1})",
                "TD_OK getProxies enabled=false count=1 active=0"},
           Case{R"({"@type":"addedProxies","proxies":[]})",
                R"({"type":"proxy_state","enabled":false,"count":0})",
                "TD_OK getProxies enabled=false count=0 active=0"},
           Case{R"({"@type":"proxies"})", R"({"type":"proxy_state","enabled":false,"count":0})",
                "TD_OK getProxies enabled=false count=0 active=0"},
           // An active one of which nothing is said.
           Case{R"({"@type":"addedProxies","proxies":[{"is_enabled":true}]})",
                R"({"type":"proxy_state","enabled":true,"count":1})",
                "TD_OK getProxies enabled=true count=1 active=-1"},
           Case{R"({"@type":"addedProxies","proxies":[{"id":2,"is_enabled":true,)"
                R"("proxy":{"server":"a","port":0}}]})",
                R"({"type":"proxy_state","enabled":true,"count":1,"proxy_id":2})",
                "TD_OK getProxies enabled=true count=1 active=2"},
       }) {
    run.answer(c.answer, "proxyGet");
    EXPECT_EQ(run.events(), Lines{c.event}) << c.answer;
    EXPECT_EQ(run.dbg_lines(), Lines{c.log}) << c.answer;
  }
}

TEST(Proxy, AtMost512AreCounted) {
  BackendRun run;
  run.start();
  run.forget();
  std::string list = R"({"@type":"addedProxies","proxies":[)";
  for (int i = 0; i < 513; ++i) list += R"({"id":1,"is_enabled":false},)";
  run.answer(list + R"({"id":2,"is_enabled":true}]})", "proxyGet");
  EXPECT_EQ(run.events(), Lines{R"({"type":"proxy_state","enabled":false,"count":512})"});
}

TEST(Proxy, ResultsOfTestsAndTries) {
  BackendRun run;
  run.start();
  run.forget();
  run.answer(R"({"@type":"seconds","seconds":0.25})", "proxyPing:9007199254740993");
  run.answer(R"({"@type":"ok"})", "proxyTest:2");
  run.answer(R"({"@type":"seconds","seconds":1})", "proxyTest:3:and:more");
  run.answer(R"({"@type":"addedProxy","id":5,"last_used_date":0,"is_enabled":true,)"
             R"("proxy":{"@type":"proxy","id":6,"server":"a","port":1}})",
             "proxyTry:4");
  run.answer(R"({"@type":"proxy","type":{"id":9},"id":6})", "proxyTry:5");
  run.answer(R"({"@type":"addedProxy"})", "proxyTry:");
  EXPECT_EQ(run.events(),
            (Lines{R"({"type":"proxy_test_ok","seq":9007199254740993})",
                   R"({"type":"proxy_test_ok","seq":2})", R"({"type":"proxy_test_ok","seq":3})",
                   R"({"type":"proxy_try_added","seq":4,"proxy_id":5})",
                   R"({"type":"proxy_try_added","seq":5,"proxy_id":6})",
                   R"({"type":"proxy_try_added","seq":0,"proxy_id":-1})"}));
  EXPECT_EQ(run.dbg_lines(),
            (Lines{"TD_OK pingProxy seq=9007199254740993", "TD_OK proxyTest seq=2",
                   "TD_OK proxyTest seq=3", "TD_OK proxyTry seq=4 proxy_id=5",
                   "TD_OK proxyTry seq=5 proxy_id=6", "TD_OK proxyTry seq=0 proxy_id=-1"}));
}

TEST(Proxy, Errors) {
  BackendRun run;
  run.start();
  run.forget();
  const std::string long_message(161, 'm');
  run.answer(R"({"@type":"error","code":400,"message":")" + long_message + "\"}", "proxyPing:1");
  run.answer(R"({"@type":"error","code":400,"message":""})", "proxyTest:2");
  run.answer(R"({"@type":"error","code":400,"message":"Wrong \"port\""})", "proxyTry:3");
  run.answer(R"({"@type":"error"})", "proxyTry:x");
  run.answer(R"({"@type":"error","code":500,"message":"Request aborted"})", "proxyGet");
  run.answer(R"({"@type":"error","code":500})", "proxyGet");
  EXPECT_EQ(
      run.events(),
      (Lines{R"({"type":"proxy_test_error","seq":1,"code":400,"message":")" + long_message + "\"}",
             R"({"type":"proxy_test_error","seq":2,"code":400})",
             R"({"type":"proxy_try_error","seq":3,"code":400,"message":"Wrong \"port\""})",
             R"({"type":"proxy_try_error","seq":0,"code":-1,"message":""})",
             R"({"type":"proxy_state_error","code":500,"message":"Request aborted"})",
             R"({"type":"proxy_state_error","code":500})"}));
  EXPECT_EQ(run.dbg_lines(),
            (Lines{"TD_ERROR pingProxy seq=1 code=400 msg=" + long_message.substr(1) + "...",
                   "TD_ERROR proxyTest seq=2 code=400 msg=", "TD_ERROR proxyTry seq=3",
                   "TD_ERROR proxyTry seq=0", "TD_ERROR getProxies code=500 msg=Request aborted",
                   "TD_ERROR getProxies code=500 msg="}));
  // The two that have no event of their own take the general way.
  run.answer(R"({"@type":"error","code":400,"message":"Unknown proxy"})", "proxyRemove:3");
  EXPECT_EQ(run.events(), Lines{R"({"type":"td_error","json":"{\"@type\":\"error\",\"code\":400,)"
                                R"(\"message\":\"Unknown proxy\",\"@extra\":\"proxyRemove:3\",)"
                                R"(\"@client_id\":1}"})"});
}

}  // namespace
