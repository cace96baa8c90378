#include "console/event.h"

#include <algorithm>
#include <charconv>

#include "console/text.h"

namespace {

// These take what they read off the begin of `in`.

bool take(std::string_view& in, char c) {
  in.remove_prefix(std::min(in.find_first_not_of(" \t\r"), in.size()));
  if (in.empty() || in[0] != c) return false;
  in.remove_prefix(1);
  return true;
}

// The four digits behind "\u".
bool take_hex(std::string_view& in, std::uint32_t& code) {
  if (in.size() < 4 || std::from_chars(in.data(), in.data() + 4, code, 16).ptr != in.data() + 4) {
    return false;
  }
  in.remove_prefix(4);
  return true;
}

// Behind a backslash.
bool take_escape(std::string_view& in, std::string& out) {
  constexpr std::string_view kNames = "\"\\/bfnrt";
  constexpr std::string_view kMeant = "\"\\/\b\f\n\r\t";
  if (in.empty()) return false;
  const char name = in[0];
  in.remove_prefix(1);
  if (const std::size_t i = kNames.find(name); i != std::string_view::npos) {
    out += kMeant[i];
    return true;
  }
  std::uint32_t code = 0;
  if (name != 'u' || !take_hex(in, code)) return false;
  std::string_view behind = in;
  std::uint32_t low = 0;
  if (code >= 0xD800 && code < 0xDC00 && take(behind, '\\') && take(behind, 'u') &&
      take_hex(behind, low) && low >= 0xDC00 && low < 0xE000) {
    code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
    in = behind;
  }
  const auto c = static_cast<wchar_t>(code);
  out += narrow({&c, 1});
  return true;
}

// Behind the opening quote, with the closing one.
bool take_string(std::string_view& in, std::string& out) {
  while (!in.empty()) {
    const char c = in[0];
    in.remove_prefix(1);
    if (c == '"') return true;
    if (c != '\\') {
      out += c;
    } else if (!take_escape(in, out)) {
      return false;
    }
  }
  return false;
}

// An array, an object, a number, a word or a string, as it stands there, up to the comma or
// bracket behind it.
bool take_raw(std::string_view& in, std::string_view& out) {
  int depth = 0;
  bool quoted = false;
  std::size_t i = 0;
  for (; i < in.size(); ++i) {
    const char c = in[i];
    if (quoted) {
      if (c == '\\') ++i;
      quoted = c != '"';
    } else if (depth == 0 && (c == ',' || c == ']' || c == '}')) {
      break;
    } else {
      quoted = c == '"';
      depth += c == '[' || c == '{' ? 1 : c == ']' || c == '}' ? -1 : 0;
    }
  }
  if (quoted || depth > 0 || i == 0) return false;
  out = in.substr(0, i);
  in.remove_prefix(i);
  return true;
}

bool take_member(std::string_view& in, Event& event) {
  std::string name;
  std::string value;
  std::string_view raw;
  if (!take(in, '"') || !take_string(in, name) || !take(in, ':')) return false;
  if (take(in, '"')) {
    if (!take_string(in, value)) return false;
    value = clean(value);
  } else {
    if (!take_raw(in, raw)) return false;
    value = raw;
  }
  // Of two members of one name the last counts.
  event.members[std::move(name)] = std::move(value);
  return true;
}

}  // namespace

const std::string& Event::str(std::string_view name) const {
  static const std::string kEmpty;
  const auto it = members.find(name);
  return it == members.end() ? kEmpty : it->second;
}

std::int64_t Event::num(std::string_view name, std::int64_t absent) const {
  const std::string& value = str(name);
  std::int64_t number = absent;
  std::from_chars(value.data(), value.data() + value.size(), number);
  return number;
}

bool Event::says(std::string_view name) const {
  const std::string& value = str(name);
  return !value.empty() && value != "0" && value != "false";
}

bool read_object(std::string_view line, Event& event) {
  event.members.clear();
  if (!take(line, '{')) return false;
  if (!take(line, '}')) {
    do {
      if (!take_member(line, event)) return false;
    } while (take(line, ','));
    if (!take(line, '}')) return false;
  }
  return line.find_first_not_of(" \t\r") == std::string_view::npos;
}

std::vector<std::string_view> array_items(std::string_view array) {
  std::vector<std::string_view> items;
  std::string_view item;
  if (!take(array, '[')) return items;
  while (take_raw(array, item)) {
    items.push_back(item);
    if (!take(array, ',')) break;
  }
  return items;
}
