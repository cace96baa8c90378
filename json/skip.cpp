#include "json/skip.h"

#include <array>

#include "json/kernels.h"
#include "json/search.h"
#include "json/words.h"

namespace {

enum ByteClass : unsigned char { kOrdinary, kQuote, kOpens, kCloses };
using ByteClasses = std::array<ByteClass, 256>;

constexpr ByteClasses classify(Nesting nesting) {
  ByteClasses classes{};
  classes['"'] = kQuote;
  classes['{'] = kOpens;
  classes['}'] = kCloses;
  if (nesting == Nesting::kAll) {
    classes['['] = kOpens;
    classes[']'] = kCloses;
  }
  return classes;
}
constexpr ByteClasses kBraceClasses = classify(Nesting::kBraces);
constexpr ByteClasses kAllClasses = classify(Nesting::kAll);

// The quote that ends the string at `at`, or null. Strings are mostly longer than a word, and
// within one only two bytes matter; two words at once gain nothing.
inline const char* find_quote(const char* at, const char* end) {
  if (end - at >= 4) {
    const char* const last_word = end - 4;
    do {
      const std::uint32_t word = load_word(at);
      const std::uint32_t hits = ascii_hits(word, equals(word, '"') | equals(word, '\\'));
      at += 4;
      if (__builtin_expect(hits == 0, 1)) continue;
      at -= 4 - first_byte(hits);
      if (*at == '"') return at;
      if (end - at < 2) return nullptr;
      at += 2;
    } while (at <= last_word);
  }
  while (at < end && *at != '"') {
    if (*at == '\\' && ++at == end) break;
    ++at;
  }
  return at < end ? at : nullptr;
}

}  // namespace

std::size_t find_string_end_plain(std::string_view text, std::size_t pos) {
  if (pos >= text.size()) return kNotFound;
  const char* quote = find_quote(text.data() + pos, text.data() + text.size());
  return quote == nullptr ? kNotFound : static_cast<std::size_t>(quote - text.data());
}

// Between strings there are few bytes at a time: one look into a table tells what each means.
std::size_t skip_to_close_plain(std::string_view text, std::size_t pos, std::size_t depth,
                                Nesting nesting) {
  if (pos >= text.size()) return kNotFound;
  const ByteClasses& classes = nesting == Nesting::kAll ? kAllClasses : kBraceClasses;
  const char* const end = text.data() + text.size();
  for (const char* at = text.data() + pos; at < end;) {
    const ByteClass what = classes[static_cast<unsigned char>(*at++)];
    if (what == kOrdinary) continue;
    if (what == kQuote) {
      at = find_quote(at, end);
      if (at == nullptr) return kNotFound;
      ++at;
    } else if (what == kOpens) {
      ++depth;
    } else if (--depth == 0) {
      return static_cast<std::size_t>(at - text.data());
    }
  }
  return kNotFound;
}
