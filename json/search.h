// Substring search, the hot path of every scan. Pure functions, any thread.
#pragma once

#include <cstddef>
#include <string_view>

constexpr std::size_t kNotFound = static_cast<std::size_t>(-1);

// Offset of the first occurrence of `needle` in `text` at or after `from`, or kNotFound.
// An empty needle is found at `from` when `from` is within the text.
std::size_t find_bytes(std::string_view text, std::string_view needle, std::size_t from = 0);

// Offset of the last occurrence of `needle`, or kNotFound.
std::size_t find_last_bytes(std::string_view text, std::string_view needle);
