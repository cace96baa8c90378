#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

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

// The outermost object's keys as an independent parser reads them.
struct OuterKeys : nlohmann::json_sax<nlohmann::json> {
  int depth = 0;
  std::vector<std::string> keys;

  bool null() override { return true; }
  bool boolean(bool) override { return true; }
  bool number_integer(number_integer_t) override { return true; }
  bool number_unsigned(number_unsigned_t) override { return true; }
  bool number_float(number_float_t, const string_t&) override { return true; }
  bool string(string_t&) override { return true; }
  bool binary(binary_t&) override { return true; }
  bool start_object(std::size_t) override { return ++depth > 0; }
  bool key(string_t& text) override {
    if (depth == 1) keys.push_back(text);
    return true;
  }
  bool end_object() override { return --depth >= 0; }
  bool start_array(std::size_t) override { return ++depth > 0; }
  bool end_array() override { return --depth >= 0; }
  bool parse_error(std::size_t, const std::string&, const nlohmann::json::exception&) override {
    return false;
  }
};

void compare_walk(std::string_view text) {
  if (text.empty() || text.front() != '{') return;
  std::vector<std::string> keys;
  std::vector<std::string_view> values;
  ObjectWalk walk{text};
  for (std::string_view key; next_key(walk, key);) {
    const std::string_view value = take_value(walk);
    if (value.empty()) break;
    keys.push_back(json_unescape(key));
    values.push_back(value);
  }
  OuterKeys parsed;
  if (!nlohmann::json::sax_parse(text.begin(), text.end(), &parsed)) return;
  must(walk.stage == WalkStage::kClosed, "a sound object is walked to its end", text);
  must(keys == parsed.keys, "the walk's keys are the parser's", text);
  for (const std::string_view value : values) {
    must(nlohmann::json::accept(value.begin(), value.end()), "a walked value is sound", value);
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
  compare_walk(input);
  // A key of the text, so that the scanners find one now and then.
  const std::size_t quote = std::min(input.find('"', input.size() / 4), input.size());
  const std::size_t begin = std::min(quote + 1, input.size());
  scan(input, input.substr(begin, input.find('"', begin) - begin));
  scan(input, "id");
}
