#include <cerrno>
#include <cstdint>
#include <string>

#include "fuzz/strict_json.h"
#include "fuzz/targets.h"
#include "json/text.h"

namespace {

void compare_number(std::string_view input) {
  const std::string text(trim(input));
  if (text.find('\0') != std::string::npos) return;
  errno = 0;
  char* end = nullptr;
  const long long wanted = std::strtoll(text.c_str(), &end, 10);
  const bool good = errno == 0 && !text.empty() && end == text.c_str() + text.size();
  std::int64_t value = 0;
  must(parse_i64(input, value) == good, "the same texts are numbers", input);
  if (!good) return;
  must(value == wanted, "the same number", input);
  std::string back;
  append_i64(back, value);
  std::int64_t again = 0;
  must(parse_i64(back, again) && again == value, "a number comes back", back);
}

void compare_escapes(std::string_view input) {
  const std::string escaped = json_escape(input);
  must(json_unescape(escaped) == input, "an escaped text comes back", input);
  must(is_json('"' + escaped + '"'), "an escaped text is a JSON string", input);
  json_unescape(input);
  const std::string request = json_add_extra(R"({"@type":"x"})", input);
  if (escaped == input) must(json_has_extra(request, input), "a tag is found again", input);
  json_has_extra(input, input.substr(input.size() / 2));
}

}  // namespace

void fuzz_numbers(std::string_view input) {
  compare_number(input);
  compare_escapes(input);
  std::string bytes;
  if (base64_decode(input, bytes)) must(bytes.size() <= input.size(), "base64 shrinks", input);
  normalize_phone_number(input);
  is_hex_string_even(input);
}
