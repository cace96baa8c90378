#include "json/walk.h"

#include "json/scan.h"
#include "json/search.h"
#include "json/text.h"

namespace {

bool is_space(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

std::size_t skip_spaces(std::string_view text, std::size_t pos) {
  while (pos < text.size() && is_space(text[pos])) ++pos;
  return pos;
}

std::size_t skip_string(std::string_view text, std::size_t pos) {
  for (++pos; pos < text.size(); ++pos) {
    if (text[pos] == '"') return pos + 1;
    if (text[pos] == '\\') ++pos;
  }
  return kNotFound;
}

std::size_t skip_container(std::string_view text, std::size_t pos) {
  std::size_t depth = 0;
  while (pos < text.size()) {
    switch (text[pos]) {
      case '"':
        pos = skip_string(text, pos);
        if (pos == kNotFound) return kNotFound;
        continue;
      case '{':
      case '[': ++depth; break;
      case '}':
      case ']':
        if (--depth == 0) return pos + 1;
        break;
      default: break;
    }
    ++pos;
  }
  return kNotFound;
}

// A number or literal: up to what may stand behind one. At the end of the text nobody can tell
// whether it is whole.
std::size_t skip_scalar(std::string_view text, std::size_t pos) {
  const std::size_t begin = pos;
  while (pos < text.size() && !is_space(text[pos]) && text[pos] != ',' && text[pos] != '}' &&
         text[pos] != ']') {
    ++pos;
  }
  return pos == begin || pos == text.size() ? kNotFound : pos;
}

// Offset of the next item behind the separator at `pos`, or kNotFound at the closing byte, at
// the end of the text and at anything else.
std::size_t next_item(std::string_view text, std::size_t pos, char open) {
  if (pos == 0) {
    if (text.empty() || text[0] != open) return kNotFound;
    pos = 1;
  } else {
    pos = skip_spaces(text, pos);
    if (pos >= text.size() || text[pos] != ',') return kNotFound;
    ++pos;
  }
  pos = skip_spaces(text, pos);
  return pos < text.size() ? pos : kNotFound;
}

}  // namespace

std::size_t skip_value(std::string_view text, std::size_t pos) {
  if (pos >= text.size()) return kNotFound;
  if (text[pos] == '"') return skip_string(text, pos);
  if (text[pos] == '{' || text[pos] == '[') return skip_container(text, pos);
  return skip_scalar(text, pos);
}

bool next_member(ObjectWalk& walk, JsonMember& member) {
  const std::string_view text = walk.text;
  const std::size_t key = next_item(text, walk.pos, '{');
  walk.pos = text.size();
  if (key == kNotFound || text[key] != '"') return false;
  const std::size_t key_end = skip_string(text, key);
  if (key_end == kNotFound) return false;
  const std::size_t colon = skip_spaces(text, key_end);
  if (colon >= text.size() || text[colon] != ':') return false;
  const std::size_t value = skip_spaces(text, colon + 1);
  const std::size_t end = skip_value(text, value);
  if (end == kNotFound) return false;
  member.key = text.substr(key + 1, key_end - key - 2);
  member.value = text.substr(value, end - value);
  walk.pos = end;
  return true;
}

bool next_element(ArrayWalk& walk, std::string_view& element) {
  const std::string_view text = walk.text;
  const std::size_t begin = next_item(text, walk.pos, '[');
  const std::size_t end = begin == kNotFound ? kNotFound : skip_value(text, begin);
  walk.pos = end == kNotFound ? text.size() : end;
  if (end == kNotFound) return false;
  element = text.substr(begin, end - begin);
  return true;
}

std::string_view object_member(std::string_view object, std::string_view key) {
  ObjectWalk walk{object};
  for (JsonMember member; next_member(walk, member);) {
    if (member.key == key) return member.value;
  }
  return {};
}

std::string value_string(std::string_view value) {
  if (value.size() < 2 || value.front() != '"') return {};
  return json_unescape(value.substr(1, value.size() - 2));
}

std::int64_t value_int(std::string_view value, std::int64_t absent) {
  const bool negative = !value.empty() && value.front() == '-';
  if (negative) value.remove_prefix(1);
  if (value.empty() || value.front() < '0' || value.front() > '9') return absent;
  std::uint64_t magnitude = 0;
  for (const char c : value) {
    if (c < '0' || c > '9') break;
    magnitude = magnitude * 10 + static_cast<std::uint64_t>(c - '0');
  }
  return static_cast<std::int64_t>(negative ? 0 - magnitude : magnitude);
}

std::int64_t value_int64(std::string_view value, std::int64_t absent) {
  if (value.size() >= 2 && value.front() == '"') value = value.substr(1, value.size() - 2);
  return value_int(value, absent);
}

bool value_true(std::string_view value) { return value == "true"; }
bool value_is_object(std::string_view value) { return !value.empty() && value.front() == '{'; }

std::string_view object_type(std::string_view object) {
  const std::string_view type = object_member(object, "@type");
  return type.size() >= 2 && type.front() == '"' ? type.substr(1, type.size() - 2)
                                                 : std::string_view();
}

std::string member_string(std::string_view object, std::string_view key) {
  return value_string(object_member(object, key));
}

std::int64_t member_int(std::string_view object, std::string_view key, std::int64_t absent) {
  return value_int(object_member(object, key), absent);
}

std::int64_t member_int64(std::string_view object, std::string_view key, std::int64_t absent) {
  return value_int64(object_member(object, key), absent);
}

bool member_true(std::string_view object, std::string_view key) {
  return value_true(object_member(object, key));
}

std::string_view member_object(std::string_view object, std::string_view key) {
  const std::string_view value = object_member(object, key);
  return value_is_object(value) ? value : std::string_view();
}

std::string_view member_array(std::string_view object, std::string_view key) {
  const std::string_view value = object_member(object, key);
  return !value.empty() && value.front() == '[' ? value : std::string_view();
}
