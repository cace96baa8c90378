// Four hex digits at once. By a table, for whole scripts are written in such escapes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

struct HexTable {
  std::array<std::int8_t, 256> value{};
  constexpr HexTable() {
    for (std::size_t c = 0; c < value.size(); ++c) {
      const bool digit = c >= '0' && c <= '9';
      const bool upper = c >= 'A' && c <= 'F';
      const bool lower = c >= 'a' && c <= 'f';
      const std::size_t base = digit ? '0' : upper ? 'A' - 10 : 'a' - 10;
      value[c] =
          static_cast<std::int8_t>(digit || upper || lower ? static_cast<int>(c - base) : -1);
    }
  }
};
inline constexpr HexTable kHexTable;

// The value of the four hex digits at `at`, or -1.
inline int read_hex4(const char* at) {
  const auto digit = [at](int i) {
    return static_cast<int>(kHexTable.value[static_cast<unsigned char>(at[i])]);
  };
  if ((digit(0) | digit(1) | digit(2) | digit(3)) < 0) return -1;
  return digit(0) << 12 | digit(1) << 8 | digit(2) << 4 | digit(3);
}
