// An answer of TDLib and the tag by which it finds its way back. The tag is the request's
// "@extra": a prefix that ends in a colon and fields separated by colons, or a bare word.
// Everything an answer's handler needs is in the tag; no table of requests in flight is kept.
// Views live as long as the handler's call.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

struct Answer {
  std::string_view text;    // the whole object
  std::string_view tag;     // unescaped, whole
  std::string_view fields;  // what follows the tag's prefix, taken from the front by the handler
};

struct TdError {
  std::string_view text;
  std::string_view tag;
  std::string_view fields;
  std::int64_t code = 0;  // -1 when the error has none
  std::string message;    // may be empty
};

// The text's tag, taken out and unescaped; empty when it has none. TDLib writes non-ASCII bytes
// as escapes, in the echoed tag, too, so a tag is compared only after this.
std::string take_tag(std::string_view text);
// Takes the next field off the front of `fields`; empty when there is none left.
std::string_view next_field(std::string_view& fields);
// The next field as a number; `absent` when it is missing or does not parse.
std::int64_t next_field_i64(std::string_view& fields, std::int64_t absent = 0);

// "<prefix>:<field>:<field>..."
std::string make_tag(std::string_view prefix, std::int64_t field);
std::string make_tag(std::string_view prefix, std::int64_t first, std::int64_t second);
std::string make_tag(std::string_view prefix, std::int64_t first, std::int64_t second,
                     std::int64_t third);
