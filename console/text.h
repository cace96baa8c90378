// Text between the protocol (UTF-8) and the terminal (wide characters that take 0, 1 or 2
// columns). Needs a UTF-8 locale.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// A text carries its colours with it: each of these holds from its place on. Bold and a colour go
// together, kPlain ends both.
inline const std::string kPlain = "\1", kBold = "\2", kDim = "\3", kGood = "\4", kBad = "\5",
                         kWarn = "\6", kKeyword = "\7";
constexpr char kFirstName = 16;  // names have five colours, from this character on
inline bool is_colour(wchar_t c) { return (c > 0 && c < 8) || (c >= 16 && c < 21); }
// Text from outside, without characters that would steer: tabs become blanks, line feeds stay. A
// longer one than any message is cut.
std::string clean(std::string_view text);

// U+FFFD for what is no UTF-8 or cannot be shown; the marks that turn the writing direction are
// left out.
std::wstring widen(std::string_view utf8);
std::string narrow(std::wstring_view wide);

int columns(std::wstring_view text);
// What fits into so many columns; the last is "…" when something had to go.
std::wstring clip(std::wstring_view text, int width);

std::string base64(std::string_view bytes);
// The first word, taken off `text` with the blank behind it. "\ " is a blank in a word.
std::string take_word(std::string_view& text);
// "14:02"; with another format of strftime what it says. Local time.
std::string clock_text(std::int64_t unix_seconds, const char* format = "%H:%M");
// "1.4 MB"
std::string size_text(std::int64_t bytes);
