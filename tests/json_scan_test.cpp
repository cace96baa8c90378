#include "json/scan.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "tests/exact_text.h"

namespace {

using Numbers = std::vector<std::int64_t>;
using Strings = std::vector<std::string>;
using Views = std::vector<std::string_view>;

TEST(JsonScan, FindsTheFirstKeyWhereverItSits) {
  const std::string_view text = R"({"a":{"id":5,"\"b":"x"},"s":"\"id\":9","id":7,"b":"y"})";
  EXPECT_EQ(extract_json_int_field(text, "id"), 5);
  EXPECT_EQ(extract_json_string_field(text, "b"), "x");
  EXPECT_EQ(extract_json_object_field_raw(text, "a"), R"({"id":5,"\"b":"x"})");
  EXPECT_EQ(extract_json_int_field(R"("id" :5)", "id"), -1);
  EXPECT_TRUE(json_contains(text, R"("id":7)"));
  EXPECT_FALSE(json_contains(text, R"("id":8)"));
  EXPECT_TRUE(json_starts_with(text, R"({"a":)"));
  EXPECT_FALSE(json_starts_with("{", R"({"a":)"));
}

TEST(JsonScan, EmptyKeyIsAbsentEverywhere) {
  const std::string_view text = R"({"":1,"":"x","":{},"":["a"],"":true})";
  bool flag = true;
  EXPECT_EQ(extract_json_int_field(text, ""), -1);
  EXPECT_EQ(extract_json_int64_field_loose(text, ""), -1);
  EXPECT_EQ(extract_json_string_field(text, ""), "");
  EXPECT_EQ(extract_json_object_field_raw(text, ""), "");
  EXPECT_FALSE(extract_json_bool_field(text, "", flag));
  EXPECT_TRUE(extract_json_string_array_field(R"("":["a"])", "").empty());
  EXPECT_TRUE(extract_json_int64_array_field(R"("":[1])", "", 9).empty());
  EXPECT_TRUE(extract_json_object_array_field_raw(R"("":[{}])", "", 9).empty());
}

// A key of any length is found without a heap pattern; what only looks like it is not.
TEST(JsonScan, LongKeys) {
  for (const std::size_t length : {60U, 93U, 94U, 95U, 96U, 300U}) {
    const std::string key(length, 'k');
    std::string text = "{";
    for (const char* member :
         {"\"k@\":1,", "\"@\" :2,", "\"@k\":3,", "\"x@\":4,", "\"@\":5,", "\"@\":[6]}"}) {
      const std::string_view form = member;
      const std::size_t at = form.find('@');
      text.append(form.substr(0, at)).append(key).append(form.substr(at + 1));
    }
    EXPECT_EQ(extract_json_int_field(text, key), 5) << length;
    EXPECT_EQ(extract_json_int64_array_field(text, key, 9), Numbers{6}) << length;
    EXPECT_EQ(extract_json_int_field('"' + key + '"', key), -1) << length;
    EXPECT_EQ(extract_json_int_field(key, key), -1) << length;
  }
}

TEST(JsonScan, Integers) {
  struct Case {
    const char* value;
    std::int64_t strict;
    std::int64_t loose;
  };
  const Case cases[] = {{"5", 5, 5},
                        {" \t\r\n7}", 7, 7},
                        {"\t-5,", -5, -5},
                        {"- 5", -1, -1},
                        {"-", -1, -1},
                        {"+5", -1, -1},
                        {"", -1, -1},
                        {" ", -1, -1},
                        {"\v5", -1, -1},
                        {"\f5", -1, -1},
                        {"1.5", 1, 1},
                        {"2e3", 2, 2},
                        {"null", -1, -1},
                        {"true", -1, -1},
                        {"007", 7, 7},
                        {"\"-7\"", -1, -7},
                        {"\"7557684413372170241\"", -1, 7557684413372170241},
                        {"\"12 \t\"", -1, 12},
                        {"\" 12\"", -1, -1},
                        {"\"12x\"", -1, -1},
                        {"\"12", -1, -1},
                        {"\"12 ", -1, -1},
                        {"\"-\"", -1, -1},
                        {"\"\"", -1, -1},
                        {"\"", -1, -1},
                        {"-9223372036854775808", INT64_MIN, INT64_MIN},
                        {"18446744073709551615", -1, -1},
                        {"18446744073709551618", 2, 2},
                        {"-18446744073709551618", -2, -2}};
  for (const Case& c : cases) {
    const std::string text = std::string("{\"k\":") + c.value;
    EXPECT_EQ(extract_json_int_field(text, "k"), c.strict) << text;
    EXPECT_EQ(extract_json_int64_field_loose(text, "k"), c.loose) << text;
  }
}

// Numbers of every length, whatever follows them.
TEST(JsonScan, IntegersOfEveryLength) {
  std::mt19937_64 random(64);
  for (int round = 0; round < 4000; ++round) {
    const auto value = static_cast<std::int64_t>(random()) >> (round % 64);
    std::string text = "\"k\":" + std::to_string(value);
    if (round % 3 != 0) text += static_cast<char>(random() % 256);
    if (text.back() >= '0' && text.back() <= '9' && round % 3 != 0) continue;
    const ExactText exact(text);
    std::int64_t parsed = 0;
    ASSERT_EQ(extract_json_int_field(exact.view(), "k"), value) << text;
    ASSERT_TRUE(parse_int_at(exact.view(), 4, parsed)) << text;
    ASSERT_EQ(parsed, value) << text;
  }
}

TEST(JsonScan, StringsAndBooleans) {
  struct Case {
    const char* value;
    const char* wanted;
  };
  const Case strings[] = {{R"("x")", "x"},
                          {R"( "say \"hi\" \u00e9")", "say \"hi\" \xc3\xa9"},
                          {R"("open)", ""},
                          {R"("open\")", ""},
                          {R"("open\)", ""},
                          {R"(")", ""},
                          {R"("")", ""},
                          {"null", ""},
                          {"5", ""},
                          {R"("a\\")", "a\\"},
                          {R"({"k":"in"})", ""},
                          {R"("\n\/")", "\n/"}};
  for (const Case& c : strings) {
    EXPECT_EQ(extract_json_string_field(std::string("{\"k\":") + c.value, "k"), c.wanted)
        << c.value;
  }
  const Case booleans[] = {{" true", "t"}, {"false", "f"}, {"truex", "t"}, {"falsely", "f"},
                           {"1", "-"},     {"tru", "-"},   {"fals", "-"},  {"\"true\"", "-"},
                           {"", "-"},      {"\vtrue", "-"}};
  for (const Case& c : booleans) {
    for (const bool before : {false, true}) {
      bool flag = before;
      const std::string_view wanted = c.wanted;
      EXPECT_EQ(extract_json_bool_field(std::string("\"k\":") + c.value, "k", flag), wanted != "-")
          << c.value;
      EXPECT_EQ(flag, wanted == "-" ? before : wanted == "t") << c.value;
    }
  }
}

TEST(JsonScan, ObjectsByTheirBraces) {
  const std::string_view text = R"({"o": {"s":"}\"}{","i":{"x":[}]}},"p":{"open":{)";
  EXPECT_EQ(extract_json_object_field_raw(text, "o"), R"({"s":"}\"}{","i":{"x":[}]})");
  EXPECT_EQ(extract_json_object_field_raw(text, "p"), "");
  EXPECT_EQ(extract_json_object_field_raw(R"({"o":[{}]})", "o"), "");
  EXPECT_EQ(extract_json_object_field_raw(R"({"o":)", "o"), "");
  EXPECT_EQ(extract_json_object_raw_at("x{}", 1), "{}");
  EXPECT_EQ(extract_json_object_raw_at("x{}", 0), "");
  EXPECT_EQ(extract_json_object_raw_at("x{}", 3), "");
  EXPECT_EQ(extract_json_object_raw_at("x{}", 99), "");
  // A backslash outside a string is a byte like any other.
  EXPECT_EQ(extract_json_object_raw_at(R"({\"}"}")", 0), R"({\"}"})");
}

TEST(JsonScan, StringsFromAPlace) {
  std::string out = "kept";
  EXPECT_FALSE(extract_json_string_from_pos("abc", 3, out));
  EXPECT_FALSE(extract_json_string_from_pos("abc", 99, out));
  EXPECT_FALSE(extract_json_string_from_pos(R"(abc\")", 0, out));
  EXPECT_EQ(out, "kept");
  EXPECT_TRUE(extract_json_string_from_pos(R"(["a\tb"])", 2, out));
  EXPECT_EQ(out, "a\tb");
  EXPECT_TRUE(extract_json_string_from_pos(R"(["a"])", 3, out));
  EXPECT_EQ(out, "");
}

TEST(JsonScan, Arrays) {
  const auto strings = [](std::string_view array) {
    return extract_json_string_array_field("{\"k\":" + std::string(array), "k");
  };
  EXPECT_EQ(strings(R"(["a", "b\"" ,,"c"],"d")"), (Strings{"a", "b\"", "c"}));
  EXPECT_EQ(strings(R"(["a",5,"b"])"), Strings{"a"});
  EXPECT_EQ(strings(R"(["a","b)"), Strings{"a"});
  EXPECT_EQ(strings(R"(["a",")"), Strings{"a"});
  EXPECT_EQ(strings(R"([""])"), Strings{""});
  EXPECT_EQ(strings(R"( ["a"])"), Strings{});
  EXPECT_EQ(strings("["), Strings{});
  std::string twenty = "[";
  for (int i = 0; i < 20; ++i) twenty += "\"s" + std::to_string(i) + "\",";
  EXPECT_EQ(strings(twenty).size(), 16U);
  EXPECT_EQ(strings(twenty).back(), "s15");

  const auto numbers = [](std::string_view array, unsigned limit = 200) {
    return extract_json_int64_array_field("\"k\":[" + std::string(array), "k", limit);
  };
  EXPECT_EQ(numbers("1, -2,\n+3 ,\v4,5]6"), (Numbers{1, -2, 3, 4, 5}));
  EXPECT_EQ(numbers("1,1,2", 2), (Numbers{1, 1}));
  EXPECT_EQ(numbers("1,2", 0), Numbers{});
  EXPECT_EQ(numbers("1,\"2\",3"), Numbers{1});
  EXPECT_EQ(numbers("1.5,2"), Numbers{1});
  EXPECT_EQ(numbers("1,- 2"), Numbers{1});
  EXPECT_EQ(numbers("1-2"), (Numbers{1, -2}));
  EXPECT_EQ(numbers("9223372036854775807,-9223372036854775808,9223372036854775808,1"),
            (Numbers{INT64_MAX, INT64_MIN}));
  EXPECT_EQ(numbers("00000000000000000000012,3"), (Numbers{12, 3}));
  EXPECT_EQ(numbers("7,-9223372036854775809"), Numbers{7});
  EXPECT_EQ(numbers("12"), Numbers{12});

  const auto objects = [](std::string_view text, unsigned limit) {
    return extract_json_object_array_field_raw(text, "k", limit);
  };
  EXPECT_EQ(objects(R"("k":[{"a":1}, {"b":"]}"},null,{}])", 9),
            (Views{R"({"a":1})", R"({"b":"]}"})"}));
  EXPECT_EQ(objects(R"("k":[{},{},{}])", 2).size(), 2U);
  EXPECT_EQ(objects(R"("k":[{},{"open)", 9).size(), 1U);
  EXPECT_TRUE(objects(R"("k": [{}])", 9).empty());
}

TEST(JsonScan, HexAndNumbersAtAPlace) {
  unsigned hex = 1;
  EXPECT_TRUE(parse_hex4("x00e9", 1, hex));
  EXPECT_EQ(hex, 233U);
  EXPECT_TRUE(parse_hex4("aBcDe", 0, hex));
  EXPECT_EQ(hex, 0xABCDU);
  for (const std::string_view bad : {"00e", "g000", "0G00", "00/0", "000:", "00@0", "`000"}) {
    EXPECT_FALSE(parse_hex4(bad, 0, hex)) << bad;
  }
  EXPECT_FALSE(parse_hex4("0000", 1, hex));
  EXPECT_FALSE(parse_hex4("0000", static_cast<std::size_t>(-1), hex));
  EXPECT_EQ(hex, 0xABCDU);

  std::int64_t number = 1;
  EXPECT_FALSE(parse_int_at(" 5", 0, number));
  EXPECT_FALSE(parse_int_at("+5", 0, number));
  EXPECT_FALSE(parse_int_at("-", 0, number));
  EXPECT_FALSE(parse_int_at("5", 1, number));
  EXPECT_FALSE(parse_int_at("9223372036854775808", 0, number));
  EXPECT_EQ(number, 1);
  EXPECT_TRUE(parse_int_at("gen:-42:7", 4, number));
  EXPECT_EQ(number, -42);
}

}  // namespace
