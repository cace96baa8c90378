// Requests: JSON text read into a tree, held against the schema, refused in TDLib's own words.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace world {

struct Json {
  enum Kind { kNull, kNumber, kBoolean, kString, kArray, kObject };
  Kind kind = kNull;
  std::string name;         // of an object's member
  std::string text;         // of strings, unescaped; of anything but null, as it came
  std::vector<Json> items;  // of arrays and objects

  bool is_null() const { return kind == kNull; }
  // This, as a number, also one in quotes; 0 for anything else.
  std::int64_t number() const;
  // The member of that name, or a null.
  const Json& operator[](std::string_view member) const;
  std::int64_t number(std::string_view member) const { return (*this)[member].number(); }
  std::string_view string(std::string_view member) const { return (*this)[member].text; }
  bool boolean(std::string_view member) const;
  std::string_view type() const { return string("@type"); }
};

// False, with TDLib's words in `error`, when the text is no JSON.
bool read_json(std::string_view text, Json& json, std::string& error);

// The words with which TDLib refuses the request; empty when every member has its type.
std::string check_request(const Json& request);

// True when a string in it is no UTF-8.
bool has_bad_string(const Json& json);

}  // namespace world
