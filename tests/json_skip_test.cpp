#include "json/skip.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>

#include "json/search.h"
#include "tests/corpus.h"
#include "tests/exact_text.h"

namespace {

// The kernels against the plain one.
void expect_same(std::string_view text, std::size_t pos, std::size_t depth) {
  const ExactText exact(text);
  const std::string_view view = exact.view();
  const std::size_t quote = find_string_end_plain(view, pos);
  ASSERT_EQ(find_string_end(view, pos), quote) << pos << " in " << text;
#if defined(__SSE2__)
  ASSERT_EQ(find_string_end_sse2(view, pos), quote) << pos << " in " << text;
#endif
  for (const Nesting nesting : {Nesting::kBraces, Nesting::kAll}) {
    const std::size_t close = skip_to_close_plain(view, pos, depth, nesting);
    ASSERT_EQ(skip_to_close(view, pos, depth, nesting), close) << pos << " in " << text;
#if defined(__SSE2__)
    ASSERT_EQ(skip_to_close_sse2(view, pos, depth, nesting), close) << pos << " in " << text;
#endif
#if defined(TD_BACKEND_AVX2)
    if (has_avx2()) {
      ASSERT_EQ(skip_to_close_avx2(view, pos, depth, nesting), close) << pos << " in " << text;
    }
    if (has_avx512()) {
      ASSERT_EQ(skip_to_close_avx512(view, pos, depth, nesting), close) << pos << " in " << text;
    }
#endif
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

TEST(JsonSkip, CorpusFromManyPlaces) {
  for (const CorpusText& entry : corpus()) {
    const std::string_view text = std::string_view(entry.text).substr(0, 20000);
    for (std::size_t pos = 0; pos < text.size(); pos += text.size() / 300 + 1) {
      expect_same(text, pos, 1 + pos % 3);
      if (HasFatalFailure()) return;
    }
  }
}

}  // namespace
