#include "json/skip.h"

#include <array>

#include "json/find_quote.h"
#include "json/kernels.h"
#include "json/search.h"

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
