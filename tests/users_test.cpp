// The user cache: what a user object tells, what the UI is told of it, and the measured queue.
#include "state/users.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "frame/clock.h"
#include "state/learn_user.h"
#include "state/message_events.h"
#include "tests/event_lines.h"

namespace {

using Strings = std::vector<std::string>;

std::vector<std::string> g_sent;
const TdClient kClient{[](int, const char* request) { g_sent.emplace_back(request); }, 1};

class Users : public ::testing::Test {
 protected:
  void SetUp() override {
    g_user_cache.clear();
    g_user_requested.clear();
    g_user_request_queue.clear();
    g_next_user_request_at_ms = 0;
    g_sent.clear();
  }
  EventLines lines;
};

constexpr const char* kFile =
    R"({"@type":"file","id":61,"size":9,"local":{"@type":"localFile","id":3},"remote":{"id":"A"}})";

// A user with every member that TDLib knows, and the names that count nested in it.
std::string real_user(const std::string& usernames, const std::string& status) {
  return std::string(R"({"@type":"updateUser","user":{"@type":"user","id":5100000007,)") +
         R"("first_name":"A\u00f1a","last_name":"O\"N",)" + usernames +
         R"("phone_number":"1555",)" + status +
         R"("profile_photo":{"@type":"profilePhoto","id":"5310000000000000111","small":)" + kFile +
         R"(,"big":{"@type":"file","id":62},"minithumbnail":{"@type":"minithumbnail","id":63}},)"
         R"("upgraded_gift_colors":{"@type":"upgradedGiftColors","id":"9","username":"bad"},)"
         R"("emoji_status":{"@type":"emojiStatus","type":{"@type":"emojiStatusTypeUpgradedGift",)"
         R"("status":{"@type":"userStatusOnline","expires":7},"username":"bad",)"
         R"("editable_username":"bad"},"expiration_date":0},"is_contact":true,)"
         R"("restriction_info":{"@type":"restrictionInfo","first_name":"bad","last_name":"bad"},)"
         R"("type":{"@type":"userTypeBot","usernames":{"editable_username":"bad"},)"
         R"("active_usernames":["bad"]},"language_code":"en"},"@client_id":1})";
}

const std::string kUsernames =
    R"("usernames":{"@type":"usernames","active_usernames":["first","second"],)"
    R"("disabled_usernames":["off"],"editable_username":"mine"},)";
const std::string kOnline = R"("status":{"@type":"userStatusOnline","expires":1760000300},)";

TEST_F(Users, EveryValueComesFromTheUser) {
  EXPECT_EQ(learn_user(real_user(kUsernames, kOnline)), 5100000007);
  EXPECT_EQ(lines.take(),
            Strings{R"({"type":"user","id":5100000007,"name":"Aña O\"N","photo_small_id":61,)"
                    R"("status_type":"online","expires":1760000300})"});
  const UserInfo* user = find_user(5100000007);
  ASSERT_NE(user, nullptr);
  EXPECT_EQ(user->username, "mine");
  EXPECT_EQ(learn_user(real_user(kUsernames, kOnline)), 5100000007);
  EXPECT_TRUE(lines.take().empty()) << "nothing changed";
}

TEST_F(Users, Usernames) {
  const std::string cases[][2] = {
      {R"("usernames":{"active_usernames":["first"],"editable_username":""},)", "first"},
      {R"("usernames":{"editable_username":"late","active_usernames":["first"]},)", "late"},
      {R"("usernames":{"active_usernames":[],"editable_username":""},)", ""},
      {R"("username":"plain",)", "plain"},
      {R"("active_usernames":["bare"],)", "bare"},
      {"", ""},
  };
  for (const auto& test : cases) {
    learn_user(real_user(test[0], kOnline));
    EXPECT_EQ(find_user(5100000007)->username, test[1]) << test[0];
  }
}

TEST_F(Users, Statuses) {
  const std::string cases[][2] = {
      {R"({"@type":"userStatusOnline","expires":70,"was_online":1})",
       R"("status_type":"online","expires":70)"},
      {R"({"@type":"userStatusOffline","was_online":80,"expires":1})",
       R"("status_type":"offline","was_online":80)"},
      {R"({"@type":"userStatusOffline","was_online":-1})", R"("status_type":"offline")"},
      {R"({"@type":"userStatusRecently","by_my_privacy_settings":true})",
       R"("status_type":"recently")"},
      {R"({"@type":"userStatusLastWeek"})", R"("status_type":"last_week")"},
      {R"({"@type":"userStatusLastMonth"})", R"("status_type":"last_month")"},
      {R"({"@type":"userStatusEmpty"})", R"("status_type":"empty")"},
  };
  const std::string head =
      R"({"type":"user","id":5100000007,"name":"Aña O\"N","photo_small_id":61,)";
  for (const auto& test : cases) {
    learn_user(real_user("", R"("status":)" + test[0] + ","));
    EXPECT_EQ(lines.take(), Strings{head + test[1] + "}"});
  }
  learn_user(real_user("", ""));
  EXPECT_EQ(lines.take(), Strings{head.substr(0, head.size() - 1) + "}"});
  // The same by an update of the presence alone.
  for (const auto& test : cases) {
    const std::string update =
        R"({"@type":"updateUserStatus","user_id":5100000007,"status":)" + test[0] + "}";
    learn_user_status(update);
    EXPECT_EQ(lines.take(), Strings{head + test[1] + "}"});
    learn_user_status(update);
    EXPECT_TRUE(lines.take().empty()) << test[0];
  }
}

TEST_F(Users, PresenceOfAStrangerIsNotTold) {
  learn_user_status(
      R"({"@type":"updateUserStatus","user_id":8,"status":{"@type":"userStatusRecently"}})");
  learn_user_status(R"({"@type":"updateUserStatus","status":{"@type":"userStatusRecently"}})");
  EXPECT_TRUE(lines.take().empty());
  EXPECT_EQ(find_user(8), nullptr);
}

TEST_F(Users, DisplayNames) {
  const char* cases[][4] = {
      {"Ann", "", "ann_x", "Ann"},
      {"", "Lee", "ann_x", "Lee"},
      {"Ann", "Lee", "x", "Ann Lee"},
      {"", "", "ann_x", "ann_x"},
      {"", "", "", ""},
  };
  for (const auto& test : cases) {
    UserInfo user;
    user.first_name = test[0];
    user.last_name = test[1];
    user.username = test[2];
    EXPECT_EQ(user_display_name(user), test[3]);
  }
}

TEST_F(Users, BadUserObjects) {
  for (const char* json :
       {"", R"({"@type":"user","id":0,"first_name":"A"})", R"({"@type":"user","id":-4})",
        R"({"@type":"user","id":"4"})", R"({"@type":"user","id":99999999999999999999})",
        R"({"@type":"userFullInfo","id":4})"}) {
    EXPECT_EQ(learn_user(json), 0) << json;
  }
  EXPECT_EQ(g_user_cache.size(), 0U);
  EXPECT_TRUE(lines.take().empty());
  // One that breaks off is what came whole; half a number or string is worth nothing.
  EXPECT_EQ(learn_user(R"({"@type":"user","id":4)"), 0);
  EXPECT_EQ(learn_user(R"({"@type":"user","id":4,"first_name":"Ann","last_name":"Le)"), 4);
  EXPECT_EQ(lines.take(), Strings{R"({"type":"user","id":4,"name":"Ann"})"});
  EXPECT_EQ(learn_user(R"({"@type":"user","id":4,"first_name":"Ann","profile_photo":{"id":"5",)"
                       R"("small":{"@type":"file","id":6,)"),
            4);
  EXPECT_EQ(lines.take(), Strings{R"({"type":"user","id":4,"name":"Ann","photo_small_id":6})"});
  EXPECT_EQ(learn_user(R"({"@type":"user","id": 5,"first_name": "Bob"})"), 5);
  EXPECT_EQ(lines.take(), Strings{R"({"type":"user","id":5,"name":"Bob"})"});
}

TEST_F(Users, NamesInText) {
  learn_user(R"({"@type":"user","id":4,"first_name":"Ann"})");
  learn_user(R"({"@type":"user","id":5})");
  std::vector<std::int64_t> missing;
  EXPECT_EQ(resolve_user_name(0, missing), "Someone");
  EXPECT_EQ(resolve_user_name(-3, missing), "Someone");
  EXPECT_EQ(resolve_user_name(4, missing), "Ann");
  EXPECT_TRUE(missing.empty());
  EXPECT_EQ(resolve_user_name(42, missing), "User 42");
  EXPECT_EQ(resolve_user_name(5, missing), "User 5") << "a nameless user is missing, too";
  EXPECT_EQ(resolve_user_name(42, missing), "User 42");
  EXPECT_EQ(missing, (std::vector<std::int64_t>{42, 5}));
  EXPECT_EQ(g_user_request_queue, (std::vector<std::int64_t>{42})) << "and is not asked for again";
}

TEST_F(Users, RequestsLeaveLastFirstAndSixtyMillisecondsApart) {
  for (const std::int64_t id : {41, 42, 43, 42, 0, -1}) queue_user_request(id);
  send_next_user_request(kClient);
  EXPECT_EQ(g_sent, Strings{R"({"@type":"getUser","user_id":43,"@extra":"getUser:43"})"});
  const std::int64_t now = mono_ms();
  EXPECT_GE(g_next_user_request_at_ms, now);
  EXPECT_LE(g_next_user_request_at_ms, now + 60);
  // Not before the time has come.
  g_next_user_request_at_ms = now + 1000000;
  send_next_user_request(kClient);
  EXPECT_EQ(g_sent.size(), 1U);
  for (int i = 0; i < 3; ++i) {
    g_next_user_request_at_ms = mono_ms();
    send_next_user_request(kClient);
  }
  EXPECT_EQ(g_sent, (Strings{R"({"@type":"getUser","user_id":43,"@extra":"getUser:43"})",
                             R"({"@type":"getUser","user_id":42,"@extra":"getUser:42"})",
                             R"({"@type":"getUser","user_id":41,"@extra":"getUser:41"})"}));
  // Each is asked for once, whether or not an answer has come.
  queue_user_request(42);
  EXPECT_TRUE(g_user_request_queue.empty());
}

TEST_F(Users, SenderWhoIsNotKnownIsRequested) {
  learn_user(real_user("", ""));
  const Sender known = find_sender(5100000007);
  EXPECT_EQ(known.name, "Aña O\"N");
  EXPECT_EQ(known.photo_small_id, 61);
  EXPECT_TRUE(g_user_request_queue.empty());
  const Sender stranger = find_sender(9);
  EXPECT_EQ(stranger.user_id, 9);
  EXPECT_EQ(stranger.name, "");
  find_sender(0);
  EXPECT_EQ(g_user_request_queue, std::vector<std::int64_t>{9});
}

// Ids as they come (small, consecutive, large, negative) all find their own entry again.
TEST(IdTable, KeepsEveryEntryWhereItIs) {
  IdTable<std::int64_t> table;
  EXPECT_EQ(table.find(1), nullptr);
  std::vector<std::int64_t> ids;
  for (std::int64_t i = 0; i < 5000; ++i) {
    ids.push_back(i);
    ids.push_back(-1000000000000 - i * 4096);
    ids.push_back(((i + 1) << 32) + 7);
  }
  std::vector<const std::int64_t*> places;
  for (const std::int64_t id : ids) {
    table.get(id) = id;
    places.push_back(table.find(id));
  }
  EXPECT_EQ(table.size(), ids.size());
  for (std::size_t i = 0; i < ids.size(); ++i) {
    ASSERT_EQ(table.find(ids[i]), places[i]);
    ASSERT_EQ(*places[i], ids[i]);
  }
  EXPECT_EQ(table.find(5000), nullptr);
  table.clear();
  EXPECT_EQ(table.find(1), nullptr);
  EXPECT_EQ(table.size(), 0U);
}

}  // namespace
