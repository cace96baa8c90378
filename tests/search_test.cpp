#include <gtest/gtest.h>

#include "commands/search.h"
#include "json/text.h"

namespace {

std::string url_of(std::string_view content) { return first_url(content); }

std::string entity(int offset, int length, const std::string& type = "textEntityTypeUrl") {
  return R"({"@type":"textEntity","offset":)" + std::to_string(offset) + R"(,"length":)" +
         std::to_string(length) + R"(,"type":{"@type":")" + type + "\"}}";
}

std::string message_text(const std::string& text, const std::string& entities) {
  return R"({"@type":"messageText","text":{"@type":"formattedText","text":")" + text +
         R"(","entities":[)" + entities + "]}}";
}

TEST(FirstUrl, OffsetsCountUtf16Units) {
  // Two bytes, three bytes, an escaped pair, four bytes: 1 + 1 + 2 + 2 units.
  const std::string text = "\xC3\xA9\xE2\x82\xAC\\ud83d\\ude00\xF0\x9F\x98\x80 t.example/\\u00fc.";
  EXPECT_EQ(url_of(message_text(text, entity(7, 11))), "t.example/\xC3\xBC");
  // Bytes that are no UTF-8 count one unit each with what follows them.
  EXPECT_EQ(url_of(message_text("\x80\xFF t.example", entity(4, 9))), "t.example");
}

TEST(FirstUrl, TheFirstEntityThatIsOne) {
  EXPECT_EQ(
      url_of(message_text("bold a.example b.example", entity(0, 4, "textEntityTypeBold") + "," +
                                                          entity(5, 9) + "," + entity(15, 9))),
      "a.example");
  EXPECT_EQ(
      url_of(message_text("see here a.example",
                          R"({"@type":"textEntity","offset":4,"length":4,"type":)"
                          R"({"@type":"textEntityTypeTextUrl","url":"https:\/\/x.example"}},)" +
                              entity(9, 9))),
      "https://x.example");
  EXPECT_EQ(url_of(R"({"@type":"messagePhoto","photo":{"@type":"photo","sizes":[]},"caption":)"
                   R"({"@type":"formattedText","text":"a.example","entities":[)" +
                   entity(0, 9) + "]}}"),
            "a.example");
}

TEST(FirstUrl, WhatDoesNotFit) {
  EXPECT_EQ(url_of(message_text("a.example", entity(2, 999))), "example");
  EXPECT_EQ(url_of(message_text("a.example", entity(9, 3))), "");
  EXPECT_EQ(url_of(message_text("a.example", entity(999, 3))), "");
  EXPECT_EQ(url_of(message_text("a.example", entity(-1, 3))), "");
  EXPECT_EQ(url_of(message_text("a.example", entity(0, -3) + "," + entity(0, 1))), "a");
  EXPECT_EQ(url_of(message_text("a.example", "null," + entity(0, 1))), "a");
  EXPECT_EQ(url_of(message_text("a.example", R"({"@type":"textEntity"})")), "");
  EXPECT_EQ(url_of(R"({"@type":"messageText"})"), "");
  EXPECT_EQ(url_of(R"({"@type":"messageContactRegistered"})"), "");
  EXPECT_EQ(url_of(""), "");
}

}  // namespace
