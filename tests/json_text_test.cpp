#include "json/text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <string_view>

#include "json/kernels.h"
#include "tests/exact_text.h"

namespace {

using namespace std::string_literals;

TEST(JsonText, Escape) {
  EXPECT_EQ(json_escape("\t\v\xc3\xa9\x7f/\"\\\b\n\f\r\0\x1f\xff"s),
            "\\t\\u000b\xc3\xa9\x7f/\\\"\\\\\\b\\n\\f\\r\\u0000\\u001f\xff");
  EXPECT_EQ(json_escape(""), "");
}

TEST(JsonText, Unescape) {
  struct Case {
    std::string escaped;
    std::string wanted;
  };
  const Case cases[] = {
      {R"(plain)", "plain"},
      {R"(\"\/\\\b\f\n\r\t)", "\"/\\\b\f\n\r\t"},
      {R"(\q\x\0)", "qx0"},
      {R"(end\)", "end"},
      {R"(\u00e9\u20ac\u0041)", "\xc3\xa9\xe2\x82\xac\x41"},
      {R"(\ud83d\ude00\uD83D\uDE00)", "\xf0\x9f\x98\x80\xf0\x9f\x98\x80"},
      {R"(\ud800x)", "\xed\xa0\x80x"},
      {R"(\udc00\ud800)", "\xed\xb0\x80\xed\xa0\x80"},
      {R"(\ud800\ud800\udc00)", "\xed\xa0\x80\xf0\x90\x80\x80"},
      {R"(\ud800\u0041)", "\xed\xa0\x80\x41"},
      {R"(\ud800\n\ud83d\ude0)", "\xed\xa0\x80\n\xed\xa0\xbd\x64\x65\x30"},
      {R"(\u0000|)", "\0|"s},
      {R"(\u00zz\u12)", "00zz12"},
      {R"(\u)", ""},
      {R"(\u\n\u00\u0041)", "\n00A"},
      {R"(\udbff\udfff)", "\xf4\x8f\xbf\xbf"},
  };
  for (const Case& c : cases) EXPECT_EQ(json_unescape(c.escaped), c.wanted) << c.escaped;
}

// Escapes in rows longer than any buffer, with harmless runs of every length between them, come
// back as they were; and the blocks of the escaper find a byte in every position.
TEST(JsonText, EscapesComeBack) {
  std::mt19937 random(7);
  for (int round = 0; round < 3000; ++round) {
    std::string text(random() % 400, '\0');
    const bool harmless = round % 2 == 0;
    for (char& c : text) {
      c = static_cast<char>(harmless && random() % 40 != 0 ? 'a' + random() % 26 : random() % 256);
    }
    const ExactText exact(text);
    const std::string escaped = json_escape(exact.view());
    std::string bytewise;
    for (const char c : text) bytewise += json_escape(std::string_view(&c, 1));
    ASSERT_EQ(escaped, bytewise);
    for (const TextKernels& kernel : text_kernels()) {
      const std::size_t at = kernel.find_escaped_byte(exact.view(), text.size() / 2);
      ASSERT_EQ(at, find_escaped_byte_plain(text, text.size() / 2)) << kernel.name;
    }
    ASSERT_EQ(json_unescape(ExactText(escaped).view()), text);
  }
}

TEST(JsonText, Base64) {
  struct Case {
    const char* text;
    bool good;
    const char* bytes;
  };
  const Case cases[] = {{"", true, ""},          {"aGk=", true, "hi"},
                        {"aGk", true, "hi"},     {"a\r\nG\tk ", true, "hi"},
                        {"aGk=!!", true, "hi"},  {"=", true, ""},
                        {"aGkh-", false, "hi!"}, {"aGkh_", false, "hi!"},
                        {"a", true, ""},         {"/+9h", true, "\xff\xef\x61"},
                        {"aGkh\v", false, "hi!"}};
  for (const Case& c : cases) {
    std::string out = "before";
    EXPECT_EQ(base64_decode(c.text, out), c.good) << c.text;
    EXPECT_EQ(out, c.bytes) << c.text;
  }
}

TEST(JsonText, Utf8) {
  const struct {
    std::string text;
    const char* repaired;  // null: it is UTF-8
  } cases[] = {
      {"", nullptr},
      {std::string("a\0\x7f", 3), nullptr},
      {"\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80", nullptr},
      {"\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", nullptr},
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
      {"\xF5\x80\xC3\xA9", "\uFFFD\uFFFD\u00E9"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(is_utf8(c.text), c.repaired == nullptr) << c.text;
    EXPECT_EQ(with_valid_utf8(c.text), c.repaired == nullptr ? c.text : c.repaired);
  }
}

TEST(JsonText, ParseI64) {
  struct Case {
    std::string text;
    bool good;
    std::int64_t value;
  };
  const Case cases[] = {{" 42\t", true, 42},
                        {"-7", true, -7},
                        {"+7", true, 7},
                        {"\r\n\v 5", true, 5},
                        {"9223372036854775807", true, INT64_MAX},
                        {"-9223372036854775808", true, INT64_MIN},
                        {"9223372036854775808", false, 0},
                        {"12345678901234567890", false, 0},
                        {"", false, 0},
                        {" ", false, 0},
                        {"12a", false, 0},
                        {"+-7", false, 0},
                        {"-+7", false, 0},
                        {"- 7", false, 0},
                        {"+", false, 0},
                        {"7\v", false, 0},
                        {"7\0"s, false, 0},
                        {"0x10", false, 0},
                        {"1 2", false, 0}};
  for (const Case& c : cases) {
    std::int64_t value = 99;
    EXPECT_EQ(parse_i64(c.text, value), c.good) << c.text;
    EXPECT_EQ(value, c.good ? c.value : 99) << c.text;
  }
}

TEST(JsonText, SmallHelpers) {
  EXPECT_EQ(trim(" \t\r\n a b \n"), "a b");
  EXPECT_EQ(trim(" \t"), "");
  EXPECT_EQ(trim("\va\f"), "\va\f");
  std::string_view left;
  std::string_view right = "old";
  EXPECT_TRUE(split_once("a=b=c", '=', left, right));
  EXPECT_EQ(left, "a");
  EXPECT_EQ(right, "b=c");
  EXPECT_TRUE(split_once("a=", '=', left, right));
  EXPECT_EQ(right, "");
  EXPECT_FALSE(split_once("abc", '=', left, right));
  EXPECT_EQ(left, "abc");
  EXPECT_EQ(right, "");
  EXPECT_EQ(to_lower_ascii("AZ[@\xc3\x89z"), "az[@\xc3\x89z");
  EXPECT_TRUE(ends_with("abc", ""));
  EXPECT_TRUE(ends_with("abc", "bc"));
  EXPECT_FALSE(ends_with("bc", "abc"));
  EXPECT_TRUE(is_hex_string_even("09afAF"));
  for (const char* bad : {"", "abc", "0g", "G0", " 0"}) EXPECT_FALSE(is_hex_string_even(bad));
  EXPECT_EQ(normalize_phone_number(" +1 (555) 010-0199. "), "+15550100199");
  EXPECT_EQ(normalize_phone_number("1+5++5"), "155");
  EXPECT_EQ(normalize_phone_number("(+)+49"), "+49");
  EXPECT_EQ(normalize_phone_number("--"), "");
  EXPECT_EQ(make_json_string_array({}), "[]");
  EXPECT_EQ(make_json_string_array({"", "a\"b", "c"}), R"(["","a\"b","c"])");
}

TEST(JsonText, Tags) {
  EXPECT_EQ(json_add_extra(R"({"@type":"getMe"})", "a\"b"), R"({"@type":"getMe","@extra":"a\"b"})");
  EXPECT_EQ(json_add_extra("{\"a\":1} ", "t"), "{\"a\":1} ");
  EXPECT_EQ(json_add_extra("", "t"), "");
  const std::string_view reply = R"({"@type":"ok","@extra":"history:7","@client_id":1})";
  EXPECT_TRUE(json_has_extra(reply, "history:7"));
  EXPECT_FALSE(json_has_extra(reply, "history:"));
  EXPECT_FALSE(json_has_extra(reply, "history:77"));
  EXPECT_FALSE(json_has_extra(R"({"@extra":"x)", "x"));
  // Anywhere, and markers that share a quote.
  EXPECT_TRUE(json_has_extra(R"({"a":{"@extra":"x"},"@extra":"y"})", "x"));
  EXPECT_TRUE(json_has_extra(R"("@extra":"@extra":"x")", "x"));
  EXPECT_TRUE(json_has_extra(R"("@extra":"@extra":"x")", "@extra"));
}

TEST(JsonText, Builders) {
  std::string out = "{";
  append_i64(out, INT64_MIN);
  append_int_member(out, "n", -5);
  append_string_member(out, "s", "a\n");
  append_bool_member(out, "t", true);
  append_bool_member(out, "f", false);
  EXPECT_EQ(out, R"({-9223372036854775808,"n":-5,"s":"a\n","t":true,"f":false)");
}

}  // namespace
