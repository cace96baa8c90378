#include <algorithm>
#include <string>
#include <vector>

#include "fuzz/strict_json.h"
#include "fuzz/targets.h"
#include "json/kernels.h"
#include "json/scan.h"
#include "json/search.h"
#include "json/skip.h"
#include "json/text.h"
#include "json/walk.h"

namespace {

// Every kernel beside what is so by bytes: the standard library's search and the portable loops.
void compare_kernels(std::string_view text, std::size_t pos) {
  static const std::vector<TextKernels> kernels = text_kernels();
  const std::string_view needle = text.substr(text.size() / 2, text.size() % 19);
  const std::size_t found = text.find(needle, pos);
  for (const TextKernels& k : kernels) {
    must(k.find_bytes(text, needle, pos) == (found == std::string_view::npos ? kNotFound : found),
         "find_bytes", k.name);
    must(k.find_string_end(text, pos) == find_string_end_plain(text, pos), "find_string_end",
         k.name);
    must(k.find_escaped_byte(text, pos) == find_escaped_byte_plain(text, pos), "find_escaped_byte",
         k.name);
    for (const Nesting nesting : {Nesting::kBraces, Nesting::kAll}) {
      must(k.skip_to_close(text, pos, 1, nesting) == skip_to_close_plain(text, pos, 1, nesting),
           "skip_to_close", k.name);
    }
  }
}

// A walk beside the strict reader: of a sound object it gives the same members.
void compare_walk(std::string_view text, const std::vector<Member>& members) {
  ObjectWalk walk{text};
  std::size_t count = 0;
  std::string_view key;
  for (; next_key(walk, key); ++count) {
    const std::string_view value = take_value(walk);
    if (members.empty()) continue;
    must(count < members.size() && key == members[count].key && value == members[count].value,
         "the walk's members are the strict reader's", text);
  }
  if (members.empty()) return;
  must(walk.stage == WalkStage::kClosed && count == members.size(), "a walk to the end", text);
}

// The scanners take the first occurrence of a key anywhere: where it occurs once, they must find
// what the strict reader finds.
void compare_scanners(std::string_view text, const std::vector<Member>& members) {
  for (const Member& member : members) {
    const std::string quoted = '"' + std::string(member.key) + '"';
    const std::size_t at = text.find(quoted);
    if (member.key.empty() || text.find(quoted, at + 1) != std::string_view::npos ||
        member.value.data() != text.data() + at + quoted.size() + 1 ||
        text.compare(at + quoted.size(), 1, ":") != 0) {
      continue;
    }
    const std::string_view value = member.value;
    if (value.front() == '{') {
      must(extract_json_object_field_raw(text, member.key) == value, "the scanner's object", text);
    } else if (value.front() == '"') {
      must(extract_json_string_field(text, member.key) ==
               json_unescape(value.substr(1, value.size() - 2)),
           "the scanner's string", text);
    } else if (value == "true" || value == "false") {
      bool flag = value == "false";
      must(extract_json_bool_field(text, member.key, flag) && flag == (value == "true"),
           "the scanner's boolean", text);
    } else if (std::int64_t number = 0;
               value.find_first_not_of("-0123456789") == std::string_view::npos &&
               parse_i64(value, number)) {
      must(extract_json_int_field(text, member.key) == number, "the scanner's number", text);
      must(member_int(text, member.key, number - 1) == number, "the walk's number", text);
    }
  }
}

void scan(std::string_view text, std::string_view key) {
  const auto inside = [text](std::string_view part) {
    return part.empty() ||
           (part.data() >= text.data() && part.data() + part.size() <= text.data() + text.size());
  };
  bool flag = false;
  unsigned hex = 0;
  std::int64_t number = 0;
  std::string out;
  extract_json_string_field(text, key);
  extract_json_int_field(text, key);
  extract_json_int64_field_loose(text, key);
  extract_json_bool_field(text, key, flag);
  must(inside(extract_json_object_field_raw(text, key)), "an object lies in its text", text);
  must(extract_json_string_array_field(text, key).size() <= 16, "at most 16 strings", text);
  for (const std::string_view part : extract_json_object_array_field_raw(text, key, 5)) {
    must(inside(part), "an element lies in its text", text);
  }
  must(extract_json_int64_array_field(text, key, 7).size() <= 7, "at most 7 numbers", text);
  for (std::size_t pos = 0; pos <= text.size(); pos += 1 + text.size() / 16) {
    extract_json_object_raw_at(text, pos);
    extract_json_string_from_pos(text, pos, out);
    parse_hex4(text, pos, hex);
    parse_int_at(text, pos, number);
  }
}

}  // namespace

void fuzz_text(std::string_view input) {
  compare_kernels(input, 0);
  compare_kernels(input, input.size() / 3);
  // A walk begins at its brace.
  const bool walks = !input.empty() && input.front() == '{';
  const std::vector<Member> members = walks ? members_of(input) : std::vector<Member>();
  compare_walk(input, members);
  compare_scanners(input, members);
  // A key of the text, so that the scanners find one now and then.
  const std::size_t quote = std::min(input.find('"', input.size() / 4), input.size());
  const std::size_t begin = std::min(quote + 1, input.size());
  scan(input, input.substr(begin, input.find('"', begin) - begin));
  scan(input, "id");
}
