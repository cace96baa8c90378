// Messages sent, edited, forwarded, deleted, reacted to, pinned and looked at; files sent.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "tests/mp4_texts.h"
#include "tests/support/backend_run.h"

namespace {

const std::string kOk = R"({"@type":"ok"})";
const std::string kError = R"({"@type":"error","code":400,"message":"No \"luck\""})";
const std::string kErrorMembers = R"(,"code":400,"message":"No \"luck\""})";
const std::string kMuteError = R"({"@type":"error","code":500})";
const std::string kOptions =
    R"("options":{"@type":"messageSendOptions","suggested_post_info":null,)"
    R"("disable_notification":false,"from_background":false,"protect_content":false,)"
    R"("allow_paid_broadcast":false,"paid_message_star_count":0,)"
    R"("update_order_of_installed_sticker_sets":false,"scheduling_state":null,"effect_id":0,)"
    R"("sending_id":1,"only_preview":false})";

// What every send begins with; `reply_to` 0: no target.
std::string send_head(std::int64_t reply_to) {
  return R"({"@type":"sendMessage","chat_id":5,"topic_id":null,"reply_to":)" +
         (reply_to == 0 ? "null"
                        : R"({"@type":"inputMessageReplyToMessage","message_id":)" +
                              std::to_string(reply_to) + "}") +
         "," + kOptions;
}

std::string text_content(const std::string& escaped) {
  return R"(,"reply_markup":null,"input_message_content":{"@type":"inputMessageText","text":)"
         R"({"@type":"formattedText","text":")" +
         escaped + R"(","entities":[]},"link_preview_options":null,"clear_draft":false})";
}

std::string base64(const std::string& bytes) {
  static constexpr char kLetters[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    unsigned bits = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      bits = bits << 8U | (i + k < bytes.size() ? static_cast<unsigned char>(bytes[i + k]) : 0U);
    }
    for (std::size_t k = 0; k < 4; ++k) {
      out += i + k > bytes.size() ? '=' : kLetters[bits >> (18 - 6 * k) & 63U];
    }
  }
  return out;
}

struct Sending : testing::Test {
  BackendRun run;
  void SetUp() override {
    run.start();
    run.login();
  }
  // A command's whole effect: this request, with this tag, and these log lines.
  void expect_command(const std::string& line, const std::string& request, const std::string& tag,
                      const Lines& log) {
    run.send_line(line);
    EXPECT_EQ(run.requests(), Lines{request + R"(,"@extra":")" + tag + R"("})"}) << line;
    EXPECT_EQ(run.dbg_lines(), log) << line;
    EXPECT_EQ(run.events(), Lines{}) << line;
  }
  void expect_answer(const std::string& answer, const std::string& tag, const Lines& events,
                     const Lines& log = {}) {
    run.answer(answer, tag);
    EXPECT_EQ(run.events(), events) << tag;
    EXPECT_EQ(run.dbg_lines(), log) << tag;
  }
  std::string path64(const std::string& name) const { return base64(run.dir() / name); }
};

// A run whose replies are seen; there are no events.
struct SendReplies : testing::Test {
  BackendRun run;
  void SetUp() override {
    run.without_events();
    run.start();
    run.forget();
  }
  void expect_reply(const std::string& line, const std::string& reply) {
    run.send_line(line);
    EXPECT_EQ(run.replies(), Lines{reply}) << line;
    const bool sent = !run.requests().empty();
    EXPECT_EQ(sent, reply.rfind("OK ", 0) == 0) << line;
  }
};

TEST_F(SendReplies, UsageBeforeTheGateAndOkBehindIt) {
  const std::string file = base64(run.dir() / "file");
  write_file(run.dir() / "file", "x");
  const struct {
    std::string good;
    const char* usage;
    Lines bad;
  } commands[] = {
      {"send 5 hi", "send <chat_id> <text>", {"send", "send 5", "send 0 hi", "send x hi"}},
      {"send64 5 aGk=",
       "send64 <chat_id> [reply_to_message_id] <base64_utf8_text>",
       {"send64 5", "send64 0 aGk=", "send64 5 x aGk="}},
      {"edit64 5 7 aGk=",
       "edit64 <chat_id> <message_id> <base64_utf8_text>",
       {"edit64 5 7", "edit64 5 0 aGk=", "edit64 5 x aGk=", "edit64 0 7 aGk=", "edit64 5 7  aGk="}},
      {"delete 5 self 7",
       "delete <chat_id> <self|all> <message_id...>",
       {"delete 5", "delete 5 both 7", "delete 5 Self 7", "delete 5 all", "delete 5 all 0",
        "delete 5 all 7 x", "delete 5 all 7  8", "delete 0 all 7"}},
      {"forward 5 6 7",
       "forward <chat_id> <from_chat_id> <message_id...>",
       {"forward 5 6", "forward 5 0 7", "forward 0 6 7", "forward 5 6 x", "forward 5 6 7 -8"}},
      {"react 5 7 x add",
       "react <chat_id> <message_id> <emoji> <add|remove>",
       {"react", "react 5 7 x", "react 5 7 x Add", "react 5 0 x add", "react 5 7  add"}},
      {"pin 5 7",
       "pin <chat_id> <message_id> [disable_notification] [only_for_self]",
       {"pin 5", "pin 5 0", "pin 0 7"}},
      {"props 5 7", "props <chat_id> <message_id>", {"props 5", "props 5 0"}},
      {"preview 5 7", "preview <chat_id> <message_id>", {"preview 5", "preview 0 7"}},
      {"download 9", "download <file_id>", {"download", "download 0", "download x"}},
      {"downloadp 9", "downloadp <file_id>", {"downloadp", "downloadp -9"}},
      {"sendfile64 5 " + file,
       "sendfile64 <chat_id> [reply_to_message_id] <base64_utf8_path> [base64_utf8_caption]",
       {"sendfile64 5", "sendfile64 0 " + file, "sendfile64 5 x " + file + " aGk="}},
      {"sendvoice64 5 " + file + " 3",
       "sendvoice64 <chat_id> [reply_to_message_id] <base64_utf8_path> <duration_sec>",
       {"sendvoice64 5", "sendvoice64 5 " + file, "sendvoice64 5 x " + file + " 3"}},
      {"sendvideonote64 5 " + file,
       "sendvideonote64 <chat_id> [reply_to_message_id] <base64_utf8_path>",
       {"sendvideonote64 5", "sendvideonote64 5 x " + file}},
  };
  for (const auto& command : commands) {
    for (const std::string& line : command.bad) {
      expect_reply(line, std::string("ERR usage ") + command.usage);
    }
    run.forget();
    expect_reply(command.good, "ERR not_ready");
    EXPECT_EQ(run.dbg_lines(),
              Lines{"ERR " + command.good.substr(0, command.good.find(' ')) + " not_ready"});
  }
  run.login();
  for (const auto& command : commands) {
    expect_reply(command.good, "OK " + command.good.substr(0, command.good.find(' ')));
  }
}

TEST_F(SendReplies, RefusalsComeInOneOrder) {
  write_file(run.dir() / "file", "x");
  const std::string file = base64(run.dir() / "file");
  const std::string missing = base64(run.dir() / "missing");
  expect_reply("send64 5 !!!", "ERR not_ready");
  expect_reply("sendvoice64 5 !!! x", "ERR not_ready");
  run.login();
  expect_reply("send64 5 !!!", "ERR send64 bad_base64");
  expect_reply("send64 5 7 a-b_", "ERR send64 bad_base64");
  expect_reply("edit64 5 7 !!!", "ERR edit64 bad_base64");
  expect_reply("sendfile64 5 7 !!! !!!", "ERR sendfile64 bad_base64_path");
  expect_reply("sendfile64 5 " + missing + " !!!", "ERR sendfile64 bad_base64_caption");
  expect_reply("sendfile64 5 " + missing, "ERR sendfile64 no_such_file");
  expect_reply("sendfile64 5 7 " + missing + " aGk=", "ERR sendfile64 no_such_file");
  expect_reply("sendvoice64 5 !!! x", "ERR sendvoice64 bad_base64_path");
  for (const char* duration : {"x", "-1", "2147483648", "99999999999999999999"}) {
    expect_reply("sendvoice64 5 " + missing + " " + duration, "ERR sendvoice64 bad_duration");
  }
  expect_reply("sendvoice64 5 7 " + missing + " 3", "ERR sendvoice64 no_such_file");
  expect_reply("sendvideonote64 5 !!!", "ERR sendvideonote64 bad_base64_path");
  expect_reply("sendvideonote64 5 " + missing, "ERR sendvideonote64 no_such_file");
  for (const char* duration : {"0", "2147483647"}) {
    expect_reply("sendvoice64 5 " + file + " " + duration, "OK sendvoice64");
  }
}

TEST_F(SendReplies, OnlyRegularFilesAreSentAndNothingWaits) {
  run.login();
  const std::string pipe = run.dir() / "pipe";
  const std::string directory = run.dir() / "directory";
  const std::string link = run.dir() / "link";
  const std::string dangling = run.dir() / "dangling";
  write_file(run.dir() / "file", "x");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  ASSERT_EQ(mkdir(directory.c_str(), 0700), 0);
  ASSERT_EQ(symlink("file", link.c_str()), 0);
  ASSERT_EQ(symlink("nowhere", dangling.c_str()), 0);
  Lines refused{pipe,
                directory,
                dangling,
                "/dev/null",
                "/dev/zero",
                "",
                std::string(1, '\0'),
                run.dir() / "file" + std::string(1, '\0'),
                std::string(10000, 'x')};
  const std::string secret = run.dir() / "secret";
  write_file(secret, "x");
  ASSERT_EQ(chmod(secret.c_str(), 0), 0);
  if (geteuid() != 0) refused.push_back(secret);  // to the superuser nothing is unreadable
  for (const std::string& path : refused) {
    const std::string path64 = path.empty() ? "=" : base64(path);
    expect_reply("sendfile64 5 " + path64, "ERR sendfile64 no_such_file");
    expect_reply("sendvoice64 5 " + path64 + " 3", "ERR sendvoice64 no_such_file");
    expect_reply("sendvideonote64 5 " + path64, "ERR sendvideonote64 no_such_file");
  }
  expect_reply("sendfile64 5 " + base64(link), "OK sendfile64");
}

TEST_F(Sending, Text) {
  expect_command("send 5 two  words \"q\"", send_head(0) + text_content(R"(two  words \"q\")"),
                 "send:5:1", {"SEND sendMessage"});
  expect_command("send64 5 aGkKdGhlcmU=", send_head(0) + text_content(R"(hi\nthere)"), "send:5:2",
                 {"SEND sendMessage (send64)"});
  expect_command("send64 5 7 aGk more", send_head(7) + text_content("hi"), "send:5:3",
                 {"SEND sendMessage (send64)"});
  expect_command("send64 5 -7 aGk=", send_head(0) + text_content("hi"), "send:5:4",
                 {"SEND sendMessage (send64)"});
  // One letter of base64 is no byte; the text is empty.
  expect_command("send64 5 7", send_head(0) + text_content(""), "send:5:5",
                 {"SEND sendMessage (send64)"});
  expect_command("send64 5 AGE=", send_head(0) + text_content(R"(\u0000a)"), "send:5:6",
                 {"SEND sendMessage (send64)"});
  const std::string edit = R"({"@type":"editMessageText","chat_id":5,"message_id":7)";
  expect_command("edit64 5 7 aGk=", edit + text_content("hi"), "edit:5:7",
                 {"SEND editMessageText (edit64)"});
  expect_answer(kError, "edit:5:7", {R"({"type":"edit_error","chat_id":5,"id":7)" + kErrorMembers});
  expect_answer(R"({"@type":"message","id":7,"chat_id":5})", "edit:5:7", {});
}

TEST_F(Sending, ATextOfAMegabyteIsSentWhole) {
  const std::string text(1 << 20, 'a');
  expect_command("send64 5 " + base64(text), send_head(0) + text_content(text), "send:5:1",
                 {"SEND sendMessage (send64)"});
}

TEST_F(Sending, WhatASendIsAnsweredWith) {
  const std::string message =
      R"({"@type":"message","id":1048577,"sender_id":{"@type":"messageSenderChat","chat_id":-7},)"
      R"("chat_id":5,"content":{"@type":"messageText"}})";
  for (const char* kind : {"send", "sendfile", "sendvoice", "sendvideonote"}) {
    const std::string tag = std::string(kind) + ":5:3";
    expect_answer(message, tag, {R"({"type":"send_ok","chat_id":5,"message_id":1048577})"});
    run.answer(kError, tag);
    EXPECT_EQ(run.events(), Lines{R"({"type":"td_error","json":"{\"@type\":\"error\",)"
                                  R"(\"code\":400,\"message\":\"No \\\"luck\\\"\",)"
                                  R"(\"@extra\":\")" +
                                  tag + R"(\",\"@client_id\":1}"})"});
    run.forget();
  }
}

TEST_F(Sending, Files) {
  const std::string odd = "a \"b\"\nc";
  write_file(run.dir() / odd, "x");
  const std::string in_json = run.dir().path() + R"(/a \"b\"\nc)";
  const auto document = [&](std::int64_t reply_to, const std::string& caption) {
    return send_head(reply_to) +
           R"(,"input_message_content":{"@type":"inputMessageDocument","document":)"
           R"({"@type":"inputFileLocal","path":")" +
           in_json + R"("},"thumbnail":null,"caption":{"@type":"formattedText","text":")" +
           caption + R"(","entities":[]},"disable_content_type_detection":false})";
  };
  const Lines log{"SEND sendMessage (document/sendfile64)"};
  expect_command("sendfile64 5 " + path64(odd), document(0, ""), "sendfile:5:1", log);
  expect_command("sendfile64 5 " + path64(odd) + " aGk=", document(0, "hi"), "sendfile:5:2", log);
  expect_command("sendfile64 5 7 " + path64(odd), document(7, ""), "sendfile:5:3", log);
  expect_command("sendfile64 5 7 " + path64(odd) + " aGk=", document(7, "hi"), "sendfile:5:4", log);
  expect_command("sendfile64 5  " + path64(odd) + " aGk=", document(0, "hi"), "sendfile:5:5", log);

  const auto voice = [&](std::int64_t reply_to, const std::string& duration) {
    return send_head(reply_to) +
           R"(,"input_message_content":{"@type":"inputMessageVoiceNote","voice_note":)"
           R"({"@type":"inputFileLocal","path":")" +
           in_json + R"("},"duration":)" + duration +
           R"(,"waveform":"","caption":{"@type":"formattedText","text":"","entities":[]},)"
           R"("self_destruct_type":null})";
  };
  const Lines voice_log{"SEND sendMessage (voice/sendvoice64)"};
  expect_command("sendvoice64 5 " + path64(odd) + " 0", voice(0, "0"), "sendvoice:5:6", voice_log);
  expect_command("sendvoice64 5 7 " + path64(odd) + " 2147483647", voice(7, "2147483647"),
                 "sendvoice:5:7", voice_log);
}

TEST_F(Sending, APathThatIsNoText) {
  run.do_not_record();  // the library refuses bytes that are no UTF-8
  write_file(run.dir() / "a\xff", "x");
  run.send_line("sendfile64 5 " + path64("a\xff"));
  const Lines requests = run.requests();
  ASSERT_EQ(requests.size(), 1U);
  EXPECT_NE(requests[0].find("/a\xff\"}"), std::string::npos) << requests[0];
}

TEST_F(Sending, VideoNotes) {
  const Lines log{"SEND sendMessage (video_note/sendvideonote64)"};
  const Lines failed_log{"WARN sendvideonote64: mp4 probe failed, using defaults", log[0]};
  const auto movie = [](std::uint32_t width, std::uint32_t duration) {
    return box("ftyp", "isom") + box("moov", track(tkhd(0, width), mdhd(0, 600, duration), "vide"));
  };
  const struct {
    const char* what;
    std::string bytes;
    const char* members;
    bool probed;
  } notes[] = {
      {"a film", movie(240, 1500), R"("duration":3,"length":240)", true},
      {"the widest", movie(640, 600), R"("duration":1,"length":640)", true},
      {"too wide", movie(641, 0), R"("duration":1,"length":384)", true},
      {"no width", movie(0, 601), R"("duration":2,"length":384)", true},
      {"no duration", movie(240, 0xffffffff), R"("duration":1,"length":384)", false},
      {"no film", "x", R"("duration":1,"length":384)", false},
      {"nothing", "", R"("duration":1,"length":384)", false},
  };
  int sends = 0;
  for (const auto& note : notes) {
    write_file(run.dir() / "note.mp4", note.bytes);
    SCOPED_TRACE(note.what);
    const std::string target = sends % 2 == 0 ? "" : "7 ";
    expect_command("sendvideonote64 5 " + target + path64("note.mp4"),
                   send_head(target.empty() ? 0 : 7) +
                       R"(,"input_message_content":{"@type":"inputMessageVideoNote",)"
                       R"("video_note":{"@type":"inputFileLocal","path":")" +
                       run.dir().path() + R"(/note.mp4"},)" + note.members + "}",
                   "sendvideonote:5:" + std::to_string(++sends), note.probed ? log : failed_log);
  }
}

TEST_F(Sending, ForwardedAndDeleted) {
  expect_command("forward 5 -6 7 8",
                 R"({"@type":"forwardMessages","chat_id":5,"from_chat_id":-6,)"
                 R"("message_ids":[7,8],)" +
                     kOptions + R"(,"send_copy":false,"remove_caption":false)",
                 "forward:5:-6", {"SEND forwardMessages"});
  const std::string head = R"({"@type":"deleteMessages","chat_id":5,"message_ids":)";
  expect_command("delete 5 self 7", head + R"([7],"revoke":false)", "delete:5:self",
                 {"SEND deleteMessages revoke=0"});
  expect_command("delete 5 all 7 9007199254740993", head + R"([7,9007199254740993],"revoke":true)",
                 "delete:5:all", {"SEND deleteMessages revoke=1"});
  expect_answer(kOk, "delete:5:all", {});
  expect_answer(kError, "delete:5:all",
                {R"({"type":"delete_error","chat_id":5,"scope":"all")" + kErrorMembers});
}

TEST_F(Sending, Reactions) {
  const std::string members = R"(,"chat_id":5,"message_id":7,"reaction_type":)"
                              R"({"@type":"reactionTypeEmoji","emoji":"👍"})";
  expect_command("react 5 7 👍 add",
                 R"({"@type":"addMessageReaction")" + members +
                     R"(,"is_big":false,"update_recent_reactions":true)",
                 "react:5:7:add",
                 {"CMD react chat_id=5 msg_id=7 emoji=👍 mode=add",
                  "SEND addMessageReaction chat_id=5 msg_id=7 emoji=👍"});
  expect_command("react 5 7 👍 remove", R"({"@type":"removeMessageReaction")" + members,
                 "react:5:7:remove",
                 {"CMD react chat_id=5 msg_id=7 emoji=👍 mode=remove",
                  "SEND removeMessageReaction chat_id=5 msg_id=7 emoji=👍"});
  expect_answer(kOk, "react:5:7:remove",
                {R"({"type":"reaction_ok","chat_id":5,"id":7,"mode":"remove"})"},
                {"TD_OK react chat_id=5 msg_id=7"});
  expect_answer(kMuteError, "react:5:7:add",
                {R"({"type":"reaction_error","chat_id":5,"id":7,"mode":"add","code":500,)"
                 R"("message":""})"});
  run.send_line("react 5 7 👍 both");
  EXPECT_EQ(run.dbg_lines(), Lines{"ERR react usage arg=5 7 👍 both"});
  run.send_line("react " + std::string(65, 'x'));
  EXPECT_EQ(run.dbg_lines(), Lines{"ERR react usage arg=" + std::string(64, 'x') + "..."});
  EXPECT_EQ(run.requests(), Lines{});
}

TEST_F(Sending, Pinned) {
  const std::string head = R"({"@type":"pinChatMessage","chat_id":5,"message_id":7,)";
  const std::string log = "SEND pinChatMessage chat_id=5 msg_id=7 ";
  expect_command("pin 5 7", head + R"("disable_notification":false,"only_for_self":false)",
                 "pin:5:7", {log + "disable_notification=0 only_for_self=0"});
  expect_command("pin 5 7 1", head + R"("disable_notification":true,"only_for_self":false)",
                 "pin:5:7", {log + "disable_notification=1 only_for_self=0"});
  expect_command("pin 5 7 true 1", head + R"("disable_notification":false,"only_for_self":true)",
                 "pin:5:7", {log + "disable_notification=0 only_for_self=1"});
  expect_answer(kOk, "pin:5:7", {R"({"type":"pin_ok","chat_id":5,"id":7})"},
                {"TD_OK pinChatMessage chat_id=5"});
  EXPECT_EQ(run.requests(),
            Lines{R"({"@type":"getChatPinnedMessage","chat_id":5,"@extra":"pinned:5:1"})"});
  expect_answer(kError, "pin:5:7", {R"({"type":"pin_error","chat_id":5,"id":7)" + kErrorMembers});
}

TEST_F(Sending, PropertiesAndPreview) {
  expect_command("props 5 7", R"({"@type":"getMessageProperties","chat_id":5,"message_id":7)",
                 "props:5:7", {"SEND getMessageProperties"});
  expect_answer(
      R"({"@type":"messageProperties","can_be_copied":true,"can_be_copied_to_secret_chat":false,)"
      R"("can_be_deleted_only_for_self":true,"can_be_deleted_for_all_users":false,)"
      R"("can_be_edited":false,"can_be_forwarded":true,"can_be_pinned":true,)"
      R"("can_be_replied":false,"can_be_replied_in_another_chat":true})",
      "props:5:7",
      {R"({"type":"message_properties","chat_id":5,"id":7,"can_be_deleted_only_for_self":true,)"
       R"("can_be_deleted_for_all_users":false,"can_be_edited":false,"can_be_forwarded":true,)"
       R"("can_be_replied":false,"can_be_copied":true,"can_be_pinned":true})"});
  expect_answer(kError, "props:5:7",
                {R"({"type":"message_properties_error","chat_id":5,"id":7)" + kErrorMembers});

  expect_command("preview 5 7", R"({"@type":"getMessage","chat_id":5,"message_id":7)",
                 "preview:5:7", {"SEND getMessage (preview)"});
  expect_answer(
      R"({"@type":"message","id":7,"sender_id":{"@type":"messageSenderUser","user_id":3},)"
      R"("chat_id":5,"is_outgoing":false,"date":1700000000,"reply_to":)"
      R"({"@type":"messageReplyToMessage","chat_id":5,"message_id":6},"content":)"
      R"({"@type":"messageVoiceNote","voice_note":{"@type":"voiceNote","duration":4,)"
      R"("voice":{"@type":"file","id":31}},"caption":{"@type":"formattedText","text":")" +
          std::string(5000, 'c') + R"("}}})",
      "preview:5:7",
      {R"({"type":"message_preview","chat_id":5,"id":7,"outgoing":false,"date":1700000000,)"
       R"("content_type":"messageVoiceNote","text":")" +
       std::string(4096, 'c') +
       R"(","sender_user_id":3,"reply_to_message_id":6,"media_type":"voice","media_file_id":31,)"
       R"("media_duration":4})"},
      {"SEND getUser 3"});
}

TEST_F(Sending, AnswersThatNameNoMessageClaimNothing) {
  for (const char* tag : {"pin:", "pin:5", "pin:0:7", "react:", "react:5:7", "react:5:0:add"}) {
    expect_answer(kOk, tag, {});
  }
  for (const char* tag : {"props:", "props:5", "props:5:x"}) {
    expect_answer(R"({"@type":"messageProperties","can_be_edited":true})", tag, {});
  }
  expect_answer(R"({"@type":"message","id":7,"chat_id":5})", "preview:", {});
  expect_answer(R"({"@type":"message","id":7,"chat_id":5})", "send:", {});
  EXPECT_EQ(run.requests(), Lines{});
}

}  // namespace
