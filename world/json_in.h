// Requests: JSON text read into a tree, held against the schema, refused in TDLib's own words.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace world {

struct Json {
  enum Kind { kNull, kNumber, kBoolean, kString, kArray, kObject };
  Kind kind = kNull;
  bool flag = false;
  std::string text;  // of strings, unescaped; of numbers, as they came
  std::vector<Json> items;
  std::vector<std::pair<std::string, Json>> members;

  // The member of that name, or a null.
  const Json& operator[](std::string_view name) const;
  // A number, also one in quotes; 0 for anything else.
  std::int64_t number(std::string_view name) const;
  std::string_view string(std::string_view name) const;
  bool boolean(std::string_view name) const;
  std::string_view type() const { return string("@type"); }
};

std::int64_t number_of(const Json& json);

// False, with TDLib's words in `error`, when the text is no JSON.
bool read_json(std::string_view text, Json& json, std::string& error);

// The words with which TDLib refuses the request; empty when every member has its type.
std::string check_request(const Json& request);

void append_json(std::string& out, const Json& json);

}  // namespace world
