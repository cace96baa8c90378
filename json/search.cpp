#include "json/search.h"

#include <cstring>

std::size_t find_bytes_plain(std::string_view text, std::string_view needle, std::size_t from) {
  if (from > text.size()) return kNotFound;
  if (needle.empty()) return from;
  if (text.size() - from < needle.size()) return kNotFound;
  const char* at = text.data() + from;
  const char* last = text.data() + (text.size() - needle.size());
  while (at <= last) {
    at = static_cast<const char*>(
        std::memchr(at, needle.front(), static_cast<std::size_t>(last - at) + 1));
    if (at == nullptr) return kNotFound;
    if (std::memcmp(at, needle.data(), needle.size()) == 0) {
      return static_cast<std::size_t>(at - text.data());
    }
    ++at;
  }
  return kNotFound;
}

std::size_t find_bytes(std::string_view text, std::string_view needle, std::size_t from) {
  return find_bytes_plain(text, needle, from);
}

std::size_t find_last_bytes(std::string_view text, std::string_view needle) {
  const std::size_t at = text.rfind(needle);
  return at == std::string_view::npos ? kNotFound : at;
}
