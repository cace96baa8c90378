#include "console/text.h"

#include <algorithm>
#include <array>
#include <climits>
#include <ctime>
#include <cwchar>

namespace {

constexpr std::size_t kLongest = 16384;  // bytes of a text that are shown; no message has more
constexpr wchar_t kReplacement = 0xFFFD;
// These turn the writing direction, or join characters to one that terminals take for wider or
// narrower than its parts.
constexpr std::wstring_view kLeftOut =
    L"\u061C\u200D\u200E\u200F\u202A\u202B\u202C\u202D\u202E\u2066\u2067\u2068\u2069\uFE0F";

bool can_be_shown(wchar_t c) { return c < L' ' || wcwidth(c) >= 0; }
int width_of(wchar_t c) { return can_be_shown(c) ? std::max(wcwidth(c), 0) : 1; }

}  // namespace

std::string clean(std::string_view text) {
  std::string out(text.substr(0, kLongest));
  std::replace(out.begin(), out.end(), '\t', ' ');
  const auto steers = [](char c) { return (c >= 0 && c < ' ' && c != '\n') || c == 127; };
  out.erase(std::remove_if(out.begin(), out.end(), steers), out.end());
  return text.size() > kLongest ? out + "…" : out;
}

std::string visible(std::string_view text) {
  std::string out;
  while (!text.empty()) {
    const wchar_t c = take_char(text);
    if (kLeftOut.find(c) == std::wstring_view::npos)
      out += utf8(can_be_shown(c) ? c : kReplacement);
  }
  return out;
}

std::string utf8(wchar_t c) {
  std::array<char, MB_LEN_MAX> bytes{};
  std::mbstate_t state{};
  const std::size_t size = std::wcrtomb(bytes.data(), c, &state);
  return size <= bytes.size() ? std::string(bytes.data(), size) : "\uFFFD";
}

wchar_t take_char(std::string_view& text) {
  std::mbstate_t state{};
  wchar_t c = 0;
  const std::size_t used = std::mbrtowc(&c, text.data(), text.size(), &state);
  const bool valid = used <= text.size();
  text.remove_prefix(valid && used > 0 ? used : 1);
  return valid ? c : kReplacement;
}

int columns(std::string_view text) {
  int width = 0;
  while (!text.empty()) width += width_of(take_char(text));
  return width;
}

std::size_t fitting(std::string_view text, int width) {
  std::string_view rest = text;
  for (std::string_view behind = rest; !behind.empty(); rest = behind) {
    width -= width_of(take_char(behind));
    if (width < 0) break;
  }
  return text.size() - rest.size();
}

std::string clip(std::string_view text, int width) {
  if (width <= 0) return {};
  if (fitting(text, width) == text.size()) return std::string(text);
  return std::string(text.substr(0, fitting(text, width - 1))) + "…";
}

std::vector<std::string> wrap(std::string_view text, int width, int indent) {
  std::vector<std::string> lines;
  std::string before;  // the indent, and the colours that hold where the line begins
  do {
    const std::string_view line = text.substr(0, text.find('\n'));
    std::size_t end = fitting(line, width - (lines.empty() ? 0 : indent));
    if (end < line.size()) {
      // A long word is rather broken than put on a line of its own behind half an empty one.
      const std::size_t blank = line.rfind(' ', end);
      if (blank != std::string_view::npos && blank > end / 2) end = blank;
      std::string_view rest = line;
      take_char(rest);
      end = std::max(end, line.size() - rest.size());
    }
    lines.push_back(before + std::string(line.substr(0, end)));
    if (lines.size() == 1) before.assign(static_cast<std::size_t>(indent), ' ');
    for (const char c : line.substr(0, end)) {
      if (c == kPlain[0]) before.resize(static_cast<std::size_t>(indent));
      if (is_colour(c) && c != kPlain[0]) before += c;
    }
    const bool blank = end < text.size() && (text[end] == '\n' || text[end] == ' ');
    text.remove_prefix(end + (blank ? 1 : 0));
  } while (!text.empty());
  return lines;
}

std::string ends(std::string_view left, const std::string& right, int width) {
  const int room = std::max(width - columns(right), 0);
  const std::string text = clip(left, room - 1);
  return text + std::string(static_cast<std::size_t>(room - columns(text)), ' ') + right;
}

std::string base64(std::string_view bytes) {
  constexpr std::string_view kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    std::uint32_t group = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      group = group << 8 | (i + k < bytes.size() ? static_cast<unsigned char>(bytes[i + k]) : 0U);
    }
    for (std::size_t k = 0; k < 4; ++k) {
      out += i + k > bytes.size() ? '=' : kDigits[group >> (18 - 6 * k) & 63];
    }
  }
  return out;
}

std::string take_word(std::string_view& text) {
  std::string word;
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  while (!text.empty() && text[0] != ' ') {
    if (text.substr(0, 2) == "\\ ") text.remove_prefix(1);
    word += text[0];
    text.remove_prefix(1);
  }
  if (!text.empty()) text.remove_prefix(1);
  return word;
}

std::string clock_text(std::int64_t unix_seconds, const char* format) {
  const auto time = static_cast<std::time_t>(unix_seconds);
  std::tm parts{};
  localtime_r(&time, &parts);
  std::array<char, 64> out{};
  return {out.data(), std::strftime(out.data(), out.size(), format, &parts)};
}

std::string size_text(std::int64_t bytes) {
  if (bytes >= 1000000) return std::to_string(bytes / 1000000) + " MB";
  return bytes >= 1000 ? std::to_string(bytes / 1000) + " KB" : std::to_string(bytes) + " B";
}
