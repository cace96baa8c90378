#include "json/walk.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "json/search.h"
#include "tests/corpus.h"

namespace {

// "key=value;" of every member.
std::string members(std::string_view object) {
  std::string out;
  ObjectWalk walk{object};
  for (JsonMember member; next_member(walk, member);) {
    out += std::string(member.key) + '=' + std::string(member.value) + ';';
  }
  JsonMember again;
  EXPECT_FALSE(next_member(walk, again)) << object;
  return out;
}

std::string elements(std::string_view array) {
  std::string out;
  ArrayWalk walk{array};
  for (std::string_view element; next_element(walk, element);) out += std::string(element) + ';';
  return out;
}

TEST(JsonWalk, Members) {
  EXPECT_EQ(members(R"({"a":1,"b\"":"x,}","c":{"a":[2,{}]},"d":[],"e":null,"f":-1.5e3}, "g":2)"),
            R"(a=1;b\"="x,}";c={"a":[2,{}]};d=[];e=null;f=-1.5e3;)");
  EXPECT_EQ(members(" { } "), "");
  EXPECT_EQ(members("{}"), "");
  EXPECT_EQ(members("{ \"a\" :\t1 ,\r\n\"b\": [ ] } "), "a=1;b=[ ];");
}

// What was whole before the text broke off has been delivered, and nothing else.
TEST(JsonWalk, BrokenTexts) {
  for (const char* text : {"", "[1]", "null", "{", "{\"a", "{\"a\"", "{\"a\":", "{\"a\":}", "{,}",
                           "{\"a\" 1}", "{1:2}", "{\"a\":tr", "{\"a\":\"x", "{\"a\":{\"b\":1"}) {
    EXPECT_EQ(members(text), "") << text;
  }
  EXPECT_EQ(members(R"({"a":1,"b":2)"), "a=1;");
  EXPECT_EQ(members(R"({"a":{"b":1})"), R"(a={"b":1};)");
  EXPECT_EQ(members(R"({"a":1 "b":2})"), "a=1;");
  EXPECT_EQ(members(R"({"a":1,})"), "a=1;");
  EXPECT_EQ(members(R"({"a":1,"b)"), "a=1;");
  EXPECT_EQ(members(R"({"a":1]})"), "a=1;");
}

TEST(JsonWalk, Elements) {
  EXPECT_EQ(elements(R"([1, null ,"a]",[2,[3]],{"x":[4]}],5)"),
            R"(1;null;"a]";[2,[3]];{"x":[4]};)");
  EXPECT_EQ(elements("[]"), "");
  EXPECT_EQ(elements("{}"), "");
  EXPECT_EQ(elements("[1,2"), "1;");
  EXPECT_EQ(elements("[1,[2"), "1;");
  EXPECT_EQ(elements("[1 2]"), "1;");
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
  EXPECT_EQ(object_type(member_object(text, "in")), "inner");
  EXPECT_EQ(object_type(R"({"@type":5})"), "");
  EXPECT_EQ(member_array(text, "a"), "[7]");
  EXPECT_EQ(member_array(text, "in"), "");
  EXPECT_EQ(member_object(text, "a"), "");
  EXPECT_EQ(member_string(R"({"s":"\u00e9\"","n":5})", "s"), "\xc3\xa9\"");
  EXPECT_EQ(member_string(R"({"s":"x","n":5})", "n"), "");
  // Members before a break are still found.
  EXPECT_EQ(member_int(R"({"a":1,"b":2,"c":{"open)", "b"), 2);
}

TEST(JsonWalk, Values) {
  EXPECT_EQ(value_int("-15,"), -15);
  EXPECT_EQ(value_int("1.5"), 1);
  EXPECT_EQ(value_int("-", 3), 3);
  EXPECT_EQ(value_int("null", 3), 3);
  EXPECT_EQ(value_int("\"5\"", 3), 3);
  EXPECT_EQ(value_int("18446744073709551618"), 2);
  EXPECT_EQ(value_int64("\"-9223372036854775808\""), INT64_MIN);
  EXPECT_EQ(value_int64("\"x\"", 0), 0);
  EXPECT_EQ(value_int64("\""), -1);
  EXPECT_EQ(value_string("\""), "");
  EXPECT_FALSE(value_true("truex"));
  EXPECT_FALSE(value_is_object(""));
  EXPECT_EQ(skip_value("[1]", 0), 3U);
  EXPECT_EQ(skip_value("7,", 0), 1U);
  EXPECT_EQ(skip_value("7", 0), kNotFound);  // whole or cut, nobody knows
  EXPECT_EQ(skip_value(",", 0), kNotFound);
  EXPECT_EQ(skip_value("1", 9), kNotFound);
  EXPECT_EQ(skip_value("1234567890123456789012345,", 0), 25U);
}

// Where a value lies in the text.
using Place = std::pair<const char*, std::size_t>;
Place place_of(std::string_view value) { return {value.data(), value.size()}; }

void list_bounded(std::string_view value, std::set<Place>& out) {
  out.insert(place_of(value));
  ObjectWalk object{value};
  for (JsonMember member; next_member(object, member);) list_bounded(member.value, out);
  ArrayWalk array{value};
  for (std::string_view element; next_element(array, element);) list_bounded(element, out);
}

// The same in place; every seventh value is left after its first inner one.
template <class Walk>
void list_in_place(Walk& outer, std::vector<Place>& out) {
  const std::string_view here = value_here(outer);
  const bool all = out.size() % 7 != 6;
  ObjectWalk object{here};
  for (std::string_view key; next_key(object, key) && (list_in_place(object, out), all);) {
  }
  ArrayWalk array{here};
  while (next_place(array) && (list_in_place(array, out), all)) {
  }
  leave(outer, object);
  leave(outer, array);
  const char* end = outer.text.data() + outer.pos;
  const bool walked = outer.stage == WalkStage::kBetween;
  out.push_back(walked ? Place(here.data(), end - here.data()) : place_of(take_value(outer)));
}

// A walk in place ends every value where a bounded one does, left early or not.
TEST(JsonWalk, InPlace) {
  for (const CorpusText& entry : corpus()) {
    const std::string text = '[' + entry.text + "]]}\"";
    std::set<Place> bounded;
    list_bounded(std::string_view(text).substr(1, entry.text.size()), bounded);
    std::vector<Place> found;
    ArrayWalk top{text};
    ASSERT_TRUE(next_place(top));
    list_in_place(top, found);
    EXPECT_FALSE(next_place(top));
    EXPECT_EQ(top.stage, WalkStage::kClosed);
    EXPECT_EQ(walk_end(top), entry.text.size() + 2);
    EXPECT_EQ(found.back(), Place(text.data() + 1, entry.text.size()));
    EXPECT_GT(found.size(), 5U);
    for (const Place& place : found) {
      ASSERT_EQ(bounded.count(place), 1U) << std::string_view(place.first, place.second);
    }
  }
}

TEST(JsonWalk, InPlaceOverWrongKindsAndBreaks) {
  ObjectWalk walk{R"({"a":null,"b":[1,{"c":2)"};
  std::string_view key;
  ASSERT_TRUE(next_key(walk, key));
  ObjectWalk none{value_here(walk)};
  EXPECT_FALSE(next_key(none, key));
  leave(walk, none);
  ASSERT_TRUE(next_key(walk, key));
  EXPECT_EQ(key, "b");
  ArrayWalk array{value_here(walk)};
  ASSERT_TRUE(next_place(array));
  EXPECT_EQ(value_int(value_here(array)), 1);
  leave(walk, array);
  EXPECT_FALSE(next_key(walk, key));
  EXPECT_EQ(walk.stage, WalkStage::kBroken);
  EXPECT_EQ(take_value(walk), "");
  EXPECT_EQ(value_here(walk), "");
}

}  // namespace
