// Any processor.
#include "json/kernels.h"

#include "json/search.h"

std::size_t find_bytes(std::string_view text, std::string_view needle, std::size_t from) {
  return find_bytes_plain(text, needle, from);
}

std::size_t find_string_end(std::string_view text, std::size_t pos) {
  return find_string_end_plain(text, pos);
}

std::size_t skip_to_close(std::string_view text, std::size_t pos, std::size_t depth,
                          Nesting nesting) {
  return skip_to_close_plain(text, pos, depth, nesting);
}

std::size_t find_escaped_byte(std::string_view text, std::size_t pos) {
  return find_escaped_byte_plain(text, pos);
}

std::vector<TextKernels> text_kernels() {
  return {{"plain", find_bytes_plain, find_string_end_plain, skip_to_close_plain,
           find_escaped_byte_plain}};
}
