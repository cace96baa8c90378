#include "console/json.h"

#include <charconv>

#include "console/text.h"

namespace {

struct Reader {
  std::string_view text;
  std::size_t at = 0;

  char peek() const { return at < text.size() ? text[at] : '\0'; }
  bool take(char c) {
    if (peek() != c) return false;
    ++at;
    return true;
  }
  void blanks() {
    while (peek() == ' ' || peek() == '\t' || peek() == '\r') ++at;
  }
};

bool read_hex(Reader& in, std::uint32_t& value) {
  if (in.text.size() - in.at < 4) return false;
  const char* begin = in.text.data() + in.at;
  in.at += 4;
  return std::from_chars(begin, begin + 4, value, 16).ptr == begin + 4;
}

bool read_escape(Reader& in, std::string& out) {
  constexpr std::string_view kNames = "\"\\/bfnrt";
  constexpr std::string_view kMeant = "\"\\/\b\f\n\r\t";
  const char c = in.peek();
  ++in.at;
  if (const std::size_t i = kNames.find(c); i != std::string_view::npos) {
    out += kMeant[i];
    return true;
  }
  std::uint32_t code = 0;
  if (c != 'u' || !read_hex(in, code)) return false;
  if (code >= 0xD800 && code < 0xDC00) {
    const std::size_t behind = in.at;
    std::uint32_t low = 0;
    if (in.take('\\') && in.take('u') && read_hex(in, low) && low >= 0xDC00 && low < 0xE000) {
      code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
    } else {
      in.at = behind;
    }
  }
  append_utf8(out, code);
  return true;
}

// Behind the opening quote, up to and with the closing one.
bool read_string(Reader& in, std::string& out) {
  while (in.at < in.text.size()) {
    const char c = in.text[in.at++];
    if (c == '"') return true;
    if (c == '\\') {
      if (!read_escape(in, out)) return false;
    } else {
      out += c;
    }
  }
  return false;
}

// An array, an object, a number or a word: up to the comma or bracket that ends it.
bool skip_value(Reader& in) {
  int depth = 0;
  const std::size_t begin = in.at;
  for (; in.at < in.text.size(); ++in.at) {
    const char c = in.text[in.at];
    if (c == '"') {
      std::string ignored;
      ++in.at;
      if (!read_string(in, ignored)) return false;
      --in.at;
    } else if (c == '[' || c == '{') {
      ++depth;
    } else if (c == ']' || c == '}') {
      if (depth == 0) break;
      --depth;
    } else if (c == ',' && depth == 0) {
      break;
    }
  }
  return depth == 0 && in.at > begin;
}

const Member* find(const Event& event, std::string_view name) {
  for (const Member& member : event.members) {
    if (member.name == name) return &member;
  }
  return nullptr;
}

}  // namespace

bool Event::has(std::string_view name) const { return find(*this, name) != nullptr; }

const std::string& Event::str(std::string_view name) const {
  static const std::string kEmpty;
  const Member* member = find(*this, name);
  return member ? member->value : kEmpty;
}

std::int64_t Event::num(std::string_view name, std::int64_t absent) const {
  const std::string& value = str(name);
  std::int64_t number = absent;
  std::from_chars(value.data(), value.data() + value.size(), number);
  return number;
}

bool Event::on(std::string_view name) const { return str(name) == "true"; }

bool read_object(std::string_view line, Event& event) {
  event.members.clear();
  Reader in{line};
  in.blanks();
  if (!in.take('{')) return false;
  in.blanks();
  if (in.take('}')) return true;
  while (true) {
    Member member;
    in.blanks();
    if (!in.take('"') || !read_string(in, member.name)) return false;
    in.blanks();
    if (!in.take(':')) return false;
    in.blanks();
    const std::size_t begin = in.at;
    if (in.take('"')) {
      if (!read_string(in, member.value)) return false;
    } else {
      if (!skip_value(in)) return false;
      member.value = line.substr(begin, in.at - begin);
    }
    event.members.push_back(std::move(member));
    in.blanks();
    if (in.take(',')) continue;
    const bool closed = in.take('}');
    in.blanks();
    return closed && in.at == line.size();
  }
}

std::vector<std::string_view> array_items(std::string_view array) {
  std::vector<std::string_view> items;
  Reader in{array};
  if (!in.take('[')) return items;
  while (in.at < array.size() && in.peek() != ']') {
    const std::size_t begin = in.at;
    if (!skip_value(in)) break;
    items.push_back(array.substr(begin, in.at - begin));
    in.take(',');
  }
  return items;
}
