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

// Strings are mostly longer than a word, and within one only two bytes matter.
inline std::size_t find_quote(std::string_view text, std::size_t pos) {
  const std::size_t size = text.size();
  while (size - pos >= 4) {
    const std::uint32_t word = load_word(text.data() + pos);
    const std::uint32_t hits = (equal_bytes(word, '"') | equal_bytes(word, '\\')) & kHighBits;
    if (hits == 0) {
      pos += 4;
      continue;
    }
    pos += first_byte(hits);
    if (text[pos] == '"') return pos;
    pos += 2;
    if (pos > size) return kNotFound;
  }
  while (pos < size) {
    if (text[pos] == '"') return pos;
    pos += text[pos] == '\\' ? 2 : 1;
  }
  return kNotFound;
}

}  // namespace

std::size_t find_string_end_plain(std::string_view text, std::size_t pos) {
  return pos < text.size() ? find_quote(text, pos) : kNotFound;
}

// Between strings there are few bytes at a time: one look into a table tells what each means.
std::size_t skip_to_close_plain(std::string_view text, std::size_t pos, std::size_t depth,
                                Nesting nesting) {
  const ByteClasses& classes = nesting == Nesting::kAll ? kAllClasses : kBraceClasses;
  while (pos < text.size()) {
    const ByteClass what = classes[static_cast<unsigned char>(text[pos++])];
    if (what == kOrdinary) continue;
    if (what == kQuote) {
      pos = find_quote(text, pos);
      if (pos == kNotFound) return kNotFound;
      ++pos;
    } else if (what == kOpens) {
      ++depth;
    } else if (--depth == 0) {
      return pos;
    }
  }
  return kNotFound;
}
