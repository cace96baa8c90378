#include "json/object_text.h"

#include "json/scan.h"
#include "json/search.h"
#include "json/walk.h"

ObjectText object_text_at(std::string_view text, std::size_t begin) {
  if (begin >= text.size()) return {};
  const std::string_view object = extract_json_object_raw_at(text, begin);
  return object.empty() ? ObjectText{text.substr(begin), false} : ObjectText{object, true};
}

ObjectText object_text_of(std::string_view value) {
  return value_is_object(value) ? ObjectText{value, true} : ObjectText{};
}

std::int64_t own_int(const ObjectText& object, std::string_view key, std::int64_t absent) {
  if (object.whole) return member_int(object.text, key, absent);
  const std::int64_t value = extract_json_int_field(object.text, key);
  return value == -1 ? absent : value;
}

std::string own_string(const ObjectText& object, std::string_view key) {
  return object.whole ? member_string(object.text, key)
                      : extract_json_string_field(object.text, key);
}

bool own_true(const ObjectText& object, std::string_view key) {
  if (object.whole) return member_true(object.text, key);
  bool value = false;
  return extract_json_bool_field(object.text, key, value) && value;
}

ObjectText own_object(const ObjectText& object, std::string_view key) {
  if (object.whole) return object_text_of(object_member(object.text, key));
  std::string marker;
  marker.reserve(key.size() + 4);
  marker.append("\"").append(key).append("\":{");
  const std::size_t at = find_bytes(object.text, marker);
  if (at == kNotFound) return {};
  return object_text_at(object.text, at + marker.size() - 1);
}

std::string_view own_type(const ObjectText& object) {
  if (object.whole) return object_type(object.text);
  constexpr std::string_view kMarker = "\"@type\":\"";
  const std::size_t at = find_bytes(object.text, kMarker);
  if (at == kNotFound) return {};
  const std::size_t begin = at + kMarker.size();
  const std::size_t end = object.text.find('"', begin);
  return end == std::string_view::npos ? std::string_view()
                                       : object.text.substr(begin, end - begin);
}
