// Keyed scanners: the first occurrence of a quoted key and a colon, anywhere in the text,
// whatever object it sits in. Pure functions, any thread; nothing is allocated but results.
// Absent looks like: empty string, -1, false, a shorter vector. Truncated text is absent.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

bool json_contains(std::string_view text, std::string_view needle);
bool json_starts_with(std::string_view text, std::string_view prefix);

std::string extract_json_string_field(std::string_view text, std::string_view key);
std::int64_t extract_json_int_field(std::string_view text, std::string_view key);
// As above, and also a quoted decimal string ("order" of a chat position).
std::int64_t extract_json_int64_field_loose(std::string_view text, std::string_view key);
// True when a literal true or false follows the key; `out` is untouched otherwise.
bool extract_json_bool_field(std::string_view text, std::string_view key, bool& out);
// The object value from brace to matching brace, a view into `text`; empty when absent.
std::string_view extract_json_object_field_raw(std::string_view text, std::string_view key);
// The object that begins at `pos`, a view into `text`; empty when there is none or it does
// not close.
std::string_view extract_json_object_raw_at(std::string_view text, std::size_t pos);
// `pos` lies just past an opening quote; false when no closing quote follows.
bool extract_json_string_from_pos(std::string_view text, std::size_t pos, std::string& out);
// At most 16 strings.
std::vector<std::string> extract_json_string_array_field(std::string_view text,
                                                         std::string_view key);
std::vector<std::string_view> extract_json_object_array_field_raw(std::string_view text,
                                                                  std::string_view key,
                                                                  unsigned max_items);
std::vector<std::int64_t> extract_json_int64_array_field(std::string_view text,
                                                         std::string_view key, unsigned max_items);
// Four hex digits at `pos`; false, `out` untouched, when they are not there.
bool parse_hex4(std::string_view text, std::size_t pos, unsigned& out);

// The decimal number that begins exactly at `pos` (an optional minus, then digits); false when
// there is none or it does not fit. Used behind literal markers that end in a colon.
bool parse_int_at(std::string_view text, std::size_t pos, std::int64_t& out);
