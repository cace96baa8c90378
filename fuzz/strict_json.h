// JSON as its grammar has it and nothing beyond, read by other means than the program's own: what
// the fuzz targets hold the program's reading and writing against. Bytes from 0x80 on may stand in
// strings as they are, for nothing here validates UTF-8.
#pragma once

#include <string_view>
#include <vector>

struct Member {
  std::string_view key;  // between its quotes, escapes as they are
  std::string_view value;
};

// Whether `text` is one JSON value.
bool is_json(std::string_view text);
// The members of the outermost object; empty when `text` is no object.
std::vector<Member> members_of(std::string_view text);
// The value of the first member with this key; empty when there is none.
std::string_view value_of(const std::vector<Member>& members, std::string_view key);
