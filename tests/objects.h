// TDLib objects that transcripts and benchmarks share: tests/objects.txt, one a line,
//
//   name {"@type":...}
//
// In a transcript `$name` stands for the object, `$name(a,b)` for the object with a and b in the
// place of its $1 and $2. An object may be made of others. `$times(3,ab,)` stands for ab,ab,ab,
#pragma once

#include <string>
#include <string_view>
#include <vector>

// `text` with every object in the place of its name; other texts behind a '$' stay.
std::string expand_objects(std::string_view text);

// The `count` longest of what TDLib gives in all transcripts, longest first.
std::vector<std::string> longest_objects(std::size_t count);
