// The three tables as wholes.
#include "tables/tables.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <set>
#include <string>

namespace {

std::string read_protocol() {
  std::ifstream document(TD_BACKEND_SOURCE_DIR "/docs/protocol.md");
  return {std::istreambuf_iterator<char>(document), {}};
}

// The arguments as the document writes them, with a blank in front.
std::string documented_arguments(const Command& row) {
  if (row.arguments.empty()) return "";
  std::string text = " " + std::string(row.arguments);
  for (const auto& [from, to] :
       {std::pair<std::string, std::string>{"base64_utf8_", "base64_"}, {"|", "\\|"}}) {
    for (std::size_t at = text.find(from); at != std::string::npos;
         at = text.find(from, at + to.size())) {
      text.replace(at, from.size(), to);
    }
  }
  return text;
}

TEST(Tables, EveryCommandIsDocumentedAndHasAHandler) {
  const std::string protocol = read_protocol();
  std::set<std::string_view> words;
  for (const Command& row : command_table()) {
    EXPECT_NE(row.run, nullptr) << row.word;
    EXPECT_TRUE(words.insert(row.word).second) << row.word;
    const std::string head = "\n| `" + std::string(row.word);
    const std::string arguments = documented_arguments(row);
    const std::string mark = std::string("`") + (row.gate == Gate::kReady ? " *" : "") + " |";
    EXPECT_NE(protocol.find(head + arguments + mark), std::string::npos)
        << head << arguments << mark;
  }
  EXPECT_EQ(words.size(), 53u + 18u);
}

TEST(Tables, NoTagAndNoUpdateIsClaimedTwice) {
  std::set<std::string_view> tags;
  for (const AnswerRow& row : answer_table()) {
    EXPECT_TRUE(tags.insert(row.tag).second) << row.tag;
    EXPECT_TRUE(row.handle != nullptr || row.fail != nullptr) << row.tag;
  }
  std::set<std::string_view> types;
  for (const UpdateRow& row : update_table()) {
    EXPECT_TRUE(types.insert(row.type).second) << row.type;
    EXPECT_NE(row.handle, nullptr) << row.type;
  }
  // The dispatcher keeps a bit for each.
  EXPECT_LE(types.size(), 64u);
}

}  // namespace
