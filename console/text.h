// Text between the protocol (UTF-8) and the terminal (wide characters that take 0, 1 or 2
// columns). Needs a UTF-8 locale.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// U+FFFD for what is no UTF-8 or cannot be shown; line feeds stay, tabs become blanks, other
// controls and the marks that turn the writing direction are left out.
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
