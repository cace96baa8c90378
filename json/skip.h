// Over strings and nested values: what the scanners and the walk stand on. Never reads outside the
// text. Pure functions, any thread.
#pragma once

#include <cstddef>
#include <string_view>

// Which brackets nest: an object's value is bounded by braces alone, a skipped value by both.
enum class Nesting : unsigned char { kBraces, kAll };

// Offset of the quote that ends the string whose content holds `pos`, or kNotFound. A backslash
// makes the next byte ordinary.
std::size_t find_string_end(std::string_view text, std::size_t pos);

// `pos` lies outside strings and `depth` (at least 1) opening brackets are open there: offset just
// past the bracket that closes the outermost of them, or kNotFound.
std::size_t skip_to_close(std::string_view text, std::size_t pos, std::size_t depth,
                          Nesting nesting);
