// Writing decimal numbers. Ids have ten to seventeen digits, and where words have 32 bits a
// library's division of 64 bits by another costs more than all else that is done to write one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

constexpr std::size_t kDecimalMax = 20;  // bytes of the longest number
constexpr std::uint32_t kBillion = 1000000000;

// What is left of `value` above its last nine digits, which `rest` receives. The quotient is
// estimated from the upper 32 bits of the 61 that it works for; it is too low by one at most, for
// what the estimate leaves out is less than 0.54 + 0.22 of a billion.
inline std::uint64_t split_billion(std::uint64_t value, std::uint32_t& rest) {
  std::uint64_t quotient = 0;
  if (value >> 61 != 0) {
    quotient = value / kBillion;
  } else {
    constexpr std::uint64_t kFactor = 2305843009;  // 2^29 / 10^9 in units of 2^-32
    quotient = (value >> 29) * kFactor >> 32;
  }
  rest = static_cast<std::uint32_t>(value - quotient * kBillion);
  if (rest < kBillion) return quotient;
  rest -= kBillion;
  return quotient + 1;
}

// Two digits that end at `end`; gives where they begin, as the others do.
inline char* put_pair(char* end, std::uint32_t value) {
  static constexpr char kPairs[] =
      "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
      "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
      "8081828384858687888990919293949596979899";
  std::memcpy(end - 2, kPairs + std::size_t{2} * value, 2);
  return end - 2;
}

// The last nine digits, zeros in front included.
inline char* put_nine(char* end, std::uint32_t value) {
  for (int pair = 0; pair < 4; ++pair) {
    end = put_pair(end, value % 100);
    value /= 100;
  }
  *--end = static_cast<char>('0' + value);
  return end;
}

// The number, at most kDecimalMax bytes, so that it ends at `end`; gives where it begins.
inline char* put_decimal(char* end, std::int64_t number) {
  auto value = static_cast<std::uint64_t>(number);
  if (number < 0) value = 0 - value;
  while (value > UINT32_MAX) {
    std::uint32_t rest = 0;
    value = split_billion(value, rest);
    end = put_nine(end, rest);
  }
  auto low = static_cast<std::uint32_t>(value);
  for (; low >= 100; low /= 100) end = put_pair(end, low % 100);
  if (low >= 10) {
    end = put_pair(end, low);
  } else {
    *--end = static_cast<char>('0' + low);
  }
  if (number < 0) *--end = '-';
  return end;
}
