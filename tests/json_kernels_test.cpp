// Every kernel, on texts that end where their memory ends, against the standard library's search
// and what is so byte by byte.
#include "json/kernels.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "json/search.h"
#include "tests/exact_text.h"
#include "tests/objects.h"

namespace {

std::size_t as_offset(std::size_t at) { return at == std::string_view::npos ? kNotFound : at; }

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

std::size_t escaped_by_bytes(std::string_view text, std::size_t pos) {
  const auto stands = [](char c) {
    return static_cast<unsigned char>(c) >= 0x20 && c != '"' && c != '\\';
  };
  while (pos < text.size() && stands(text[pos])) ++pos;
  return pos;
}

void expect_same(std::string_view text, std::string_view needle, std::size_t pos) {
  static const std::vector<TextKernels> kernels = text_kernels();
  const ExactText exact(text);
  const std::string_view view = exact.view();
  const auto where = [&] {
    return testing::Message() << " '" << needle << "' from " << pos << " in " << text;
  };
  for (const TextKernels& kernel : kernels) {
    ASSERT_EQ(kernel.find_bytes(view, needle, pos), as_offset(text.find(needle, pos)))
        << kernel.name << where();
    if (pos > text.size()) continue;
    ASSERT_EQ(kernel.find_string_end(view, pos), string_end_by_bytes(text, pos))
        << kernel.name << where();
    ASSERT_EQ(kernel.find_escaped_byte(view, pos), escaped_by_bytes(text, pos))
        << kernel.name << where();
    for (const Nesting nesting : {Nesting::kBraces, Nesting::kAll}) {
      ASSERT_EQ(kernel.skip_to_close(view, pos, 1 + pos % 3, nesting),
                close_by_bytes(text, pos, 1 + pos % 3, nesting))
          << kernel.name << where();
    }
  }
  ASSERT_EQ(find_last_bytes(view, needle), as_offset(text.rfind(needle))) << where();
}

// Any mix of the bytes that matter, backslashes outside strings too, with long runs of each so
// that they cross the blocks' borders. Few letters make near matches of the needle.
TEST(JsonKernels, GeneratedTexts) {
  std::mt19937 random(19700101);
  const auto below = [&random](std::size_t limit) { return random() % limit; };
  constexpr std::string_view kBytes = "\\\\\\\"\"{{[}]\x1f\x80:aaaaaaa";
  for (int round = 0; round < 40000 / static_cast<int>(kPart) && !testing::Test::HasFailure();
       ++round) {
    std::string text;
    const std::size_t length = below(330);
    const std::size_t skip = below(3) == 0 ? 0 : 3;  // most have few or no backslashes
    const std::size_t letters = 1 + below(kBytes.size() - skip);
    while (text.size() < length) {
      text.append(below(8) == 0 ? below(70) : 1, kBytes[kBytes.size() - 1 - below(letters)]);
      if (below(90) == 0) text += "\"\\\\\\\"";
    }
    std::string needle = text.substr(below(text.size() + 1), below(21));
    if (round % 4 == 0) needle += kBytes[below(kBytes.size())];
    expect_same(text, needle, round % 4 == 1 ? 0 : below(text.size() + 2));
  }
}

TEST(JsonKernels, ObjectsFromManyPlaces) {
  for (const std::string& object : longest_objects()) {
    const std::string_view text = std::string_view(object).substr(0, 20000);
    for (std::size_t pos = 0; pos < text.size() && !HasFailure();
         pos += text.size() / 300 * kPart + 1) {
      expect_same(text, text.substr(pos, 9), pos / 2);
    }
  }
}

TEST(JsonKernels, EndsAndNearMatches) {
  for (const std::string_view text : {"", "a", "ab", "abc"}) {
    for (const std::string_view needle : {"", "a", "b", "bc", "abcd"}) {
      for (std::size_t from = 0; from < 6; ++from) expect_same(text, needle, from);
    }
  }
  // Matches both chosen bytes at every place and fails at the needle's end.
  const std::string text(std::size_t{1} << 18, 'a');
  const std::string needle = std::string(2000, 'a') + 'b' + std::string(40, 'a');
  expect_same(text, needle, 0);
  expect_same(text + needle + text, needle, 0);
}

}  // namespace
