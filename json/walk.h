// A walk over the members of one object, in text order: key and raw value, nothing copied.
// A value comes from the object that it belongs to, however deep its neighbours nest, and the
// object is passed over once. Views point into the caller's text. Pure functions, any thread.
//
// Text that is no object, or an object that breaks off, ends the walk early; what was complete
// before the break has been delivered.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

struct JsonMember {
  std::string_view key;    // between the quotes, still escaped
  std::string_view value;  // raw: a string with its quotes, a number, an object with its braces
};

// Where a walk stands: between items, before a value not yet passed over, past the closing byte,
// or nowhere, because the text broke off or is no JSON.
enum class WalkStage : unsigned char { kBetween, kAtValue, kClosed, kBroken };

struct ObjectWalk {
  std::string_view text;  // begins with the opening brace; what follows the object is not looked at
  std::size_t pos = 0;    // 0: not begun
  WalkStage stage = WalkStage::kBetween;
};
// The next member, or false at the end.
bool next_member(ObjectWalk& walk, JsonMember& member);

struct ArrayWalk {
  std::string_view text;  // begins with the opening bracket
  std::size_t pos = 0;
  WalkStage stage = WalkStage::kBetween;
};
// The next element's raw value (null elements included), or false at the end.
bool next_element(ArrayWalk& walk, std::string_view& element);

// The same in two steps, for a large text whose nested values are walked as well: the end of a
// value that is entered need not be looked for first, so all of the text is passed over once.
//
//   while (next_key(walk, key)) {
//     if (key == "content") {
//       ObjectWalk inner{value_here(walk)};
//       ... next_key(inner, ...) as far as wanted ...
//       leave(walk, inner);
//     } else if (key == "id") {
//       id = value_int(take_value(walk));
//     }                      // a value left alone is skipped by the next call
//   }
//
// Stops before the next member's value, or gives false at the end.
bool next_key(ObjectWalk& walk, std::string_view& key);
// Stops before the next element, or gives false at the end.
bool next_place(ArrayWalk& walk);
// The raw value that the walk stands before, which is passed over; empty when it breaks off.
std::string_view take_value(ObjectWalk& walk);
std::string_view take_value(ArrayWalk& walk);
// The text from that value on, to its own end and beyond. Only for a walk to begin with, and for
// value_int and value_int64, which read no further than the number.
template <class Walk>
std::string_view value_here(const Walk& walk) {
  return walk.stage == WalkStage::kAtValue ? walk.text.substr(walk.pos) : std::string_view();
}
// Offset just past the object or array that a walk has begun, wherever the walk stands in it; 0
// when it has not begun, kNotFound when the text breaks off.
std::size_t walk_end(const ObjectWalk& walk);
std::size_t walk_end(const ArrayWalk& walk);
// Goes on behind the value that `inner` walks. One that never began (no object there, or no
// array) is skipped like any value left alone.
template <class Outer, class Inner>
void leave(Outer& outer, const Inner& inner) {
  const std::size_t length = walk_end(inner);
  if (length == 0) return;
  const bool broken = length > inner.text.size();
  outer.pos = broken ? outer.text.size() : outer.pos + length;
  outer.stage = broken ? WalkStage::kBroken : WalkStage::kBetween;
}

// A walk over an object that usually begins with `start`, such as {"@type":"file" in a row: where
// it does, it goes on from there, for that member is known. `start` ends with a whole value.
inline ObjectWalk walk_behind(std::string_view object, std::string_view start) {
  return {object, object.compare(0, start.size(), start) == 0 ? start.size() : 0};
}
// key == name, for a name that is known when compiling: a few instructions instead of a call.
template <std::size_t size>
bool is_key(std::string_view key, const char (&name)[size]) {
  return key.size() == size - 1 && std::memcmp(key.data(), name, size - 1) == 0;
}

// The raw value of the object's own member `key`, or empty.
std::string_view object_member(std::string_view object, std::string_view key);
// Offset just past the value (string, number, literal, object, array) that begins at `pos`;
// kNotFound (json/search.h) when it breaks off.
std::size_t skip_value(std::string_view text, std::size_t pos);

// Readers of raw values. Wrong kind or empty: the absent result given.
std::string value_string(std::string_view value);  // unescaped; empty when absent
std::int64_t value_int(std::string_view value, std::int64_t absent = -1);    // bare digits
std::int64_t value_int64(std::string_view value, std::int64_t absent = -1);  // bare or quoted
bool value_true(std::string_view value);                                     // the literal true
bool value_is_object(std::string_view value);
// The object's "@type" without quotes when it is the first member or a later one of its own;
// a view into the text, empty when absent.
std::string_view object_type(std::string_view object);

// Shorthands: object_member and a reader in one.
std::string member_string(std::string_view object, std::string_view key);
std::int64_t member_int(std::string_view object, std::string_view key, std::int64_t absent = -1);
std::int64_t member_int64(std::string_view object, std::string_view key, std::int64_t absent = -1);
bool member_true(std::string_view object, std::string_view key);
// The member when it is an object, else empty.
std::string_view member_object(std::string_view object, std::string_view key);
// The member when it is an array, else empty.
std::string_view member_array(std::string_view object, std::string_view key);
