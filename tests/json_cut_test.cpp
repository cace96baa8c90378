// What TDLib gives in the transcripts, cut off at every byte: nothing reads past the end, nothing
// throws or hangs, and what a cut text gives is what the whole text gives, or absent.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include "json/scan.h"
#include "json/search.h"
#include "json/text.h"
#include "json/walk.h"
#include "tests/exact_text.h"
#include "tests/objects.h"

namespace {

template <class Value>
void expect_same_or(const Value& absent, const Value& cut, const Value& whole) {
  EXPECT_TRUE(cut == absent || cut == whole) << cut << " of " << whole;
}

void run_scanners(std::string_view cut, std::string_view whole) {
  for (const char* key : {"id", "chat_id", "value", "title", "text", "@extra", "order", "user",
                          "chat", "message", "content", "positions"}) {
    expect_same_or(std::string(), extract_json_string_field(cut, key),
                   extract_json_string_field(whole, key));
    expect_same_or(std::string_view(), extract_json_object_field_raw(cut, key),
                   extract_json_object_field_raw(whole, key));
    extract_json_int_field(cut, key);  // a cut number is a shorter one
  }
  expect_same_or(std::int64_t{-1}, extract_json_int64_field_loose(cut, "order"),
                 extract_json_int64_field_loose(whole, "order"));
  bool flag = true;
  extract_json_bool_field(cut, "value", flag);
  EXPECT_TRUE(flag);
  EXPECT_LE(extract_json_string_array_field(cut, "active_usernames").size(), 2U);
  EXPECT_LE(extract_json_int64_array_field(cut, "chat_ids", 200).size(), 200U);
  EXPECT_LE(extract_json_object_array_field_raw(cut, "messages", 100).size(), 100U);
  EXPECT_EQ(json_has_extra(cut, "getChats:3"), json_contains(cut, "\"@extra\":\"getChats:3\""));
  std::string out;
  std::int64_t number = 0;
  unsigned hex = 0;
  for (std::size_t back = 1; back <= 7 && back <= cut.size(); ++back) {
    extract_json_string_from_pos(cut, cut.size() - back, out);
    extract_json_object_raw_at(cut, cut.size() - back);
    parse_int_at(cut, cut.size() - back, number);
    parse_hex4(cut, cut.size() - back, hex);
    skip_value(cut, cut.size() - back);
  }
  json_unescape(cut.substr(cut.size() - std::min<std::size_t>(cut.size(), 2000)));
}

// What a walk over the cut text gives is what it gives of the whole, or the beginning of it.
void expect_walk_of(std::string_view cut, std::string_view whole) {
  ObjectWalk whole_walk{whole};
  ObjectWalk walk{cut};
  std::string_view wanted;
  for (std::string_view key; next_key(walk, key);) {
    ASSERT_TRUE(next_key(whole_walk, wanted));
    EXPECT_EQ(key, wanted);
    const std::string_view value = take_value(walk);
    const std::string_view whole_value = take_value(whole_walk);
    EXPECT_EQ(value, whole_value.substr(0, value.size()));
    if (is_object(value)) expect_walk_of(value, whole_value);
  }
}

TEST(JsonCut, AtEveryByte) {
  std::size_t first = 0;  // other places in each object
  for (const std::string& object : longest_objects()) {
    const std::string_view whole = std::string_view(object).substr(0, 3000);
    for (std::size_t at = first++ % kPart; at <= whole.size(); at += kPart) {
      const ExactText cut(whole.substr(0, at));
      run_scanners(cut.view(), whole);
      expect_walk_of(cut.view(), whole);
      ASSERT_FALSE(HasFailure()) << "cut at " << at << ": " << whole;
    }
  }
}

}  // namespace
