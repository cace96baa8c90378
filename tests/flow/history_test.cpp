// Chats opened, paged through, jumped into and closed; threads; pinned messages.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "tests/support/backend_run.h"

namespace {

std::string message_text(std::int64_t chat_id, std::int64_t id) {
  return R"({"@type":"message","id":)" + std::to_string(id) +
         R"(,"sender_id":{"@type":"messageSenderChat","chat_id":-77},"chat_id":)" +
         std::to_string(chat_id) +
         R"(,"is_outgoing":false,"date":1700000000,"interaction_info":)"
         R"({"@type":"messageInteractionInfo","reactions":{"@type":"messageReactions",)"
         R"("reactions":[{"@type":"messageReaction","type":{"@type":"reactionTypeEmoji",)"
         R"("emoji":"x"},"total_count":3,"is_chosen":false}]}},"content":{"@type":"messageText",)"
         R"("text":{"@type":"formattedText","text":"m)" +
         std::to_string(id) + R"(","entities":[]}}})";
}

// A page with the messages first, first - 1, ...; its total is 900.
std::string page(std::int64_t chat_id, std::int64_t first, int count) {
  std::string messages;
  for (int i = 0; i < count; ++i) {
    if (i > 0) messages += i == 1 ? ",null," : ",";
    messages += message_text(chat_id, first - i);
  }
  return R"({"@type":"messages","total_count":900,"messages":[)" + messages + "]}";
}

struct Load {
  std::int64_t chat_id;
  std::int64_t gen;
  bool clear;
  std::int64_t from;
  std::int64_t limit;

  std::string tag() const {
    return "history:" + std::to_string(chat_id) + ":" + std::to_string(gen) +
           (clear ? ":clear:" : ":append:") + std::to_string(from) + ":" + std::to_string(limit);
  }
  std::string head(const std::string& type) const {
    return R"({"type":")" + type + R"(","chat_id":)" + std::to_string(chat_id) + R"(,"gen":)" +
           std::to_string(gen);
  }
  std::string members() const {
    return std::string(R"(,"clear":)") + (clear ? "true" : "false") + R"(,"from_message_id":)" +
           std::to_string(from) + R"(,"limit":)" + std::to_string(limit);
  }
  std::string begin() const { return head("history_begin") + members() + "}"; }
  std::string clear_event() const { return head("history_clear") + "}"; }
  std::string end(int total) const {
    return head("history_end") + members() + R"(,"total_count":)" + std::to_string(total) + "}";
  }
  Lines messages(std::int64_t first, int count) const {
    Lines lines;
    for (int i = 0; i < count; ++i) {
      const std::string id = std::to_string(first - i);
      lines.push_back(head("message") + R"(,"id":)" + id +
                      R"(,"outgoing":false,"date":1700000000,"content_type":"messageText",)"
                      R"("text":"m)" +
                      id + R"(","reactions":[{"emoji":"x","count":3,"chosen":false}]})");
    }
    return lines;
  }
  // The events that an answer with these messages gives.
  Lines series(std::int64_t first, int count) const {
    Lines lines = messages(first, count);
    lines.push_back(end(900));
    return lines;
  }
  std::string log(int emitted, int total, int attempt) const {
    return "HISTORY chat_id=" + std::to_string(chat_id) + " gen=" + std::to_string(gen) +
           " mode=" + (clear ? "clear" : "append") + " from=" + std::to_string(from) +
           " limit=" + std::to_string(limit) + " emitted=" + std::to_string(emitted) +
           " total_count=" + std::to_string(total) + " attempt=" + std::to_string(attempt);
  }
  std::string request(std::int64_t offset) const {
    return R"({"@type":"getChatHistory","chat_id":)" + std::to_string(chat_id) +
           R"(,"from_message_id":)" + std::to_string(from) + R"(,"offset":)" +
           std::to_string(offset) + R"(,"limit":)" + std::to_string(limit) +
           R"(,"only_local":false,"@extra":")" + tag() + R"("})";
  }
};

std::string pinned_request(std::int64_t chat_id, int count) {
  const std::string id = std::to_string(chat_id);
  return R"({"@type":"getChatPinnedMessage","chat_id":)" + id + R"(,"@extra":"pinned:)" + id + ":" +
         std::to_string(count) + R"("})";
}

std::string open_request(std::int64_t chat_id) {
  const std::string id = std::to_string(chat_id);
  return R"({"@type":"openChat","chat_id":)" + id + R"(,"@extra":"open:)" + id + R"("})";
}

const std::string kError = R"({"@type":"error","code":400,"message":"No \"luck\""})";
const std::string kNoMessages = R"({"@type":"messages","total_count":0,"messages":[]})";
const std::string kScheduled = "history: scheduling getChatHistory retry";
const std::string kRepeated = "SEND getChatHistory (retry:clear)";

std::string td_error(const std::string& tag) {
  return R"({"type":"td_error","json":"{\"@type\":\"error\",\"code\":400,)"
         R"(\"message\":\"No \\\"luck\\\"\",\"@extra\":\")" +
         tag + R"(\",\"@client_id\":1}"})";
}

struct History : testing::Test {
  BackendRun run;
  void SetUp() override {
    run.hold_clock();
    run.start();
    run.login();
  }
  // A command's whole effect.
  void expect_command(const std::string& line, const Lines& events, const Lines& requests,
                      const std::string& log) {
    run.send_line(line);
    EXPECT_EQ(run.events(), events) << line;
    EXPECT_EQ(run.requests(), requests) << line;
    EXPECT_EQ(run.dbg_lines(), Lines{log}) << line;
  }
  void expect_answer(const std::string& answer, const std::string& tag, const Lines& events,
                     const Lines& log) {
    run.answer(answer, tag);
    EXPECT_EQ(run.events(), events) << tag;
    EXPECT_EQ(run.dbg_lines(), log) << tag;
  }
  void begin(const std::string& line) {
    run.send_line(line);
    run.forget();
  }
  // Nothing more comes one millisecond before `ms` have passed; then the load is asked for again.
  void expect_repetition_after(std::int64_t ms, const Load& load) {
    expect_silence_for(ms - 1);
    run.advance_ms(1);
    run.idle();
    EXPECT_EQ(run.requests(), Lines{load.request(0)});
    EXPECT_EQ(run.dbg_lines(), Lines{kRepeated});
    EXPECT_EQ(run.events(), Lines{});
  }
  void expect_silence_for(std::int64_t ms) {
    run.advance_ms(ms);
    run.idle();
    EXPECT_EQ(run.requests(), Lines{});
    EXPECT_EQ(run.events(), Lines{});
    EXPECT_EQ(run.dbg_lines(), Lines{});
  }
};

TEST(HistoryReplies, UsageBeforeTheGateAndOkBehindIt) {
  BackendRun run;
  run.without_events();
  run.start();
  run.forget();
  const struct {
    const char* good;
    const char* usage;
    Lines bad;
  } commands[] = {
      {"open 5",
       "open <chat_id> [anchor_message_id]",
       {"open", "open 0", "open x", "open 5 y", "open 5 0", "open 5 -1"}},
      {"close 5", "close <chat_id>", {"close", "close 0", "close 5x"}},
      {"history 5", "history <chat_id> [limit]", {"history", "history 0 5", "history 5 many"}},
      {"history_more 5 7",
       "history_more <chat_id> <from_message_id> [limit]",
       {"history_more 5", "history_more 5 0", "history_more 5 -7", "history_more 5 7 x",
        "history_more 5  7"}},
      {"history_jump 5 7",
       "history_jump <chat_id> <message_id> [before] [after]",
       {"history_jump 5", "history_jump 5 0", "history_jump 5 7 x", "history_jump 5 7 1 x"}},
      {"thread_open 5 7",
       "thread_open <channel_chat_id> <post_message_id> [limit]",
       {"thread_open 5", "thread_open 0 7", "thread_open 5 0", "thread_open 5 7 x"}},
      {"thread_more 5 7 9",
       "thread_more <thread_chat_id> <message_thread_id> <from_message_id> "
       "[limit]",
       {"thread_more 5 7", "thread_more 5 0 9", "thread_more 5 7 0", "thread_more 5 7 9 x"}},
      {"pinned_list 5", "pinned_list <chat_id> [limit]", {"pinned_list", "pinned_list 5 x"}},
      {"read 5 7", "read <chat_id> <message_id>", {"read 5", "read 5 0", "read 0 7", "read 5 -7"}},
  };
  for (const auto& command : commands) {
    for (const std::string& line : command.bad) {
      run.send_line(line);
      EXPECT_EQ(run.replies(), Lines{std::string("ERR usage ") + command.usage}) << line;
    }
    const std::string good = command.good;
    run.send_line(good);
    EXPECT_EQ(run.replies(), Lines{"ERR not_ready"});
    EXPECT_EQ(run.dbg_lines(), Lines{"ERR " + good.substr(0, good.find(' ')) + " not_ready"});
  }
  EXPECT_EQ(run.requests(), Lines{});
  run.login();
  for (const auto& command : commands) {
    const std::string good = command.good;
    run.send_line(good);
    EXPECT_EQ(run.replies(), Lines{"OK " + good.substr(0, good.find(' '))});
  }
}

TEST_F(History, OpenedPagedJumpedIntoReadAndClosed) {
  const Load opened{5, 1, true, 0, 30};
  expect_command("open 5", {opened.begin()},
                 {open_request(5), opened.request(0), pinned_request(5, 1)},
                 "SEND openChat + getChatHistory + getChatPinnedMessage");
  run.answer(R"({"@type":"ok"})", "open:5");
  EXPECT_EQ(run.events(), Lines{});
  expect_answer(page(5, 1000, 30), opened.tag(), opened.series(1000, 30), {opened.log(30, 900, 1)});

  const Load more{5, 2, false, 971, 50};
  expect_command("history_more 5 971", {more.begin()}, {more.request(-1)},
                 "SEND getChatHistory (more)");
  // A short page that adds to what is shown is no reason to ask again.
  expect_answer(page(5, 971, 2), more.tag(), more.series(971, 2), {more.log(2, 900, 1)});
  const Load end{5, 3, false, 970, 1};
  expect_command("history_more 5 970 0", {end.begin()}, {end.request(-1)},
                 "SEND getChatHistory (more)");
  expect_answer(kNoMessages, end.tag(), {end.end(0)}, {end.log(0, 0, 1)});
  expect_silence_for(10000);

  const Load jumped{5, 4, true, 100, 81};
  expect_command("history_jump 5 100", {jumped.begin()}, {jumped.request(-40)},
                 "SEND getChatHistory (jump/around)");
  expect_answer(page(5, 140, 3), jumped.tag(), jumped.series(140, 3), {jumped.log(3, 900, 1)});
  expect_silence_for(10000);

  expect_command("read 5 140", {},
                 {R"({"@type":"viewMessages","chat_id":5,"message_ids":[140],"source":)"
                  R"({"@type":"messageSourceChatHistory"},"force_read":true,)"
                  R"("@extra":"read:5:140"})"},
                 "SEND viewMessages(force_read)");
  expect_answer(R"({"@type":"ok"})", "read:5:140", {}, {"TD_OK read chat_id=5"});
  expect_answer(kError, "read:5:140",
                {R"({"type":"action_error","action":"read","chat_id":5,"code":400,)"
                 R"("message":"No \"luck\""})"},
                {"TD_ERROR action=read chat_id=5"});
  expect_command("close 5", {}, {R"({"@type":"closeChat","chat_id":5,"@extra":"close:5"})"},
                 "SEND closeChat");
}

TEST_F(History, WhatTheArgumentsAskFor) {
  const struct {
    const char* line;
    std::int64_t from;
    std::int64_t offset;
    std::int64_t limit;
  } cases[] = {
      {"open 5 100", 100, -40, 81},
      {"history 5", 0, 0, 30},
      {"history 5 0", 0, 0, 1},
      {"history 5 500", 0, 0, 100},
      {"history 5  7", 0, 0, 30},  // an empty piece stands for a missing argument
      {"history_jump 5 100 99 99", 100, -99, 100},
      {"history_jump 5 100 60 50", 100, -50, 100},
      {"history_jump 5 100 -3 -3", 100, 0, 1},
      {"history_jump 5 100 3 0", 100, 0, 4},
      {"history_jump 5 100 500 0", 100, 0, 100},
  };
  std::int64_t gen = 0;
  for (const auto& expected : cases) {
    run.send_line(expected.line);
    const Load load{5, ++gen, true, expected.from, expected.limit};
    EXPECT_EQ(run.events(), Lines{load.begin()}) << expected.line;
    const Lines requests = run.requests();
    const std::string request = load.request(expected.offset);
    EXPECT_NE(std::find(requests.begin(), requests.end(), request), requests.end())
        << expected.line << ": " << request;
  }
}

TEST_F(History, TwoLoadsAtOnceBothArrive) {
  begin("history -100 2");
  begin("history -100 2");
  const Load first{-100, 1, true, 0, 2};
  const Load second{-100, 2, true, 0, 2};
  run.answer(page(-100, 9, 2), second.tag());
  EXPECT_EQ(run.events(), second.series(9, 2));
  run.forget();
  // The older one's empty answer is ended and not repeated, for a newer load came in between.
  expect_answer(kNoMessages, first.tag(), {first.end(0)}, {first.log(0, 0, 1)});
  expect_silence_for(10000);
}

TEST_F(History, AnEmptyAnswerIsAskedForTwiceAgain) {
  const Load load{5, 1, true, 0, 3};
  begin("history 5 3");
  expect_answer(kNoMessages, load.tag(), {load.clear_event(), load.end(0)},
                {kScheduled, load.log(0, 0, 1)});
  expect_repetition_after(1400, load);
  expect_answer(kNoMessages, load.tag(), {load.clear_event(), load.end(0)},
                {kScheduled, load.log(0, 0, 2)});
  expect_repetition_after(2600, load);
  expect_answer(kNoMessages, load.tag(), {load.end(0)}, {load.log(0, 0, 3)});
  expect_silence_for(10000);
}

TEST_F(History, ARepetitionIsASeriesOfItsOwn) {
  const Load load{5, 1, true, 100, 81};
  begin("open 5 100");
  run.answer(kNoMessages, load.tag());
  run.forget();
  run.advance_ms(1400);
  run.idle();
  EXPECT_EQ(run.requests(), Lines{load.request(-40)});  // with the offset, which no tag holds
  run.forget();
  expect_answer(page(5, 100, 2), load.tag(), load.series(100, 2), {load.log(2, 900, 2)});
  expect_silence_for(10000);  // short, but not from the newest on
}

TEST_F(History, AShortAnswerIsAskedForOnceMoreSilently) {
  const Load load{5, 1, true, 0, 5};
  begin("history 5 5");
  expect_answer(page(5, 9, 2), load.tag(), load.series(9, 2), {kScheduled, load.log(2, 900, 1)});
  expect_repetition_after(1400, load);
  Lines events = load.series(9, 4);
  events.insert(events.begin(), load.clear_event());
  expect_answer(page(5, 9, 4), load.tag(), events, {load.log(4, 900, 2)});
  expect_silence_for(10000);  // once, though four are still less than five

  const Load again{5, 2, true, 0, 5};
  begin("history 5 5");
  run.answer(page(5, 9, 2), again.tag());
  run.forget();
  expect_repetition_after(1400, again);
  expect_answer(page(5, 9, 2), again.tag(), {}, {again.log(0, 900, 2)});  // no more than before
  expect_silence_for(10000);
}

TEST_F(History, ANewerLoadOrCloseDropsWhatIsPending) {
  for (const std::string& end : {std::string("close 5"), std::string("history_jump 5 9")}) {
    for (const std::string& answer : {kNoMessages, page(5, 9, 2)}) {
      begin("history 5 5");
      const Load load{
          5, end == "close 5" ? (answer == kNoMessages ? 1 : 2) : (answer == kNoMessages ? 3 : 5),
          true, 0, 5};
      run.answer(answer, load.tag());
      run.forget();
      begin(end);
      expect_silence_for(5000);
    }
  }
  // A question that is under way stays without effect.
  begin("history 5 5");
  const Load load{5, 7, true, 0, 5};
  run.answer(page(5, 9, 2), load.tag());
  run.advance_ms(1400);
  run.idle();
  run.forget();
  begin("close 5");
  expect_answer(page(5, 9, 5), load.tag(), {}, {load.log(0, 900, 2)});
}

TEST_F(History, PagingDropsASilentQuestionOnly) {
  const Load load{5, 1, true, 0, 5};
  begin("history 5 5");
  run.answer(page(5, 9, 2), load.tag());
  begin("history_more 5 8");
  expect_silence_for(5000);

  // Under way, its answer must not wipe what was paged in.
  const Load second{5, 3, true, 0, 5};
  begin("history 5 5");
  run.answer(page(5, 9, 2), second.tag());
  run.advance_ms(1400);
  run.idle();
  begin("thread_more 5 2 8");
  expect_answer(page(5, 9, 5), second.tag(), {}, {second.log(0, 900, 2)});

  // Nor is one begun when paging was faster than the answer; another chat's paging is no reason.
  const Load third{5, 5, true, 0, 5};
  begin("history 5 5");
  begin("history_more 5 8");
  run.answer(page(5, 9, 2), third.tag());
  run.forget();
  expect_silence_for(5000);
  const Load fourth{5, 7, true, 0, 5};
  begin("history 5 5");
  run.answer(page(5, 9, 2), fourth.tag());
  begin("history_more 6 8");
  expect_repetition_after(1400, fourth);

  // The repetition of an empty answer goes on.
  const Load fifth{5, 9, true, 0, 5};
  begin("history 5 5");
  run.answer(kNoMessages, fifth.tag());
  begin("history_more 5 8");
  expect_repetition_after(1400, fifth);
}

TEST_F(History, AFailedLoadHasItsEnd) {
  const Load load{5, 1, true, 0, 30};
  begin("open 5");
  run.answer(kError, load.tag());
  EXPECT_EQ(run.events(), (Lines{td_error(load.tag()), load.end(0)}));
  EXPECT_EQ(run.requests(), Lines{});

  // A failed silent question belongs to a series that has had its end.
  const Load second{5, 2, true, 0, 5};
  begin("history 5 5");
  run.answer(page(5, 9, 2), second.tag());
  run.advance_ms(1400);
  run.idle();
  run.forget();
  run.answer(kError, second.tag());
  EXPECT_EQ(run.events(), Lines{td_error(second.tag())});

  // A failed repetition ends the load.
  const Load third{5, 3, true, 0, 5};
  begin("history 5 5");
  run.answer(kNoMessages, third.tag());
  run.advance_ms(1400);
  run.idle();
  run.forget();
  run.answer(kError, third.tag());
  EXPECT_EQ(run.events(), (Lines{td_error(third.tag()), third.end(0)}));
  run.forget();
  expect_silence_for(10000);
}

TEST_F(History, AnswersThatNobodyAskedForClaimNothing) {
  const Load unknown{8, 77, true, 0, 5};
  expect_answer(kNoMessages, unknown.tag(), {unknown.end(0)}, {unknown.log(0, 0, 1)});
  for (const char* tag : {"history:", "history:5", "history:0:1:clear:0:5", "history:5:x:clear:0:5",
                          "history:5:1:both:0:5", "history:5:1:clear:0", "history:5:1:clear:0:5:6",
                          "history:5:1:clear:0:99999999999999999999"}) {
    expect_answer(page(5, 9, 2), tag, {}, {});
    run.answer(kError, tag);
    EXPECT_EQ(run.events(), Lines{td_error(tag)});
    run.forget();
  }
  expect_silence_for(10000);
}

TEST_F(History, ATornPageShowsWhatIsWhole) {
  const Load load{5, 1, true, 7, 81};
  begin("open 5 7");
  const std::string whole = page(5, 9, 2);
  run.deliver(R"({"@extra":")" + load.tag() + R"(",)" + whole.substr(1, whole.size() - 3));
  EXPECT_EQ(run.events(), load.series(9, 2));
}

TEST_F(History, AnAnswerOfAnotherKindEndsTheSeries) {
  const Load load{5, 1, true, 7, 81};
  begin("open 5 7");
  run.answer(R"({"@type":"ok"})", load.tag());
  EXPECT_EQ(run.events(), (Lines{load.clear_event(), load.end(-1)}));
  begin("pinned_list 5");
  run.answer(R"({"@type":"ok"})", "pinned_list:5:1:50");
  EXPECT_EQ(run.events(), Lines{R"({"type":"pinned_list_end","chat_id":5,"gen":1,"count":0,)"
                                R"("total_count":-1})"});
  for (const char* tag : {"pinned:", "pinned:x:1", "pinned_list:", "pinned_list:5", "read:"}) {
    run.forget();
    run.answer(message_text(5, 9), tag);
    run.answer(R"({"@type":"ok"})", tag);
    EXPECT_EQ(run.events(), Lines{}) << tag;
    EXPECT_EQ(run.dbg_lines(), Lines{}) << tag;
  }
}

TEST_F(History, AThreadIsOpenedUnderOneGeneration) {
  expect_command("thread_open -100 7", {},
                 {R"({"@type":"getMessageThread","chat_id":-100,"message_id":7,)"
                  R"("@extra":"threadOpen:-100:7:1:60"})"},
                 "SEND getMessageThread");
  begin("history 6 2");
  const Load load{-200, 1, true, 0, 60};
  const std::string request =
      R"({"@type":"getMessageThreadHistory","chat_id":-200,"message_id":33,"from_message_id":0,)"
      R"("offset":0,"limit":60,"@extra":")" +
      load.tag() + R"("})";
  run.answer(R"({"@type":"messageThreadInfo","chat_id":-200,"message_thread_id":33,"reply_info":)"
             R"({"@type":"messageReplyInfo","reply_count":2},"unread_message_count":0,)"
             R"("messages":[)" +
                 message_text(-100, 7) + "]}",
             "threadOpen:-100:7:1:60");
  EXPECT_EQ(run.events(), (Lines{R"({"type":"thread_info","channel_chat_id":-100,)"
                                 R"("post_message_id":7,"thread_chat_id":-200,)"
                                 R"("message_thread_id":33,"gen":1})",
                                 load.begin()}));
  EXPECT_EQ(run.requests(), (Lines{open_request(-200), request}));
  EXPECT_EQ(run.dbg_lines(), Lines{"SEND getMessageThreadHistory (thread_open)"});
  run.answer(kNoMessages, load.tag());
  EXPECT_EQ(run.events(), (Lines{load.clear_event(), load.end(0)}));
  run.advance_ms(1400);
  run.idle();
  EXPECT_EQ(run.requests(), Lines{request});
  run.forget();
  run.answer(page(-200, 9, 2), load.tag());
  EXPECT_EQ(run.events(), load.series(9, 2));
  run.forget();

  const Load more{-200, 3, false, 8, 50};
  expect_command("thread_more -200 33 8", {more.begin()},
                 {R"({"@type":"getMessageThreadHistory","chat_id":-200,"message_id":33,)"
                  R"("from_message_id":8,"offset":0,"limit":50,"@extra":")" +
                  more.tag() + R"("})"},
                 "SEND getMessageThreadHistory (more)");
}

TEST_F(History, AThreadThatCannotBeOpened) {
  begin("thread_open -100 7 500");
  expect_answer(kError, "threadOpen:-100:7:1:100",
                {R"({"type":"thread_open_error","channel_chat_id":-100,"post_message_id":7,)"
                 R"("code":400,"message":"No \"luck\""})"},
                {"TD_ERROR threadOpen"});
  expect_answer(R"({"@type":"error","code":404})", "threadOpen:-100:7:1:100",
                {R"({"type":"thread_open_error","channel_chat_id":-100,"post_message_id":7,)"
                 R"("code":404,"message":""})"},
                {"TD_ERROR threadOpen"});
  expect_answer(R"({"@type":"messageThreadInfo"})", "threadOpen:-100:7:1:100",
                {R"({"type":"thread_open_error","channel_chat_id":-100,"post_message_id":7,)"
                 R"("code":0,"message":"thread not found"})"},
                {"TD_ERROR threadOpen"});
  EXPECT_EQ(run.requests(), Lines{});
}

TEST_F(History, ThePinnedMessage) {
  begin("open 5");
  const std::string message =
      R"({"@type":"message","id":9,"sender_id":{"@type":"messageSenderUser","user_id":3},)"
      R"("chat_id":5,"is_outgoing":true,"date":1,"content":{"@type":"messageText","text":)"
      R"({"@type":"formattedText","text":")" +
      std::string(250, 'a') + R"("}}})";
  expect_answer(message, "pinned:5:1",
                {R"({"type":"pinned_message","chat_id":5,"id":9,"outgoing":true,"text":")" +
                 std::string(240, 'a') + R"(..."})"},
                {});
  expect_answer(kError, "pinned:5:1", {R"({"type":"pinned_none","chat_id":5})"}, {});
}

TEST_F(History, ThePinnedList) {
  expect_command("pinned_list 5", {R"({"type":"pinned_list_begin","chat_id":5,"gen":1})"},
                 {R"({"@type":"searchChatMessages","chat_id":5,"topic_id":null,"query":"",)"
                  R"("sender_id":null,"from_message_id":0,"offset":0,"limit":50,"filter":)"
                  R"({"@type":"searchMessagesFilterPinned"},"@extra":"pinned_list:5:1:50"})"},
                 "SEND searchChatMessages (pinned)");
  const auto with_content = [](int id, const std::string& content) {
    return R"(,{"@type":"message","id":)" + std::to_string(id) +
           R"(,"chat_id":5,"is_outgoing":true,"content":)" + content + "}";
  };
  const auto item = [](int id, const char* outgoing, const std::string& text) {
    return R"({"type":"pinned_list_item","chat_id":5,"id":)" + std::to_string(id) +
           R"(,"outgoing":)" + outgoing + R"(,"text":")" + text + R"("})";
  };
  expect_answer(
      R"({"@type":"foundChatMessages","total_count":12,"messages":[)" + message_text(5, 9) +
          with_content(8, R"({"@type":"messagePhoto","caption":{"@type":"formattedText",)"
                          R"("text":"look"}})") +
          with_content(7, R"({"@type":"messageAnimatedEmoji","emoji":"\ud83d\ude00"})") +
          with_content(6, R"({"@type":"messageChatChangeTitle","title":"New"})") +
          with_content(4, R"({"@type":"messagePoll"})") + R"(],"next_from_message_id":0})",
      "pinned_list:5:1:50",
      {item(9, "false", "m9"), item(8, "true", "[photo]"), item(7, "true", "\xf0\x9f\x98\x80"),
       item(6, "true", R"(Someone changed chat title to \"New\")"),
       item(4, "true", "[messagePoll]"),
       R"({"type":"pinned_list_end","chat_id":5,"gen":1,"count":5,"total_count":12})"},
      {"PINNED_LIST chat_id=5 gen=1 emitted=5 total_count=12"});
  begin("pinned_list 5 500");
  expect_answer(R"({"@type":"foundChatMessages","total_count":0,"messages":[]})",
                "pinned_list:5:2:100",
                {R"({"type":"pinned_list_end","chat_id":5,"gen":2,"count":0,"total_count":0})"},
                {"PINNED_LIST chat_id=5 gen=2 emitted=0 total_count=0"});
  expect_answer(kError, "pinned_list:5:2:100",
                {R"({"type":"pinned_list_end","chat_id":5,"count":0})"}, {});
}

}  // namespace
