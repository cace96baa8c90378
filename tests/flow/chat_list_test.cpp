// The chat list: pages of it, single chats that updates name, membership, and the updates.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/backend_run.h"
#include "tests/support/chat_texts.h"

namespace {

const std::string kError = R"({"@type":"error","code":400,"message":"Chat not found"})";
const std::string kTdError =
    R"({"type":"td_error","json":"{\"@type\":\"error\",\"code\":400,\"message\":\"Chat not found\",)"
    R"(\"@extra\":\")";

std::string td_error(const std::string& tag) {
  return kTdError + tag + R"(\",\"@client_id\":1}"})";
}

std::string request(const std::string& method, const std::string& key, std::int64_t id,
                    const std::string& tag) {
  return R"({"@type":")" + method + R"(",")" + key + R"(":)" + std::to_string(id) +
         R"(,"@extra":")" + tag + "\"}";
}

std::string list_text(const std::vector<std::int64_t>& ids) {
  std::string text = R"({"@type":"chats","total_count":5000,"chat_ids":[)";
  for (const std::int64_t id : ids) text += std::to_string(id) + ",";
  if (!ids.empty()) text.pop_back();
  return text + "]}";
}

std::string load_event(const std::string& type, int gen) {
  return R"({"type":")" + type + R"(","gen":)" + std::to_string(gen) + "}";
}

// The row of a chat_text() with default members.
std::string row(std::int64_t id, const std::string& type, const std::string& title = "Title",
                const std::string& order = "",
                const std::string& muted = R"(false,"muted":false)") {
  return R"({"type":"chat","id":)" + std::to_string(id) + R"(,"title":")" + title +
         R"(","chat_type":")" + type + "\"" + (order.empty() ? "" : R"(,"order":)" + order) +
         R"(,"unread_count":3,"last_read_outbox_message_id":44,"muted_known":)" + muted + "}";
}

std::string read_inbox(std::int64_t chat_id, int count) {
  return R"({"@type":"updateChatReadInbox","chat_id":)" + std::to_string(chat_id) +
         R"(,"last_read_inbox_message_id":7,"unread_count":)" + std::to_string(count) + "}";
}

std::string unread_event(std::int64_t chat_id, int count) {
  return R"({"type":"chat_unread","chat_id":)" + std::to_string(chat_id) + R"(,"unread_count":)" +
         std::to_string(count) + "}";
}

struct ChatList : ::testing::Test {
  BackendRun run;
  void SetUp() override {
    run.start();
    run.login();
  }
};

// What becomes of each of the 200 chats.
struct Member {
  std::int64_t id = 0;
  std::int64_t group = 0;  // 0: no membership to ask for
  std::string type;
  bool unknown = false;  // getChat fails
  bool outside = false;
  bool check_fails = false;
  std::string kind() const { return type == "basic_group" ? "bg" : "sg"; }
  std::string check_tag() const {
    return "member:" + std::to_string(id) + ":" + kind() + ":" + std::to_string(group);
  }
  std::string text() const {
    ChatText chat;
    chat.id = id;
    chat.title = "T" + std::to_string(id);
    if (type == "private") chat.type = private_type(id);
    if (type == "secret") chat.type = secret_type(4, 1000000 + id);
    if (type == "basic_group") chat.type = basic_type(group);
    if (type == "supergroup") chat.type = super_type(group, false);
    if (type == "channel") chat.type = super_type(group, true);
    chat.positions = position("chatListMain", std::to_string(9000 + group));
    return chat_text(chat);
  }
  std::string event() const {
    return row(id, type, "T" + std::to_string(id), std::to_string(9000 + group));
  }
};

std::vector<Member> two_hundred() {
  const char* const types[] = {"private", "secret", "basic_group", "supergroup", "channel"};
  std::vector<Member> chats;
  for (int i = 0; i < 200; ++i) {
    Member chat;
    chat.type = types[i % 5];
    const bool group = i % 5 >= 2;
    chat.id = group ? -1000000000000 - i : 500 + i;
    if (group) chat.group = 1 + i;
    chat.unknown = i % 23 == 4;
    chat.outside = group && i % 7 == 0;
    chat.check_fails = group && i % 11 == 0 && !chat.outside;
    chats.push_back(chat);
  }
  return chats;
}

TEST_F(ChatList, TwoHundredChatsInAnyOrderAndOneEnd) {
  run.send_line("chats 1000");
  EXPECT_EQ(run.requests(),
            Lines{R"({"@type":"getChats","chat_list":{"@type":"chatListMain"},"limit":200,)"
                  R"("@extra":"getChats:1"})"});
  EXPECT_EQ(run.events(), Lines{load_event("chats_begin", 1)});

  std::vector<Member> chats = two_hundred();
  std::vector<std::int64_t> ids;
  Lines asked;
  for (const Member& chat : chats) {
    ids.push_back(chat.id);
    asked.push_back(
        request("getChat", "chat_id", chat.id, "getChat:" + std::to_string(chat.id) + ":1"));
  }
  run.answer(list_text(ids), "getChats:1");
  EXPECT_EQ(run.requests(), asked);

  // The answers come in another order, each check's answer some chats after its question.
  std::reverse(chats.begin(), chats.begin() + 150);
  std::vector<Member> checks;
  run.forget();
  const auto answer_check = [&](const Member& chat) {
    const std::string kind = chat.type == "basic_group" ? "basicGroup" : "supergroup";
    run.answer(chat.check_fails
                   ? kError
                   : group_text(kind, chat.group, status_text(chat.outside ? "Left" : "Member")),
               chat.check_tag());
    EXPECT_EQ(run.events(), chat.outside ? Lines{} : Lines{chat.event()});
    if (chat.outside) {
      EXPECT_EQ(run.dbg_lines(), Lines{"CHAT_FILTERED chat_id=" + std::to_string(chat.id) +
                                       " chat_type=" + chat.type + " title=T" +
                                       std::to_string(chat.id) + " reason=not_member"});
    } else if (chat.check_fails) {
      EXPECT_EQ(run.dbg_lines(), Lines{"MEMBER_CHECK_ERROR chat_id=" + std::to_string(chat.id) +
                                       " code=400 msg=Chat not found fallback=show"});
    }
    run.forget();
  };
  for (const Member& chat : chats) {
    const std::string tag = "getChat:" + std::to_string(chat.id) + ":1";
    run.answer(chat.unknown ? kError : chat.text(), tag);
    if (chat.unknown) {
      EXPECT_EQ(run.events(), Lines{td_error(tag)});
    } else if (chat.group == 0) {
      EXPECT_EQ(run.events(), Lines{chat.event()});
    } else {
      const bool basic = chat.type == "basic_group";
      EXPECT_EQ(run.requests(), Lines{request(basic ? "getBasicGroup" : "getSupergroup",
                                              basic ? "basic_group_id" : "supergroup_id",
                                              chat.group, chat.check_tag())});
      EXPECT_EQ(
          run.dbg_lines(),
          Lines{"MEMBER_CHECK chat_id=" + std::to_string(chat.id) + " chat_type=" + chat.type +
                " group_id=" + std::to_string(chat.group) + " title=T" + std::to_string(chat.id)});
      checks.push_back(chat);
    }
    run.forget();
    if (checks.size() > 5) {
      answer_check(checks.front());
      checks.erase(checks.begin());
    }
  }
  while (checks.size() > 1) {
    answer_check(checks.back());
    checks.pop_back();
  }
  ASSERT_FALSE(checks.front().outside);
  run.answer(group_text("supergroup", 1, status_text("Member")), checks.front().check_tag());
  EXPECT_EQ(run.events(), (Lines{checks.front().event(), load_event("chats_end", 1)}));

  // Hidden chats stay hidden: their updates tell nothing. Shown ones are not fetched again.
  run.deliver(read_inbox(-1000000000007, 4));
  EXPECT_EQ(run.events(), Lines{});
  run.deliver(read_inbox(500, 4));
  EXPECT_EQ(run.events(), Lines{unread_event(500, 4)});
  EXPECT_EQ(run.requests(), Lines{});
}

TEST_F(ChatList, LimitsAndEmptyOrBrokenLists) {
  const char* const limits[][2] = {{"chats", "50"},     {"chats 0", "1"},  {"chats 1000", "200"},
                                   {"chats -4", "1"},   {"chats x", "50"}, {"chats 7 9", "7"},
                                   {"chats  12", "12"}, {"chats 5x", "50"}};
  int gen = 0;
  for (const auto& limit : limits) {
    run.send_line(limit[0]);
    ++gen;
    EXPECT_EQ(
        run.requests(),
        Lines{R"({"@type":"getChats","chat_list":{"@type":"chatListMain"},"limit":)" +
              std::string(limit[1]) + R"(,"@extra":"getChats:)" + std::to_string(gen) + "\"}"})
        << limit[0];
  }
  run.forget();
  const std::string id7 = request("getChat", "chat_id", 7, "getChat:7:4");
  run.answer(R"({"@type":"chats","total_count":0,"chat_ids":[]})", "getChats:1");
  EXPECT_EQ(run.events(), Lines{load_event("chats_end", 1)});
  run.answer(R"({"@type":"chats","total_count":3})", "getChats:2");
  EXPECT_EQ(run.events(), Lines{load_event("chats_end", 2)});
  run.answer(kError, "getChats:3");
  EXPECT_EQ(run.events(), (Lines{td_error("getChats:3"), load_event("chats_end", 3)}));
  // The array ends early; zeros and repeated ids are no chats of their own.
  run.answer(R"({"@type":"chats","chat_ids":[0,7,7,null,8]})", "getChats:4");
  EXPECT_EQ(run.requests(), Lines{id7});
  run.answer(R"({"@type":"ok"})", "getChats:5");
  EXPECT_EQ(run.events(), Lines{load_event("chats_end", 5)});
  // Loads that never were, or are over, have no end to come; tags in other shapes name none.
  for (const char* tag : {"getChats:99", "getChats:1", "getChats:", "getChats:6x", "getChats"}) {
    run.answer(list_text({1, 2}), tag);
  }
  // A row that nobody waits for: no chat of that load, no such load, too few fields.
  for (const char* tag : {"getChat:9:4", "getChat:9:77", "getChat:9", "getChat:", "getChat:0:4"}) {
    ChatText chat;
    chat.id = 9;
    chat.type = private_type(9);
    run.answer(chat_text(chat), tag);
  }
  EXPECT_EQ(run.events(), Lines{});
  EXPECT_EQ(run.requests(), Lines{});
  // Another chat than the one asked for is no row of this load, and ends the wait.
  run.answer(R"({"@type":"chat","id":70,"title":"other","type":{"@type":"chatTypePrivate"}})",
             "getChat:7:4");
  EXPECT_EQ(run.events(), Lines{load_event("chats_end", 4)});
}

TEST_F(ChatList, LoadsOvertakingEachOtherShareACheck) {
  ChatText group;
  group.id = -50;
  group.type = basic_type(50);
  run.send_line("chats 10");
  run.send_line("chats 10");
  EXPECT_EQ(run.events(), (Lines{load_event("chats_begin", 1), load_event("chats_begin", 2)}));
  run.answer(list_text({-50}), "getChats:2");
  run.answer(list_text({-50, 51}), "getChats:1");
  run.answer(chat_text(group), "getChat:-50:1");
  group.title = "Renamed";
  run.answer(chat_text(group), "getChat:-50:2");
  run.answer(chat_text(group), "getChat:-50:2");  // twice
  EXPECT_EQ(run.events(), Lines{});
  run.forget();
  // Answers to questions that were not asked.
  const std::string verdict = group_text("basicGroup", 50, status_text("Administrator"));
  for (const char* tag : {"member:-50:sg:50", "member:-50:bg:51", "member:-51:bg:50", "member:-50",
                          "member:", "member:-50:bg:99999999999999999999"}) {
    run.answer(verdict, tag);
    run.answer(kError, tag);
  }
  EXPECT_EQ(run.events(), Lines{});
  EXPECT_EQ(run.dbg_lines(), Lines{});
  run.answer(verdict, "member:-50:bg:50");
  const std::string shown = row(-50, "basic_group", "Renamed");
  const Lines events = run.events();
  ASSERT_EQ(events.size(), 3U);
  EXPECT_EQ(std::count(events.begin(), events.end(), shown), 2);
  EXPECT_EQ(events.back(), load_event("chats_end", 2));
  run.answer(verdict, "member:-50:bg:50");  // once more
  EXPECT_EQ(run.events(), Lines{});
  run.answer(kError, "getChat:51:1");
  EXPECT_EQ(run.events(), (Lines{td_error("getChat:51:1"), load_event("chats_end", 1)}));
  // A second load asks for chats and membership anew, and a verdict can change.
  run.send_line("chats");
  run.answer(list_text({-50}), "getChats:3");
  run.answer(chat_text(group), "getChat:-50:3");
  run.forget();
  run.answer(group_text("basicGroup", 50, status_text("Banned")), "member:-50:bg:50");
  EXPECT_EQ(run.events(), Lines{load_event("chats_end", 3)});
}

TEST_F(ChatList, StatusesDecide) {
  const struct {
    std::string status;
    std::string kind;
    bool member;
  } rows[] = {
      {status_text("Member"), "member", true},
      {R"({"@type":"chatMemberStatusCreator","custom_title":"","is_member":true})", "creator",
       true},
      {R"({"@type":"chatMemberStatusCreator","custom_title":"","is_member":false})", "creator",
       false},
      {R"({"@type":"chatMemberStatusAdministrator","rights":{"is_member":false}})", "administrator",
       true},
      {R"({"@type":"chatMemberStatusRestricted","is_member":true,"permissions":{}})", "restricted",
       true},
      {R"({"@type":"chatMemberStatusRestricted","is_member":false})", "restricted_non_member",
       false},
      {R"({"@type":"chatMemberStatusRestricted"})", "restricted", true},
      {status_text("Left"), "left", false},
      {R"({"banned_until_date":0,"@type":"chatMemberStatusBanned"})", "banned", false},
      {status_text("New"), "unknown", true},
  };
  std::int64_t id = -1000000000100;
  for (const auto& status : rows) {
    const std::string number = std::to_string(--id);
    ChatText chat;
    chat.id = id;
    chat.type = super_type(60, true);
    run.deliver(read_inbox(id, 1));
    EXPECT_EQ(run.requests(), Lines{request("getChat", "chat_id", id, "liveGetChat:" + number)});
    run.deliver(read_inbox(id, 2));  // still pending: not asked again
    run.answer(chat_text(chat), "liveGetChat:" + number);
    const std::string tag = "liveMember:" + number + ":sg:60";
    EXPECT_EQ(run.requests(), Lines{request("getSupergroup", "supergroup_id", 60, tag)});
    EXPECT_EQ(run.dbg_lines(), Lines{"LIVE_MEMBER_CHECK chat_id=" + number +
                                     " chat_type=channel group_id=60 title=Title"});
    run.deliver(read_inbox(id, 2));
    EXPECT_EQ(run.events(), (Lines{unread_event(id, 1), unread_event(id, 2), unread_event(id, 2)}));
    run.answer(group_text("supergroup", 60, status.status), tag);
    Lines log{"LIVE_MEMBER_STATUS chat_id=" + number + " status=" + status.kind +
              " member=" + (status.member ? "1" : "0")};
    if (!status.member) {
      log.push_back("CHAT_FILTERED chat_id=" + number +
                    " chat_type=channel title=Title reason=not_member_live");
    }
    EXPECT_EQ(run.dbg_lines(), log);
    EXPECT_EQ(run.events(), status.member ? Lines{row(id, "channel")} : Lines{});
    run.deliver(read_inbox(id, 1));
    EXPECT_EQ(run.events(), status.member ? Lines{unread_event(id, 1)} : Lines{});
    EXPECT_EQ(run.requests(), Lines{});
  }
}

TEST_F(ChatList, LiveFetchesFailFallBackAndRepeat) {
  run.deliver(read_inbox(71, 1));
  run.forget();
  run.answer(kError, "liveGetChat:71");
  EXPECT_EQ(run.events(), Lines{td_error("liveGetChat:71")});
  run.deliver(read_inbox(71, 1));  // tried again
  EXPECT_EQ(run.requests(), Lines{request("getChat", "chat_id", 71, "liveGetChat:71")});
  ChatText chat;
  chat.id = 71;
  chat.type = private_type(71);
  chat.settings = mute_settings(false, 86400);
  run.forget();
  run.answer(chat_text(chat), "liveGetChat:71");
  EXPECT_EQ(run.events(), Lines{row(71, "private", "Title", "", R"(true,"muted":true)")});

  chat.id = -72;
  chat.type = basic_type(72);
  run.deliver(read_inbox(-72, 1));
  run.answer(chat_text(chat), "liveGetChat:-72");
  run.forget();
  run.answer(kError, "liveMember:-72:bg:72");
  EXPECT_EQ(run.dbg_lines(),
            Lines{"LIVE_MEMBER_ERROR chat_id=-72 code=400 msg=Chat not found fallback=show"});
  EXPECT_EQ(run.events(), Lines{row(-72, "basic_group", "Title", "", R"(true,"muted":true)")});

  // Left while it was being fetched.
  run.deliver(read_inbox(-73, 1));
  run.answer(R"({"@type":"ok"})", "leave:-73");
  chat.id = -73;
  run.forget();
  run.answer(chat_text(chat), "liveGetChat:-73");
  EXPECT_EQ(run.dbg_lines(), Lines{"CHAT_FILTERED chat_id=-73 chat_type=basic_group title=Title "
                                   "reason=not_member_live_cached"});
  EXPECT_EQ(run.events(), Lines{});
  EXPECT_EQ(run.requests(), Lines{});

  // A chat without a type, a group without a number: shown as what is known of them.
  run.deliver(read_inbox(74, 1));
  run.deliver(read_inbox(75, 1));
  run.forget();
  run.answer(R"({"@type":"chat","id":74,"title":"N"})", "liveGetChat:74");
  run.answer(R"({"@type":"chat","id":75,"type":{"@type":"chatTypeBasicGroup"}})", "liveGetChat:75");
  EXPECT_EQ(run.events(), (Lines{R"({"type":"chat","id":74,"title":"N","chat_type":"unknown",)"
                                 R"("muted_known":false,"muted":false})",
                                 R"({"type":"chat","id":75,"title":"","chat_type":"basic_group",)"
                                 R"("muted_known":false,"muted":false})"}));
  EXPECT_EQ(run.requests(), Lines{});
}

TEST_F(ChatList, LiveFetchesWaitForTheLoad) {
  run.send_line("chats");
  run.send_line("chats");
  run.forget();
  run.answer(list_text({80}), "getChats:1");
  run.forget();
  run.deliver(read_inbox(82, 1));
  run.deliver(read_inbox(80, 1));
  run.deliver(read_inbox(81, 1));
  run.deliver(read_inbox(82, 2));
  EXPECT_EQ(run.requests(), Lines{});
  ChatText chat;
  chat.id = 80;
  chat.type = private_type(80);
  run.answer(chat_text(chat), "getChat:80:1");
  EXPECT_EQ(run.requests(), Lines{});  // the second load is still open
  run.forget();
  run.answer(list_text({}), "getChats:2");
  EXPECT_EQ(run.events(), Lines{load_event("chats_end", 2)});
  EXPECT_EQ(run.requests(), (Lines{request("getChat", "chat_id", 82, "liveGetChat:82"),
                                   request("getChat", "chat_id", 81, "liveGetChat:81")}));
}

// Every value from the chat's own members, whatever its last message and lists contain.
TEST_F(ChatList, RealChatsWithNestedNamesakes) {
  ChatText chat;
  chat.id = -1000000000090;
  chat.type = super_type(90, false);
  chat.title = "Own \\u00e9 \\\"q\\\"";
  chat.last_message = trap_message(chat.id, 12);
  chat.positions = position("chatListArchive", "11") + "," + position("chatListFolder", "12") +
                   "," + position("chatListMain", "13", "true");
  chat.settings = mute_settings(false, 0);
  const std::string tag = "liveGetChat:-1000000000090";
  run.deliver(read_inbox(chat.id, 1));
  run.answer(chat_text(chat), tag);
  run.forget();
  run.answer(group_text("supergroup", 90, status_text("Member")),
             "liveMember:-1000000000090:sg:90");
  EXPECT_EQ(run.events(),
            Lines{R"({"type":"chat","id":-1000000000090,"title":"Own é \"q\"",)"
                  R"("chat_type":"supergroup","order":13,"unread_count":3,)"
                  R"("last_read_outbox_message_id":44,"last_message_id":12,)"
                  R"("last_date":1700000001,"last_content_type":"messagePhoto",)"
                  R"("last_text":"look","last_outgoing":false,"muted_known":true,"muted":false})"});

  // Only in the archive: the list of lists names the main list, too, and that is no position. A
  // scope's default decides where the chat has no setting of its own.
  chat.id = -1000000000091;
  chat.counters = "";
  chat.photo = photo_info(31, 32);
  chat.positions = position("chatListArchive", "14");
  chat.settings = mute_settings(true, 999);
  run.deliver(read_inbox(chat.id, 1));
  run.answer(chat_text(chat), "liveGetChat:-1000000000091");
  run.forget();
  run.answer(kError, "liveMember:-1000000000091:sg:90");
  EXPECT_EQ(
      run.events(),
      Lines{R"({"type":"chat","id":-1000000000091,"title":"Own é \"q\"",)"
            R"("chat_type":"supergroup","photo_small_id":31,"last_message_id":12,)"
            R"("last_date":1700000001,"last_content_type":"messagePhoto",)"
            R"("last_text":"look","last_outgoing":false,"muted_known":false,"muted":false})"});
}

TEST_F(ChatList, NewChatsFillTheCachesSilently) {
  ChatText chat;
  chat.id = 95;
  chat.type = private_type(5);
  chat.last_message = trap_message(95, 3);
  run.deliver(R"({"@type":"updateNewChat","chat":)" + chat_text(chat) + "}");
  EXPECT_EQ(run.events(), Lines{});
  EXPECT_EQ(run.requests(), Lines{});
  run.send_line("open_user_chat 5");
  EXPECT_EQ(run.events(), Lines{R"({"type":"open_user_chat","user_id":5,"chat_id":95})"});
  run.deliver(read_inbox(95, 1));  // the UI does not know it yet
  EXPECT_EQ(run.requests(), Lines{request("getChat", "chat_id", 95, "liveGetChat:95")});
}

TEST_F(ChatList, UpdatesOfKnownAndHiddenChats) {
  const std::string updates[][2] = {
      {R"({"@type":"updateChatPosition","chat_id":96,"position":)" +
           position("chatListMain", "77", "true") + "}",
       R"({"type":"chat_position","chat_id":96,"order":77,"pinned":true})"},
      {R"({"@type":"updateChatPosition","chat_id":96,"position":)" + position("chatListMain", "0") +
           "}",
       R"({"type":"chat_position","chat_id":96,"order":0,"pinned":false})"},
      {R"({"@type":"updateChatPosition","chat_id":96,"position":{"order":5,"list":)"
       R"({"@type":"chatListMain"}}})",
       R"({"type":"chat_position","chat_id":96,"order":5})"},
      {R"({"@type":"updateChatPosition","chat_id":96,"position":)" +
           position("chatListArchive", "77") + "}",
       ""},
      {R"({"@type":"updateChatPosition","chat_id":96,"position":)"
       R"({"@type":"chatPosition","list":{"@type":"chatListMain"},"is_pinned":true}})",
       ""},
      {R"({"@type":"updateChatReadInbox","chat_id":96,"unread_count":-3})",
       R"({"type":"chat_unread","chat_id":96,"unread_count":0})"},
      {R"({"@type":"updateChatReadOutbox","chat_id":96,"last_read_outbox_message_id":55})",
       R"({"type":"chat_read_outbox","chat_id":96,"last_read_outbox_message_id":55})"},
      {R"({"@type":"updateChatReadOutbox","chat_id":96})", ""},
      {R"({"@type":"updateChatOnlineMemberCount","chat_id":96,"online_member_count":8})",
       R"({"type":"chat_online_count","chat_id":96,"count":8})"},
      {R"({"@type":"updateChatTitle","chat_id":96,"title":"A \"b\""})",
       R"({"type":"chat_title","chat_id":96,"title":"A \"b\""})"},
      {R"({"@type":"updateChatTitle","title":"no chat"})", ""},
      {R"({"@type":"updateChatTitle","chat_id":0,"title":"no chat"})", ""},
      {R"({"@type":"updateChatLastMessage","chat_id":96,"positions":[]})", ""},
      {R"({"@type":"updateChatLastMessage","chat_id":96,"positions":[)" +
           position("chatListArchive", "5") + "," + position("chatListMain", "6") + "]}",
       R"({"type":"chat_position","chat_id":96,"order":6})"},
      {R"({"@type":"updateChatLastMessage","last_message":)" + trap_message(96, 14) + "}",
       R"({"type":"chat_last_message","chat_id":96,"message_id":14,"outgoing":false,)"
       R"("date":1700000001,"content_type":"messagePhoto","text":"look"})"},
  };
  // Shown first, so that nothing is fetched for it.
  ChatText chat;
  chat.id = 96;
  chat.type = private_type(6);
  run.deliver(read_inbox(96, 1));
  run.answer(chat_text(chat), "liveGetChat:96");
  run.forget();
  for (const auto& update : updates) {
    run.deliver(update[0]);
    EXPECT_EQ(run.events(), update[1].empty() ? Lines{} : Lines{update[1]}) << update[0];
  }
  EXPECT_EQ(run.requests(), Lines{});
  // A last message and a position in one update.
  run.deliver(R"({"@type":"updateChatLastMessage","chat_id":96,"last_message":)" +
              trap_message(96, 15) + R"(,"positions":[)" + position("chatListMain", "7") + "]}");
  EXPECT_EQ(run.events(),
            (Lines{R"({"type":"chat_last_message","chat_id":96,"message_id":15,"outgoing":false,)"
                   R"("date":1700000001,"content_type":"messagePhoto","text":"look"})",
                   R"({"type":"chat_position","chat_id":96,"order":7})"}));
  // Nothing of it once the account has left.
  run.answer(R"({"@type":"ok"})", "leave:96");
  run.forget();
  for (const auto& update : updates) run.deliver(update[0]);
  EXPECT_EQ(run.events(), Lines{});
  EXPECT_EQ(run.requests(), Lines{});
  EXPECT_EQ(run.dbg_lines(), Lines{});
}

}  // namespace
