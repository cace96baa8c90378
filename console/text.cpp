#include "console/text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <cwchar>

namespace {

constexpr std::size_t kLongest = 16384;  // bytes of a text that are shown; no message has more
constexpr wchar_t kReplacement = 0xFFFD;
constexpr std::wstring_view kTurnsDirection =
    L"\u061C\u200E\u200F\u202A\u202B\u202C\u202D\u202E\u2066\u2067\u2068\u2069";

int columns(wchar_t c) { return std::max(wcwidth(c), 0); }

}  // namespace

std::string clean(std::string_view text) {
  std::string out;
  const bool cut = text.size() > kLongest;
  for (const char c : text.substr(0, kLongest)) {
    const bool control = (c >= 0 && c < ' ') || c == 127;
    if (!control || c == '\n') out += c;
    if (c == '\t') out += ' ';
  }
  return cut ? out + "…" : out;
}

std::wstring widen(std::string_view utf8) {
  std::wstring out;
  out.reserve(utf8.size());
  while (!utf8.empty()) {
    std::mbstate_t state{};
    wchar_t c = 0;
    std::size_t used = std::mbrtowc(&c, utf8.data(), utf8.size(), &state);
    if (used > utf8.size()) c = kReplacement;  // no character, or a part of one
    if (used > utf8.size() || used == 0) used = 1;
    utf8.remove_prefix(used);
    if (kTurnsDirection.find(c) != std::wstring_view::npos) continue;
    out += c == L'\n' || is_colour(c) || wcwidth(c) >= 0 ? c : kReplacement;
  }
  return out;
}

std::string narrow(std::wstring_view wide) {
  std::string out;
  std::array<char, 16> bytes{};
  for (const wchar_t c : wide) {
    std::mbstate_t state{};
    std::size_t size = std::wcrtomb(bytes.data(), c, &state);
    if (size > bytes.size()) size = std::wcrtomb(bytes.data(), kReplacement, &(state = {}));
    if (size <= bytes.size()) out.append(bytes.data(), size);
  }
  return out;
}

int columns(std::wstring_view text) {
  int width = 0;
  for (const wchar_t c : text) width += columns(c);
  return width;
}

std::wstring clip(std::wstring_view text, int width) {
  if (width <= 0) return {};
  if (columns(text) <= width) return std::wstring(text);
  std::size_t end = 0;
  for (int used = 1; (used += columns(text[end])) <= width;) ++end;
  return std::wstring(text.substr(0, end)) + L'…';
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
  constexpr std::array<const char*, 4> kUnits = {"B", "KB", "MB", "GB"};
  auto amount = static_cast<double>(bytes);
  std::size_t unit = 0;
  for (; amount >= 1000 && unit + 1 < kUnits.size(); ++unit) amount /= 1000;
  std::array<char, 32> out{};
  std::snprintf(out.data(), out.size(), unit == 0 || amount >= 10 ? "%.0f %s" : "%.1f %s", amount,
                kUnits[unit]);
  return out.data();
}
