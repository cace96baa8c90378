#include "json/scan.h"

#include <cstring>
#include <limits>

#include "json/digits.h"
#include "json/hex.h"
#include "json/search.h"
#include "json/skip.h"
#include "json/text.h"

namespace {

constexpr std::size_t kStringArrayLimit = 16;

// Offset just past the first "key": in the text, or just past "key":[ when `tail` is ":[".
// A key that fits is put between its quotes on the stack; a longer one is compared in place.
std::size_t find_past_key(std::string_view text, std::string_view key, std::string_view tail) {
  if (key.empty()) return kNotFound;
  char pattern[96];
  const std::size_t length = 2 + key.size() + tail.size();
  if (length <= sizeof pattern) {
    pattern[0] = '"';
    std::memcpy(pattern + 1, key.data(), key.size());
    pattern[key.size() + 1] = '"';
    std::memcpy(pattern + key.size() + 2, tail.data(), tail.size());
    const std::size_t at = find_bytes(text, std::string_view(pattern, length));
    return at == kNotFound ? kNotFound : at + length;
  }
  for (std::size_t at = find_bytes(text, key, 1); at != kNotFound;
       at = find_bytes(text, key, at + 1)) {
    const std::size_t end = at + key.size();
    if (text[at - 1] == '"' && end < text.size() && text[end] == '"' &&
        text.substr(end + 1, tail.size()) == tail) {
      return end + 1 + tail.size();
    }
  }
  return kNotFound;
}

// Offset of the first byte of the key's value, or kNotFound when the key or the value is missing.
std::size_t find_value(std::string_view text, std::string_view key) {
  std::size_t pos = find_past_key(text, key, ":");
  if (pos == kNotFound) return kNotFound;
  pos = skip_spaces(text, pos);
  return pos < text.size() ? pos : kNotFound;
}

// What strtoll in base 10 does, within the bounds of the text. False on no digits or on a
// number out of range.
bool read_number_like_strtoll(std::string_view text, std::size_t& pos, std::int64_t& out) {
  std::size_t at = pos;
  while (at < text.size() && (text[at] == ' ' || (text[at] >= '\t' && text[at] <= '\r'))) ++at;
  bool negative = false;
  if (at < text.size() && (text[at] == '-' || text[at] == '+')) {
    negative = text[at] == '-';
    ++at;
  }
  const std::size_t digits = at;
  // 18 digits fit whatever they are.
  std::uint64_t value = 0;
  at = read_digits(text.substr(0, text.size() - at < 18 ? text.size() : at + 18), at, value);
  const std::uint64_t limit =
      static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()) + (negative ? 1U : 0U);
  for (; at < text.size() && is_digit(text[at]); ++at) {
    const auto digit = static_cast<std::uint64_t>(text[at] - '0');
    if (value > (limit - digit) / 10) return false;
    value = value * 10 + digit;
  }
  if (at == digits) return false;
  pos = at;
  out = with_sign(value, negative);
  return true;
}

std::size_t skip_spaces_and_commas(std::string_view text, std::size_t pos) {
  while (pos < text.size() && (is_space(text[pos]) || text[pos] == ',')) ++pos;
  return pos;
}

}  // namespace

bool json_contains(std::string_view text, std::string_view needle) {
  return find_bytes(text, needle) != kNotFound;
}

bool json_starts_with(std::string_view text, std::string_view prefix) {
  return text.substr(0, prefix.size()) == prefix;
}

std::string extract_json_string_field(std::string_view text, std::string_view key) {
  std::string value;
  const std::size_t pos = find_value(text, key);
  if (pos != kNotFound && text[pos] == '"') extract_json_string_from_pos(text, pos + 1, value);
  return value;
}

std::int64_t extract_json_int_field(std::string_view text, std::string_view key) {
  std::size_t pos = find_value(text, key);
  if (pos == kNotFound) return -1;
  const bool negative = text[pos] == '-';
  if (negative) ++pos;
  std::uint64_t value = 0;
  return read_digits(text, pos, value) != pos ? with_sign(value, negative) : -1;
}

std::int64_t extract_json_int64_field_loose(std::string_view text, std::string_view key) {
  std::size_t pos = find_value(text, key);
  if (pos == kNotFound) return -1;
  const bool quoted = text[pos] == '"';
  if (quoted) ++pos;
  const bool negative = pos < text.size() && text[pos] == '-';
  if (negative) ++pos;
  std::uint64_t value = 0;
  const std::size_t end = read_digits(text, pos, value);
  if (end == pos) return -1;
  if (quoted) {
    pos = skip_spaces(text, end);
    if (pos >= text.size() || text[pos] != '"') return -1;
  }
  return with_sign(value, negative);
}

bool extract_json_bool_field(std::string_view text, std::string_view key, bool& out) {
  const std::size_t pos = find_value(text, key);
  if (pos == kNotFound) return false;
  const std::string_view value = text.substr(pos);
  if (json_starts_with(value, "true")) {
    out = true;
    return true;
  }
  if (json_starts_with(value, "false")) {
    out = false;
    return true;
  }
  return false;
}

std::string_view extract_json_object_field_raw(std::string_view text, std::string_view key) {
  const std::size_t pos = find_value(text, key);
  return pos == kNotFound ? std::string_view() : extract_json_object_raw_at(text, pos);
}

std::string_view extract_json_object_raw_at(std::string_view text, std::size_t pos) {
  if (pos >= text.size() || text[pos] != '{') return {};
  const std::size_t end = skip_to_close(text, pos + 1, 1, Nesting::kBraces);
  return end == kNotFound ? std::string_view() : text.substr(pos, end - pos);
}

bool extract_json_string_from_pos(std::string_view text, std::size_t pos, std::string& out) {
  const std::size_t end = find_string_end(text, pos);
  if (end == kNotFound) return false;
  out = json_unescape(text.substr(pos, end - pos));
  return true;
}

std::vector<std::string> extract_json_string_array_field(std::string_view text,
                                                         std::string_view key) {
  std::vector<std::string> values;
  std::size_t pos = find_past_key(text, key, ":[");
  if (pos == kNotFound) return values;
  while (values.size() < kStringArrayLimit) {
    pos = skip_spaces_and_commas(text, pos);
    if (pos >= text.size() || text[pos] != '"') break;
    const std::size_t end = find_string_end(text, pos + 1);
    if (end == kNotFound) break;
    values.push_back(json_unescape(text.substr(pos + 1, end - pos - 1)));
    pos = end + 1;
  }
  return values;
}

std::vector<std::string_view> extract_json_object_array_field_raw(std::string_view text,
                                                                  std::string_view key,
                                                                  unsigned max_items) {
  std::vector<std::string_view> objects;
  std::size_t pos = find_past_key(text, key, ":[");
  if (pos == kNotFound) return objects;
  while (objects.size() < max_items) {
    pos = skip_spaces_and_commas(text, pos);
    const std::string_view object = extract_json_object_raw_at(text, pos);
    if (object.empty()) break;
    objects.push_back(object);
    pos += object.size();
  }
  return objects;
}

std::vector<std::int64_t> extract_json_int64_array_field(std::string_view text,
                                                         std::string_view key, unsigned max_items) {
  std::vector<std::int64_t> numbers;
  std::size_t pos = find_past_key(text, key, ":[");
  if (pos == kNotFound) return numbers;
  while (numbers.size() < max_items) {
    pos = skip_spaces_and_commas(text, pos);
    std::int64_t number = 0;
    if (!read_number_like_strtoll(text, pos, number)) break;
    numbers.push_back(number);
  }
  return numbers;
}

bool parse_hex4(std::string_view text, std::size_t pos, unsigned& out) {
  if (pos > text.size() || text.size() - pos < 4) return false;
  const int value = read_hex4(text.data() + pos);
  if (value >= 0) out = static_cast<unsigned>(value);
  return value >= 0;
}

bool parse_int_at(std::string_view text, std::size_t pos, std::int64_t& out) {
  if (pos >= text.size() || !(text[pos] == '-' || is_digit(text[pos]))) return false;
  return read_number_like_strtoll(text, pos, out);
}
