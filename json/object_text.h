// The text of one object that may have broken off. A whole object is read by its own members; of
// a broken one nobody can tell which member belongs to which object, so it is read by the keyed
// scanners (json/scan.h) up to the end of its text. Views point into the caller's text. Pure
// functions, any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

struct ObjectText {
  std::string_view text;  // from its brace; empty: no object
  bool whole = false;
};

// The object whose brace stands at `begin`; broken, and all the rest of the text, when no brace
// stands there or it does not close.
ObjectText object_text_at(std::string_view text, std::size_t begin);
// A value that a walk has delivered: whole when it is an object, else no object.
ObjectText object_text_of(std::string_view value);

// Reads of one member. Absent, or of another kind: the absent result.
std::int64_t own_int(const ObjectText& object, std::string_view key, std::int64_t absent = -1);
std::string own_string(const ObjectText& object, std::string_view key);
bool own_true(const ObjectText& object, std::string_view key);
ObjectText own_object(const ObjectText& object, std::string_view key);
// Its "@type" without quotes; empty when absent.
std::string_view own_type(const ObjectText& object);
