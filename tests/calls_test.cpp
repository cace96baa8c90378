#include <gtest/gtest.h>

#include <cstdlib>

#include "calls/call_protocol.h"

namespace {

class CallProtocol : public ::testing::Test {
 protected:
  void SetUp() override { clear(); }
  void TearDown() override { clear(); }
  static void clear() {
    for (const char* name : {"LUMO_CALL_MIN_LAYER", "LUMO_CALL_MAX_LAYER",
                             "LUMO_CALL_LIBRARY_VERSIONS", "LUMO_FORCE_RELAY"}) {
      unsetenv(name);
    }
  }
  static std::vector<std::string> versions(const std::string& list) {
    setenv("LUMO_CALL_LIBRARY_VERSIONS", list.c_str(), 1);
    return get_call_protocol_spec().library_versions;
  }
};

TEST_F(CallProtocol, LayersAreTakenWithinTheirRange) {
  struct Case {
    const char* value;
    int min_layer;
  };
  for (const Case& c : {Case{"0", 0}, Case{"1000", 1000}, Case{"1001", 65}, Case{"-5", 65},
                        Case{"4294967296", 65}, Case{"", 65}, Case{"8x", 65}}) {
    setenv("LUMO_CALL_MIN_LAYER", c.value, 1);
    EXPECT_EQ(get_call_protocol_spec().min_layer, c.min_layer) << c.value;
  }
  setenv("LUMO_CALL_MIN_LAYER", "200", 1);
  setenv("LUMO_CALL_MAX_LAYER", "100", 1);
  EXPECT_EQ(call_protocol_summary_for_log(get_call_protocol_spec()),
            "min_layer=200 max_layer=100 versions=[libtgvoip]");
}

TEST_F(CallProtocol, VersionListsAreSplitAndTrimmed) {
  using List = std::vector<std::string>;
  EXPECT_EQ(versions("a; b,c"), (List{"a", "b", "c"}));
  EXPECT_EQ(versions("1.0 beta\t2\r\n3,,"), (List{"1.0 beta", "2", "3"}));
  EXPECT_EQ(versions(", ;; ,\t"), List{"libtgvoip"});
  EXPECT_EQ(versions(""), List{"libtgvoip"});

  std::string forty;
  for (int i = 1; i <= 40; ++i) forty += std::to_string(i) + ", ";
  const List cut = versions(forty);
  ASSERT_EQ(cut.size(), 32U);
  EXPECT_EQ(cut.front(), "1");
  EXPECT_EQ(cut.back(), "32");
}

TEST_F(CallProtocol, RelayIsForcedByAnyNumberButZero) {
  setenv("LUMO_FORCE_RELAY", "-1", 1);
  EXPECT_EQ(make_call_protocol(),
            R"({"@type":"callProtocol","udp_p2p":false,"udp_reflector":true,"min_layer":65,)"
            R"("max_layer":92,"library_versions":["libtgvoip"]})");
  setenv("LUMO_FORCE_RELAY", "0", 1);
  EXPECT_TRUE(get_call_protocol_spec().udp_p2p);
}

TEST_F(CallProtocol, LongListsAreShortInTheLog) {
  EXPECT_EQ(call_versions_for_log({}), "[]");
  EXPECT_EQ(call_versions_for_log({"a", "b"}), "[a,b]");
  const std::string first(100, 'x');
  EXPECT_EQ(call_versions_for_log({first, std::string(59, 'y')}),
            "[" + first + "," + std::string(59, 'y') + "]");
  EXPECT_EQ(call_versions_for_log({first, std::string(60, 'y'), "z"}), "[" + first + ",...]");
  EXPECT_EQ(call_versions_for_log({std::string(5000, 'v')}), "[" + std::string(160, 'v') + "]");
}

}  // namespace
