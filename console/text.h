// Text for the terminal: UTF-8, each character of which takes 0, 1 or 2 columns. Needs a UTF-8
// locale.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// A text carries its colours with it: each of these holds from its place on. Bold and a colour go
// together, kPlain ends both.
inline const std::string kPlain = "\1", kBold = "\2", kDim = "\3", kGood = "\4", kBad = "\5",
                         kWarn = "\6", kKeyword = "\7";
inline bool is_colour(char c) { return c > 0 && c < 8; }

// Text from outside, without characters that would steer: tabs become blanks, line feeds stay. A
// longer one than any message is cut.
std::string clean(std::string_view text);
// What a terminal gets of it: U+FFFD is in the place of what is no UTF-8 or cannot be shown.
std::string visible(std::string_view text);
std::string utf8(wchar_t c);
// The next character, taken off a text that is not empty; U+FFFD where there is none.
wchar_t take_char(std::string_view& text);

int columns(std::string_view text);
// Bytes of the characters at the begin that fit into so many columns.
std::size_t fitting(std::string_view text, int width);
// What fits; the last character is "…" when something had to go.
std::string clip(std::string_view text, int width);
// Lines of at most so many columns, broken at blanks where there are any; all but the first are
// indented.
std::vector<std::string> wrap(std::string_view text, int width, int indent = 0);
// Text at the left, as much of it as the text at the right leaves room for.
std::string ends(std::string_view left, const std::string& right, int width);

std::string base64(std::string_view bytes);
// The first word, taken off `text` with the blank behind it. "\ " is a blank in a word.
std::string take_word(std::string_view& text);
// "14:02"; with another format of strftime what it says. Local time.
std::string clock_text(std::int64_t unix_seconds, const char* format = "%H:%M");
// "14 MB"
std::string size_text(std::int64_t bytes);
