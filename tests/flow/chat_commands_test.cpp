// The commands that act on whole chats: what they send, what their answers and errors tell.
#include <gtest/gtest.h>

#include "tests/support/backend_run.h"
#include "tests/support/chat_texts.h"

namespace {

const std::string kOk = R"({"@type":"ok"})";
const std::string kError = R"({"@type":"error","code":400,"message":"No \"luck\""})";
const std::string kErrorMembers = R"(,"code":400,"message":"No \"luck\""})";

struct ChatCommands : ::testing::Test {
  BackendRun run;
  void SetUp() override {
    run.start();
    run.login();
  }
  // The line's only effect is this request and log line.
  void expect_sends(const std::string& line, const std::string& request, const std::string& log) {
    run.send_line(line);
    EXPECT_EQ(run.requests(), Lines{request}) << line;
    EXPECT_EQ(run.dbg_lines(), Lines{log}) << line;
    EXPECT_EQ(run.events(), Lines{}) << line;
  }
  // The answer's only effect is these lines.
  void expect_tells(const std::string& answer, const std::string& tag, const Lines& events,
                    const Lines& log) {
    run.answer(answer, tag);
    EXPECT_EQ(run.events(), events) << tag;
    EXPECT_EQ(run.dbg_lines(), log) << tag;
    EXPECT_EQ(run.requests(), Lines{}) << tag;
  }
};

TEST(ChatCommandReplies, UsageBeforeTheGateAndOkBehindIt) {
  BackendRun run;
  run.without_events();
  run.start();
  run.forget();
  const std::string usages[][2] = {{"resolve", "<username>"},    {"chat_info", "<chat_id>"},
                                   {"user_info", "<user_id>"},   {"open_user_chat", "<user_id>"},
                                   {"join", "<chat_id>"},        {"leave", "<chat_id>"},
                                   {"delete_chat", "<chat_id>"}, {"clear_history", "<chat_id>"},
                                   {"mute_toggle", "<chat_id>"}};
  for (const auto& usage : usages) {
    Lines bad{usage[0]};
    if (usage[0] == "resolve") {
      bad.push_back("resolve @");
      bad.push_back("resolve @ ann");
    } else {
      for (const char* argument : {" 0", " x", " 5x", " 99999999999999999999"}) {
        bad.push_back(usage[0] + argument);
      }
    }
    for (const std::string& line : bad) {
      run.send_line(line);
      EXPECT_EQ(run.replies(), Lines{"ERR usage " + usage[0] + " " + usage[1]}) << line;
    }
    run.send_line(usage[0] + " 5");
    EXPECT_EQ(run.replies(), Lines{"ERR not_ready"});
    EXPECT_EQ(run.dbg_lines(), Lines{"ERR " + usage[0] + " not_ready"});
  }
  run.send_line("chats");
  EXPECT_EQ(run.replies(), Lines{"ERR not_ready"});
  EXPECT_EQ(run.requests(), Lines{});
  run.login();
  for (const auto& usage : usages) {
    run.send_line(usage[0] + " 5");
    EXPECT_EQ(run.replies(), Lines{usage[0] == "mute_toggle" ? "ERR mute_toggle_settings_missing"
                                                             : "OK " + usage[0]});
  }
  run.send_line("chats");
  EXPECT_EQ(run.replies(), Lines{"OK chats"});
}

TEST_F(ChatCommands, Resolve) {
  for (const char* line : {"resolve ann:b", "resolve @ann:b", "resolve  @ann:b more"}) {
    expect_sends(line,
                 R"({"@type":"searchPublicChat","username":"ann:b","@extra":"resolve:ann:b"})",
                 "SEND searchPublicChat");
  }
  expect_sends(R"(resolve a"\b)",
               R"({"@type":"searchPublicChat","username":"a\"\\b","@extra":"resolve:a\"\\b"})",
               "SEND searchPublicChat");
  ChatText chat;
  chat.id = 5;
  chat.type = private_type(5);
  chat.last_message = trap_message(5, 6);
  // The library echoes what is not ASCII as escapes.
  expect_tells(chat_text(chat), R"(resolve:\u00fc:\"\\)",
               {R"({"type":"tg_resolve","username":"ü:\"\\","chat_id":5,"photo_small_id":0})"},
               {"RESOLVE ok"});
  chat.photo = photo_info(21, 22);
  expect_tells(chat_text(chat), "resolve:ann",
               {R"({"type":"tg_resolve","username":"ann","chat_id":5,"photo_small_id":21})"},
               {"RESOLVE ok"});
  expect_tells(kError, "resolve:ann:b",
               {R"({"type":"tg_resolve_error","username":"ann:b")" + kErrorMembers},
               {"TD_ERROR resolve"});
  expect_tells(R"({"@type":"chat","title":"no id"})", "resolve:ann", {}, {});
  // The chat is in the caches now.
  run.send_line("open_user_chat 5");
  EXPECT_EQ(run.events(), Lines{R"({"type":"open_user_chat","user_id":5,"chat_id":5})"});
}

TEST_F(ChatCommands, OpenUserChat) {
  const std::string create =
      R"({"@type":"createPrivateChat","user_id":7,"force":true,"@extra":"openUserChat:7"})";
  expect_sends("open_user_chat 7", create, "SEND createPrivateChat (open_user_chat)");
  expect_tells(kError, "openUserChat:7",
               {R"({"type":"open_user_chat_error","user_id":7)" + kErrorMembers},
               {"TD_ERROR createPrivateChat (open_user_chat)"});
  ChatText chat;
  chat.type = secret_type(3, 7);
  chat.id = 70;
  run.deliver(R"({"@type":"updateNewChat","chat":)" + chat_text(chat) + "}");
  run.send_line("open_user_chat 7");  // for want of an ordinary one
  EXPECT_EQ(run.events(), Lines{R"({"type":"open_user_chat","user_id":7,"chat_id":70})"});
  run.forget();
  chat.id = 7;
  chat.type = private_type(7);
  chat.title = "Ann \\\"A\\\"";
  expect_tells(chat_text(chat), "openUserChat:7",
               {R"({"type":"open_user_chat","user_id":7,"chat_id":7,"title":"Ann \"A\""})"}, {});
  chat.id = 70;
  chat.type = secret_type(3, 7);
  run.deliver(R"({"@type":"updateNewChat","chat":)" + chat_text(chat) + "}");
  run.send_line("open_user_chat 7");
  EXPECT_EQ(run.events(), Lines{R"({"type":"open_user_chat","user_id":7,"chat_id":7})"});
  EXPECT_EQ(run.requests(), Lines{});
  EXPECT_EQ(run.dbg_lines(), Lines{"HIT peer_user_chat_id_cache (open_user_chat)"});
  for (const char* tag : {"openUserChat:", "openUserChat:x"}) {
    expect_tells(chat_text(chat), tag, {}, {});
  }
}

TEST_F(ChatCommands, JoinLeaveAndClear) {
  expect_sends("join -9", R"({"@type":"joinChat","chat_id":-9,"@extra":"join:-9"})",
               "SEND joinChat");
  expect_sends("leave -9", R"({"@type":"leaveChat","chat_id":-9,"@extra":"leave:-9"})",
               "SEND leaveChat");
  expect_sends("clear_history -9",
               R"({"@type":"deleteChatHistory","chat_id":-9,"remove_from_chat_list":false,)"
               R"("revoke":false,"@extra":"clearHistory:-9"})",
               "SEND deleteChatHistory (clear)");
  expect_tells(kOk, "join:-9", {R"({"type":"chat_joined","chat_id":-9})"},
               {"TD_OK join chat_id=-9"});
  expect_tells(kOk, "leave:-9", {R"({"type":"chat_left","chat_id":-9})"},
               {"TD_OK leave chat_id=-9"});
  expect_tells(kOk, "clearHistory:-9", {R"({"type":"history_cleared","chat_id":-9})"},
               {"TD_OK clearHistory chat_id=-9"});
  for (const char* tag : {"join", "join:", "join:0", "join:x", "leave:", "clearHistory:0",
                          "deleteChatHistory:", "muteToggle:-9", "muteToggle:", "muteToggle:0:5"}) {
    expect_tells(kOk, tag, {}, {});
  }
  const std::string actions[][2] = {{"join", "join"},
                                    {"leave", "leave"},
                                    {"clearHistory", "clear_history"},
                                    {"muteToggle", "mute"}};
  for (const auto& action : actions) {
    expect_tells(
        kError, action[0] + ":-9:5:6",
        {R"({"type":"action_error","action":")" + action[1] + R"(","chat_id":-9)" + kErrorMembers},
        {"TD_ERROR action=" + action[1] + " chat_id=-9"});
  }
  expect_tells(R"({"@type":"error","code":403,"message":""})", "join:-9",
               {R"({"type":"action_error","action":"join","chat_id":-9,"code":403})"},
               {"TD_ERROR action=join chat_id=-9"});
}

TEST_F(ChatCommands, DeleteChat) {
  const std::string send =
      R"({"@type":"deleteChatHistory","chat_id":-9,"remove_from_chat_list":true,"revoke":false,)"
      R"("@extra":"deleteChatHistory:-9"})";
  const std::string deleted = R"({"type":"chat_deleted","chat_id":-9})";
  expect_sends("delete_chat -9", send, "SEND deleteChatHistory (remove)");
  expect_tells(kOk, "deleteChatHistory:-9", {deleted}, {"TD_OK deleteChatHistory chat_id=-9"});
  const std::string refused =
      R"({"type":"action_error","action":"delete_chat","chat_id":-9)" + kErrorMembers;
  // Not known, then known, then known as a member: each time the error is told.
  ChatText chat;
  chat.id = -9;
  chat.type = basic_type(9);
  for (int step = 0; step < 3; ++step) {
    if (step == 1) run.deliver(R"({"@type":"updateNewChat","chat":)" + chat_text(chat) + "}");
    if (step == 2) run.answer(kOk, "join:-9");
    run.forget();
    expect_tells(kError, "deleteChatHistory:-9", {refused},
                 {"TD_ERROR action=delete_chat chat_id=-9"});
  }
  run.answer(kOk, "leave:-9");
  run.forget();
  expect_tells(kError, "deleteChatHistory:-9", {deleted},
               {"TD_ERROR deleteChatHistory chat_id=-9 fallback=local_remove"});
  run.send_line("delete_chat -9");
  EXPECT_EQ(run.events(), Lines{deleted});
  EXPECT_EQ(run.dbg_lines(), Lines{"DELETE_CHAT local_remove chat_id=-9 reason=not_member"});
  EXPECT_EQ(run.requests(), Lines{});
}

TEST_F(ChatCommands, ADeletedChatThatSpeaksAgainIsDescribedAnew) {
  const std::string update = R"({"@type":"updateChatReadInbox","chat_id":8,"unread_count":1})";
  ChatText chat;
  chat.id = 8;
  chat.type = private_type(8);
  run.deliver(update);
  run.answer(chat_text(chat), "liveGetChat:8");
  run.answer(kOk, "deleteChatHistory:8");
  run.forget();
  run.deliver(update);
  EXPECT_EQ(run.requests(), Lines{R"({"@type":"getChat","chat_id":8,"@extra":"liveGetChat:8"})"});
}

TEST_F(ChatCommands, MuteToggle) {
  run.deliver(R"({"@type":"updateChatNotificationSettings","chat_id":8})");
  run.send_line("mute_toggle 8");
  EXPECT_EQ(run.dbg_lines(), Lines{"MUTE_TOGGLE chat_id=8 missing_notification_settings"});
  ChatText chat;
  chat.id = 8;
  chat.type = private_type(8);
  const auto learn = [&](const std::string& settings) {
    chat.settings = settings;
    run.answer(chat_text(chat), "openUserChat:8");
    run.forget();
  };
  const auto sends = [&](const std::string& settings, const std::string& mute_for) {
    expect_sends("mute_toggle 8",
                 R"({"@type":"setChatNotificationSettings","chat_id":8,"notification_settings":)" +
                     settings + R"(,"@extra":"muteToggle:8:)" + mute_for + "\"}",
                 "SEND setChatNotificationSettings (mute_toggle)");
  };
  // Settings without the number: kept for want of better ones, but not to be patched.
  learn(R"({"@type":"chatNotificationSettings","use_default_mute_for":true})");
  run.send_line("mute_toggle 8");
  EXPECT_EQ(run.dbg_lines(), Lines{"MUTE_TOGGLE chat_id=8 patch_failed"});
  EXPECT_EQ(run.requests(), Lines{});
  learn(mute_settings(true, 600));
  sends(mute_settings(false, 0), "0");  // the scope's default is not known: unmutes
  run.answer(R"({"@type":"scopeNotificationSettings","mute_for":0,"sound_id":"0"})",
             "scope:private");
  run.forget();
  sends(mute_settings(false, 2147483647), "2147483647");
  learn(mute_settings(false, 600));
  sends(mute_settings(false, 0), "0");
  learn(R"({"@type":"chatNotificationSettings","mute_for": -1,"use_default_mute_for": true})");
  sends(R"({"@type":"chatNotificationSettings","mute_for": 2147483647,)"
        R"("use_default_mute_for": false})",
        "2147483647");
  learn(R"({"@type":"chatNotificationSettings","mute_for":12345678901})");  // the flag missing
                                                                            // counts as the default
  sends(R"({"@type":"chatNotificationSettings","mute_for":2147483647})", "2147483647");
  // An update's settings are the newest.
  run.deliver(R"({"@type":"updateChatNotificationSettings","chat_id":8,"notification_settings":)" +
              mute_settings(false, 9) + "}");
  run.forget();
  sends(mute_settings(false, 0), "0");
  expect_tells(kOk, "muteToggle:8:0", {R"({"type":"chat_mute_toggled","chat_id":8,"muted":false})"},
               {"TD_OK muteToggle chat_id=8 muted=0"});
  expect_tells(kOk, "muteToggle:8:2147483647",
               {R"({"type":"chat_mute_toggled","chat_id":8,"muted":true})"},
               {"TD_OK muteToggle chat_id=8 muted=1"});
}

TEST_F(ChatCommands, UserInfo) {
  run.send_line("user_info 5");
  EXPECT_EQ(run.requests(),
            (Lines{R"({"@type":"getUser","user_id":5,"@extra":"userInfoUser:5"})",
                   R"({"@type":"getUserFullInfo","user_id":5,"@extra":"userInfoUserFull:5"})"}));
  EXPECT_EQ(run.dbg_lines(), Lines{"SEND getUser + getUserFullInfo (user_info)"});
  expect_tells(R"({"@type":"user","id":5,"first_name":"Ann","last_name":"B \"q\"","usernames":)"
               R"({"@type":"usernames","active_usernames":["ann_x"],"editable_username":"ann_e"},)"
               R"("phone_number":"49"})",
               "userInfoUser:5",
               {R"({"type":"user","id":5,"name":"Ann B \"q\""})",
                R"({"type":"user_info","user_id":5,"name":"Ann B \"q\"","username":"ann_e",)"
                R"("phone":"49"})"},
               {});
  const std::string full = R"({"@type":"userFullInfo","photo":{"bio":"no"},)";
  const std::string about = R"({"type":"user_info","user_id":5,"about":")";
  expect_tells(full + R"("bio":"plain \"q\""})", "userInfoUserFull:5", {about + R"(plain \"q\""})"},
               {});
  expect_tells(full + R"("bio":{"@type":"formattedText","text":"rich","entities":[]},)"
                      R"("note":{"@type":"formattedText","text":"note"}})",
               "userInfoUserFull:5", {about + R"(rich"})"}, {});
  expect_tells(full + R"("personal_chat_id":0})", "userInfoUserFull:5", {about + R"("})"}, {});
  expect_tells(kError, "userInfoUser:5", {}, {"TD_ERROR user_info"});
  expect_tells(kError, "userInfoUserFull:5", {}, {"TD_ERROR user_info"});
  expect_tells(R"({"@type":"user","id":0,"first_name":"Nobody"})", "userInfoUser:5", {}, {});
}

TEST_F(ChatCommands, ChatInfoOfAllTypes) {
  const std::string kinds[][6] = {
      {private_type(31), "private", "User", "getUser", "getUserFullInfo", "user_id"},
      {secret_type(9, 31), "secret", "User", "getUser", "getUserFullInfo", "user_id"},
      {basic_type(31), "basic_group", "Basic", "getBasicGroup", "getBasicGroupFullInfo",
       "basic_group_id"},
      {super_type(31, false), "supergroup", "Super", "getSupergroup", "getSupergroupFullInfo",
       "supergroup_id"},
      {super_type(31, true), "channel", "Super", "getSupergroup", "getSupergroupFullInfo",
       "supergroup_id"}};
  expect_sends("chat_info -30", R"({"@type":"getChat","chat_id":-30,"@extra":"chatInfo:-30"})",
               "SEND getChat (chat_info)");
  for (const auto& kind : kinds) {
    ChatText chat;
    chat.id = -30;
    chat.type = kind[0];
    chat.last_message = trap_message(-30, 4);
    chat.reactions = R"({"@type":"chatAvailableReactionsSome","reactions":[)"
                     R"({"@type":"reactionTypeEmoji","emoji":"\ud83d\udc4d"},)"
                     R"({"@type":"reactionTypeCustomEmoji","custom_emoji_id":"5"},)"
                     R"({"@type":"reactionTypeEmoji","emoji":"x\""}],"max_reaction_count":3})";
    run.answer(chat_text(chat), "chatInfo:-30");
    EXPECT_EQ(run.events(), Lines{R"({"type":"chat_info","chat_id":-30,"chat_type":")" + kind[1] +
                                  R"(","title":"Title","available_reactions_all":false,)"
                                  R"("available_reactions":["👍","x\""]})"});
    const std::string tag = R"(":31,"@extra":"chatInfo)" + kind[2];
    EXPECT_EQ(run.requests(),
              (Lines{R"({"@type":")" + kind[3] + R"(",")" + kind[5] + tag + R"(:-30:31"})",
                     R"({"@type":")" + kind[4] + R"(",")" + kind[5] + tag + R"(Full:-30:31"})"}));
  }
  expect_tells(R"({"@type":"chat","id":-30,"title":"T","available_reactions":)"
               R"({"@type":"chatAvailableReactionsAll","max_reaction_count":3}})",
               "chatInfo:-30",
               {R"({"type":"chat_info","chat_id":-30,"chat_type":"unknown","title":"T",)"
                R"("available_reactions_all":true,"available_reactions":[]})"},
               {});
  expect_tells(kError, "chatInfo:-30",
               {R"({"type":"chat_info_error","chat_id":-30)" + kErrorMembers},
               {"TD_ERROR getChat (chat_info)"});
}

TEST_F(ChatCommands, ChatInfoFollowUps) {
  const std::string head = R"({"type":"chat_info","chat_id":-30,)";
  expect_tells(R"({"@type":"user","id":31,"first_name":"Bo","phone_number":"7"})",
               "chatInfoUser:-30:31",
               {R"({"type":"user","id":31,"name":"Bo"})",
                head + R"("name":"Bo","username":"","phone":"7"})"},
               {});
  expect_tells(R"({"@type":"userFullInfo","bio":{"@type":"formattedText","text":"hi"}})",
               "chatInfoUserFull:-30:31", {head + R"("about":"hi"})"}, {});
  const std::string super = R"({"@type":"supergroup","id":31,"usernames":{"@type":"usernames",)"
                            R"("active_usernames":["first","second"],"disabled_usernames":[],)"
                            R"("editable_username":")";
  const std::string tail = R"("},"date":5,"member_count":12,"status":)";
  expect_tells(super + "edit" + tail + status_text("Administrator") + "}", "chatInfoSuper:-30:31",
               {head + R"("username":"edit","member_count":12,"is_member":true,"can_send":true})"},
               {});
  expect_tells(
      super + tail + status_text("Member") + "}", "chatInfoSuper:-30:31",
      {head + R"("username":"first","member_count":12,"is_member":true,"can_send":false})"}, {});
  expect_tells(
      R"({"@type":"supergroup","id":31,"username":"old","status":)" + status_text("Creator") + "}",
      "chatInfoSuper:-30:31", {head + R"("username":"old","is_member":true,"can_send":true})"}, {});
  expect_tells(
      R"({"@type":"supergroupFullInfo","photo":{"description":"no"},"description":"d \"q\"",)"
      R"("member_count":9,"linked_chat_id":-100})",
      "chatInfoSuperFull:-30:31", {head + R"("description":"d \"q\"","linked_chat_id":-100})"}, {});
  expect_tells(R"({"@type":"basicGroupFullInfo","description":"b","creator_user_id":1})",
               "chatInfoBasicFull:-30:31", {head + R"("description":"b"})"}, {});
  // Errors to follow-ups have no event of their own.
  run.answer(kError, "chatInfoUser:-30:31");
  EXPECT_EQ(run.dbg_lines(), Lines{"TD_ERROR (see json below)"});
  run.forget();
  for (const char* tag : {"chatInfoBasic:", "chatInfoBasic:x:1", "chatInfoBasic"}) {
    expect_tells(group_text("basicGroup", 31, status_text("Left")), tag, {}, {});
  }
  // The verdict counts everywhere: the chat is hidden, and may be removed without asking.
  expect_tells(R"({"@type":"basicGroup","id":31,"member_count":0,"status":)"
               R"({"@type":"chatMemberStatusCreator","is_member":false}})",
               "chatInfoBasic:-30:31", {head + R"("is_member":false,"can_send":false})"}, {});
  run.deliver(R"({"@type":"updateChatReadInbox","chat_id":-30,"unread_count":1})");
  EXPECT_EQ(run.events(), Lines{});
  run.send_line("delete_chat -30");
  EXPECT_EQ(run.events(), Lines{R"({"type":"chat_deleted","chat_id":-30})"});
}

// A message of a chat whose mute state nobody knows yet waits; the chat object that brings it
// decides, and for a group the membership verdict comes first.
TEST_F(ChatCommands, ChatObjectsSettleWaitingNotifications) {
  const auto message = [](std::int64_t chat_id) {
    return R"({"@type":"updateNewMessage","message":{"@type":"message","id":2,"sender_id":)"
           R"({"@type":"messageSenderUser","user_id":7},"chat_id":)" +
           std::to_string(chat_id) +
           R"(,"is_outgoing":false,"date":100,"content":{"@type":"messageText","text":)"
           R"({"@type":"formattedText","text":"hi","entities":[]}}}})";
  };
  const auto told = [](std::int64_t chat_id) {
    return R"({"type":"hub_notify_message","chat_id":)" + std::to_string(chat_id) +
           R"(,"message_id":2,"date":100,"chat_title":"Title","text":"hi"})";
  };
  ChatText chat;
  chat.settings = mute_settings(false, 0);
  chat.id = 40;
  chat.type = private_type(40);
  run.deliver(message(40));
  run.forget();
  run.answer(chat_text(chat), "resolve:ann");
  EXPECT_EQ(run.events(), (Lines{told(40), R"({"type":"tg_resolve","username":"ann","chat_id":40,)"
                                           R"("photo_small_id":0})"}));
  const struct {
    std::int64_t id;
    std::string status;
    Lines events;
  } groups[] = {
      {-41,
       "Member",
       {R"({"type":"chat","id":-41,"title":"Title","chat_type":"basic_group","unread_count":3,)"
        R"("last_read_outbox_message_id":44,"muted_known":true,"muted":false})",
        told(-41)}},
      {-42, "Left", {}}};
  for (const auto& group : groups) {
    chat.id = group.id;
    chat.type = basic_type(-group.id);
    run.deliver(message(group.id));
    run.forget();
    run.answer(chat_text(chat), "liveGetChat:" + std::to_string(group.id));
    EXPECT_EQ(run.events(), Lines{});
    run.answer(group_text("basicGroup", -group.id, status_text(group.status)),
               "liveMember:" + std::to_string(group.id) + ":bg:" + std::to_string(-group.id));
    EXPECT_EQ(run.events(), group.events);
  }
}

}  // namespace
