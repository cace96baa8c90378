// Over strings and nested values by whole blocks of text: what the scanners and the walk stand
// on. Every kernel gives the plain one's answer on every input, well-formed or not, and none
// reads outside the text. Pure functions, any thread.
#pragma once

#include <cstddef>
#include <string_view>

#include "json/cpu.h"

// Which brackets nest: an object's value is bounded by braces alone, a skipped value by both.
enum class Nesting : unsigned char { kBraces, kAll };

// Offset of the quote that ends the string whose content holds `pos`, or kNotFound. A backslash
// makes the next byte ordinary.
std::size_t find_string_end(std::string_view text, std::size_t pos);

// `pos` lies outside strings and `depth` (at least 1) opening brackets are open there: offset just
// past the bracket that closes the outermost of them, or kNotFound.
std::size_t skip_to_close(std::string_view text, std::size_t pos, std::size_t depth,
                          Nesting nesting);

// The kernels, for the tests: byte by byte, and as every 64-bit x86 has it.
std::size_t find_string_end_plain(std::string_view text, std::size_t pos);
std::size_t skip_to_close_plain(std::string_view text, std::size_t pos, std::size_t depth,
                                Nesting nesting);
#if defined(__SSE2__)
std::size_t find_string_end_sse2(std::string_view text, std::size_t pos);
std::size_t skip_to_close_sse2(std::string_view text, std::size_t pos, std::size_t depth,
                               Nesting nesting);
#endif
#if defined(TD_BACKEND_AVX2)
// Only where has_avx2() is true; has_avx512() for the second.
std::size_t skip_to_close_avx2(std::string_view text, std::size_t pos, std::size_t depth,
                               Nesting nesting);
std::size_t skip_to_close_avx512(std::string_view text, std::size_t pos, std::size_t depth,
                                 Nesting nesting);
#endif
