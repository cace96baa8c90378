#include "json/scan.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/exact_text.h"

namespace {

// What every scanner finds, each with its letter; what is absent has none.
std::string found(std::string_view text, std::string_view key, unsigned limit = 9) {
  std::string out;
  const std::int64_t strict = extract_json_int_field(text, key);
  const std::int64_t loose = extract_json_int64_field_loose(text, key);
  if (strict != -1) out += "i" + std::to_string(strict);
  if (loose != -1) out += "l" + std::to_string(loose);
  bool was_false = false, was_true = true;
  const bool is_bool = extract_json_bool_field(text, key, was_false);
  EXPECT_EQ(extract_json_bool_field(text, key, was_true), is_bool);
  EXPECT_EQ(was_false == was_true, is_bool) << "left as it was where there is none";
  if (is_bool) out += was_true ? "T" : "F";
  const std::string string = extract_json_string_field(text, key);
  if (!string.empty()) out += "s" + string;
  const std::string_view object = extract_json_object_field_raw(text, key);
  if (!object.empty()) out += "o" + std::string(object);
  for (const std::string& s : extract_json_string_array_field(text, key)) out += "S" + s;
  for (const std::int64_t i : extract_json_int64_array_field(text, key, limit)) {
    out += "I" + std::to_string(i);
  }
  for (const std::string_view o : extract_json_object_array_field_raw(text, key, limit)) {
    out += "O" + std::string(o);
  }
  return out;
}

// Rows are "value > what is found", with " ; " between them.
void expect_found(std::string rows) {
  rows += " ; ";
  for (std::size_t at = 0, end = 0; at < rows.size(); at = end + 3) {
    end = rows.find(" ; ", at);
    const std::size_t middle = rows.find(" > ", at);
    const std::string value = rows.substr(at, middle - at);
    EXPECT_EQ(found(ExactText("{\"k\":" + value).view(), "k"),
              rows.substr(middle + 3, end - middle - 3))
        << value;
  }
}

TEST(JsonScan, FindsTheFirstKeyWhereverItSits) {
  const std::string_view text = R"({"a":{"id":5,"\"b":"x"},"s":"\"id\":9","id":7,"b":"y"})";
  EXPECT_EQ(found(text, "id"), "i5l5");
  EXPECT_EQ(found(text, "b"), "sx");
  EXPECT_EQ(found(text, "a"), R"(o{"id":5,"\"b":"x"})");
  EXPECT_EQ(found(R"("id" :5)", "id"), "");
  EXPECT_TRUE(json_contains(text, R"("id":7)"));
  EXPECT_FALSE(json_contains(text, R"("id":8)"));
  EXPECT_TRUE(json_starts_with(text, R"({"a":)"));
  EXPECT_FALSE(json_starts_with("{", R"({"a":)"));
  for (const char* empty : {"1", "\"x\"", "{}", "true", "[1]", "[\"a\"]", "[{}]"}) {
    EXPECT_EQ(found(std::string("{\"\":") + empty, ""), "") << "an empty key is absent";
  }
  // A key of any length is found; what only looks like it is not.
  for (const std::size_t length : {60U, 93U, 94U, 95U, 96U, 300U}) {
    const std::string key(length, 'k');
    const std::string near = "{\"k" + key + "\":1,\"" + key + "\" :2,\"" + key + "k\":3,\"x" + key;
    EXPECT_EQ(found(near + "\":4,\"" + key + "\":5,\"" + key + "\":[6]}", key), "i5l5I6") << length;
    EXPECT_EQ(found('"' + key + '"', key) + found(key, key), "") << length;
  }
}

TEST(JsonScan, Values) {
  expect_found(
      "5 > i5l5 ; 007 > i7l7 ; 1.5 > i1l1 ; 2e3 > i2l2 ; \t-5, > i-5l-5 ;  \t\r\n7} > i7l7");
  expect_found(R"("-7" > l-7s-7 ; " 12" > s 12 ; "12x" > s12x ; "-" > s- ; "12  " > l12s12  )");
  expect_found(
      "18446744073709551618 > i2l2 ; -18446744073709551618 > i-2l-2 ; "
      "-9223372036854775808 > i-9223372036854775808l-9223372036854775808 ; "
      "\"7557684413372170241\" > l7557684413372170241s7557684413372170241");
  expect_found(R"( true > T ; false > F ; truex > T ; falsely > F ; "true" > strue ; "a\\" > sa\)");
  expect_found(R"("x" > sx ; "\"\/" > s"/ ;  "say \"hi\" \u00e9" > ssay "hi" é)");
  expect_found(R"({"s":"}\"}{","i":{"x":[}]}}, > o{"s":"}\"}{","i":{"x":[}]})");
  for (const char* absent :
       {"",      " ",    "-",      "{",      "[",        "\"",      "- 5",
        "+5",    "\v5",  "\f5",    "tru",    "null",     "fals",    "\"12",
        "\"12 ", "\"\"", "\vtrue", "\"open", R"("op\")", R"("op\)", R"({"k":"i")"}) {
    expect_found(std::string(absent) + " > ");
  }
  expect_found("18446744073709551615 > ");
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

TEST(JsonScan, Arrays) {
  expect_found(
      "[12 > I12 ; [1-2 > I1I-2 ; [1.5,2 > I1 ; [1,- 2 > I1 ; [1,\"2\",3 > I1 ; "
      "[1, -2,\n+3 ,\v4,5]6 > I1I-2I3I4I5 ; [00000000000000000000012,3 > I12I3 ; "
      "[9223372036854775807,9223372036854775808,1 > I9223372036854775807 ; "
      "[-9223372036854775808,-9223372036854775809 > I-9223372036854775808");
  expect_found(R"(["a",5,"b"] > Sa ; [""] > S ; ["a"," > Sa ; ["a","b > Sa ;  ["a"] >  ; )"
               R"(["a", "b\"" ,,"c"],"d" > SaSb"Sc ;  [{}] >  ; [{},{"open > O{} ; )"
               R"([{"a":1}, {"b":"]}"},null,{}] > O{"a":1}O{"b":"]}"})");
  EXPECT_EQ(found(R"("k":[1,1,2])", "k", 2) + found(R"("k":[1])", "k", 0), "I1I1");
  EXPECT_EQ(found(R"("k":[{},{},{}])", "k", 2), "O{}O{}");
  std::string twenty = "\"k\":[";
  for (int i = 0; i < 20; ++i) twenty += "\"s" + std::to_string(i) + "\",";
  const std::vector<std::string> strings = extract_json_string_array_field(twenty, "k");
  EXPECT_EQ(strings.size(), 16U);
  EXPECT_EQ(strings.back(), "s15");
}

TEST(JsonScan, ObjectsAndStringsFromAPlace) {
  const std::pair<std::size_t, const char*> kPlaces[] = {{1, "{}"}, {0, ""}, {3, ""}, {99, ""}};
  for (const auto& [at, object] : kPlaces) EXPECT_EQ(extract_json_object_raw_at("x{}", at), object);
  // A backslash outside a string is a byte like any other.
  EXPECT_EQ(extract_json_object_raw_at(R"({\"}"}")", 0), R"({\"}"})");
  std::string out = "kept";
  EXPECT_FALSE(extract_json_string_from_pos("abc", 3, out));
  EXPECT_FALSE(extract_json_string_from_pos("abc", 99, out));
  EXPECT_FALSE(extract_json_string_from_pos(R"(abc\")", 0, out));
  EXPECT_EQ(out, "kept");
  EXPECT_TRUE(extract_json_string_from_pos(R"(["a\tb"])", 2, out));
  EXPECT_EQ(out, "a\tb");
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
  for (const char* bad : {" 5", "+5", "-", "", "9223372036854775808"}) {
    EXPECT_FALSE(parse_int_at(bad, 0, number)) << bad;
  }
  EXPECT_FALSE(parse_int_at("5", 1, number));
  EXPECT_EQ(number, 1);
  EXPECT_TRUE(parse_int_at("gen:-42:7", 4, number));
  EXPECT_EQ(number, -42);
}

}  // namespace
