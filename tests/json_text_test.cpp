#include "json/text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <utility>

#include "tests/exact_text.h"

namespace {

using namespace std::string_literals;

TEST(JsonText, Unescape) {
  const std::pair<std::string, std::string> cases[] = {
      {R"(\"\/\\\b\f\n\r\t\q\x\0)", "\"/\\\b\f\n\r\tqx0"},
      {R"(end\)", "end"},
      {R"(\u00e9\u20ac\u0041\u0000|)", "\xc3\xa9\xe2\x82\xac\x41\0|"s},
      {R"(\ud83d\ude00\uDBFF\uDFFF)", "\xf0\x9f\x98\x80\xf4\x8f\xbf\xbf"},
      {R"(\udc00\ud800x\ud800)", "\xed\xb0\x80\xed\xa0\x80x\xed\xa0\x80"},
      {R"(\ud800\ud800\udc00)", "\xed\xa0\x80\xf0\x90\x80\x80"},
      {R"(\ud800\u0041)", "\xed\xa0\x80\x41"},
      {R"(\ud800\n\ud83d\ude0)", "\xed\xa0\x80\n\xed\xa0\xbd\x64\x65\x30"},
      {R"(\u00zz\u\n\u00\u0041\u12)", "00zz\n00A12"}};
  for (const auto& [escaped, wanted] : cases) EXPECT_EQ(json_unescape(escaped), wanted) << escaped;
}

// Escapes in rows longer than any buffer, with harmless runs of every length between them, come
// back as they were.
TEST(JsonText, EscapesComeBack) {
  EXPECT_EQ(json_escape("\t\v\xc3\xa9\x7f/\"\\\b\n\f\r\0\x1f\xff"s),
            "\\t\\u000b\xc3\xa9\x7f/\\\"\\\\\\b\\n\\f\\r\\u0000\\u001f\xff");
  std::mt19937 random(7);
  for (int round = 0; round < 3000; ++round) {
    std::string text(random() % 400, '\0');
    const bool harmless = round % 2 == 0;
    std::string bytewise;
    for (char& c : text) {
      c = static_cast<char>(harmless && random() % 40 != 0 ? 'a' + random() % 26 : random() % 256);
      bytewise += json_escape(std::string_view(&c, 1));
    }
    ASSERT_EQ(json_escape(ExactText(text).view()), bytewise);
    ASSERT_EQ(json_unescape(ExactText(bytewise).view()), text);
  }
}

TEST(JsonText, Base64) {
  const auto decoded = [](const char* text) {
    std::string out = "before";
    return (base64_decode(text, out) ? "" : "bad ") + out;
  };
  EXPECT_EQ(decoded("/+9h"), "\xff\xef\x61");
  for (const char* text : {"", "=", "a"}) EXPECT_EQ(decoded(text), "") << text;
  for (const char* text : {"aGk=", "aGk", "a\r\nG\tk ", "aGk=!!"}) EXPECT_EQ(decoded(text), "hi");
  for (const char* text : {"aGkh-", "aGkh_", "aGkh\v"}) EXPECT_EQ(decoded(text), "bad hi!") << text;
}

TEST(JsonText, Utf8) {
  const std::pair<std::string, std::string> repaired[] = {
      {"caf\xE9", "caf\uFFFD"},
      {"\x80z", "\uFFFDz"},
      {"ab\xC3", "ab\uFFFD"},
      {"\xE2\x82", "\uFFFD\uFFFD"},
      {"\xF0\x9F\x98z", "\uFFFD\uFFFD\uFFFDz"},
      {"\xC1\xBF", "\uFFFD\uFFFD"},  // overlong, as the next two
      {"\xE0\x9F\xBF", "\uFFFD\uFFFD\uFFFD"},
      {"\xF0\x8F\xBF\xBF", "\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"},            // a surrogate
      {"\xF4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD"},  // above U+10FFFF, as the next
      {"\xF5\x80\xC3\xA9", "\uFFFD\uFFFD\u00E9"}};
  for (const auto& [text, whole] : repaired) {
    EXPECT_FALSE(is_utf8(text)) << text;
    EXPECT_EQ(with_valid_utf8(text), whole);
  }
  for (const std::string& text :
       {""s, "a\0\x7f"s, "\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80"s,
        "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"s}) {
    EXPECT_TRUE(is_utf8(text)) << text;
    EXPECT_EQ(with_valid_utf8(text), text);
  }
}

TEST(JsonText, ParseI64) {
  const std::pair<const char*, std::int64_t> good[] = {{" 42\t", 42},
                                                       {"-7", -7},
                                                       {"+7", 7},
                                                       {"\r\n\v 5", 5},
                                                       {"9223372036854775807", INT64_MAX},
                                                       {"-9223372036854775808", INT64_MIN}};
  std::int64_t value = 99;
  for (const auto& [text, wanted] : good) {
    EXPECT_TRUE(parse_i64(text, value)) << text;
    EXPECT_EQ(value, wanted) << text;
  }
  for (const std::string& text :
       {""s, " "s, "+"s, "12a"s, "+-7"s, "-+7"s, "- 7"s, "7\v"s, "7\0"s, "0x10"s, "1 2"s,
        "9223372036854775808"s, "12345678901234567890"s}) {
    EXPECT_FALSE(parse_i64(text, value)) << text;
    EXPECT_EQ(value, INT64_MIN) << text;
  }
}

TEST(JsonText, SmallHelpers) {
  EXPECT_EQ(trim(" \t\r\n a b \n"), "a b");
  EXPECT_EQ(trim(" \t"), "");
  EXPECT_EQ(trim("\va\f"), "\va\f");
  std::string_view left, right;
  for (const std::string_view text : {"a=b=c", "a=", "abc"}) {
    EXPECT_EQ(split_once(text, '=', left, right), text != "abc");
    EXPECT_EQ(left, text.substr(0, text.find('=')));
    EXPECT_EQ(right, text == "a=b=c" ? "b=c" : "");
  }
  EXPECT_EQ(to_lower_ascii("AZ[@\xc3\x89z"), "az[@\xc3\x89z");
  EXPECT_TRUE(ends_with("abc", "") && ends_with("abc", "bc") && !ends_with("bc", "abc"));
  EXPECT_TRUE(is_hex_string_even("09afAF"));
  for (const char* bad : {"", "abc", "0g", "G0", " 0"}) EXPECT_FALSE(is_hex_string_even(bad));
  EXPECT_EQ(normalize_phone_number(" +1 (555) 010-0199. "), "+15550100199");
  EXPECT_EQ(normalize_phone_number("1+5++5"), "155");
  EXPECT_EQ(normalize_phone_number("(+)+49"), "+49");
  EXPECT_EQ(make_json_string_array({}), "[]");
  EXPECT_EQ(make_json_string_array({"", "a\"b", "c"}), R"(["","a\"b","c"])");
  std::string out = "{";
  append_int_member(out, "n", INT64_MIN);
  append_string_member(out, "s", "a\n");
  append_bool_member(out, "t", true);
  append_bool_member(out, "f", false);
  EXPECT_EQ(out, R"({,"n":-9223372036854775808,"s":"a\n","t":true,"f":false)");
}

TEST(JsonText, Tags) {
  EXPECT_EQ(json_add_extra(R"({"@type":"getMe"})", "a\"b"), R"({"@type":"getMe","@extra":"a\"b"})");
  for (const char* open : {"", "{\"a\":1} "}) EXPECT_EQ(json_add_extra(open, "t"), open);
  const std::string_view reply = R"({"@type":"ok","@extra":"history:7","@client_id":1})";
  EXPECT_TRUE(json_has_extra(reply, "history:7"));
  EXPECT_FALSE(json_has_extra(reply, "history:"));
  EXPECT_FALSE(json_has_extra(reply, "history:77"));
  EXPECT_FALSE(json_has_extra(R"({"@extra":"x)", "x"));
  // Anywhere, and markers that share a quote.
  EXPECT_TRUE(json_has_extra(R"({"a":{"@extra":"x"},"@extra":"y"})", "x"));
  for (const char* tag : {"x", "@extra"}) {
    EXPECT_TRUE(json_has_extra(R"("@extra":"@extra":"x")", tag));
  }
}

}  // namespace
