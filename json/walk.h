// A walk over the members of one object, in text order, and the readers of what they hold: the one
// way in which objects are read. A value comes from the object that it belongs to, however deep
// its neighbours nest. Views point into the caller's text. Pure functions, any thread.
//
// An object is a view from its brace on; what follows its closing brace is not looked at. Where
// the text breaks off inside it, the members that came whole count, and nothing else does: half a
// number or string is absent, an object or array reaches to the end of the text and is read by the
// same rule.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

// Where a walk stands: between items, before a value not yet passed over, within a value that was
// left, past the closing byte, or nowhere, because the text broke off or is no JSON.
enum class WalkStage : unsigned char { kBetween, kAtValue, kInside, kClosed, kBroken };

struct ObjectWalk {
  std::string_view text;
  std::size_t pos = 0;  // 0: not begun
  WalkStage stage = WalkStage::kBetween;
  std::uint32_t open = 0;  // inside a value: its brackets open at `pos`
};
struct ArrayWalk {
  std::string_view text;  // begins with the opening bracket
  std::size_t pos = 0;
  WalkStage stage = WalkStage::kBetween;
  std::uint32_t open = 0;
};

// Stops before the next member's value, or gives false at the end. `key` is what stands between
// the quotes, still escaped. A value left alone is skipped by the next call.
bool next_key(ObjectWalk& walk, std::string_view& key);
// The next element's raw value (null elements included), or false at the end.
bool next_element(ArrayWalk& walk, std::string_view& element);

// The value that the walk stands before, which is passed over: a string with its quotes, a number,
// an object with its braces. Empty when it breaks off, unless it is an object or an array.
std::string_view take_value(ObjectWalk& walk);
// The text from that value on, to its own end and beyond, which is not passed over: for an array
// or object so large that its end is not looked for twice.
template <class Walk>
std::string_view value_here(const Walk& walk) {
  return walk.stage == WalkStage::kAtValue ? walk.text.substr(walk.pos) : std::string_view();
}

// A large array's objects where they stand: stops before the next element, or gives false at the
// end; `leave` goes on behind the object that `inner`, begun, has walked as far as was wanted.
//
//   while (next_place(array)) {
//     ObjectWalk walk{value_here(array)};
//     ...
//     leave(array, walk);
//   }
bool next_place(ArrayWalk& walk);
void leave(ArrayWalk& array, const ObjectWalk& inner);
// The same for what a member holds.
void leave(ObjectWalk& object, const ObjectWalk& inner);
void leave(ObjectWalk& object, const ArrayWalk& inner);

// The value as what it is wanted to be. Another kind of value, or none: `out` stays as it was.
void take_into(ObjectWalk& walk, std::int64_t& out);  // a bare number that fits
void take_into(ObjectWalk& walk, std::int32_t& out);  // the same; 0 for less, cut to what fits
void take_into(ObjectWalk& walk, bool& out);
void take_into(ObjectWalk& walk, std::string& out);  // unescaped
void take_into(ObjectWalk& walk, std::optional<std::string>& out);

// An object's members by a table: key, and what reads the value that the walk stands before.
//
//   constexpr Row<Size> kSizeRows[] = {{"photo", object_into<&Size::photo>},
//                                      {"width", value_into<&Size::w>},
//                                      {"height", value_into<&Size::h>}};
//   Size size;
//   read_members<kSizeRows>(size_json, size);
template <class Record>
struct Row {
  std::string_view key;
  void (*read)(ObjectWalk& walk, Record& record);
};

template <auto kField, class Record>
void value_into(ObjectWalk& walk, Record& record) {
  take_into(walk, record.*kField);
}
// A view: of the object or array with its braces, of a string without its quotes, still escaped.
template <auto kField, class Record>
void object_into(ObjectWalk& walk, Record& record) {
  const std::string_view value = take_value(walk);
  if (!value.empty() && value.front() == '{') record.*kField = value;
}
template <auto kField, class Record>
void array_into(ObjectWalk& walk, Record& record) {
  const std::string_view value = take_value(walk);
  if (!value.empty() && value.front() == '[') record.*kField = value;
}
template <auto kField, class Record>
void word_into(ObjectWalk& walk, Record& record) {
  const std::string_view value = take_value(walk);
  if (value.size() >= 2 && value.front() == '"') record.*kField = value.substr(1, value.size() - 2);
}

// Reads the members that have a row, each where it stands first, and stops when every row has been
// read or the object ends. What was not read stays as it was.
template <const auto& kRows, class Record>
void read_members(ObjectWalk& walk, Record& record);
template <const auto& kRows, class Record>
void read_members(std::string_view object, Record& record) {
  ObjectWalk walk{object};
  read_members<kRows>(walk, record);
}

// The object that the walk stands before by rows of its own, read where it stands, so that it is
// passed over only once; as the reader of a row:
//   {"thumbnail", members_into<&Video::thumbnail, kThumbnailRows>}
template <const auto& kRows, class Record>
void read_inner(ObjectWalk& walk, Record& record) {
  ObjectWalk inner{value_here(walk)};
  read_members<kRows>(inner, record);
  leave(walk, inner);
}
template <auto kField, const auto& kRows, class Record>
void members_into(ObjectWalk& walk, Record& record) {
  read_inner<kRows>(walk, record.*kField);
}
// What a function makes of the value.
template <auto kField, auto kRead, class Record>
void result_into(ObjectWalk& walk, Record& record) {
  record.*kField = kRead(walk);
}

// One member alone, of an object or an array's element. Only what stands before it is passed over.
// A walk that stands before its value; there is none: at the end.
ObjectWalk walk_to(std::string_view object, std::string_view key);
std::string_view object_member(std::string_view object, std::string_view key);  // raw, or empty
// The same up to the end of the text: for an object or array so large that it is read where it
// stands, its end not looked for.
std::string_view member_here(std::string_view object, std::string_view key);
std::string member_string(std::string_view object, std::string_view key);  // unescaped
std::int64_t member_int(std::string_view object, std::string_view key, std::int64_t absent = -1);
// As above, and also a quoted decimal string.
std::int64_t member_int64(std::string_view object, std::string_view key, std::int64_t absent = -1);
bool member_true(std::string_view object, std::string_view key);
// The member when it is an object, or an array; else empty.
std::string_view member_object(std::string_view object, std::string_view key);
std::string_view member_array(std::string_view object, std::string_view key);
// The object's own "@type" without quotes; empty when absent.
std::string_view object_type(std::string_view object);

// The first object in `text` that begins with the members `start`, from its brace on; empty when
// there is none. Where other members or blanks stand in front of `start`, they do not count, and
// `copy` holds the object without them.
std::string_view find_object(std::string_view text, std::string_view start, std::string& copy);

// Offset just past the value (string, number, literal, object, array) that begins at `pos`;
// kNotFound (json/search.h) when it breaks off.
std::size_t skip_value(std::string_view text, std::size_t pos);
// Of a raw value: the unescaped string that it is, empty when it is none; whether it is an object.
std::string string_of(std::string_view value);
bool is_object(std::string_view value);

// key == name, for a name that is known when compiling: a few instructions instead of a call.
inline bool is_key(std::string_view key, std::string_view name) {
  return key.size() == name.size() && std::memcmp(key.data(), name.data(), name.size()) == 0;
}

template <const auto& kRows, class Record, std::size_t... kRow>
void read_one_member(ObjectWalk& walk, std::string_view key, Record& record, unsigned& unread,
                     std::index_sequence<kRow...> /*rows*/) {
  (void)(((unread & 1U << kRow) != 0 && is_key(key, kRows[kRow].key) &&
          (kRows[kRow].read(walk, record), unread &= ~(1U << kRow), true)) ||
         ...);
}

// A bit for each length that a row's key has, modulo 32: most other keys have another.
template <const auto& kRows>
constexpr std::uint32_t key_lengths() {
  std::uint32_t lengths = 0;
  for (const auto& row : kRows) lengths |= std::uint32_t{1} << row.key.size() % 32;
  return lengths;
}

template <const auto& kRows, class Record>
void read_members(ObjectWalk& walk, Record& record) {
  constexpr std::size_t kCount = std::size(kRows);
  constexpr std::uint32_t kLengths = key_lengths<kRows>();
  static_assert(kCount < 32);
  unsigned unread = (1U << kCount) - 1;
  for (std::string_view key; unread != 0 && next_key(walk, key);) {
    if ((kLengths >> key.size() % 32 & 1) == 0) continue;
    read_one_member<kRows>(walk, key, record, unread, std::make_index_sequence<kCount>());
  }
}
