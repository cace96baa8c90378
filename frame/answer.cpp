#include "frame/answer.h"

#include "json/scan.h"
#include "json/search.h"
#include "json/text.h"

std::string take_tag(std::string_view text) {
  // The tag stands at the end of an answer, so it is looked for from there.
  static constexpr std::string_view kKey = "\"@extra\":\"";
  std::string tag;
  const std::size_t key = find_last_bytes(text, kKey);
  if (key != kNotFound) (void)extract_json_string_from_pos(text, key + kKey.size(), tag);
  return tag;
}

std::string_view next_field(std::string_view& fields) {
  std::string_view field;
  std::string_view rest;
  (void)split_once(fields, ':', field, rest);
  fields = rest;
  return field;
}

std::int64_t next_field_i64(std::string_view& fields, std::int64_t absent) {
  std::int64_t value = absent;
  (void)parse_i64(next_field(fields), value);
  return value;
}

std::string make_tag(std::string_view prefix, std::int64_t field) {
  std::string tag(prefix);
  tag += ':';
  append_i64(tag, field);
  return tag;
}

std::string make_tag(std::string_view prefix, std::int64_t first, std::int64_t second) {
  std::string tag = make_tag(prefix, first);
  tag += ':';
  append_i64(tag, second);
  return tag;
}

std::string make_tag(std::string_view prefix, std::int64_t first, std::int64_t second,
                     std::int64_t third) {
  std::string tag = make_tag(prefix, first, second);
  tag += ':';
  append_i64(tag, third);
  return tag;
}
