#include "json/search.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "json/kernels.h"
#include "tests/exact_text.h"
#include "tests/objects.h"

namespace {

std::size_t as_offset(std::size_t at) { return at == std::string_view::npos ? kNotFound : at; }

// Every kernel against the standard library, on a text that ends where its memory ends.
void expect_same(std::string_view text, std::string_view needle, std::size_t from) {
  const ExactText exact(text);
  const std::size_t wanted = as_offset(text.find(needle, from));
  const auto where = [&] {
    return testing::Message() << "needle '" << needle << "' from " << from << " in '"
                              << text.substr(0, 300) << "' of " << text.size();
  };
  static const std::vector<TextKernels> kernels = text_kernels();
  for (const TextKernels& kernel : kernels) {
    ASSERT_EQ(kernel.find_bytes(exact.view(), needle, from), wanted) << kernel.name << where();
  }
  ASSERT_EQ(find_last_bytes(exact.view(), needle), as_offset(text.rfind(needle))) << where();
}

TEST(JsonSearch, EmptyNeedlesAndTextsAndStarts) {
  for (const std::string_view text : {"", "a", "ab", "abc"}) {
    for (const std::string_view needle : {"", "a", "b", "bc", "abcd"}) {
      for (std::size_t from = 0; from < 6; ++from) expect_same(text, needle, from);
    }
  }
}

// Few letters make near matches; texts of up to some blocks' length put the needle, the block
// borders and the end in every position to each other.
TEST(JsonSearch, GeneratedTexts) {
  std::mt19937 random(20240229);
  const auto below = [&random](std::size_t limit) { return random() % limit; };
  for (int round = 0; round < 30000; ++round) {
    const std::size_t letters = 1 + below(4);
    std::string text(below(round % 50 == 0 ? 3000 : 420), '\0');
    for (char& c : text) c = "\"a:\x80"[below(letters)];
    std::string needle(1 + below(20), '\0');
    if (below(2) == 0 && text.size() > needle.size()) {
      needle = text.substr(below(text.size() - needle.size()), needle.size());
    } else {
      for (char& c : needle) c = "\"a:\x80"[below(letters)];
    }
    expect_same(text, needle, below(4) == 0 ? below(text.size() + 2) : 0);
    if (HasFatalFailure()) return;
  }
}

TEST(JsonSearch, NeedleAtEveryPlace) {
  for (const std::string& text_bytes : longest_objects(60)) {
    const std::string_view text = text_bytes;
    const std::size_t step = text.size() / 400 + 1;
    for (std::size_t at = 0; at + 9 < text.size(); at += step) {
      expect_same(text, text.substr(at, 9), 0);
      if (HasFatalFailure()) return;
    }
    expect_same(text, text.substr(text.size() - 40), 0);
    expect_same(text, "\"@type\":\"updateMessageSendSucceeded\"", 0);
  }
}

// Matches both chosen bytes at every place and fails at the needle's end.
TEST(JsonSearch, NearMatchesEverywhere) {
  const std::string text(std::size_t{1} << 18, 'a');
  const std::string needle = std::string(2000, 'a') + 'b' + std::string(40, 'a');
  expect_same(text, needle, 0);
  expect_same(text + needle + text, needle, 0);
}

}  // namespace
