// Service messages: their sentences, and what happens as the names in them become known.
#include "state/service_messages.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "frame/channels.h"
#include "state/learn_user.h"
#include "state/message.h"
#include "state/reactions.h"
#include "state/users.h"
#include "tests/event_lines.h"

namespace {

using Strings = std::vector<std::string>;

class ServiceMessages : public ::testing::Test {
 protected:
  void SetUp() override {
    g_user_cache.clear();
    g_user_requested.clear();
    g_user_request_queue.clear();
    g_pending_service_messages.clear();
  }
  EventLines lines;
};

std::string user(std::int64_t id, const std::string& first_name) {
  return R"({"@type":"user","id":)" + std::to_string(id) + R"(,"first_name":")" + first_name +
         R"("})";
}

// A message of the user (0: of the chat), with other people's ids around its content.
std::string message(std::int64_t id, std::int64_t sender, const std::string& content) {
  return R"({"@type":"message","id":)" + std::to_string(id) + R"(,"sender_id":)" +
         (sender == 0
              ? std::string(R"({"@type":"messageSenderChat","chat_id":-9})")
              : R"({"@type":"messageSenderUser","user_id":)" + std::to_string(sender) + "}") +
         R"(,"chat_id":-5,"forward_info":{"@type":"messageForwardInfo","origin":)"
         R"({"@type":"messageOriginUser","sender_user_id":90,"user_id":91,"title":"bad"}},)"
         R"("reply_to":{"@type":"messageReplyToMessage","content":{"@type":)"
         R"("messageChatDeleteMember","user_id":92,"member_user_ids":[93]}},"content":{"@type":)" +
         content + R"(},"reply_markup":{"user_id":94,"title":"bad"}})";
}

std::string text_of(const std::string& json) {
  MessagePreview preview;
  return parse_first_message(json, preview, 4096, false) ? preview.text : "no message";
}

TEST_F(ServiceMessages, Sentences) {
  struct Case {
    std::int64_t sender;
    const char* content;
    const char* text;
  };
  const Case cases[] = {
      {7, R"("messageChatAddMembers","member_user_ids":[7])", "Ann joined the group"},
      {7, R"("messageChatAddedMembers","member_user_ids":[8])", "Ann added Bob"},
      {0, R"("messageChatAddMembers","member_user_ids":[8])", "Someone added Bob"},
      {0, R"("messageChatAddMembers","member_user_ids":[0])", "Someone added Someone"},
      {7, R"("messageChatAddMembers","member_user_ids":[])", "Ann added members"},
      {7, R"("messageChatAddMembers")", "Ann added members"},
      {7, R"("messageChatAddMembers","member_user_ids" :[8])", "Ann added members"},
      {7, R"("messageChatAddMembers","member_user_ids":[8, 7 ,9])", "Ann added 3 members"},
      {7, R"("messageChatAddMembers","member_user_ids":[8,x,9])", "Ann added Bob"},
      {7,
       R"("messageChatAddMembers","member_user_ids":[1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17])",
       "Ann added 16 members"},
      {7, R"("messageChatJoinByLink")", "Ann joined via invite link"},
      {7, R"("messageChatJoinByLink","user_id":8)", "Bob joined via invite link"},
      {0, R"("messageChatJoinByLink")", "Someone joined via invite link"},
      {7, R"("messageChatJoinByRequest")", "Ann joined (approved)"},
      {0, R"("messageChatJoinByRequest","user_id":8)", "Bob joined (approved)"},
      {7, R"("messageChatDeleteMember","user_id":7)", "Ann left the chat"},
      {7, R"("messageChatDeleteMember","user_id":8)", "Ann removed Bob"},
      {0, R"("messageChatDeleteMember","user_id":8)", "Someone removed Bob"},
      {7, R"("messageChatDeleteMember")", "Ann removed a member"},
      {0, R"("messageChatDeleteMember","user_id":0)", "Someone removed a member"},
      {7, R"("messageChatChangeTitle","title":"A \"B\"")", "Ann changed chat title to \"A \"B\"\""},
      {7, R"("messageChatChangeTitle","title":"")", "Ann changed chat title"},
      {0, R"("messagePinMessage","message_id":3)", "Someone pinned a message"},
  };
  learn_user(user(7, "Ann"));
  learn_user(user(8, "Bob"));
  for (const Case& test : cases) {
    EXPECT_EQ(text_of(message(11, test.sender, test.content)), test.text) << test.content;
  }
  EXPECT_TRUE(g_pending_service_messages.empty());
  std::vector<std::int64_t> missing;
  EXPECT_EQ(format_service_message_text("messageText", message(11, 7, R"("messageText")"), missing),
            "");
  EXPECT_EQ(format_message_preview_and_track(-5, 11, "messagePoll", "{}"), "[messagePoll]");
}

TEST_F(ServiceMessages, JoinIsToldAgainWhenTheNameComes) {
  const std::string json = message(11, 7, R"("messageChatJoinByLink")");
  EXPECT_EQ(text_of(json), "User 7 joined via invite link");
  EXPECT_EQ(g_user_request_queue, std::vector<std::int64_t>{7});
  ASSERT_EQ(g_pending_service_messages.size(), 1U);
  EXPECT_EQ(g_pending_service_messages.begin()->second.message_json, json);
  update_pending_service_messages();
  EXPECT_TRUE(lines.take().empty()) << "the same sentence is not told again";

  learn_user(user(7, "Ann"));
  EXPECT_EQ(lines.take(), (Strings{R"({"type":"user","id":7,"name":"Ann"})",
                                   R"({"type":"message_update","chat_id":-5,"id":11,)"
                                   R"("text":"Ann joined via invite link"})"}));
  EXPECT_TRUE(g_pending_service_messages.empty());
  learn_user(user(7, "Anna"));
  EXPECT_EQ(lines.take(), Strings{R"({"type":"user","id":7,"name":"Anna"})"});
}

// Every user whom the sentence names counts: a name that was known may change while another is
// still missing.
TEST_F(ServiceMessages, KnownNameThatChangesShows) {
  learn_user(user(7, "Ann"));
  lines.take();
  EXPECT_EQ(text_of(message(11, 7, R"("messageChatDeleteMember","user_id":8)")),
            "Ann removed User 8");
  learn_user(user(9, "Eve"));
  learn_user(user(7, "Anna"));
  learn_user(user(8, "Bob"));
  EXPECT_EQ(
      lines.take(),
      (Strings{R"({"type":"user","id":9,"name":"Eve"})", R"({"type":"user","id":7,"name":"Anna"})",
               R"({"type":"message_update","chat_id":-5,"id":11,)"
               R"("text":"Anna removed User 8"})",
               R"({"type":"user","id":8,"name":"Bob"})",
               R"({"type":"message_update","chat_id":-5,"id":11,"text":"Anna removed Bob"})"}));
  EXPECT_TRUE(g_pending_service_messages.empty());
}

TEST_F(ServiceMessages, UserWithoutANameLeavesItPending) {
  text_of(message(11, 7, R"("messagePinMessage")"));
  learn_user(user(7, ""));
  EXPECT_EQ(lines.take(), Strings{R"({"type":"user","id":7})"});
  EXPECT_EQ(g_pending_service_messages.size(), 1U);
  learn_user(user(7, "Ann"));
  EXPECT_TRUE(g_pending_service_messages.empty());
}

TEST_F(ServiceMessages, OneEntryAMessage) {
  text_of(message(11, 7, R"("messageChatChangeTitle","title":"A")"));
  text_of(message(11, 7, R"("messageChatChangeTitle","title":"B")"));
  text_of(message(12, 7, R"("messagePinMessage")"));
  EXPECT_EQ(g_pending_service_messages.size(), 2U);
  learn_user(user(7, "Ann"));
  EXPECT_EQ(lines.take(), (Strings{R"({"type":"user","id":7,"name":"Ann"})",
                                   R"({"type":"message_update","chat_id":-5,"id":11,)"
                                   R"("text":"Ann changed chat title to \"B\""})",
                                   R"({"type":"message_update","chat_id":-5,"id":12,)"
                                   R"("text":"Ann pinned a message"})"}));
  EXPECT_TRUE(g_pending_service_messages.empty());
}

TEST_F(ServiceMessages, WithoutBothIdsNothingIsRemembered) {
  const std::string json = message(11, 7, R"("messagePinMessage")");
  EXPECT_EQ(format_message_preview_and_track(0, 11, "messagePinMessage", json),
            "User 7 pinned a message");
  format_message_preview_and_track(-5, 0, "messagePinMessage", json);
  EXPECT_TRUE(g_pending_service_messages.empty());
}

// A preview is cut, the sentence in "message_update" is whole.
TEST_F(ServiceMessages, LongSentence) {
  const std::string title(300, 't');
  MessagePreview preview;
  ASSERT_TRUE(parse_first_message(
      message(11, 7, R"("messageChatChangeTitle","title":")" + title + '"'), preview, 240, true));
  const std::string whole = "User 7 changed chat title to \"" + title + '"';
  EXPECT_EQ(preview.text, whole.substr(0, 240) + "...");
  learn_user(user(7, "Ann"));
  EXPECT_EQ(lines.take().back(), R"({"type":"message_update","chat_id":-5,"id":11,"text":)"
                                 R"("Ann changed chat title to \")" +
                                     title + R"(\""})");
}

TEST_F(ServiceMessages, WhatNeverCompletesDoesNotStay) {
  for (int id = 1001; id <= 2025; ++id) text_of(message(id, 7, R"("messagePinMessage")"));
  EXPECT_EQ(g_pending_service_messages.size(), 1024U);
  EXPECT_EQ(g_pending_service_messages.count({-5, 1001}), 0U);
  TdError error{"", "getUser:7", "7", 400, ""};
  on_user_error(error);
  EXPECT_TRUE(g_pending_service_messages.empty());
  g_hub_mode = true;
  text_of(message(1, 7, R"("messagePinMessage")"));
  note_told_reactions(5, 1);
  g_hub_mode = false;
  EXPECT_TRUE(g_pending_service_messages.empty());
  EXPECT_FALSE(forget_told_reactions(5, 1));
  for (int id = 1; id <= 4097; ++id) note_told_reactions(5, id);
  EXPECT_FALSE(forget_told_reactions(5, 1));
  EXPECT_TRUE(forget_told_reactions(5, 2));
}

}  // namespace
