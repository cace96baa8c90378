#include "json/walk.h"

#include <short_steps.h>  // this processor's
#include <walk_step.h>    // this processor's

#include <algorithm>
#include <cstdint>
#include <limits>
#include <utility>

#include "json/digits.h"
#include "json/scan.h"
#include "json/search.h"
#include "json/skip.h"
#include "json/text.h"

namespace {

// `pos` lies within the text.
inline std::size_t skip_value_here(std::string_view text, std::size_t pos) {
  const char c = text[pos];
  if (c == '"') {
    const std::size_t end = find_short_string_end(text, pos + 1);
    return end == kNotFound ? kNotFound : end + 1;
  }
  if (c == '{' || c == '[') return skip_to_close(text, pos + 1, 1, Nesting::kAll);
  return skip_scalar(text, pos);
}

template <class Walk>
bool stop(Walk& walk, WalkStage stage) {
  walk.stage = stage;
  if (stage == WalkStage::kBroken) walk.pos = walk.text.size();
  return false;
}

// From within a value that begins or was left with brackets open to behind it.
template <class Walk>
inline bool pass_brackets(Walk& walk) {
  const std::size_t end = skip_to_close(walk.text, walk.pos, walk.open, Nesting::kAll);
  if (end == kNotFound) return stop(walk, WalkStage::kBroken);
  walk.pos = end;
  walk.stage = WalkStage::kBetween;
  return true;
}

// Moves to the next item's first byte. False at the closing byte, which is passed over, and where
// the text is no object or array, or breaks off.
template <class Walk>
inline bool next_item(Walk& walk, char open, char close) {
  const std::string_view text = walk.text;
  if (walk.stage == WalkStage::kInside && !pass_brackets(walk)) return false;
  std::size_t pos = walk.pos;
  if (walk.stage != WalkStage::kBetween) {
    if (walk.stage != WalkStage::kAtValue) return false;
    pos = skip_value_here(text, pos);
    if (pos == kNotFound) return stop(walk, WalkStage::kBroken);
  }
  const bool begins = pos == 0;
  if (begins) {
    if (text.empty() || text[0] != open) return false;
    pos = 1;
  }
  pos = skip_spaces(text, pos);
  if (pos >= text.size()) return stop(walk, WalkStage::kBroken);
  if (text[pos] == close) {
    walk.pos = pos + 1;
    return stop(walk, WalkStage::kClosed);
  }
  if (!begins) {
    if (text[pos] != ',') return stop(walk, WalkStage::kBroken);
    pos = skip_spaces(text, pos + 1);
    if (pos >= text.size()) return stop(walk, WalkStage::kBroken);
  }
  walk.pos = pos;
  return true;
}

template <class Walk>
std::string_view take(Walk& walk) {
  if (walk.stage != WalkStage::kAtValue) return {};
  const std::size_t begin = walk.pos;
  const std::size_t end = skip_value_here(walk.text, begin);
  if (end == kNotFound) {
    const bool nests = walk.text[begin] == '{' || walk.text[begin] == '[';
    stop(walk, WalkStage::kBroken);
    return nests ? walk.text.substr(begin) : std::string_view();
  }
  walk.pos = end;
  walk.stage = WalkStage::kBetween;
  return walk.text.substr(begin, end - begin);
}

template <class Outer, class Inner>
void leave_inner(Outer& outer, const Inner& inner) {
  // Not of its kind, or no JSON within its brackets: skipped like any value left alone.
  if (inner.pos == 0 || inner.stage == WalkStage::kBroken) return;
  outer.pos += inner.pos;
  outer.stage = inner.stage == WalkStage::kClosed ? WalkStage::kBetween : WalkStage::kInside;
  outer.open = inner.stage == WalkStage::kInside ? inner.open + 1 : 1;
}

// Eighteen digits fit whatever they are; more are read with care.
bool read_int(std::string_view value, std::int64_t& out) {
  constexpr std::size_t kSurelyFits = 18;
  if (value.size() > kSurelyFits) return parse_int_at(value, 0, out);
  const std::size_t digits = !value.empty() && value.front() == '-' ? 1 : 0;
  std::uint64_t magnitude = 0;
  if (read_digits(value, digits, magnitude) == digits) return false;
  out = with_sign(magnitude, digits != 0);
  return true;
}

bool read_string(std::string_view value, std::string& out) {
  if (value.size() < 2 || value.front() != '"') return false;
  out = json_unescape(value.substr(1, value.size() - 2));
  return true;
}

}  // namespace

std::size_t skip_value(std::string_view text, std::size_t pos) {
  return pos < text.size() ? skip_value_here(text, pos) : kNotFound;
}

// Out of line, to keep the common step small.
#if defined(__GNUC__)
__attribute__((noinline))
#endif
static bool
next_spaced_key(ObjectWalk& walk, std::string_view& key) {
  if (!next_item(walk, '{', '}')) return false;
  const std::string_view text = walk.text;
  const std::size_t begin = walk.pos + 1;
  if (text[walk.pos] != '"') return stop(walk, WalkStage::kBroken);
  const std::size_t end = find_short_string_end(text, begin);
  if (end == kNotFound) return stop(walk, WalkStage::kBroken);
  std::size_t pos = skip_spaces(text, end + 1);
  if (pos >= text.size() || text[pos] != ':') return stop(walk, WalkStage::kBroken);
  pos = skip_spaces(text, pos + 1);
  if (pos >= text.size()) return stop(walk, WalkStage::kBroken);
  key = text.substr(begin, end - begin);
  walk.pos = pos;
  walk.stage = WalkStage::kAtValue;
  return true;
}

bool next_key(ObjectWalk& walk, std::string_view& key) {
  if (walk.stage == WalkStage::kAtValue && (walk.text[walk.pos] | 0x20) == '{') {
    ++walk.pos;
    walk.open = 1;
    walk.stage = WalkStage::kInside;
  }
  if (walk.stage == WalkStage::kInside && !pass_brackets(walk)) return false;
  if (walk.stage <= WalkStage::kAtValue && next_compact_key(walk, key)) return true;
  return next_spaced_key(walk, key);
}

bool next_place(ArrayWalk& walk) {
  if (!next_item(walk, '[', ']')) return false;
  walk.stage = WalkStage::kAtValue;
  return true;
}

bool next_element(ArrayWalk& walk, std::string_view& element) {
  if (!next_place(walk)) return false;
  const std::string_view value = take(walk);
  if (!value.empty()) element = value;
  return !value.empty();
}

void leave(ArrayWalk& array, const ObjectWalk& inner) { leave_inner(array, inner); }
void leave(ObjectWalk& object, const ObjectWalk& inner) { leave_inner(object, inner); }
void leave(ObjectWalk& object, const ArrayWalk& inner) { leave_inner(object, inner); }

std::string_view take_value(ObjectWalk& walk) { return take(walk); }

void take_into(ObjectWalk& walk, std::int64_t& out) { (void)read_int(take(walk), out); }

void take_into(ObjectWalk& walk, std::int32_t& out) {
  constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
  std::int64_t value = 0;
  if (!read_int(take(walk), value)) return;
  out = static_cast<std::int32_t>(std::clamp<std::int64_t>(value, 0, kMost));
}

void take_into(ObjectWalk& walk, bool& out) {
  const std::string_view value = take(walk);
  if (value == "true" || value == "false") out = value == "true";
}

void take_into(ObjectWalk& walk, std::string& out) { (void)read_string(take(walk), out); }

void take_into(ObjectWalk& walk, std::optional<std::string>& out) {
  std::string text;
  if (read_string(take(walk), text)) out = std::move(text);
}

ObjectWalk walk_to(std::string_view object, std::string_view key) {
  ObjectWalk walk{object};
  for (std::string_view found; next_key(walk, found) && found != key;) {
  }
  return walk;
}

std::string_view object_member(std::string_view object, std::string_view key) {
  ObjectWalk walk = walk_to(object, key);
  return take(walk);
}

std::string_view member_here(std::string_view object, std::string_view key) {
  return value_here(walk_to(object, key));
}

bool is_object(std::string_view value) { return !value.empty() && value.front() == '{'; }

std::string string_of(std::string_view value) {
  std::string text;
  (void)read_string(value, text);
  return text;
}

std::string_view find_object(std::string_view text, std::string_view start, std::string& copy) {
  const std::size_t at = find_bytes(text, start);
  if (at == kNotFound) return {};
  if (at > 0 && text[at - 1] == '{') return text.substr(at - 1);
  copy.assign("{").append(text.substr(at));
  return copy;
}

std::string_view object_type(std::string_view object) {
  const std::string_view type = object_member(object, "@type");
  return type.size() >= 2 && type.front() == '"' ? type.substr(1, type.size() - 2)
                                                 : std::string_view();
}

std::string member_string(std::string_view object, std::string_view key) {
  return string_of(object_member(object, key));
}

std::int64_t member_int(std::string_view object, std::string_view key, std::int64_t absent) {
  std::int64_t value = absent;
  (void)read_int(object_member(object, key), value);
  return value;
}

std::int64_t member_int64(std::string_view object, std::string_view key, std::int64_t absent) {
  std::string_view value = object_member(object, key);
  if (value.size() >= 2 && value.front() == '"') value = value.substr(1, value.size() - 2);
  std::int64_t number = absent;
  (void)read_int(value, number);
  return number;
}

bool member_true(std::string_view object, std::string_view key) {
  return object_member(object, key) == "true";
}

std::string_view member_object(std::string_view object, std::string_view key) {
  const std::string_view value = object_member(object, key);
  return is_object(value) ? value : std::string_view();
}

std::string_view member_array(std::string_view object, std::string_view key) {
  const std::string_view value = object_member(object, key);
  return !value.empty() && value.front() == '[' ? value : std::string_view();
}
