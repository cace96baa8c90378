// The loops over every byte of a text, once for each kind of processor. json/plain, json/x86 and
// json/neon each define find_bytes, find_string_end, skip_to_close and find_escaped_byte by the
// best of theirs, short_steps.h and, where json/plain's will not do, walk_step.h; the build takes
// one of these folders. Every kernel gives the portable one's answer on every input, well-formed or
// not, and none reads outside the text. Any thread.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "json/skip.h"

// Offset of the next byte at or after `pos` (at most the text's size) that cannot stand between
// JSON quotes as it is, or the text's size.
std::size_t find_escaped_byte(std::string_view text, std::size_t pos);

// The portable ones: plain C++ in 32-bit arithmetic, built everywhere.
std::size_t find_bytes_plain(std::string_view text, std::string_view needle, std::size_t from);
std::size_t find_string_end_plain(std::string_view text, std::size_t pos);
std::size_t skip_to_close_plain(std::string_view text, std::size_t pos, std::size_t depth,
                                Nesting nesting);
std::size_t find_escaped_byte_plain(std::string_view text, std::size_t pos);

struct TextKernels {
  const char* name;
  decltype(&find_bytes_plain) find_bytes;
  decltype(&find_string_end_plain) find_string_end;
  decltype(&skip_to_close_plain) skip_to_close;
  decltype(&find_escaped_byte_plain) find_escaped_byte;
};

// All that this processor can run, those that the program uses first. For tests.
std::vector<TextKernels> text_kernels();
