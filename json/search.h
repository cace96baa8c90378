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

// The kernels, for tests and benches; find_bytes gives the same answer on every input. The plain
// one is 32-bit arithmetic and built everywhere.
std::size_t find_bytes_plain(std::string_view text, std::string_view needle, std::size_t from = 0);
#if defined(__SSE2__)
std::size_t find_bytes_sse2(std::string_view text, std::string_view needle, std::size_t from = 0);
#endif
