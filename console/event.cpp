#include "console/event.h"

#include <charconv>

#include "console/text.h"
#include "json/walk.h"

const std::string& Event::str(std::string_view name) const {
  static const std::string kEmpty;
  const auto it = members.find(name);
  return it == members.end() ? kEmpty : it->second;
}

std::int64_t Event::num(std::string_view name, std::int64_t absent) const {
  const std::string& value = str(name);
  std::int64_t number = absent;
  std::from_chars(value.data(), value.data() + value.size(), number);
  return number;
}

bool Event::says(std::string_view name) const {
  const std::string& value = str(name);
  return !value.empty() && value != "0" && value != "false";
}

bool read_object(std::string_view line, Event& event) {
  event.members.clear();
  ObjectWalk walk{line};
  for (std::string_view key; next_key(walk, key);) {
    const std::string_view value = take_value(walk);
    const bool text = !value.empty() && value[0] == '"';
    event.members[std::string(key)] = clean(text ? string_of(value) : value);
  }
  return walk.stage == WalkStage::kClosed;
}

std::vector<std::string_view> array_items(std::string_view array) {
  std::vector<std::string_view> items;
  ArrayWalk walk{array};
  for (std::string_view item; next_element(walk, item);) items.push_back(item);
  return items;
}
