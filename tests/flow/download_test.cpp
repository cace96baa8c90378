// Files asked for: their progress and their completion.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/backend_run.h"

namespace {

struct FileText {
  std::int64_t id = 9;
  std::string size = "1000";
  std::string expected_size = "1000";
  std::string downloaded = "0";
  bool active = true;
  bool completed = false;
  std::string path;
};

std::string file_text(const FileText& file) {
  return R"({"@type":"file","id":)" + std::to_string(file.id) + R"(,"size":)" + file.size +
         R"(,"expected_size":)" + file.expected_size + R"(,"local":{"@type":"localFile","path":")" +
         file.path +
         R"(","can_be_downloaded":true,"can_be_deleted":false,"is_downloading_active":)" +
         (file.active ? "true" : "false") + R"(,"is_downloading_completed":)" +
         (file.completed ? "true" : "false") +
         R"(,"download_offset":0,"downloaded_prefix_size":77,"downloaded_size":)" +
         file.downloaded +
         R"(},"remote":{"@type":"remoteFile","id":"AQ","unique_id":"AQ",)"
         R"("is_uploading_active":true,"is_uploading_completed":true,"uploaded_size":55}})";
}

struct Download : testing::Test {
  BackendRun run;
  void SetUp() override {
    run.hold_clock();
    run.start();
    run.login();
  }
  void begin(const std::string& line) {
    run.send_line(line);
    run.forget();
  }
  Lines events_of(const FileText& file) {
    run.deliver(R"({"@type":"updateFile","file":)" + file_text(file) + "}");
    return run.events();
  }
  Lines events_of_answer(const FileText& file) {
    run.answer(file_text(file), "download:" + std::to_string(file.id));
    return run.events();
  }
  Lines events_after(std::int64_t ms) {
    run.advance_ms(ms);
    run.idle();
    return run.events();
  }
};

FileText at(const std::string& downloaded, bool active = true) {
  FileText file;
  file.downloaded = downloaded;
  file.active = active;
  return file;
}

FileText complete() {
  FileText file;
  file.downloaded = "1000";
  file.active = false;
  file.completed = true;
  file.path = R"(/f/\u00e9 \"9\")";
  return file;
}

Lines progress(const std::string& downloaded, const std::string& total, const char* active) {
  return {R"({"type":"file_progress","id":9,"downloaded":)" + downloaded + R"(,"total":)" + total +
          R"(,"active":)" + active + "}"};
}

const Lines kNone;
const Lines kFile{R"({"type":"file","id":9,"path":"/f/é \"9\""})"};

TEST_F(Download, TheRequests) {
  const std::string head = R"({"@type":"downloadFile","file_id":9,"priority":)";
  const std::string tail = R"(,"offset":0,"limit":0,"synchronous":false,"@extra":"download:9"})";
  run.send_line("download 9");
  EXPECT_EQ(run.requests(), Lines{head + "16" + tail});
  EXPECT_EQ(run.dbg_lines(), Lines{"SEND downloadFile"});
  run.send_line("downloadp 9");
  EXPECT_EQ(run.requests(), Lines{head + "32" + tail});
  EXPECT_EQ(run.dbg_lines(), Lines{"SEND downloadFile (progress)"});
}

TEST_F(Download, OneCompletionForAFileThatIsFollowed) {
  EXPECT_EQ(events_of(complete()), kNone);  // nobody asked
  begin("download 9");
  begin("download 9");
  EXPECT_EQ(events_of_answer(at("10")), kNone);
  EXPECT_EQ(events_of(at("500")), kNone);  // no progress wanted
  FileText other = complete();
  other.id = 10;
  EXPECT_EQ(events_of(other), kNone);
  EXPECT_EQ(events_of(complete()), kFile);
  EXPECT_EQ(events_of(complete()), kNone);
  EXPECT_EQ(events_of_answer(complete()), kNone);

  // The library sends no update for a file that is complete already.
  begin("downloadp 9");
  EXPECT_EQ(events_of_answer(complete()), kFile);
  EXPECT_EQ(events_of(complete()), kNone);
  EXPECT_EQ(events_of_answer(complete()), kNone);
}

TEST_F(Download, ProgressIsThrottled) {
  begin("downloadp 9");
  EXPECT_EQ(events_of(at("0")), progress("0", "1000", "true"));  // the first always comes
  run.advance_ms(299);
  EXPECT_EQ(events_of(at("200")), kNone);
  run.advance_ms(1);
  EXPECT_EQ(events_of(at("209")), progress("209", "1000", "true"));
  run.advance_ms(5000);
  EXPECT_EQ(events_of(at("205")), kNone);  // the same whole percentage
  EXPECT_EQ(events_of(at("210")), progress("210", "1000", "true"));
  EXPECT_EQ(events_of(at("900")), kNone);
  EXPECT_EQ(events_after(5000), kNone);  // the next update will tell
  begin("download 9");                   // progress stays wanted
  EXPECT_EQ(events_of(at("950")), progress("950", "1000", "true"));
  EXPECT_EQ(events_of(complete()), kFile);  // at once
  EXPECT_EQ(events_after(5000), kNone);
}

TEST_F(Download, AStopIsToldWhenTheIntervalEnds) {
  begin("downloadp 9");
  EXPECT_EQ(events_of(at("100")), progress("100", "1000", "true"));
  run.advance_ms(100);
  EXPECT_EQ(events_of(at("100", false)), kNone);
  EXPECT_EQ(events_of(at("101", false)), kNone);
  EXPECT_EQ(events_after(199), kNone);
  EXPECT_EQ(events_after(1), progress("101", "1000", "false"));
  EXPECT_EQ(events_after(5000), kNone);
  // It goes on before the interval ends: nothing is late.
  EXPECT_EQ(events_of(at("101")), progress("101", "1000", "true"));
  EXPECT_EQ(events_of(at("101", false)), kNone);
  EXPECT_EQ(events_of(at("101")), kNone);
  EXPECT_EQ(events_after(5000), kNone);
  // It stops, goes on and stops: one line.
  EXPECT_EQ(events_of(at("300")), progress("300", "1000", "true"));
  EXPECT_EQ(events_of(at("300", false)), kNone);
  EXPECT_EQ(events_of(at("310")), kNone);
  EXPECT_EQ(events_of(at("310", false)), kNone);
  EXPECT_EQ(events_after(300), progress("310", "1000", "false"));
  EXPECT_EQ(events_after(5000), kNone);
  // It completes: the stop is old news.
  EXPECT_EQ(events_of(at("400")), progress("400", "1000", "true"));
  EXPECT_EQ(events_of(at("400", false)), kNone);
  EXPECT_EQ(events_of(complete()), kFile);
  EXPECT_EQ(events_after(5000), kNone);
}

TEST_F(Download, TotalsAndOddSizes) {
  const struct {
    const char* what;
    const char* size;
    const char* expected;
    const char* downloaded;
    const char* told;
    const char* total;
  } cases[] = {
      {"the size is known", "900", "1000", "5", "5", "900"},
      {"only expected", "0", "1000", "5", "5", "1000"},
      {"neither", "0", "0", "5", "5", "0"},
      {"less than downloaded", "10", "10", "50", "50", "10"},
      {"beyond a double", "9007199254740993", "0", "9007199254740991", "9007199254740991",
       "9007199254740993"},
      {"the largest", "9223372036854775807", "0", "9223372036854775806", "9223372036854775806",
       "9223372036854775807"},
      {"negative", "-5", "-6", "-7", "0", "0"},
  };
  for (const auto& sizes : cases) {
    begin("downloadp 9");
    FileText file;
    file.size = sizes.size;
    file.expected_size = sizes.expected;
    file.downloaded = sizes.downloaded;
    EXPECT_EQ(events_of(file), progress(sizes.told, sizes.total, "true")) << sizes.what;
    EXPECT_EQ(events_of(complete()), kFile);
  }
  // Half of it is 50 percent, also where the product would overflow.
  begin("downloadp 9");
  FileText file;
  file.size = "9223372036854775807";
  file.downloaded = "4611686018427387904";
  EXPECT_EQ(events_of(file).size(), 1U);
  run.advance_ms(300);
  file.downloaded = "4611686018427387905";
  EXPECT_EQ(events_of(file), kNone);
  file.downloaded = "4705000000000000000";
  EXPECT_EQ(events_of(file).size(), 1U);
}

TEST_F(Download, MinimalOtherAndTornTexts) {
  begin("downloadp 9");
  run.deliver(R"({"file":{"local":{"downloaded_size":3},"size":8,"id":9},"@type":"updateFile"})");
  EXPECT_EQ(run.events(), progress("3", "8", "false"));
  run.advance_ms(300);
  for (const char* text : {R"({"@type":"updateFile"})", R"({"@type":"updateFile","file":null})",
                           R"({"@type":"updateFile","file":{"id":0}})",
                           R"({"@type":"updateFile","file":{"@type":"file","id":9)"}) {
    run.deliver(text);
    EXPECT_EQ(run.events(), kNone) << text;
  }
  run.deliver(R"({"@type":"updateFile","file":{"@type":"file","id":9,"local":{"path":"/p",)"
              R"("is_downloading_completed":true})");
  EXPECT_EQ(run.events(), Lines{R"({"type":"file","id":9,"path":"/p"})"});
}

}  // namespace
