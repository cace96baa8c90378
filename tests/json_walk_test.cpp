#include "json/walk.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "json/search.h"

namespace {

// "key=value;" of every member, "element;" of every element.
std::string walked(std::string_view text) {
  std::string out;
  ObjectWalk members{text};
  std::string_view key;
  while (next_key(members, key)) {
    const std::string_view value = take_value(members);
    if (!value.empty()) out += std::string(key) + '=' + std::string(value) + ';';
  }
  EXPECT_FALSE(next_key(members, key)) << text;
  EXPECT_EQ(take_value(members), "") << text;
  ArrayWalk elements{text};
  for (std::string_view element; next_element(elements, element);) {
    out += std::string(element) + ';';
  }
  return out;
}

using Rows = std::vector<std::pair<const char*, const char*>>;

// What was whole before the text broke off has been delivered; of the rest only a container, whose
// own members follow the same rule.
TEST(JsonWalk, MembersAndElements) {
  const Rows rows = {
      {R"({"a":1,"b\"":"x,}","c":{"a":[2,{}]},"d":[],"e":null,"f":-1.5e3}, "g":2)",
       R"(a=1;b\"="x,}";c={"a":[2,{}]};d=[];e=null;f=-1.5e3;)"},
      {"{ \"a\" :\t1 ,\r\n\"b\": [ ] } ", "a=1;b=[ ];"},
      {R"({"a":{"b":1)", R"(a={"b":1;)"},
      {R"({"a":[{"b":1},)", R"(a=[{"b":1},;)"},
      {R"([1, null ,"a]",[2,[3]],{"x":[4]}],5)", R"(1;null;"a]";[2,[3]];{"x":[4]};)"},
      {R"([1,{"a":2)", R"(1;{"a":2;)"},
      {"[1,[2", "1;[2;"}};
  for (const auto& [text, wanted] : rows) EXPECT_EQ(walked(text), wanted);
  for (const char* text : {"1,\"b\":2", "1 ;\"b\":2}", "1,}", "1,\"b", "1]}"}) {
    EXPECT_EQ(walked(std::string("{\"a\":") + text), "a=1;") << text;
  }
  for (const char* text : {"[1,2", "[1 ;2]"}) EXPECT_EQ(walked(text), "1;") << text;
  for (const char* text :
       {"", "{}", " { } ", "[]", "null", "{", "{\"a", "{\"a\"", "{\"a\":", "{\"a\":}", "{,}",
        "{\"a\" 1}", "{1:2}", "{\"a\":tr", "{\"a\":\"x", "{\"a\":12"}) {
    EXPECT_EQ(walked(text), "") << text;
  }
}

TEST(JsonWalk, OwnMembersOnly) {
  const std::string_view text =
      R"({"in":{"@type":"inner","id":1,"on":true},"id":"2","on":false,"@type":"outer","a":[7]})";
  EXPECT_EQ(member_int(text, "id"), -1);
  EXPECT_EQ(member_int64(text, "id"), 2);
  EXPECT_EQ(member_int64(text, "none", 0), 0);
  EXPECT_FALSE(member_true(text, "on"));
  EXPECT_TRUE(member_true(member_object(text, "in"), "on"));
  EXPECT_EQ(object_type(text), "outer");
  EXPECT_EQ(object_type(R"({"@type":5})"), "");
  EXPECT_EQ(member_array(text, "a"), "[7]");
  EXPECT_EQ(member_array(text, "in"), "");
  EXPECT_EQ(member_object(text, "a"), "");
  EXPECT_EQ(member_string(R"({"s":"\u00e9\"","n":5})", "s"), "\xc3\xa9\"");
  EXPECT_EQ(member_string(R"({"s":"x","n":5})", "n"), "");
  // Members before a break are still found.
  EXPECT_EQ(member_int(R"({"a":1,"b":2,"c":{"open)", "b"), 2);
}

struct Record {
  std::int64_t number = -9;
  std::int32_t size = -9;
  bool flag = false;
  std::string text = "old";
  std::optional<std::string> title;
  std::string_view word;
  std::string_view object;
  std::string_view array;
};
constexpr Row<Record> kRows[] = {
    {"number", value_into<&Record::number>},  {"size", value_into<&Record::size>},
    {"flag", value_into<&Record::flag>},      {"text", value_into<&Record::text>},
    {"title", value_into<&Record::title>},    {"word", word_into<&Record::word>},
    {"object", object_into<&Record::object>}, {"array", array_into<&Record::array>},
};

std::string read_record(std::string_view json) {
  Record r;
  read_members<kRows>(json, r);
  std::string out = std::to_string(r.number) + ' ' + std::to_string(r.size) + ' ';
  out.append(r.flag ? "true " : "false ").append(r.text + ' ' + r.title.value_or("-") + ' ');
  out.append(r.word).append(" ").append(r.object).append(" ").append(r.array);
  return out;
}

// A value of another kind, or one that does not fit, leaves what was there; the first one counts.
TEST(JsonWalk, RowsReadOwnMembersOfTheirKind) {
  const char* const nothing = "-9 -9 false old -   ";
  EXPECT_EQ(read_record(R"({"in":{"number":1},"number":-5,"size":7,"flag":true,"text":"\u00e9",)"
                        R"("title":"","word":"a\"b","object":{"x":1},"array":[2],"number":6})"),
            R"(-5 7 true é  a\"b {"x":1} [2])");
  for (const char* json :
       {"", "[]", "{}", R"({"number":"5","size":null,"flag":1,"text":5,"title":null,"word":{}})",
        R"({"object":[1],"array":{},"number":99999999999999999999,"flag":truex})",
        R"({"in":{"number":5,"size":6},"text":"cut)", R"({"number":5)"}) {
    EXPECT_EQ(read_record(json), nothing) << json;
  }
  EXPECT_EQ(read_record(R"({"size":-7})"), "-9 0 false old -   ");
  EXPECT_EQ(read_record(R"({"size":2147483648})"), "-9 2147483647 false old -   ");
  EXPECT_EQ(read_record(R"({"size":4,"object":{"number":5,)"),
            R"(-9 4 false old -  {"number":5, )");
}

TEST(JsonWalk, FindsAnObjectByItsFirstMembers) {
  const Rows rows = {{R"({"u":{"@type":"user","id":5}})", R"({"@type":"user","id":5}})"},
                     {R"({"x":1,"@type":"user","id":5})", R"({"@type":"user","id":5})"},
                     {R"("@type":"user","id":5)", R"({"@type":"user","id":5)"},
                     {R"({"@type":"users","id":5})", ""}};
  std::string copy;
  for (const auto& [text, wanted] : rows) {
    EXPECT_EQ(find_object(text, R"("@type":"user","id":)", copy), wanted);
  }
}

TEST(JsonWalk, SkipsValues) {
  EXPECT_EQ(skip_value("[1]", 0), 3U);
  EXPECT_EQ(skip_value("1234567890123456789012345,", 0), 25U);
  for (const char* text : {"7", ",", ""})
    EXPECT_EQ(skip_value(text, 0), kNotFound);  // 7 may be cut
  EXPECT_EQ(skip_value("1", 9), kNotFound);
}

}  // namespace
