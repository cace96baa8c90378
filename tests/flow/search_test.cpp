#include <gtest/gtest.h>

#include "tests/support/backend_run.h"

namespace {

constexpr const char* kFound = R"({"@type":"chats","total_count":2,"chat_ids":[-100,200]})";
constexpr const char* kError = R"({"@type":"error","code":400,"message":"QUERY_TOO_SHORT"})";

std::string chat(const std::string& id, const std::string& title) {
  return R"({"@type":"chat","id":)" + id + R"(,"type":{"@type":"chatTypeSupergroup",)" +
         R"("supergroup_id":5,"is_channel":true},"title":")" + title + R"(","photo":)" +
         R"({"@type":"chatPhotoInfo","small":{"@type":"file","id":77,"size":1},"big":)" +
         R"({"@type":"file","id":78}},"last_message":{"@type":"message","id":1,"chat_id":9,)" +
         R"("content":{"@type":"messageChatChangeTitle","title":"trap"}}})";
}

TEST(Search, Requests) {
  BackendRun run;
  run.without_events();
  run.start();
  run.login();
  run.send_line("search_server64 5 IGNhZsOpICJ4IiA=");  // " café "x" "
  run.send_line("chat_search64 6 -1001234567890 aGk");
  run.send_line("chat_search64 7 5 aGk= 1048576 500 ignored");
  run.send_line("chat_search64 8 5 aGk= 0 -3");
  run.send_line("shared64 9 5 PHOTO");
  run.send_line("shared64 9 5 video 2097152 0");
  run.send_line("shared64 9 5 File 0 101");
  run.send_line("shared64 9223372036854775807 5 link 0 7");
  const auto messages = [](const std::string& rest) {
    return R"({"@type":"searchChatMessages","chat_id":)" + rest;
  };
  const auto shared = [&](const std::string& from, const std::string& limit,
                          const std::string& filter, const std::string& tag) {
    return messages(R"(5,"topic_id":null,"query":"","sender_id":null,"from_message_id":)" + from +
                    R"(,"offset":0,"limit":)" + limit + R"(,"filter":{"@type":")" + filter +
                    R"("},"@extra":")" + tag + "\"}");
  };
  EXPECT_EQ(
      run.requests(),
      (Lines{
          R"({"@type":"searchPublicChats","query":"café \"x\"","@extra":"searchServer:5"})",
          messages(R"(-1001234567890,"topic_id":null,"query":"hi","sender_id":null,)"
                   R"("from_message_id":0,"offset":0,"limit":50,"filter":)"
                   R"({"@type":"searchMessagesFilterEmpty"},)"
                   R"("@extra":"chatSearch:6:-1001234567890"})"),
          messages(R"(5,"topic_id":null,"query":"hi","sender_id":null,"from_message_id":1048576,)"
                   R"("offset":0,"limit":100,"filter":{"@type":"searchMessagesFilterEmpty"},)"
                   R"("@extra":"chatSearch:7:5"})"),
          messages(R"(5,"topic_id":null,"query":"hi","sender_id":null,"from_message_id":0,)"
                   R"("offset":0,"limit":1,"filter":{"@type":"searchMessagesFilterEmpty"},)"
                   R"("@extra":"chatSearch:8:5"})"),
          shared("0", "50", "searchMessagesFilterPhoto", "shared:9:5:photo"),
          shared("2097152", "1", "searchMessagesFilterVideo", "shared:9:5:video"),
          shared("0", "100", "searchMessagesFilterDocument", "shared:9:5:file"),
          shared("0", "7", "searchMessagesFilterUrl", "shared:9223372036854775807:5:link")}));
  EXPECT_EQ(run.replies(),
            (Lines{"OK search_server64", "OK chat_search64", "OK chat_search64", "OK chat_search64",
                   "OK shared64", "OK shared64", "OK shared64", "OK shared64"}));
  EXPECT_EQ(run.dbg_lines(),
            (Lines{"SEND searchPublicChats", "SEND searchChatMessages (chat_search)",
                   "SEND searchChatMessages (chat_search)", "SEND searchChatMessages (chat_search)",
                   "SEND searchChatMessages (shared)", "SEND searchChatMessages (shared)",
                   "SEND searchChatMessages (shared)", "SEND searchChatMessages (shared)"}));
}

// What is malformed is told before the login, too; only a sound command meets the gate.
TEST(Search, Refusals) {
  const char* server = "ERR usage search_server64 <req_id> <base64_utf8_query> [limit]";
  const char* in_chat =
      "ERR usage chat_search64 <req_id> <chat_id> <base64_utf8_query> [from_message_id] [limit]";
  const char* shared = "ERR usage shared64 <req_id> <chat_id> <kind> [from_message_id] [limit]";
  struct Case {
    const char* line;
    const char* reply;
  };
  BackendRun run;
  run.without_events();
  run.start();
  run.forget();
  for (const Case& c : {
           Case{"search_server64", server},
           Case{"search_server64 0 aGk=", server},
           Case{"search_server64 1", server},
           Case{"search_server64 1  aGk=", server},
           Case{"search_server64 1 ***  x", "ERR search_server64 bad_base64_query"},
           Case{"search_server64 1 aGk= x", server},
           Case{"search_server64 1 *** x", server},
           Case{"search_server64 1 a-_= 5", "ERR search_server64 bad_base64_query"},
           Case{"search_server64 1 ICAK", "ERR search_server64 empty_query"},
           Case{"search_server64 1 = 5", "ERR search_server64 empty_query"},
           Case{"chat_search64 -1 5 aGk=", in_chat},
           Case{"chat_search64 1 0 aGk=", in_chat},
           Case{"chat_search64 1 5", in_chat},
           Case{"chat_search64 1 5 aGk= x", in_chat},
           Case{"chat_search64 1 5 aGk= 0 x", in_chat},
           Case{"chat_search64 1 5 %", "ERR chat_search64 bad_base64_query"},
           Case{"chat_search64 1 5 IA==", "ERR chat_search64 empty_query"},
           Case{"shared64 0 5 photo", shared},
           Case{"shared64 1 0 photo", shared},
           Case{"shared64 1 5", shared},
           Case{"shared64 1 5 photo x", shared},
           Case{"shared64 1 5 photo 0 x", shared},
           Case{"shared64 1 5 audio", "ERR shared64 bad_kind"},
       }) {
    run.send_line(c.line);
    EXPECT_EQ(run.replies(), Lines{c.reply}) << c.line;
    EXPECT_EQ(run.dbg_lines(), Lines{}) << c.line;
  }
  for (const std::string line :
       {"search_server64 1 aGk=", "chat_search64 1 5 aGk=", "shared64 1 5 photo"}) {
    run.send_line(line);
    EXPECT_EQ(run.replies(), Lines{"ERR not_ready"});
    EXPECT_EQ(run.dbg_lines(), Lines{"ERR " + line.substr(0, line.find(' ')) + " not_ready"});
  }
  EXPECT_EQ(run.requests(), Lines{});
}

TEST(Search, PublicChatsOneByOne) {
  BackendRun run;
  run.start();
  run.login();
  run.send_line("search_server64 5 aGk=");
  EXPECT_EQ(run.events(), Lines{R"({"type":"search_begin","req":5})"});
  run.requests();
  run.answer(kFound, "searchServer:5");
  EXPECT_EQ(run.requests(),
            (Lines{R"({"@type":"getChat","chat_id":-100,"@extra":"searchChat:5:0:-100"})",
                   R"({"@type":"getChat","chat_id":200,"@extra":"searchChat:5:1:200"})"}));
  run.answer(R"({"@type":"chat","id":200,"title":"A \"quoted\" one"})", "searchChat:5:1:200");
  run.answer(chat("-100", "News"), "searchChat:5:0:-100");
  EXPECT_EQ(run.events(),
            (Lines{R"({"type":"search_chat","req":5,"idx":1,"id":200,"photo_small_id":0,)"
                   R"("chat_type":"unknown","title":"A \"quoted\" one"})",
                   R"({"type":"search_chat","req":5,"idx":0,"id":-100,"photo_small_id":77,)"
                   R"("chat_type":"channel","title":"News"})",
                   R"({"type":"search_end","req":5})"}));
}

TEST(Search, PublicSearchAlwaysEnds) {
  BackendRun run;
  run.start();
  run.login();
  const std::string end = R"({"type":"search_end","req":1})";
  const auto begin = [&](const std::string& limit = "") {
    run.send_line("search_server64 1 aGk=" + limit);
    run.forget();
  };

  begin();
  run.answer(R"({"@type":"chats","total_count":0,"chat_ids":[]})", "searchServer:1");
  EXPECT_EQ(run.events(), Lines{end});

  begin();
  run.answer(R"({"@type":"chats"})", "searchServer:1");
  EXPECT_EQ(run.events(), Lines{end});

  begin();
  run.answer(kError, "searchServer:1");
  EXPECT_EQ(run.events(), (Lines{R"({"type":"action_error","action":"search","chat_id":0,)"
                                 R"("code":400,"message":"QUERY_TOO_SHORT"})",
                                 end}));
  EXPECT_EQ(run.dbg_lines(), Lines{"TD_ERROR searchChatsOnServer"});

  // An error to one chat, and to the last one, counts as answered.
  begin();
  run.answer(kFound, "searchServer:1");
  run.answer(kError, "searchChat:1:0:-100");
  EXPECT_EQ(run.events(), Lines{});
  run.answer(kError, "searchChat:1:1:200");
  EXPECT_EQ(run.events(), Lines{end});
  EXPECT_EQ(run.dbg_lines(), (Lines{"TD_ERROR getChat (search)", "TD_ERROR getChat (search)"}));

  // The limit caps the chats that are asked for.
  begin(" 1");
  run.answer(kFound, "searchServer:1");
  EXPECT_EQ(run.requests(),
            Lines{R"({"@type":"getChat","chat_id":-100,"@extra":"searchChat:1:0:-100"})"});
  run.answer(chat("-100", "News"), "searchChat:1:0:-100");
  EXPECT_EQ(run.events().back(), end);
}

TEST(Search, AReusedNumberForgetsTheChatsOfTheOldSearch) {
  BackendRun run;
  run.start();
  run.login();
  run.send_line("search_server64 1 aGk=");
  run.answer(kFound, "searchServer:1");
  run.send_line("search_server64 1 aGV5");
  run.forget();
  run.answer(chat("-100", "late"), "searchChat:1:0:-100");
  run.answer(kError, "searchChat:1:1:200");
  EXPECT_EQ(run.events(), Lines{});
  run.answer(R"({"@type":"chats","chat_ids":[300]})", "searchServer:1");
  run.answer(chat("300", "new"), "searchChat:1:0:300");
  EXPECT_EQ(run.events(), (Lines{R"({"type":"search_chat","req":1,"idx":0,"id":300,)"
                                 R"("photo_small_id":77,"chat_type":"channel","title":"new"})",
                                 R"({"type":"search_end","req":1})"}));
  run.answer(chat("300", "twice"), "searchChat:1:0:300");
  EXPECT_EQ(run.events(), Lines{});
}

TEST(Search, AReusedNumberDropsTheAnswersOwedToTheOldSearch) {
  BackendRun run;
  run.start();
  run.login();
  run.send_line("search_server64 1 aGk=");
  run.send_line("search_server64 1 aGV5");
  run.forget();
  run.answer(kFound, "searchServer:1");
  EXPECT_EQ(run.requests(), Lines{});
  EXPECT_EQ(run.events(), Lines{});
  run.answer(R"({"@type":"chats","chat_ids":[]})", "searchServer:1");
  EXPECT_EQ(run.events(), Lines{R"({"type":"search_end","req":1})"});

  // The same in one chat: another chat's answer, then an equal one's.
  run.send_line("chat_search64 2 5 aGk=");
  run.send_line("chat_search64 2 6 aGk=");
  run.send_line("chat_search64 2 5 aGV5");
  run.forget();
  run.answer(R"({"@type":"foundChatMessages","total_count":9})", "chatSearch:2:6");
  run.answer(kError, "chatSearch:2:5");
  EXPECT_EQ(run.events(), Lines{});
  run.answer(R"({"@type":"foundChatMessages","total_count":0})", "chatSearch:2:5");
  EXPECT_EQ(run.events(), Lines{R"({"type":"chat_search_end","req":2,"chat_id":5,"count":0,)"
                                R"("total_count":0})"});
  run.answer(R"({"@type":"foundChatMessages","total_count":0})", "chatSearch:2:5");
  EXPECT_EQ(run.events(), Lines{});
}

TEST(Search, ManyAtOnce) {
  BackendRun run;
  run.start();
  run.login();
  std::string lines;
  for (int req = 1; req <= 40; ++req) {
    lines += "search_server64 " + std::to_string(req) + " aGk=\n";
    lines += "chat_search64 " + std::to_string(req) + " 5 aGk=\n";
    lines += "shared64 " + std::to_string(req) + " 5 link\n";
  }
  run.feed(lines);
  EXPECT_EQ(run.events().size(), 120U);
  for (int req = 40; req >= 1; --req) {
    run.answer(kFound, "searchServer:" + std::to_string(req));
  }
  for (int req = 1; req <= 40; ++req) {
    const std::string number = std::to_string(req);
    run.answer(chat("200", "t"), "searchChat:" + number + ":1:200");
    EXPECT_EQ(run.events().size(), 1U);
    run.answer(kError, "shared:" + number + ":5:link");
    EXPECT_EQ(run.events().back(), R"({"type":"shared_end","req":)" + number +
                                       R"(,"chat_id":5,"kind":"link","count":0})");
    run.answer(R"({"@type":"foundChatMessages","messages":[],"total_count":0})",
               "chatSearch:" + number + ":5");
    EXPECT_EQ(run.events().back(), R"({"type":"chat_search_end","req":)" + number +
                                       R"(,"chat_id":5,"count":0,"total_count":0})");
    run.answer(chat("-100", "t"), "searchChat:" + number + ":0:-100");
    EXPECT_EQ(run.events().back(), R"({"type":"search_end","req":)" + number + "}");
  }
}

constexpr const char* kPage =
    R"({"@type":"foundChatMessages","messages":[)"
    R"({"@type":"message","id":3145728,"sender_id":{"@type":"messageSenderChat","chat_id":-9},)"
    R"("chat_id":5,"is_outgoing":false,"date":1,"reply_to":{"@type":"messageReplyToMessage",)"
    R"("chat_id":8,"message_id":1,"quote":{"@type":"textQuote","text":{"@type":"formattedText",)"
    R"("text":"quoted"}},"content":{"@type":"messageText","text":{"@type":"formattedText",)"
    R"("text":"other"}}},"interaction_info":{"reactions":{"reactions":[{"total_count":99}]}},)"
    R"("content":{"@type":"messageText","text":{"@type":"formattedText",)"
    R"("text":"say \"hi\"\n\u00fc"}}},null,)"
    R"({"@type":"message","id":2097152,"chat_id":5,"is_outgoing":true,"content":)"
    R"({"@type":"messageDocument","document":{"@type":"document","file_name":"a.pdf",)"
    R"("mime_type":"application/pdf","document":{"@type":"file","id":11,"size":1}},)"
    R"("caption":{"@type":"formattedText","text":""}}},)"
    R"({"@type":"message","id":1048576,"chat_id":5,"content":{"@type":"messageAudio"}},)"
    R"({"@type":"message","id":1,"chat_id":5}],"total_count":17,"next_from_message_id":0})";

TEST(Search, MessagesOfAChat) {
  BackendRun run;
  run.start();
  run.login();
  run.send_line("chat_search64 6 5 aGk=");
  EXPECT_EQ(run.events(), Lines{R"({"type":"chat_search_begin","req":6,"chat_id":5})"});
  run.dbg_lines();
  run.answer(kPage, "chatSearch:6:5");
  EXPECT_EQ(run.events(),
            (Lines{R"({"type":"chat_search_item","req":6,"chat_id":5,"idx":0,"id":3145728,)"
                   R"("outgoing":false,"text":"say \"hi\"\nü"})",
                   R"({"type":"chat_search_item","req":6,"chat_id":5,"idx":1,"id":2097152,)"
                   R"("outgoing":true,"text":"a.pdf"})",
                   R"({"type":"chat_search_item","req":6,"chat_id":5,"idx":2,"id":1048576,)"
                   R"("outgoing":false,"text":"[audio]"})",
                   R"({"type":"chat_search_item","req":6,"chat_id":5,"idx":3,"id":1,)"
                   R"("outgoing":false,"text":""})",
                   R"({"type":"chat_search_end","req":6,"chat_id":5,"count":4,)"
                   R"("total_count":17})"}));
  EXPECT_EQ(run.dbg_lines(), Lines{"CHAT_SEARCH chat_id=5 req=6 emitted=4 total_count=17"});

  run.send_line("chat_search64 6 5 aGk=");
  run.forget();
  run.answer(kError, "chatSearch:6:5");
  EXPECT_EQ(run.events(), (Lines{R"({"type":"action_error","action":"chat_search","chat_id":5,)"
                                 R"("code":400,"message":"QUERY_TOO_SHORT"})",
                                 R"({"type":"chat_search_end","req":6,"chat_id":5,"count":0})"}));
  EXPECT_EQ(run.dbg_lines(), Lines{"TD_ERROR searchChatMessages (chat_search)"});
}

std::string page_of(const std::string& content) {
  return R"({"@type":"foundChatMessages","total_count":1,"messages":[{"@type":"message","id":7,)"
         R"("chat_id":5,"is_outgoing":true,"content":)" +
         content + R"(}],"next_from_message_id":4194304})";
}

TEST(Search, SharedMedia) {
  struct Case {
    const char* kind;
    const char* content;
    const char* fields;
  };
  BackendRun run;
  run.start();
  run.login();
  run.send_line("shared64 3 5 Photo 8 9");
  EXPECT_EQ(run.events(), Lines{R"({"type":"shared_begin","req":3,"chat_id":5,"kind":"photo",)"
                                R"("from_message_id":8,"limit":9})"});
  for (const Case& c : {
           Case{"photo",
                R"({"@type":"messagePhoto","photo":{"@type":"photo","sizes":[)"
                R"({"@type":"photoSize","type":"x","photo":{"@type":"file","id":21},"width":800,)"
                R"("height":600},{"@type":"photoSize","type":"y","photo":{"@type":"file",)"
                R"("id":22},"width":2560,"height":1920}]},"caption":{"@type":"formattedText",)"
                R"("text":"words"}})",
                R"(,"media_type":"photo","media_file_id":21,"media_w":800,"media_h":600)"},
           Case{"video",
                R"({"@type":"messageVideo","video":{"@type":"video","duration":3,"width":640,)"
                R"("height":480,"thumbnail":{"@type":"thumbnail","file":{"@type":"file",)"
                R"("id":31}},"video":{"@type":"file","id":30}}})",
                R"(,"media_type":"video","media_file_id":30,"media_thumb_file_id":31,)"
                R"("media_w":640,"media_h":480,"media_duration":3)"},
           Case{"file",
                R"({"@type":"messageDocument","document":{"@type":"document","file_name":)"
                R"("a\"b.pdf","document":{"@type":"file","id":40,"size":4294967296}}})",
                R"(,"media_type":"file","media_file_id":40,"media_name":"a\"b.pdf",)"
                R"("media_size":4294967296)"},
           Case{"link",
                R"({"@type":"messageText","text":{"@type":"formattedText","text":)"
                R"("\ud83d\ude00 t.example/1 and x.example","entities":[{"@type":"textEntity",)"
                R"("offset":3,"length":11,"type":{"@type":"textEntityTypeUrl"}}]}})",
                R"(,"text":"😀 t.example/1 and x.example","url":"t.example/1")"},
           Case{"link", R"({"@type":"messageText"})", R"(,"text":"[messageText]")"},
       }) {
    run.answer(page_of(c.content), std::string("shared:3:5:") + c.kind);
    const std::string series = R"(,"req":3,"chat_id":5,"kind":")" + std::string(c.kind) + "\"";
    EXPECT_EQ(run.events(), (Lines{R"({"type":"shared_item")" + series +
                                       R"(,"idx":0,"id":7,"outgoing":true)" + c.fields + "}",
                                   R"({"type":"shared_end")" + series +
                                       R"(,"count":1,"total_count":1,)"
                                       R"("next_from_message_id":4194304})"}))
        << c.content;
  }
  run.dbg_lines();
  run.answer(kError, "shared:3:5:photo");
  const Lines events = run.events();
  ASSERT_EQ(events.size(), 2U);
  EXPECT_EQ(events[0], R"({"type":"td_error","json":"{\"@type\":\"error\",\"code\":400,)"
                       R"(\"message\":\"QUERY_TOO_SHORT\",\"@extra\":\"shared:3:5:photo\",)"
                       R"(\"@client_id\":1}"})");
  EXPECT_EQ(events[1], R"({"type":"shared_end","req":3,"chat_id":5,"kind":"photo","count":0})");
  EXPECT_EQ(run.dbg_lines(), Lines{"TD_ERROR (see json below)"});
}

// Tags with too few or too many fields, and answers of which nothing is left.
TEST(Search, OddTagsAndAnswers) {
  BackendRun run;
  run.start();
  run.login();
  for (const char* tag : {"searchServer:", "searchServer:1:2", "searchServer:x"}) {
    run.answer(kFound, tag);
    run.answer(kError, tag);
  }
  for (const char* tag : {"searchChat:", "searchChat:1", "searchChat:1:0:-100:7:8"}) {
    run.answer(chat("-100", "t"), tag);
    run.answer(kError, tag);
  }
  for (const char* tag : {"chatSearch:", "chatSearch:1", "chatSearch:x:y:z"}) {
    run.answer(kPage, tag);
    run.answer(kError, tag);
  }
  EXPECT_EQ(run.events(), Lines{});
  EXPECT_EQ(run.requests(), Lines{});
  for (const char* tag : {"shared:", "shared:1", "shared:1:5", "shared:x:5:photo"}) {
    run.answer(kPage, tag);
    EXPECT_EQ(run.events(), Lines{}) << tag;
  }

  // Answers of another kind end what waits for them.
  const std::string ok = R"({"@type":"ok"})";
  const auto expect_end = [&](const std::string& command, const std::string& tag,
                              const std::string& end) {
    if (!command.empty()) run.send_line(command);
    run.forget();
    run.answer(ok, tag);
    EXPECT_EQ(run.events(), end.empty() ? Lines{} : Lines{end}) << tag;
  };
  const std::string search_end = R"({"type":"search_end","req":1})";
  expect_end("search_server64 1 aGk=", "searchServer:1", search_end);
  run.send_line("search_server64 1 aGk=");
  run.answer(kFound, "searchServer:1");
  expect_end("", "searchChat:1:0:-100", "");
  expect_end("", "searchChat:1:1:200", search_end);
  expect_end("chat_search64 1 5 aGk=", "chatSearch:1:5",
             R"({"type":"chat_search_end","req":1,"chat_id":5,"count":0,"total_count":-1})");
  expect_end("shared64 1 5 photo", "shared:1:5:photo",
             R"({"type":"shared_end","req":1,"chat_id":5,"kind":"photo","count":0,)"
             R"("total_count":-1,"next_from_message_id":-1})");
}

}  // namespace
