// The part of TDLib's schema that the world speaks, and the texts of its objects. A Shape is one
// kind of object with its constant members already written, so that building an object is a few
// copies: members come in the schema's order, what is not given has its empty value, and an
// object that may be null is left out.
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
  std::string_view name;
  std::string_view class_name;  // "()": a request; "-": the schema has no class for it
  std::vector<Member> members;
};

// Null when the world's part of the schema has no such type.
const Type* find_type(std::string_view name);

// A value for a slot: text (of strings, or of whole objects and arrays), a number, or a flag.
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

class Shape {
 public:
  // `members`: what is not empty, separated by blanks.
  //   name          a slot; values are given in the order of the slots in this list
  //   name=%c       a slot with the number c - 'a'
  //   name=JSON     a constant; its strings stand in single quotes
  //   name=@type    an object of that type with empty members
  //   a.b=...       a member of the member a
  Shape(std::string_view type, std::string_view members);

  void append(std::string& out, std::initializer_list<Value> values) const {
    append(out, values.begin());
  }
  void append(std::string& out, const Value* values) const;
  std::string text(std::initializer_list<Value> values) const;

 private:
  struct Slot {
    std::string before;    // what stands between the last slot and this one
    std::string_view key;  // for what may be left out: ,"key":
    char kind = 0;
    std::size_t value = 0;  // which of the values
  };
  friend struct ShapeBuilder;
  std::vector<Slot> slots_;
  std::string end_;
};

void append_number(std::string& out, std::int64_t number);
// With the quotes; all that is not ASCII as \uXXXX. The text is valid UTF-8.
void append_string(std::string& out, std::string_view text);

}  // namespace world
