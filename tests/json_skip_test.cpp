#include "json/skip.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "json/kernels.h"
#include "json/search.h"
#include "tests/exact_text.h"
#include "tests/objects.h"

namespace {

// What every kernel has to give, byte by byte.
std::size_t string_end_by_bytes(std::string_view text, std::size_t pos) {
  for (; pos < text.size(); ++pos) {
    if (text[pos] == '"') return pos;
    if (text[pos] == '\\') ++pos;
  }
  return kNotFound;
}

std::size_t close_by_bytes(std::string_view text, std::size_t pos, std::size_t depth,
                           Nesting nesting) {
  const std::string_view brackets = nesting == Nesting::kAll ? "{[}]" : "{}";
  for (; pos < text.size(); ++pos) {
    const std::size_t which = brackets.find(text[pos]);
    if (text[pos] == '"') {
      pos = string_end_by_bytes(text, pos + 1);
      if (pos == kNotFound) return kNotFound;
    } else if (which < brackets.size() / 2) {
      ++depth;
    } else if (which < brackets.size() && --depth == 0) {
      return pos + 1;
    }
  }
  return kNotFound;
}

void expect_same(std::string_view text, std::size_t pos, std::size_t depth) {
  static const std::vector<TextKernels> kernels = text_kernels();
  const ExactText exact(text);
  const std::string_view view = exact.view();
  for (const TextKernels& kernel : kernels) {
    ASSERT_EQ(kernel.find_string_end(view, pos), string_end_by_bytes(view, pos))
        << kernel.name << " from " << pos << " in " << text;
    for (const Nesting nesting : {Nesting::kBraces, Nesting::kAll}) {
      ASSERT_EQ(kernel.skip_to_close(view, pos, depth, nesting),
                close_by_bytes(view, pos, depth, nesting))
          << kernel.name << " from " << pos << " in " << text;
    }
  }
}

TEST(JsonSkip, PlainKernel) {
  EXPECT_EQ(find_string_end_plain(R"(a\"b" )", 0), 4U);
  EXPECT_EQ(find_string_end_plain(R"(a\\" )", 0), 3U);
  EXPECT_EQ(find_string_end_plain(R"(a\)", 0), kNotFound);
  EXPECT_EQ(skip_to_close_plain(R"({"a":"}\"}","b":{}}x)", 1, 1, Nesting::kAll), 19U);
  EXPECT_EQ(skip_to_close_plain("[1,{}]}", 1, 1, Nesting::kAll), 6U);
  EXPECT_EQ(skip_to_close_plain("{[}]}", 1, 1, Nesting::kBraces), 3U);
  EXPECT_EQ(skip_to_close_plain("}}", 0, 2, Nesting::kAll), 2U);
  EXPECT_EQ(skip_to_close_plain("}", 0, 2, Nesting::kAll), kNotFound);
  EXPECT_EQ(skip_to_close_plain(R"(\"}")", 0, 1, Nesting::kAll), kNotFound);
}

// Any mix of the bytes that matter, backslashes outside strings too, with long runs of each so
// that they cross the blocks' borders.
TEST(JsonSkip, GeneratedTexts) {
  std::mt19937 random(19700101);
  const auto below = [&random](std::size_t limit) { return random() % limit; };
  constexpr std::string_view kBytes = "\\\\\\\"\"{{[}]aaaaaaaa";
  for (int round = 0; round < 40000; ++round) {
    std::string text;
    const std::size_t length = below(330);
    const std::size_t skip = below(3) == 0 ? 0 : 3;  // most have few or no backslashes
    while (text.size() < length) {
      const char c = kBytes[skip + below(kBytes.size() - skip)];
      text.append(below(8) == 0 ? below(70) : 1, c);
      if (below(90) == 0) text += "\"\\\\\\\"";
    }
    expect_same(text, text.empty() ? 0 : below(text.size()), 1 + below(3));
    if (HasFatalFailure()) return;
  }
}

TEST(JsonSkip, ObjectsFromManyPlaces) {
  for (const std::string& object : longest_objects(60)) {
    const std::string_view text = std::string_view(object).substr(0, 20000);
    for (std::size_t pos = 0; pos < text.size(); pos += text.size() / 300 + 1) {
      expect_same(text, pos, 1 + pos % 3);
      if (HasFatalFailure()) return;
    }
  }
}

}  // namespace
