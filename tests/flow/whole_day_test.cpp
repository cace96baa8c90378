// One account's day from the login to the end, as docs/protocol.md shows it: each block marked
// "transcript" there is what a step of the day must say, line by line. In hub mode the same day
// leaves little.
#include <gtest/gtest.h>

#include <array>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include "tests/support/backend_run.h"

namespace {

std::string text_content(const std::string& text) {
  return R"({"@type":"messageText","text":{"@type":"formattedText","text":")" + text +
         R"(","entities":[]}})";
}

std::string message(std::int64_t chat_id, std::int64_t id, const std::string& sender,
                    const std::string& members, const std::string& content) {
  return R"({"@type":"message","id":)" + std::to_string(id) +
         R"(,"sender_id":{"@type":"messageSenderUser","user_id":)" + sender + R"(},"chat_id":)" +
         std::to_string(chat_id) + members + R"(,"date":1700000000,"content":)" + content + "}";
}

std::string user(const std::string& id, const std::string& first, const std::string& more = "") {
  return R"({"@type":"user","id":)" + id + R"(,"first_name":")" + first +
         R"(","last_name":"","usernames":{"@type":"usernames","active_usernames":[")" + first +
         R"(_x"],"disabled_usernames":[],"editable_username":")" + first +
         R"(_x"},"phone_number":"100",)"
         R"("status":{"@type":"userStatusRecently","by_my_privacy_settings":false})" +
         more + "}";
}

std::string chat(std::int64_t id, const std::string& type, const std::string& title,
                 const std::string& last, int mute_for) {
  return R"({"@type":"chat","id":)" + std::to_string(id) + R"(,"type":)" + type + R"(,"title":")" +
         title + R"(","last_message":)" + last +
         R"(,"positions":[{"@type":"chatPosition","list":{"@type":"chatListMain"},"order":"9",)"
         R"("is_pinned":false}],"unread_count":1,"last_read_inbox_message_id":1,)"
         R"("last_read_outbox_message_id":2,"notification_settings":)"
         R"({"@type":"chatNotificationSettings","use_default_mute_for":false,"mute_for":)" +
         std::to_string(mute_for) + "}}";
}

std::string file(int downloaded, bool active, bool complete) {
  const auto flag = [](bool value) { return std::string(value ? "true" : "false"); };
  return R"({"@type":"file","id":33,"size":200,"expected_size":200,"local":{"@type":"localFile",)"
         R"("path":")" +
         std::string(complete ? "/files/photo.jpg" : "") +
         R"(","can_be_downloaded":true,"is_downloading_active":)" + flag(active) +
         R"(,"is_downloading_completed":)" + flag(complete) + R"(,"downloaded_size":)" +
         std::to_string(downloaded) + R"(},"remote":{"@type":"remoteFile","id":"r"}})";
}

constexpr const char* kOk = R"({"@type":"ok"})";

// A run that writes down what is said to it and what it tells.
struct Day {
  BackendRun run;
  Lines told;
  explicit Day(Mode mode) : run(mode) {}

  void note_events() {
    for (std::string& line : run.events()) told.push_back(std::move(line));
  }
  void say(const std::string& command) {
    told.push_back("> " + command);
    run.send_line(command);
    note_events();
  }
  void answer(const std::string& object, const std::string& tag) {
    run.answer(object, tag);
    note_events();
  }
  void update(const std::string& type, const std::string& members) {
    run.deliver(R"({"@type":"update)" + type + "\"," + members + "}");
    note_events();
  }
  void authorization(const std::string& state) {
    update("AuthorizationState",
           R"("authorization_state":{"@type":"authorizationState)" + state + "}");
  }
};

void login(Day& day) {
  day.authorization("WaitTdlibParameters\"");
  day.answer(kOk, "setParams");
  day.authorization("WaitPhoneNumber\"");
  day.say("phone +1 (555) 010-0");
  day.answer(kOk, "setPhone");
  day.authorization(
      R"(WaitCode","code_info":{"@type":"authenticationCodeInfo","phone_number":"15550100",)"
      R"("type":{"@type":"authenticationCodeTypeSms","length":5},)"
      R"("next_type":{"@type":"authenticationCodeTypeCall","length":6},"timeout":60})");
  day.say("code 12345");
  day.answer(kOk, "checkCode");
  day.authorization("Ready\"");
  day.answer(user("1", "Me"), "getMe");
}

void chats(Day& day) {
  day.say("chats 20");
  day.answer(R"({"@type":"chats","total_count":2,"chat_ids":[7,-1005]})", "getChats:1");
  day.answer(chat(7, R"({"@type":"chatTypePrivate","user_id":7})", "Ann",
                  message(7, 70, "7", "", text_content("hi")), 0),
             "getChat:7:1");
  day.answer(chat(-1005, R"({"@type":"chatTypeSupergroup","supergroup_id":5,"is_channel":false})",
                  "Club", message(-1005, 71, "8", "", text_content("yo")), 60),
             "getChat:-1005:1");
  day.answer(R"({"@type":"supergroup","id":5,"status":{"@type":"chatMemberStatusMember"}})",
             "member:-1005:sg:5");
}

void reading(Day& day) {
  day.say("open 7");
  day.answer(R"({"@type":"messages","total_count":9,"messages":[)" +
                 message(7, 70, "7", "", text_content("hi")) + "]}",
             "history:7:1:clear:0:30");
  day.answer(R"({"@type":"error","code":404,"message":"Not Found"})", "pinned:7:1");
  day.update("User", R"("user":)" + user("7", "Ann"));
  day.update("NewMessage", R"("message":)" + message(7, 80, "7", "", text_content("lunch?")));
  day.update("NewMessage", R"("message":)" + message(-1005, 81, "7", "", text_content("quiet")));
  day.say("read 7 80");
  day.update("ChatReadInbox", R"("chat_id":7,"last_read_inbox_message_id":80,"unread_count":0)");
  day.say("history_more 7 70 20");
  day.answer(R"({"@type":"messages","total_count":9,"messages":[)" +
                 message(7, 60, "1", R"(,"is_outgoing":true)",
                         R"({"@type":"messagePhoto","photo":{"@type":"photo","sizes":[)"
                         R"({"@type":"photoSize","type":"x","photo":{"@type":"file","id":33},)"
                         R"("width":800,"height":600}]},)"
                         R"("caption":{"@type":"formattedText","text":"","entities":[]}})") +
                 "]}",
             "history:7:2:append:70:20");
}

void sending(Day& day) {
  day.say("send64 7 80 eWVz");
  const std::string pending = R"(,"sending_state":{"@type":"messageSendingStatePending",)"
                              R"("sending_id":1},"is_outgoing":true)";
  const std::string reply = R"(,"reply_to":{"@type":"messageReplyToMessage","chat_id":7,)"
                            R"("message_id":80})";
  const std::string sent = message(7, 82, "1", pending + reply, text_content("yes"));
  day.update("NewMessage", R"("message":)" + sent);
  day.answer(sent, "send:7:1");
  day.update("MessageSendAcknowledged", R"("chat_id":7,"message_id":82)");
  day.update("MessageSendSucceeded",
             R"("message":)" +
                 message(7, 90, "1", R"(,"is_outgoing":true)" + reply, text_content("yes")) +
                 R"(,"old_message_id":82)");
}

void acting(Day& day) {
  day.say("react 7 80 \xF0\x9F\x91\x8D add");
  day.answer(kOk, "react:7:80:add");
  day.update("MessageInteractionInfo",
             R"("chat_id":7,"message_id":80,"interaction_info":{"@type":"messageInteractionInfo",)"
             R"("reactions":{"@type":"messageReactions","reactions":[{"@type":"messageReaction",)"
             R"("type":{"@type":"reactionTypeEmoji","emoji":"\ud83d\udc4d"},"total_count":1,)"
             R"("is_chosen":true}]}})");
  day.say("edit64 7 90 eWVzIQ==");
  day.update("MessageContent",
             R"("chat_id":7,"message_id":90,"new_content":)" + text_content("yes!"));
  day.say("pin 7 90 1");
  day.answer(kOk, "pin:7:90");
  day.answer(message(7, 90, "1", R"(,"is_outgoing":true)", text_content("yes!")), "pinned:7:2");
  day.say("forward -1005 7 80");
  day.answer(R"({"@type":"messages","total_count":1,"messages":[]})", "forward:-1005:7");
  day.say("delete 7 all 90");
  day.answer(kOk, "delete:7:all");
  day.update("DeleteMessages", R"("chat_id":7,"message_ids":[90],"is_permanent":true,)"
                               R"("from_cache":false)");
}

void download(Day& day) {
  day.say("downloadp 33");
  day.answer(file(0, true, false), "download:33");
  day.update("File", R"("file":)" + file(50, true, false));
  day.run.advance_ms(300);
  day.update("File", R"("file":)" + file(150, true, false));
  day.update("File", R"("file":)" + file(200, false, true));
}

void search(Day& day) {
  day.say("chat_search64 3 7 bHVuY2g=");
  day.answer(R"({"@type":"foundChatMessages","total_count":1,"messages":[)" +
                 message(7, 80, "7", "", text_content("lunch?")) + R"(],"next_from_message_id":0})",
             "chatSearch:3:7");
}

void call(Day& day) {
  const auto state = [&](const std::string& value) {
    day.update("Call", R"("call":{"@type":"call","id":4,"unique_id":"0","user_id":7,)"
                       R"("is_outgoing":true,"is_video":false,"state":{"@type":")" +
                           value + "}}");
  };
  day.say("call_start 7");
  day.answer(R"({"@type":"callId","id":4})", "callStart:7");
  state(R"(callStatePending","is_created":true,"is_received":false)");
  day.say("call_discard 4");
  day.answer(kOk, "callDiscard:4");
  state(R"(callStateDiscarded","reason":{"@type":"callDiscardReasonHungUp"})");
}

void proxy(Day& day) {
  day.say("proxy_try_mtproto 1 proxy.example 443 00112233445566778899aabbccddeeff");
  day.answer(R"({"@type":"addedProxy","id":2,"last_used_date":0,"is_enabled":true})", "proxyTry:1");
  day.say("proxy_get");
  day.answer(R"({"@type":"addedProxies","proxies":[{"@type":"addedProxy","id":2,)"
             R"("last_used_date":0,"is_enabled":true,"proxy":{"@type":"proxy",)"
             R"("server":"proxy.example","port":443,"type":{"@type":"proxyTypeMtproto",)"
             R"("secret":"x"}}}]})",
             "proxyGet");
}

void end(Day& day) {
  day.run.deliver(R"({"@type":"error","code":500,"message":"late \"trouble\""})");
  day.note_events();
  day.authorization("Closing\"");
  day.authorization("Closed\"");
  EXPECT_EQ(day.run.wait_exit(), 0);
  day.note_events();
}

struct Step {
  const char* name;
  void (*run)(Day& day);
};
constexpr std::array<Step, 10> kDay = {{{"login", login},
                                        {"chats", chats},
                                        {"reading", reading},
                                        {"sending", sending},
                                        {"acting", acting},
                                        {"download", download},
                                        {"search", search},
                                        {"call", call},
                                        {"proxy", proxy},
                                        {"end", end}}};

// The document's blocks by name, their lines.
std::map<std::string, Lines> read_transcripts() {
  std::ifstream document(TD_BACKEND_SOURCE_DIR "/docs/protocol.md");
  const std::string fence = "```transcript ";
  std::map<std::string, Lines> blocks;
  std::string block;
  std::string line;
  while (std::getline(document, line)) {
    if (line.rfind(fence, 0) == 0) {
      block = line.substr(fence.size());
    } else if (line.rfind("```", 0) == 0) {
      block.clear();
    } else if (!block.empty()) {
      blocks[block].push_back(line);
    }
  }
  return blocks;
}

std::string joined(const Lines& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  return text;
}

TEST(WholeDay, InTheUiIsAsTheProtocolShowsIt) {
  std::map<std::string, Lines> blocks = read_transcripts();
  Day day(Mode::kUi);
  day.run.hold_clock();
  day.run.start();
  day.run.forget();
  for (const Step& step : kDay) {
    day.told.clear();
    step.run(day);
    EXPECT_EQ(joined(day.told), joined(blocks[step.name])) << step.name;
  }
}

bool leaves_in_hub_mode(const std::string& line) {
  constexpr std::array kTypes = {"auth_state", "chat_unread", "call_update", "hub_notify_message",
                                 "td_error"};
  for (const char* type : kTypes) {
    if (line.rfind("{\"type\":\"" + std::string(type) + "\"", 0) == 0) return true;
  }
  return line.rfind("> ", 0) == 0;
}

TEST(WholeDay, InTheHubLeavesFiveTypesOnly) {
  std::map<std::string, Lines> blocks = read_transcripts();
  Day day(Mode::kHub);
  day.run.hold_clock();
  day.run.start();
  day.run.forget();
  for (const Step& step : kDay) {
    day.told.clear();
    step.run(day);
    Lines expected;
    for (const std::string& line : blocks[step.name]) {
      if (leaves_in_hub_mode(line)) expected.push_back(line);
    }
    EXPECT_EQ(joined(day.told), joined(expected)) << step.name;
  }
}

TEST(WholeDay, RepliesWithoutAnEventsFile) {
  BackendRun run;
  run.without_events();
  run.start();
  Lines told = run.replies();
  const auto say = [&](const std::string& command) {
    told.push_back("> " + command);
    run.send_line(command);
    for (std::string& line : run.replies()) told.push_back(std::move(line));
  };
  say("ping");
  say("chats");
  say("open");
  say("dance");
  run.deliver_auth_state("authorizationStateReady");
  for (std::string& line : run.replies()) told.push_back(std::move(line));
  say("chats 20");
  say("send64 7 !!!");
  told.push_back("> quit");
  EXPECT_EQ(run.quit(), 0);
  for (std::string& line : run.replies()) told.push_back(std::move(line));
  EXPECT_EQ(joined(told), joined(read_transcripts()["replies"]));
}

}  // namespace
