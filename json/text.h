// Byte-string helpers: JSON escapes, base64, decimal numbers, request tags. Only is_utf8
// and with_valid_utf8 look at UTF-8; elsewhere bytes from 0x80 up pass unchanged. Whitespace is
// TAB, LF, CR and SPACE everywhere. Pure functions, any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// The text escaped for use between JSON quotes (quotes not added).
std::string json_escape(std::string_view text);
// The text between JSON quotes, unescaped into UTF-8; lone surrogates become three bytes each.
std::string json_unescape(std::string_view text);

// False on a byte outside the alphabet; `out` then holds what was decoded before it.
bool base64_decode(std::string_view text, std::string& out);
// True when the whole trimmed text is one signed decimal number; `out` untouched otherwise.
bool parse_i64(std::string_view text, std::int64_t& out);
// A view into `text`.
std::string_view trim(std::string_view text);
// True when `separator` occurs; otherwise `left` is the whole text and `right` is empty.
// Both are views into `text`.
bool split_once(std::string_view text, char separator, std::string_view& left,
                std::string_view& right);
std::string to_lower_ascii(std::string text);
bool ends_with(std::string_view text, std::string_view suffix);
bool is_hex_string_even(std::string_view text);
// Digits with at most one leading plus; may be empty or a lone plus.
std::string normalize_phone_number(std::string_view text);
std::string make_json_string_array(const std::vector<std::string>& values);

// True when the text is UTF-8 throughout: no byte out of place, no overlong form, no surrogate,
// nothing above U+10FFFF.
bool is_utf8(std::string_view text);
// The text with U+FFFD in the place of each byte that does not belong to such a character.
std::string with_valid_utf8(std::string_view text);

// The request with an "@extra" member added at its end; unchanged unless it ends in a brace.
std::string json_add_extra(std::string request, std::string_view tag);
// True when the text carries exactly this tag (compared as sent, not unescaped).
bool json_has_extra(std::string_view text, std::string_view tag);

// Builders that append to one string.
void append_i64(std::string& out, std::int64_t value);
void append_json_escaped(std::string& out, std::string_view text);
// ,"key":123   ,"key":"escaped"   ,"key":true   with the leading comma
void append_int_member(std::string& out, std::string_view key, std::int64_t value);
void append_string_member(std::string& out, std::string_view key, std::string_view value);
void append_bool_member(std::string& out, std::string_view key, bool value);
