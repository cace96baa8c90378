// Which new messages become notifications, when, and what is said of the others.
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "tests/support/backend_run.h"

namespace {

std::string text_message(std::int64_t chat_id, std::int64_t id, const std::string& text,
                         const std::string& more = "") {
  return R"({"@type":"updateNewMessage","message":{"@type":"message","id":)" + std::to_string(id) +
         R"(,"sender_id":{"@type":"messageSenderUser","user_id":7},"chat_id":)" +
         std::to_string(chat_id) + more +
         R"(,"date":100,"content":{"@type":"messageText","text":{"@type":"formattedText","text":")" +
         text + R"(","entities":[]}}}})";
}

std::string chat_settings(std::int64_t chat_id, const std::string& members) {
  return R"({"@type":"updateChatNotificationSettings","chat_id":)" + std::to_string(chat_id) +
         R"(,"notification_settings":{"@type":"chatNotificationSettings",)" + members + "}}";
}

std::string scope_settings(const std::string& scope, int mute_for) {
  return R"({"@type":"updateScopeNotificationSettings","scope":{"@type":"notificationSettingsScope)" +
         scope + R"("},"notification_settings":{"@type":"scopeNotificationSettings","mute_for":)" +
         std::to_string(mute_for) + R"(,"sound_id":"0","show_preview":true}})";
}

std::string chat_object(std::int64_t chat_id, const std::string& type, const std::string& title,
                        const std::string& settings) {
  return R"({"@type":"chat","id":)" + std::to_string(chat_id) + R"(,"type":{"@type":")" + type +
         R"("},"title":")" + title +
         R"(","positions":[],"unread_count":0,)"
         R"("notification_settings":{"@type":"chatNotificationSettings",)" +
         settings + "}}";
}

Lines notifications(BackendRun& run) {
  Lines found;
  for (const std::string& line : run.events()) {
    if (line.find("\"hub_notify_message\"") != std::string::npos) found.push_back(line);
  }
  return found;
}

Lines hub_lines(BackendRun& run) {
  Lines found;
  for (const std::string& line : run.dbg_lines()) {
    if (line.rfind("HUB_", 0) == 0) found.push_back(line);
  }
  return found;
}

struct Notifications : testing::TestWithParam<Mode> {
  BackendRun run{GetParam()};
};
INSTANTIATE_TEST_SUITE_P(BothModes, Notifications, testing::Values(Mode::kUi, Mode::kHub),
                         [](const auto& param) { return param.param == Mode::kUi ? "ui" : "hub"; });

TEST_P(Notifications, FollowTheChatsOwnSetting) {
  run.start();
  run.login();
  run.deliver(chat_settings(5, R"("use_default_mute_for":false,"mute_for":0)"));
  run.deliver(text_message(5, 50, "hi"));
  EXPECT_EQ(notifications(run), Lines{R"({"type":"hub_notify_message","chat_id":5,"message_id":50,)"
                                      R"("date":100,"text":"hi"})"});
  run.deliver(text_message(5, 51, "mine", R"(,"is_outgoing":true)"));
  run.deliver(chat_settings(5, R"("use_default_mute_for":false,"mute_for":9999999999)"));
  run.deliver(text_message(5, 52, "muted"));
  EXPECT_EQ(notifications(run), Lines{});
  EXPECT_EQ(hub_lines(run), Lines{"HUB_SKIP chat_id=5 reason=muted"});
  // What does not parse changes nothing.
  run.deliver(chat_settings(5, R"("sound_id":"0")"));
  run.deliver(text_message(5, 53, "still muted"));
  EXPECT_EQ(hub_lines(run), Lines{"HUB_SKIP chat_id=5 reason=muted"});
}

TEST_P(Notifications, WaitForTheScopesDefaultAndKeepTheNewest) {
  run.start();
  run.login();
  run.deliver(text_message(-40, 1, "first"));
  run.deliver(text_message(-40, 2, std::string(300, 'x')));
  EXPECT_EQ(hub_lines(run), (Lines{"HUB_DEFER chat_id=-40 reason=mute_unknown",
                                   "HUB_DEFER chat_id=-40 reason=mute_unknown"}));
  run.answer(chat_object(-40, "chatTypeBasicGroup\",\"basic_group_id\":40,\"x\":\"", "Club",
                         R"("use_default_mute_for":true,"mute_for":0)"),
             "liveGetChat:-40");
  run.answer(R"({"@type":"basicGroup","id":40,"member_count":2,)"
             R"("status":{"@type":"chatMemberStatusMember","member_until_date":0}})",
             "liveMember:-40:bg:40");
  run.deliver(scope_settings("PrivateChats", 0));
  run.deliver(scope_settings("ChannelChats", 0));
  EXPECT_EQ(notifications(run), Lines{});
  run.answer(R"({"@type":"scopeNotificationSettings","mute_for":0,"sound_id":"1"})", "scope:group");
  EXPECT_EQ(notifications(run),
            Lines{R"({"type":"hub_notify_message","chat_id":-40,"message_id":2,)"
                  R"("date":100,"chat_title":"Club","text":")" +
                  std::string(256, 'x') + R"(..."})"});
  const Lines log = run.dbg_lines();
  EXPECT_EQ(log.back(), "SCOPE_SETTINGS extra=scope:group mute_for=0");
  // Settled once, and not again.
  run.deliver(scope_settings("GroupChats", 0));
  EXPECT_EQ(notifications(run), Lines{});
  EXPECT_EQ(run.dbg_lines(), Lines{"SCOPE_UPDATE scope=group mute_for=0"});
  run.deliver(scope_settings("Odd", 3));
  EXPECT_EQ(run.dbg_lines(), Lines{"SCOPE_UPDATE scope=unknown mute_for=3"});
}

TEST_P(Notifications, EndWhenTheChatTurnsOutMutedOrLeft) {
  run.start();
  run.login();
  run.deliver(text_message(5, 1, "a"));
  run.deliver(text_message(6, 2, "b"));
  run.answer(R"({"@type":"ok"})", "leave:6");
  run.forget();
  run.deliver(chat_settings(5, R"("use_default_mute_for":false,"mute_for":10)"));
  run.deliver(chat_settings(6, R"("use_default_mute_for":false,"mute_for":0)"));
  run.deliver(text_message(6, 3, "c"));
  EXPECT_EQ(notifications(run), Lines{});
  EXPECT_EQ(hub_lines(run), (Lines{"HUB_SKIP chat_id=5 reason=muted_pending",
                                   "HUB_SKIP chat_id=6 reason=not_member"}));
}

// The chat object brings the mute state, the verdict is still owed: a newer message waits, too.
TEST_P(Notifications, NeverGoBackInTime) {
  run.start();
  run.login();
  run.deliver(text_message(-40, 1, "first"));
  run.answer(chat_object(-40, "chatTypeBasicGroup\",\"basic_group_id\":40,\"x\":\"", "Club",
                         R"("use_default_mute_for":false,"mute_for":0)"),
             "liveGetChat:-40");
  run.deliver(text_message(-40, 2, "second"));
  EXPECT_EQ(notifications(run), Lines{});
  run.answer(R"({"@type":"basicGroup","id":40,"status":{"@type":"chatMemberStatusMember"}})",
             "liveMember:-40:bg:40");
  EXPECT_EQ(notifications(run), Lines{R"({"type":"hub_notify_message","chat_id":-40,)"
                                      R"("message_id":2,"date":100,"chat_title":"Club",)"
                                      R"("text":"second"})"});
}

TEST(Membership, FollowsTheGroup) {
  BackendRun run;
  run.start();
  run.login();
  const auto group = [](const std::string& status) {
    return R"({"@type":"updateBasicGroup","basic_group":{"@type":"basicGroup","id":40,"status":)"
           R"({"@type":"chatMemberStatus)" +
           status + R"("}}})";
  };
  const std::string chat = chat_object(-40, "chatTypeBasicGroup\",\"basic_group_id\":40,\"x\":\"",
                                       "Club", R"("use_default_mute_for":false,"mute_for":0)");
  const std::string answer =
      R"({"@type":"basicGroup","id":40,"status":{"@type":"chatMemberStatusMember"}})";
  run.deliver(R"({"@type":"updateChatReadInbox","chat_id":-40,"unread_count":1})");
  run.answer(chat, "liveGetChat:-40");
  run.answer(answer, "liveMember:-40:bg:40");
  (void)run.events();
  run.deliver(R"({"@type":"updateChatDraftMessage","chat_id":-40,"positions":[{"@type":)"
              R"("chatPosition","list":{"@type":"chatListMain"},"order":"9"}]})");
  run.deliver(R"({"@type":"updateChatRemovedFromList","chat_id":-40,"chat_list":)"
              R"({"@type":"chatListArchive"}})");
  run.deliver(R"({"@type":"updateChatRemovedFromList","chat_id":-40,"chat_list":)"
              R"({"@type":"chatListMain"}})");
  EXPECT_EQ(run.events(), (Lines{R"({"type":"chat_position","chat_id":-40,"order":9})",
                                 R"({"type":"chat_position","chat_id":-40,"order":0})"}));
  run.deliver(group("Member"));
  EXPECT_EQ(run.events(), Lines{});
  run.deliver(group("Left"));
  run.deliver(group("Left"));
  EXPECT_EQ(run.events(), Lines{R"({"type":"chat_position","chat_id":-40,"order":0})"});
  run.deliver(R"({"@type":"updateChatReadInbox","chat_id":-40,"unread_count":2})");
  run.deliver(R"({"@type":"updateChatPhoto","chat_id":-40,"photo":null})");
  EXPECT_EQ(run.events(), Lines{});
  run.deliver(group("Member"));
  run.answer(chat, "liveGetChat:-40");
  run.answer(answer, "liveMember:-40:bg:40");
  ASSERT_EQ(run.events().size(), 1U);
  // A new photo shows in the row, which is fetched once more.
  run.deliver(R"({"@type":"updateChatPhoto","chat_id":-40,"photo":null})");
  run.answer(chat, "liveGetChat:-40");
  run.answer(answer, "liveMember:-40:bg:40");
  EXPECT_EQ(run.events().size(), 1U);
}

TEST(NotificationSettings, AreToldToTheUi) {
  BackendRun run;
  run.start();
  run.login();
  run.deliver(chat_settings(5, R"("use_default_mute_for":true,"mute_for":0)"));
  run.deliver(chat_settings(5, R"("use_default_mute_for":false,"mute_for":60)"));
  run.deliver(chat_settings(5, R"("mute_for":0)"));
  EXPECT_EQ(run.events(),
            (Lines{R"({"type":"chat_notify","chat_id":5,"muted_known":false,"muted":false,)"
                   R"("mute_for":0,"use_default_mute_for":true})",
                   R"({"type":"chat_notify","chat_id":5,"muted_known":true,"muted":true,)"
                   R"("mute_for":60,"use_default_mute_for":false})",
                   R"({"type":"chat_notify","chat_id":5,"muted_known":false,"muted":false,)"
                   R"("mute_for":0,"use_default_mute_for":true})"}));
  EXPECT_EQ(run.dbg_lines(), (Lines{"CHAT_NOTIFY chat_id=5 mute_for=0 use_default_mute_for=1",
                                    "CHAT_NOTIFY chat_id=5 mute_for=60 use_default_mute_for=0",
                                    "CHAT_NOTIFY chat_id=5 mute_for=0 use_default_mute_for=1"}));
}

TEST(NotificationsOfTheOpenChat, AreLeftOutOnlyWhileTheUiIsActive) {
  BackendRun run;
  run.hold_clock();
  run.start();
  run.login();
  for (const int chat : {5, 6}) {
    run.deliver(chat_settings(chat, R"("use_default_mute_for":false,"mute_for":0)"));
  }
  run.send_line("open 5");
  run.forget();
  run.deliver(text_message(5, 1, "no marker file yet"));
  EXPECT_EQ(notifications(run).size(), 1u);

  // Files carry the real clock's time; the held wall clock is long past, so the marker is young.
  std::ofstream(run.dir().path() + "/ui_running.txt") << "1";
  run.advance_ms(499);
  run.deliver(text_message(5, 2, "the last look counts for half a second"));
  EXPECT_EQ(notifications(run).size(), 1u);
  run.advance_ms(1);
  run.deliver(text_message(5, 3, "on screen"));
  run.deliver(text_message(6, 4, "elsewhere"));
  EXPECT_EQ(notifications(run), Lines{R"({"type":"hub_notify_message","chat_id":6,"message_id":4,)"
                                      R"("date":100,"text":"elsewhere"})"});
  run.send_line("close 6");
  run.deliver(text_message(5, 5, "another chat was closed"));
  EXPECT_EQ(notifications(run), Lines{});
  run.send_line("close 5");
  run.deliver(text_message(5, 6, "closed"));
  EXPECT_EQ(notifications(run).size(), 1u);
}

}  // namespace
