// Level 2 of the protocol: what closes every event, what ends every command with an id.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "frame/version.h"
#include "tests/support/backend_run.h"
#include "tests/support/recorder.h"

namespace {

// The lines without their numbers, which follow each other from `next` on.
Lines numbered_from(long long next, const Lines& lines) {
  Lines plain;
  for (const std::string& line : lines) {
    const std::string end = ",\"seq\":" + std::to_string(next++) + "}";
    EXPECT_GT(line.size(), end.size());
    EXPECT_EQ(line.substr(line.size() - std::min(line.size(), end.size())), end) << line;
    plain.push_back(line.substr(0, line.size() - end.size()) + "}");
  }
  return plain;
}

std::string hello(const std::string& mode) {
  return R"({"type":"hello","protocol":2,"version":")" + std::string(kVersion) + R"(","mode":")" +
         mode + R"("})";
}

struct Level2 : testing::Test {
  BackendRun run;
  long long seen = 0;

  void SetUp() override {
    run.set_env("BACKEND_PROTOCOL", "2");
    run.start();
    seen += static_cast<long long>(run.events().size());
    run.deliver_auth_state("authorizationStateReady");
    seen += static_cast<long long>(run.events().size());
    run.forget();
  }
  Lines events() {
    const Lines lines = run.events();
    const long long next = seen + 1;
    seen += static_cast<long long>(lines.size());
    return numbered_from(next, lines);
  }
  Lines events_of(const std::string& line) {
    run.send_line(line);
    return events();
  }
  std::string only_tag() {
    const Lines requests = run.requests();
    EXPECT_EQ(requests.size(), 1u);
    return requests.empty() ? "" : tag_of(requests[0]);
  }
};

constexpr char kNoChat[] = R"({"@type":"error","code":400,"message":"no chat"})";
constexpr char kNoMessages[] = R"({"@type":"messages","total_count":0,"messages":[]})";

TEST(Level2Run, IsNumberedFromHelloToGoodbye) {
  struct End {
    const char* reason;
    std::function<void(BackendRun&)> end;
  };
  const std::vector<End> ends = {
      {"quit", [](BackendRun& run) { run.write_input("quit\n"); }},
      {"quit", [](BackendRun& run) { run.write_input("#3 quit\n"); }},
      {"input_ended", [](BackendRun& run) { run.close_input(); }},
      {"signal", [](BackendRun& run) { kill(run.pid(), SIGTERM); }},
      {"closed", [](BackendRun& run) { run.deliver_auth_state("authorizationStateClosed"); }},
      {"logged_out",
       [](BackendRun& run) {
         run.deliver_auth_state("authorizationStateLoggingOut");
         run.deliver_auth_state("authorizationStateClosed");
       }},
  };
  for (const auto& [reason, end] : ends) {
    for (const Mode mode : {Mode::kUi, Mode::kHub}) {
      BackendRun run(mode);
      run.set_env("BACKEND_PROTOCOL", "2");
      run.set_env("BACKEND_EXIT_ON_EOF", "1");
      run.start();
      run.send_line("#9 code 12345");  // waits for its state to the end
      end(run);
      EXPECT_EQ(run.wait_exit(), 0) << reason;
      const Lines events = numbered_from(1, run.events());
      ASSERT_GT(events.size(), 2u);
      EXPECT_EQ(events.front(), hello(mode == Mode::kHub ? "hub" : "ui"));
      EXPECT_EQ(events[events.size() - 2],
                R"({"type":"command_end","cmd":9,"command":"code","ok":false,"error":"closed"})");
      EXPECT_EQ(events.back(), R"({"type":"goodbye","reason":")" + std::string(reason) + R"("})");
    }
  }
}

TEST(Level2Run, OnlyTheNumberTwoAsksForIt) {
  for (const char* other : {"", "1", "3", "0", "-2"}) {
    BackendRun run;
    run.set_env("BACKEND_PROTOCOL", other);
    run.start();
    run.send_line("#1 ping");
    run.send_line("resync");
    EXPECT_EQ(run.quit(), 0);
    const Lines events = run.events();
    ASSERT_EQ(events.size(), 2u) << other;
    EXPECT_EQ(events[1], R"({"type":"backend_ready","client_id":1})");
  }
}

// A pipe that gets its reader late and is full later on.
TEST(Level2Run, WhatIsLostIsCountedAndLeavesAGapOfThatSize) {
  BackendRun run;
  run.do_not_record();
  const std::string pipe = run.dir() / "events.fifo";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  run.set_env("BACKEND_EVENTS_FILE", pipe);
  run.set_env("BACKEND_PROTOCOL", "2");
  run.start();
  for (int i = 0; i < 3; ++i) run.send_line("state");
  const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  std::string text;
  const auto read_pipe = [&] {
    std::string all(1 << 20, '\0');
    all.resize(
        static_cast<std::size_t>(std::max<ssize_t>(read(reader, all.data(), all.size()), 0)));
    text += all;
  };
  run.send_line("#1 ping");
  read_pipe();
  const std::string big =
      R"({"@type":"error","code":1,"message":")" + std::string(9000, 'x') + "\"}";
  for (int i = 0; i < 10; ++i) run.deliver(big);
  read_pipe();
  EXPECT_EQ(text.back(), 'x');
  run.send_line("#2 ping");
  EXPECT_EQ(run.quit(), 0);
  read_pipe();
  close(reader);

  Lines types;
  long long last = 0;
  long long lost = 0;
  for (std::size_t begin = 0, end = 0; (end = text.find('\n', begin)) != std::string::npos;
       begin = end + 1) {
    const std::string line = text.substr(begin, end - begin);
    if (line.back() != '}') continue;  // the torn one, alone on its line
    const std::string type = line.substr(9, line.find('"', 9) - 9);
    const long long number = std::stoll(line.substr(line.rfind(':') + 1));
    const bool tells_loss = type == "events_lost";
    const long long count = tells_loss ? std::stoll(line.substr(line.find("count") + 7)) : 0;
    EXPECT_EQ(number, last + count + 1) << line;
    last = number;
    lost += count;
    if (types.empty() || types.back() != type) types.push_back(type);
    if (tells_loss) record_event_line(line);
  }
  EXPECT_EQ(types, (Lines{"hello", "backend_run", "events_lost", "command_end", "td_error",
                          "events_lost", "command_end", "goodbye"}));
  EXPECT_GT(lost, 4) << "backend_ready, three states, and what the pipe did not hold";
}

TEST_F(Level2, ARequestsAnswerCarriesTheIdAndEndsIt) {
  EXPECT_EQ(events_of("#17 chat_info 5"), Lines{});
  const std::string tag = only_tag();
  EXPECT_EQ(tag.substr(0, tag.find('.')), "chatInfo:5#17");
  run.answer(kNoChat, tag);
  EXPECT_EQ(
      events(),
      (Lines{R"({"type":"chat_info_error","chat_id":5,"code":400,"message":"no chat","cmd":17})",
             R"({"type":"command_end","cmd":17,"command":"chat_info","ok":false,"code":400,)"
             R"("error":"no chat"})"}));
  run.answer(kNoChat, tag);
  EXPECT_EQ(events(),
            Lines{R"({"type":"chat_info_error","chat_id":5,"code":400,"message":"no chat"})"})
      << "a second answer is nobody's";
  EXPECT_EQ(events_of("#17 forward 5 6 7"), Lines{}) << "an id that has ended is free";
  run.answer(R"({"@type":"error","code":5,"message":"x"})", only_tag());
  EXPECT_EQ(
      events(),
      (Lines{R"({"type":"td_error","json":"{\"@type\":\"error\",\"code\":5,\"message\":\"x\",)"
             R"(\"@extra\":\"forward:5:6\",\"@client_id\":1}","cmd":17})",
             R"({"type":"command_end","cmd":17,"command":"forward","ok":false,"code":5,)"
             R"("error":"x"})"}))
      << "errors are shown without the id in their tag";
}

TEST_F(Level2, LinesAreRefusedInTheOpen) {
  const std::string usage = "usage open <chat_id> [anchor_message_id]";
  EXPECT_EQ(events_of("open"),
            Lines{R"({"type":"command_refused","command":"open","text":"ERR )" + usage + R"("})"});
  EXPECT_EQ(events_of("#18 open"),
            (Lines{R"({"type":"command_refused","command":"open","text":"ERR )" + usage +
                       R"(","cmd":18})",
                   R"({"type":"command_end","cmd":18,"command":"open","ok":false,"error":")" +
                       usage + R"("})"}));
  EXPECT_EQ(events_of("#9007199254740991  ping"),
            Lines{R"({"type":"command_end","cmd":9007199254740991,"command":"ping","ok":true})"});
  for (const char* word :
       {"#0", "#x", "#", "#-1", "#9007199254740992", "#1x", "#18446744073709551617"}) {
    EXPECT_EQ(events_of(std::string(word) + " ping"),
              Lines{R"({"type":"command_refused","command":")" + std::string(word) +
                    R"(","text":"ERR unknown_command"})"});
  }
  const std::string long_word(70, 'w');
  EXPECT_EQ(events_of("#19 " + long_word + " 1"),
            (Lines{R"({"type":"command_refused","command":")" + long_word.substr(0, 64) +
                       R"(","text":"ERR unknown_command","cmd":19})",
                   R"({"type":"command_end","cmd":19,"command":")" + long_word.substr(0, 64) +
                       R"(","ok":false,"error":"unknown_command"})"}));
  EXPECT_EQ(run.requests(), Lines{});
}

TEST_F(Level2, AnOpenIdIsRefusedAndGoesOn) {
  EXPECT_EQ(events_of("#22 download 7"), Lines{});
  const std::string tag = only_tag();
  EXPECT_EQ(events_of("#22 join 5"),
            (Lines{R"({"type":"command_refused","command":"join","text":"ERR id_in_use","cmd":22})",
                   R"({"type":"command_end","cmd":22,"command":"join","ok":false,)"
                   R"("error":"id_in_use"})"}));
  EXPECT_EQ(run.requests(), Lines{}) << "the line does nothing";
  run.answer(R"({"@type":"file","id":7})", tag);
  EXPECT_EQ(events(), Lines{R"({"type":"command_end","cmd":22,"command":"download","ok":true})"});
}

TEST_F(Level2, ALoadIsOpenUntilNothingRepeatsIt) {
  run.send_line("#30 history 5");
  const Lines requests = run.requests();
  ASSERT_EQ(requests.size(), 2u);
  run.answer(R"({"@type":"error","code":404,"message":"none"})", tag_of(requests[1]));
  EXPECT_EQ(events().back(), R"({"type":"pinned_none","chat_id":5,"cmd":30})");
  run.answer(kNoMessages, tag_of(requests[0]));
  EXPECT_EQ(events().back(),
            R"({"type":"history_end","chat_id":5,"gen":1,"clear":true,"from_message_id":0,)"
            R"("limit":30,"total_count":0,"has_more":false,"cmd":30})");
  // Closing drops the repetition that is scheduled.
  EXPECT_EQ(events_of("#31 close 5"),
            Lines{R"({"type":"command_end","cmd":30,"command":"history","ok":true})"});
  run.answer(R"({"@type":"ok"})", only_tag());
  EXPECT_EQ(events(), Lines{R"({"type":"command_end","cmd":31,"command":"close","ok":true})"});
}

// Two loads ask once whether the account is in the group; each gets its row in its own name.
TEST_F(Level2, SharedQuestionsLeaveEachLoadItsName) {
  const std::string group =
      R"({"@type":"chat","id":-500,"type":{"@type":"chatTypeSupergroup","supergroup_id":9,)"
      R"("is_channel":false},"title":"G","positions":[]})";
  run.feed("#1 chats\n#2 chats\n");
  const Lines lists = run.requests();
  ASSERT_EQ(lists.size(), 2u);
  for (const std::string& list : lists) {
    run.answer(R"({"@type":"chats","total_count":1,"chat_ids":[-500]})", tag_of(list));
  }
  const Lines chats = run.requests();
  ASSERT_EQ(chats.size(), 2u);
  for (const std::string& chat : chats) run.answer(group, tag_of(chat));
  (void)events();
  run.answer(R"({"@type":"supergroup","id":9,"status":{"@type":"chatMemberStatusMember"}})",
             only_tag());
  const Lines rows = events();
  ASSERT_EQ(rows.size(), 6u);
  const auto ends_with_cmd = [&](std::size_t i, const std::string& type, int id) {
    EXPECT_EQ(rows[i].find("{\"type\":\"" + type + "\""), 0u) << rows[i];
    const std::string cmd = "\"cmd\":" + std::to_string(id);
    EXPECT_NE(rows[i].find(cmd), std::string::npos) << rows[i];
  };
  // The first one's request is the question itself, which is answered when all is told.
  ends_with_cmd(0, "chat", 1);
  ends_with_cmd(1, "chats_end", 1);
  ends_with_cmd(2, "chat", 2);
  ends_with_cmd(3, "chats_end", 2);
  ends_with_cmd(4, "command_end", 2);
  ends_with_cmd(5, "command_end", 1);
}

}  // namespace
