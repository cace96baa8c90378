// A text in memory of exactly its size, so that the sanitizer sees a read past either end.
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string_view>

// The build of the address sanitizer, and those for other processors, which run emulated, take a
// part of what takes long; the released kernels, all.
#if defined(__SANITIZE_ADDRESS__) || !defined(__x86_64__)
constexpr std::size_t kPart = 7;
#else
constexpr std::size_t kPart = 1;
#endif

class ExactText {
 public:
  explicit ExactText(std::string_view text) : size_(text.size()), bytes_(new char[text.size()]) {
    std::copy(text.begin(), text.end(), bytes_.get());
  }
  std::string_view view() const { return {bytes_.get(), size_}; }

 private:
  std::size_t size_;
  std::unique_ptr<char[]> bytes_;
};
