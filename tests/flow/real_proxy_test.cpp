#include <gtest/gtest.h>

#include "json/scan.h"
#include "tests/support/backend_run.h"

namespace {

const std::string kSecret = "dd00112233445566778899aabbccddee";

// The real library is asked until an event that begins so is written.
std::string wait_for_event(BackendRun& run, const std::string& begin) {
  for (int calls = 0; calls < 1000; ++calls) {
    run.receive_real();
    for (const std::string& event : run.events()) {
      if (event.compare(0, begin.size(), begin) == 0) return event;
    }
  }
  return "no event " + begin;
}

std::string proxy_state(BackendRun& run) {
  run.send_line("proxy_get");
  return wait_for_event(run, R"({"type":"proxy_state)");
}

// Without a network and before the login: a proxy is added, listed, switched off and removed. The
// secret stays out of every line, TDLib's own included.
TEST(RealLibrary, KnowsProxies) {
  BackendRun run;
  run.real = true;
  run.env["TG_API_ID"] = "1";
  run.env["TG_API_HASH"] = "0123456789abcdef0123456789abcdef";
  run.start();
  wait_for_event(run, R"({"type":"auth_state","state":"WaitPhoneNumber"})");
  ASSERT_EQ(proxy_state(run), R"({"type":"proxy_state","enabled":false,"count":0})");

  run.send_line("proxy_try_mtproto 5 192.0.2.1 443 " + kSecret);
  const std::string added = wait_for_event(run, R"({"type":"proxy_try_)");
  const std::int64_t id = extract_json_int_field(added, "proxy_id");
  EXPECT_GE(id, 1);
  const std::string number = std::to_string(id);
  EXPECT_EQ(added, R"({"type":"proxy_try_added","seq":5,"proxy_id":)" + number + "}");
  EXPECT_EQ(proxy_state(run), R"({"type":"proxy_state","enabled":true,"count":1,"proxy_id":)" +
                                  number + R"(,"server":"192.0.2.1","port":443})");

  run.send_line("proxy_disable");
  EXPECT_EQ(proxy_state(run), R"({"type":"proxy_state","enabled":false,"count":1})");
  run.send_line("proxy_remove " + number);
  EXPECT_EQ(proxy_state(run), R"({"type":"proxy_state","enabled":false,"count":0})");

  // Sound requests that fail for other reasons: a bad secret, and no network.
  run.send_line("proxy_try_mtproto 192.0.2.2 80 no_secret");
  EXPECT_EQ(wait_for_event(run, R"({"type":"proxy_try_)"),
            R"({"type":"proxy_try_error","seq":1,"code":400,"message":"Wrong proxy secret"})");
  run.send_line("proxy_test_mtproto 192.0.2.1 443 " + kSecret);
  EXPECT_EQ(wait_for_event(run, R"({"type":"proxy_test_)"),
            R"({"type":"proxy_test_error","seq":2,"code":400,"message":"Network is unreachable"})");

  const std::string log = read_file(run.log_path());
  EXPECT_NE(log.find("secret=hex:32"), std::string::npos);
  EXPECT_EQ(log.find(kSecret), std::string::npos);
}

}  // namespace
