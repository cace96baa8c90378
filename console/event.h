// One line of the events file, taken apart. Lines are flat JSON objects; the few arrays in them
// stay text until somebody asks for their items.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

struct Event {
  // By name: a string's characters, anything else as it stands in the line; clean. Of two members
  // of one name the last counts.
  std::map<std::string, std::string, std::less<>> members;

  // What stands under the name; empty, 0 (or `absent`) and false when it is not there.
  const std::string& str(std::string_view name) const;
  std::int64_t num(std::string_view name, std::int64_t absent = 0) const;
  bool on(std::string_view name) const { return str(name) == "true"; }
  // True for anything but "", 0 and false.
  bool says(std::string_view name) const;
};

// False for anything that is not one JSON object, such as a line that was torn; `event` is then
// unspecified.
bool read_object(std::string_view line, Event& event);
// The items of an array's text, each as it stands there.
std::vector<std::string_view> array_items(std::string_view array);
