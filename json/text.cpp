#include "json/text.h"

#include <array>
#include <charconv>
#include <limits>

#include "json/decimal.h"
#include "json/digits.h"
#include "json/hex.h"
#include "json/kernels.h"
#include "json/search.h"
#include "json/words.h"

namespace {

void append_escape(std::string& out, char c) {
  switch (c) {
    case '"': out += "\\\""; return;
    case '\\': out += "\\\\"; return;
    case '\b': out += "\\b"; return;
    case '\t': out += "\\t"; return;
    case '\n': out += "\\n"; return;
    case '\f': out += "\\f"; return;
    case '\r': out += "\\r"; return;
    default: break;
  }
  constexpr char kHex[] = "0123456789abcdef";
  const auto byte = static_cast<unsigned char>(c);
  const char escape[] = {'\\', 'u', '0', '0', kHex[byte >> 4], kHex[byte & 15]};
  out.append(escape, sizeof escape);
}

// At most four bytes; the place behind them.
char* put_utf8(char* out, unsigned code) {
  const auto put = [&out](unsigned byte) { *out++ = static_cast<char>(byte); };
  if (code < 0x80) {
    put(code);
  } else if (code < 0x800) {
    put(0xC0 | code >> 6);
    put(0x80 | (code & 0x3F));
  } else if (code < 0x10000) {
    put(0xE0 | code >> 12);
    put(0x80 | (code >> 6 & 0x3F));
    put(0x80 | (code & 0x3F));
  } else {
    put(0xF0 | code >> 18);
    put(0x80 | (code >> 12 & 0x3F));
    put(0x80 | (code >> 6 & 0x3F));
    put(0x80 | (code & 0x3F));
  }
  return out;
}

// The code point of the escape whose four digits begin at `pos`, which is moved past all that
// belongs to it; -1, and `pos` as it was, when they are no digits. A surrogate without its partner
// stands for itself.
int read_unicode_escape(std::string_view text, std::size_t& pos) {
  if (text.size() - pos < 4) return -1;
  const int code = read_hex4(text.data() + pos);
  if (code < 0) return -1;
  pos += 4;
  if (code < 0xD800 || code > 0xDBFF || text.size() - pos < 6 || text[pos] != '\\' ||
      text[pos + 1] != 'u') {
    return code;
  }
  const int low = read_hex4(text.data() + pos + 2);
  if (low < 0xDC00 || low > 0xDFFF) return code;
  pos += 6;
  return 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
}

// What the letter behind a backslash stands for; any but these stands for itself.
char escaped_letter(char c) {
  switch (c) {
    case 'b': return '\b';
    case 'f': return '\f';
    case 'n': return '\n';
    case 'r': return '\r';
    case 't': return '\t';
    default: return c;
  }
}

// Decodes the escapes from `pos` on and the few bytes between them: in most scripts a sentence is
// one such row. `pos` is moved past what was decoded; a backslash that ends the text is dropped.
void append_escapes(std::string& out, std::string_view text, std::size_t& pos) {
  constexpr unsigned kFewBytes = 16;
  std::array<char, 512> row;  // NOLINT(cppcoreguidelines-pro-type-member-init): written first
  char* end = row.data();
  const char* const full = row.data() + row.size() - 4;
  unsigned harmless = 0;
  while (pos < text.size() && end <= full && harmless < kFewBytes) {
    const char c = text[pos++];
    if (c != '\\') {
      *end++ = c;
      ++harmless;
      continue;
    }
    harmless = 0;
    if (pos == text.size()) break;
    const char letter = text[pos++];
    if (letter != 'u') {
      *end++ = escaped_letter(letter);
      continue;
    }
    const int code = read_unicode_escape(text, pos);
    if (code >= 0) end = put_utf8(end, static_cast<unsigned>(code));
  }
  out.append(row.data(), static_cast<std::size_t>(end - row.data()));
}

// -1: outside the alphabet, -2: padding, -3: whitespace.
int base64_value(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (is_digit(c)) return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  if (c == '=') return -2;
  return is_space(c) ? -3 : -1;
}

// Members come by the dozen in every event, so their fixed parts are put together on the stack and
// appended at once.
constexpr std::size_t kKeyMax = 40;

// ,"key":<open>  with `open` of at most one byte; what it takes, at most kKeyMax + 5.
std::size_t put_key(char* out, std::string_view key, std::string_view open) {
  char* at = out;
  *at++ = ',';
  *at++ = '"';
  at += key.copy(at, key.size());
  *at++ = '"';
  *at++ = ':';
  at += open.copy(at, 1);
  return static_cast<std::size_t>(at - out);
}

void append_key(std::string& out, std::string_view key, std::string_view open) {
  if (key.size() > kKeyMax) {
    out.append(",\"").append(key).append("\":").append(open);
    return;
  }
  char head[kKeyMax + 5];
  out.append(head, put_key(head, key, open));
}

bool needs_escape(char c) { return c == '"' || c == '\\' || static_cast<unsigned char>(c) < 0x20; }

}  // namespace

std::size_t find_escaped_byte_plain(std::string_view text, std::size_t pos) {
  for (; text.size() - pos >= 4; pos += 4) {
    const std::uint32_t word = load_word(text.data() + pos);
    const std::uint32_t hits =
        ascii_hits(word, equals(word, '"') | equals(word, '\\') | is_below(word, 0x20));
    if (hits != 0) return pos + first_byte(hits);
  }
  while (pos < text.size() && !needs_escape(text[pos])) ++pos;
  return pos;
}

std::string json_escape(std::string_view text) {
  std::string out;
  out.reserve(text.size() + 8);
  append_json_escaped(out, text);
  return out;
}

std::string json_unescape(std::string_view text) {
  std::string out;
  std::size_t pos = 0;
  for (;;) {
    // Long harmless runs are found and copied whole.
    const std::size_t slash = text.find('\\', pos);
    const std::size_t end = slash == std::string_view::npos ? text.size() : slash;
    out.append(text.substr(pos, end - pos));
    if (end == text.size()) return out;
    pos = end;
    append_escapes(out, text, pos);
  }
}

bool base64_decode(std::string_view text, std::string& out) {
  out.clear();
  out.reserve(text.size() / 4 * 3 + 3);
  unsigned bits = 0;
  unsigned pending = 0;
  for (const char c : text) {
    const int value = base64_value(c);
    if (value == -3) continue;
    if (value == -2) return true;
    if (value == -1) return false;
    bits = (bits << 6 | static_cast<unsigned>(value)) & 0xFFFF;
    pending += 6;
    if (pending >= 8) {
      pending -= 8;
      out += static_cast<char>(bits >> pending & 0xFF);
    }
  }
  return true;
}

bool parse_i64(std::string_view text, std::int64_t& out) {
  text = trim(text);
  // strtoll's rules: two more blanks may lead, then one sign.
  while (!text.empty() && (text.front() == ' ' || (text.front() >= '\t' && text.front() <= '\r'))) {
    text.remove_prefix(1);
  }
  if (!text.empty() && text.front() == '+') {
    text.remove_prefix(1);
    if (text.empty() || !is_digit(text.front())) return false;
  }
  std::int64_t value = 0;
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, value);
  if (result.ec != std::errc() || result.ptr != end) return false;
  out = value;
  return true;
}

std::string_view trim(std::string_view text) {
  while (!text.empty() && is_space(text.front())) text.remove_prefix(1);
  while (!text.empty() && is_space(text.back())) text.remove_suffix(1);
  return text;
}

bool split_once(std::string_view text, char separator, std::string_view& left,
                std::string_view& right) {
  const std::size_t at = text.find(separator);
  left = text.substr(0, at);
  right = at == std::string_view::npos ? std::string_view() : text.substr(at + 1);
  return at != std::string_view::npos;
}

std::string to_lower_ascii(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
  }
  return text;
}

bool ends_with(std::string_view text, std::string_view suffix) {
  return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

bool is_hex_string_even(std::string_view text) {
  if (text.empty() || text.size() % 2 != 0) return false;
  for (const char c : text) {
    if (!(is_digit(c) || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f'))) return false;
  }
  return true;
}

std::string normalize_phone_number(std::string_view text) {
  std::string out;
  for (const char c : trim(text)) {
    if (is_digit(c) || (c == '+' && out.empty())) out += c;
  }
  return out;
}

std::string make_json_string_array(const std::vector<std::string>& values) {
  std::string out;
  out.reserve(10 * values.size() + 8);
  out += '[';
  for (const std::string& value : values) {
    if (out.size() > 1) out += ',';
    out += '"';
    append_json_escaped(out, value);
    out += '"';
  }
  out += ']';
  return out;
}

// Bytes of the character that begins at `pos`; 0 when none does.
static std::size_t utf8_character(std::string_view text, std::size_t pos) {
  const auto byte = [&](std::size_t i) -> unsigned {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : 0;
  };
  const unsigned lead = byte(pos);
  if (lead < 0x80) return 1;
  if (lead < 0xC2 || lead > 0xF4) return 0;
  const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  // The second byte rules out overlong forms, surrogates and what is above U+10FFFF.
  const unsigned least = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  const unsigned most = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  if (byte(pos + 1) < least || byte(pos + 1) > most) return 0;
  for (std::size_t i = 2; i < length; ++i) {
    if ((byte(pos + i) & 0xC0) != 0x80) return 0;
  }
  return length;
}

// Offset of the first byte that belongs to no character, or the size.
static std::size_t valid_utf8_end(std::string_view text) {
  std::size_t pos = 0;
  while (pos < text.size()) {
    const std::size_t length = utf8_character(text, pos);
    if (length == 0) return pos;
    pos += length;
  }
  return pos;
}

bool is_utf8(std::string_view text) { return valid_utf8_end(text) == text.size(); }

std::string with_valid_utf8(std::string_view text) {
  std::string out;
  while (!text.empty()) {
    const std::size_t end = valid_utf8_end(text);
    out += text.substr(0, end);
    text.remove_prefix(end);
    if (text.empty()) break;
    out += "\xEF\xBF\xBD";
    text.remove_prefix(1);
  }
  return out;
}

std::string json_add_extra(std::string request, std::string_view tag) {
  if (request.empty() || request.back() != '}') return request;
  request.pop_back();
  append_string_member(request, "@extra", tag);
  request += '}';
  return request;
}

// The tag stands at the end of an answer, so the search begins there.
bool json_has_extra(std::string_view text, std::string_view tag) {
  constexpr std::string_view kMarker = "\"@extra\":\"";
  for (std::size_t at = find_last_bytes(text, kMarker); at != kNotFound;
       at = find_last_bytes(text.substr(0, at + kMarker.size() - 1), kMarker)) {
    const std::string_view rest = text.substr(at + kMarker.size());
    if (rest.size() > tag.size() && rest[tag.size()] == '"' &&
        rest.compare(0, tag.size(), tag) == 0) {
      return true;
    }
  }
  return false;
}

void append_i64(std::string& out, std::int64_t value) {
  char digits[kDecimalMax];
  char* const end = digits + sizeof digits;
  const char* const begin = put_decimal(end, value);
  out.append(begin, static_cast<std::size_t>(end - begin));
}

void append_json_escaped(std::string& out, std::string_view text) {
  std::size_t run = 0;
  for (;;) {
    const std::size_t at = find_escaped_byte(text, run);
    out.append(text.substr(run, at - run));
    if (at == text.size()) return;
    append_escape(out, text[at]);
    run = at + 1;
  }
}

void append_int_member(std::string& out, std::string_view key, std::int64_t value) {
  if (key.size() > kKeyMax) {
    append_key(out, key, "");
    append_i64(out, value);
    return;
  }
  char member[kKeyMax + 4 + kDecimalMax];
  char* const end = member + sizeof member;
  char* const begin = put_decimal(end, value) - (key.size() + 4);
  put_key(begin, key, "");
  out.append(begin, static_cast<std::size_t>(end - begin));
}

void append_string_member(std::string& out, std::string_view key, std::string_view value) {
  append_key(out, key, "\"");
  append_json_escaped(out, value);
  out += '"';
}

void append_bool_member(std::string& out, std::string_view key, bool value) {
  append_key(out, key, "");
  out += value ? "true" : "false";
}
