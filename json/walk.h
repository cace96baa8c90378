// A walk over the members of one object, in text order: key and raw value, nothing copied.
// A value comes from the object that it belongs to, however deep its neighbours nest, and the
// object is passed over once. Views point into the caller's text. Pure functions, any thread.
//
// Text that is no object, or an object that breaks off, ends the walk early; what was complete
// before the break has been delivered.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

struct JsonMember {
  std::string_view key;    // between the quotes, still escaped
  std::string_view value;  // raw: a string with its quotes, a number, an object with its braces
};

struct ObjectWalk {
  std::string_view text;  // begins with the opening brace
  std::size_t pos = 0;    // 0: not begun
};
// The next member, or false at the end.
bool next_member(ObjectWalk& walk, JsonMember& member);

struct ArrayWalk {
  std::string_view text;  // begins with the opening bracket
  std::size_t pos = 0;
};
// The next element's raw value (null elements included), or false at the end.
bool next_element(ArrayWalk& walk, std::string_view& element);

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
