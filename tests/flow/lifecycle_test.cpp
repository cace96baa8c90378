// A message's life after it was sent or received, and the connection's state.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/backend_run.h"

namespace {

struct Lifecycle : testing::Test {
  BackendRun run;
  void SetUp() override {
    run.start();
    run.login();
  }
  Lines events_of(const std::string& object) {
    run.forget();
    run.deliver(object);
    return run.events();
  }
};

// A new post of a channel that answers another chat's photo, in the library's order of members.
constexpr const char* kReply =
    R"({"@type":"message","id":2097152,"sender_id":{"@type":"messageSenderChat","chat_id":-900},)"
    R"("chat_id":5,"sending_state":{"@type":"messageSendingStatePending","sending_id":1},)"
    R"("is_outgoing":true,"date":1700000000,)"
    R"("forward_info":{"@type":"messageForwardInfo","origin":{"@type":"messageOriginChannel",)"
    R"("chat_id":-77,"message_id":9},"date":3,"source":{"@type":"forwardSource","chat_id":1,)"
    R"("message_id":2,"date":4,"is_outgoing":false}},)"
    R"("reply_to":{"@type":"messageReplyToMessage","chat_id":-33,"message_id":44,"quote":)"
    R"({"@type":"textQuote","text":{"@type":"formattedText","text":"quoted","entities":[]},)"
    R"("position":0},"content":{"@type":"messagePhoto"}},)"
    R"("content":{"@type":"messageText","text":{"@type":"formattedText","text":"own \u00e9",)"
    R"("entities":[]}}})";

TEST_F(Lifecycle, NewSentAndFailed) {
  const std::string body =
      R"("reply_to_message_id":44,"forwarded":true,"content_type":"messageText","text":"own é"})";
  EXPECT_EQ(events_of(std::string(R"({"@type":"updateNewMessage","message":)") + kReply + "}"),
            Lines{R"({"type":"message_new","chat_id":5,"id":2097152,"outgoing":true,)"
                  R"("sending_state":"pending","date":1700000000,)" +
                  body});
  EXPECT_EQ(events_of(R"({"@type":"updateMessageSendAcknowledged","chat_id":5,"message_id":8})"),
            Lines{R"({"type":"message_send_acked","chat_id":5,"id":8})"});
  EXPECT_EQ(events_of(std::string(R"({"@type":"updateMessageSendSucceeded","message":)") + kReply +
                      R"(,"old_message_id":8})"),
            (Lines{R"({"type":"message_send_succeeded","chat_id":5,"old_id":8,"new_id":2097152,)"
                   R"("date":1700000000})",
                   R"({"type":"message","chat_id":5,"id":2097152,"outgoing":true,)"
                   R"("sending_state":"pending","date":1700000000,"content_type":"messageText",)"
                   R"("text":"own é","reply_to_message_id":44,"forwarded":true})"}));
  // The message's own state holds another error.
  EXPECT_EQ(
      events_of(R"({"@type":"updateMessageSendFailed","message":{"@type":"message","id":9,)"
                R"("chat_id":5,"sending_state":{"@type":"messageSendingStateFailed","error":)"
                R"({"@type":"error","code":1,"message":"inner"}},"content":)"
                R"({"@type":"messageText","text":{"@type":"formattedText","text":"x"}}},)"
                R"("old_message_id":8,"error":{"@type":"error","code":400,"message":"a \"b\""}})"),
      Lines{R"({"type":"message_send_failed","chat_id":5,"old_id":8,"error":"a \"b\""})"});
}

TEST_F(Lifecycle, EditedContentShowsItsOwnText) {
  const auto edit = [&](const std::string& content) {
    return events_of(R"({"@type":"updateMessageContent","chat_id":5,"message_id":7,)"
                     R"("new_content":)" +
                     content + "}");
  };
  const auto update = [](const std::string& text) {
    return Lines{R"({"type":"message_update","chat_id":5,"id":7,"text":")" + text + "\"}"};
  };
  EXPECT_EQ(edit(R"({"@type":"messageText","text":{"@type":"formattedText","text":"new"},)"
                 R"("link_preview":{"@type":"linkPreview","description":)"
                 R"({"@type":"formattedText","text":"no"}}})"),
            update("new"));
  EXPECT_EQ(edit(R"({"@type":"messagePhoto","caption":{"@type":"formattedText","text":"cap"}})"),
            update("cap"));
  EXPECT_EQ(edit(R"({"@type":"messageAnimatedEmoji","emoji":"\ud83d\ude00"})"), update("😀"));
  EXPECT_EQ(edit(R"({"@type":"messagePhoto","caption":{"@type":"formattedText","text":""}})"),
            Lines{});
}

TEST_F(Lifecycle, RepliesAndReactions) {
  const auto info = [&](const std::string& value) {
    return events_of(R"({"@type":"updateMessageInteractionInfo","chat_id":5,"message_id":7)" +
                     value + "}");
  };
  const std::string reply = R"("reply_info":{"@type":"messageReplyInfo","reply_count":3,)"
                            R"("recent_replier_ids":[]})";
  const std::string heart =
      R"("reactions":{"@type":"messageReactions","reactions":[{"@type":"messageReaction","type":)"
      R"({"@type":"reactionTypeEmoji","emoji":"❤"},"total_count":2,"is_chosen":true}]})";
  const auto begin = R"(,"interaction_info":{"@type":"messageInteractionInfo","view_count":1,)";
  EXPECT_EQ(info(begin + reply + "," + heart + "}"),
            (Lines{R"({"type":"message_reply_count","chat_id":5,"id":7,"reply_count":3})",
                   R"({"type":"message_reactions","chat_id":5,"id":7,"reactions":)"
                   R"([{"emoji":"❤","count":2,"chosen":true}]})"}));
  EXPECT_EQ(run.dbg_lines(),
            Lines{"REACTIONS_EMIT src=updateMessageInteractionInfo chat_id=5 msg_id=7 "
                  R"(json=[{"emoji":"❤","count":2,"chosen":true}])"});
  // The last one was taken away: told once.
  EXPECT_EQ(info(""), Lines{R"({"type":"message_reactions","chat_id":5,"id":7,"reactions":[]})"});
  EXPECT_EQ(info(""), Lines{});
}

TEST_F(Lifecycle, DeletionsComeInPiecesAndSayWhenOnlyForgotten) {
  EXPECT_EQ(events_of(R"({"@type":"updateDeleteMessages","chat_id":-5,"message_ids":[1,2],)"
                      R"("is_permanent":false,"from_cache":true})"),
            Lines{R"({"type":"messages_deleted","chat_id":-5,"message_ids":[1,2],)"
                  R"("from_cache":true})"});
  std::string ids;
  for (int id = 1; id <= 1025; ++id) ids += (id > 1 ? "," : "") + std::to_string(id);
  const Lines events = events_of(R"({"@type":"updateDeleteMessages","chat_id":5,"message_ids":[)" +
                                 ids + R"(],"is_permanent":true,"from_cache":false})");
  ASSERT_EQ(events.size(), 2u);
  EXPECT_EQ(events[0], R"({"type":"messages_deleted","chat_id":5,"message_ids":[)" +
                           ids.substr(0, ids.size() - 5) + "]}");
  EXPECT_EQ(events[1], R"({"type":"messages_deleted","chat_id":5,"message_ids":[1025]})");
}

TEST_F(Lifecycle, NothingIsClaimedWithoutTheIds) {
  for (const char* object : {
           R"({"@type":"updateMessageSendAcknowledged","chat_id":0,"message_id":8})",
           R"({"@type":"updateMessageSendAcknowledged","chat_id":5})",
           R"({"@type":"updateDeleteMessages","message_ids":[1]})",
           R"({"@type":"updateMessageContent","chat_id":5,"new_content":{"@type":"messageText"}})",
           R"({"@type":"updateMessageSendFailed","old_message_id":4})",
           R"({"@type":"updateNewMessage","message":{"@type":"message","id":0,"chat_id":5}})",
           R"({"@type":"updateNewMessage","message":{"@type":"message","id":5)",
       }) {
    EXPECT_EQ(events_of(object), Lines{}) << object;
  }
}

TEST_F(Lifecycle, ConnectionStates) {
  const std::vector<std::pair<std::string, std::string>> states = {
      {"Ready", "ready"},           {"WaitingForNetwork", "waiting_for_network"},
      {"Connecting", "connecting"}, {"ConnectingToProxy", "connecting_to_proxy"},
      {"Updating", "updating"},     {"Dreaming", "unknown"}};
  for (const auto& [type, word] : states) {
    EXPECT_EQ(events_of(R"({"@type":"updateConnectionState","state":{"@type":"connectionState)" +
                        type + "\"}}"),
              Lines{R"({"type":"connection_state","state":")" + word + "\"}"});
  }
}

}  // namespace
