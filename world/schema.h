// The part of TDLib's schema that the world speaks, and the texts of its objects: members come in
// the schema's order, what is not given has its empty value, and an object that may be null is
// left out. Under the world's lock only.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace world {

struct Member {
  std::string_view name;
  std::string_view kind;  // as in schema.inc: one letter and, for objects, the type; "a" before it
};

struct Type {
  std::string_view class_name;  // "()": a request; "-": the schema has no class for it
  std::vector<Member> members;
};

// Null when the world's part of the schema has no such type.
const Type* find_type(std::string_view name);

// The value of a member: text (of strings, or of whole numbers, objects and arrays), a number, or a
// flag.
struct Value {
  std::string_view text;
  std::int64_t number = 0;
  double real = 0;
  Value() = default;
  Value(std::int64_t n) : number(n) {}      // NOLINT: values are written without ceremony
  Value(int n) : number(n) {}               // NOLINT
  Value(bool b) : number(b ? 1 : 0) {}      // NOLINT
  Value(double d) : real(d) {}              // NOLINT
  Value(std::string_view t) : text(t) {}    // NOLINT
  Value(const std::string& t) : text(t) {}  // NOLINT
  Value(const char* t) : text(t) {}         // NOLINT
};

// The text of an object. `shape` is a literal, known by its address from its first use on: the
// type, and behind it the members that are not empty.
//   name        has the next of the values
//   name=%c     has the value with the number c - 'a'
//   name=JSON   a constant; its strings stand in single quotes
//   name=@type  an object of that type with empty members
//   a.b         the member b of the member a
std::string object(const char* shape, const Value* values);
std::string object(const char* shape, std::initializer_list<Value> values = {});
// An object without members, whose type is not a literal.
std::string bare_object(std::string_view type);

// The text of an array, item by item.
struct List {
  std::string text = "[";
  // Where to append the next item.
  std::string& next() { return text.size() > 1 ? text += ',' : text; }
  // The whole array, when all are in it.
  const std::string& done() { return text += ']'; }
};
// The same with what `text_of` gives for each of the items.
template <class Items, class TextOf>
std::string array_text(const Items& items, TextOf text_of) {
  List list;
  for (const auto& item : items) list.next() += text_of(item);
  return list.done();
}

// The text of an array of ids.
std::string ids_text(const std::vector<std::int64_t>& ids);

// With the quotes; all that is not ASCII as \uXXXX. The text is valid UTF-8.
void append_string(std::string& out, std::string_view text);

}  // namespace world
