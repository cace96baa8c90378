#include "console/text.h"

#include <wchar.h>

#include <array>
#include <cstdio>
#include <ctime>

namespace {

constexpr std::uint32_t kReplacement = 0xFFFD;

// Reads one character at `at` and moves behind it.
std::uint32_t next_code(std::string_view text, std::size_t& at) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const std::uint32_t first = byte(at++);
  if (first < 0x80) return first;
  const int more = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : 1;
  if (first < 0xC2 || first > 0xF4) return kReplacement;
  std::uint32_t code = first & (0x3FU >> more);
  for (int i = 0; i < more; ++i) {
    if (at == text.size() || (byte(at) & 0xC0U) != 0x80) return kReplacement;
    code = (code << 6) | (byte(at++) & 0x3FU);
  }
  constexpr std::array<std::uint32_t, 4> kLeast = {0, 0x80, 0x800, 0x10000};
  const bool bad = code < kLeast[static_cast<std::size_t>(more)] || code > 0x10FFFF ||
                   (code >= 0xD800 && code < 0xE000);
  return bad ? kReplacement : code;
}

bool turns_direction(std::uint32_t code) {
  return code == 0x200E || code == 0x200F || (code >= 0x202A && code <= 0x202E) ||
         (code >= 0x2066 && code <= 0x2069);
}

}  // namespace

void append_utf8(std::string& out, std::uint32_t code) {
  if (code > 0x10FFFF || (code >= 0xD800 && code < 0xE000)) code = kReplacement;
  if (code < 0x80) {
    out += static_cast<char>(code);
    return;
  }
  const int more = code >= 0x10000 ? 3 : code >= 0x800 ? 2 : 1;
  constexpr std::array<unsigned, 4> kMark = {0, 0xC0, 0xE0, 0xF0};
  out += static_cast<char>(kMark[static_cast<std::size_t>(more)] | (code >> (6 * more)));
  for (int i = more - 1; i >= 0; --i) out += static_cast<char>(0x80 | ((code >> (6 * i)) & 0x3F));
}

std::wstring widen(std::string_view utf8) {
  std::wstring out;
  out.reserve(utf8.size());
  for (std::size_t at = 0; at < utf8.size();) {
    const std::uint32_t code = next_code(utf8, at);
    if (turns_direction(code) || (code < 0xA0 && code >= 0x7F)) continue;
    if (code == '\t') {
      out += L' ';
    } else if (code >= 0x20 || code == '\n') {
      const auto c = static_cast<wchar_t>(code);
      out += code < 0x7F || wcwidth(c) >= 0 ? c : static_cast<wchar_t>(kReplacement);
    }
  }
  return out;
}

std::string narrow(std::wstring_view wide) {
  std::string out;
  for (const wchar_t c : wide) append_utf8(out, static_cast<std::uint32_t>(c));
  return out;
}

int columns(wchar_t c) {
  const int width = wcwidth(c);
  return width < 0 ? 0 : width;
}

int columns(std::wstring_view text) {
  int width = 0;
  for (const wchar_t c : text) width += columns(c);
  return width;
}

std::wstring clip(std::wstring_view text, int width) {
  if (width <= 0) return {};
  if (columns(text) <= width) return std::wstring(text);
  std::wstring out;
  int used = 1;
  for (const wchar_t c : text) {
    used += columns(c);
    if (used > width) break;
    out += c;
  }
  return out + L'…';
}

std::vector<std::wstring> wrap(std::wstring_view text, int width) {
  std::vector<std::wstring> lines(1);
  int used = 0;
  std::size_t blank = std::wstring::npos;  // where the present line could be broken
  for (const wchar_t c : text) {
    if (c == L'\n') {
      lines.emplace_back();
      used = 0;
      blank = std::wstring::npos;
      continue;
    }
    const wchar_t fitting = columns(c) > width ? L'·' : c;
    if (used + columns(fitting) > width) {
      std::wstring rest;
      if (c == L' ') blank = lines.back().size();
      if (blank != std::wstring::npos) {
        rest = lines.back().substr(std::min(blank + 1, lines.back().size()));
        lines.back().resize(blank);
      }
      used = columns(rest);
      lines.push_back(std::move(rest));
      blank = std::wstring::npos;
      if (c == L' ') continue;
    }
    if (c == L' ') blank = lines.back().size();
    lines.back() += fitting;
    used += columns(fitting);
  }
  return lines;
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

std::string_view take_word(std::string_view& text) {
  const std::size_t end = std::min(text.find(' '), text.size());
  const std::string_view word = text.substr(0, end);
  text.remove_prefix(std::min(text.find_first_not_of(' ', end), text.size()));
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
  while (amount >= 1000 && unit + 1 < kUnits.size()) {
    amount /= 1000;
    ++unit;
  }
  std::array<char, 32> out{};
  std::snprintf(out.data(), out.size(), unit == 0 || amount >= 10 ? "%.0f %s" : "%.1f %s", amount,
                kUnits[unit]);
  return out.data();
}
