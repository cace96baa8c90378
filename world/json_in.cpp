#include "world/json_in.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <iterator>

#include "world/schema.h"

namespace world {

const Json& Json::operator[](std::string_view member) const {
  static const Json null;
  for (const Json& item : items) {
    if (item.name == member) return item;
  }
  return null;
}

std::int64_t Json::number() const {
  std::int64_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

bool Json::boolean(std::string_view member) const {
  const Json& value = (*this)[member];
  return value.kind == kBoolean ? value.text == "true" : value.number() != 0;
}

namespace {

constexpr int kMostNested = 100;

struct Reader {
  std::string_view rest;
  std::string& error;

  bool fail(std::string_view why) {
    error = why;
    return false;
  }
  bool skip(std::string_view word) {
    if (rest.substr(0, word.size()) != word) return false;
    rest.remove_prefix(word.size());
    return true;
  }
  void skip_blanks() {
    rest.remove_prefix(std::min(rest.find_first_not_of(" \t\r\n"), rest.size()));
  }

  bool word(std::string_view word, Json& json, Json::Kind kind) {
    json.kind = kind;
    json.text = kind == Json::kBoolean ? word : "";
    return skip(word) || fail("Token starts with '" + std::string(word, 0, 1) + "' -- " +
                              std::string(word) + " expected");
  }

  bool hex_unit(unsigned& unit) {
    const char* end = rest.data() + std::min<std::size_t>(rest.size(), 4);
    if (rest.size() < 4 || std::from_chars(rest.data(), end, unit, 16).ptr != end) return false;
    rest.remove_prefix(4);
    return true;
  }

  bool escape(std::string& out) {
    static constexpr std::string_view kFrom = "bfnrt", kTo = "\b\f\n\r\t";
    if (!skip("u")) {
      const char c = rest.empty() ? '\0' : rest[0];
      rest.remove_prefix(rest.empty() ? 0 : 1);
      const std::size_t known = kFrom.find(c);
      out += known != std::string_view::npos ? kTo[known] : c;
      return true;
    }
    unsigned unit = 0, low = 0;
    if (!hex_unit(unit)) return fail("\\u has less than 4 symbols");
    if (unit >= 0xD800 && unit < 0xDC00 && skip("\\u")) {
      if (!hex_unit(low) || low < 0xDC00 || low > 0xDFFF) return fail("Wrong surrogate pair");
      unit = 0x10000 + ((unit & 0x3FF) << 10) + (low & 0x3FF);
    }
    if (unit < 0x80) {
      out += static_cast<char>(unit);
      return true;
    }
    const int more = unit < 0x800 ? 1 : unit < 0x10000 ? 2 : 3;
    out += static_cast<char>((0xF00 >> more & 0xFF) | unit >> 6 * more);
    for (int k = more - 1; k >= 0; --k) out += static_cast<char>(0x80 | (unit >> 6 * k & 0x3F));
    return true;
  }

  bool string(std::string& out) {
    if (!skip("\"")) return fail("Opening '\"' expected");
    while (true) {
      const std::size_t end = rest.find_first_of("\"\\");
      if (end == std::string_view::npos) return fail("Closing '\"' not found");
      out.append(rest, 0, end);
      const bool closes = rest[end] == '"';
      rest.remove_prefix(end + 1);
      if (closes) return true;
      if (!escape(out)) return false;
    }
  }

  // The items of an array or an object, whose opening bracket has been read.
  bool list(Json& json, int depth) {
    const bool object = json.kind == Json::kObject;
    const std::string_view close = object ? "}" : "]";
    skip_blanks();
    if (skip(close)) return true;
    while (true) {
      if (rest.empty()) return fail("Unexpected string end");
      Json& item = json.items.emplace_back();
      if (object) {
        if (!string(item.name)) return false;
        skip_blanks();
        if (!skip(":")) return fail("':' expected");
      }
      if (!value(item, depth)) return false;
      skip_blanks();
      if (skip(close)) return true;
      if (rest.empty()) return fail("Unexpected string end");
      if (!skip(",")) {
        return fail(std::string("Unexpected symbol while parsing JSON ") +
                    (object ? "Object" : "Array"));
      }
      skip_blanks();
    }
  }

  bool value(Json& json, int depth) {
    if (depth < 0) return fail("Too big object depth");
    skip_blanks();
    const char c = rest.empty() ? '\0' : rest[0];
    switch (c) {
      case '\0': return fail("Unexpected string end");
      case 'f': return word("false", json, Json::kBoolean);
      case 't': return word("true", json, Json::kBoolean);
      case 'n': return word("null", json, Json::kNull);
      case '"': json.kind = Json::kString; return string(json.text);
      case '[':
      case '{':
        json.kind = c == '[' ? Json::kArray : Json::kObject;
        rest.remove_prefix(1);
        return list(json, depth - 1);
      default: return number(json);
    }
  }

  bool number(Json& json) {
    const char c = rest[0];
    const std::size_t size = std::min(rest.find_first_not_of("+-.eE0123456789"), rest.size());
    if (size == 0 || c == 'e' || c == 'E') {
      return fail(c > 0 && c < 127 ? std::string("Unexpected symbol '") + c + "'"
                                   : "Unexpected symbol");
    }
    json.kind = Json::kNumber;
    json.text = rest.substr(0, size);
    rest.remove_prefix(size);
    return true;
  }
};

std::string expected(std::string_view what, const Json& json) {
  static constexpr const char* kNames[] = {"Null",   "Number", "Boolean",
                                           "String", "Array",  "Object"};
  return "Expected " + std::string(what) + ", but receive " + kNames[json.kind];
}

// The schema calls int32 and int53 one kind; in requests these are the small ones.
bool is_small(std::string_view member) {
  static constexpr std::string_view kSmall[] = {
      "limit",    "offset",     "priority",  "file_id", "port",          "duration", "length",
      "mute_for", "api_id",     "min_layer", "call_id", "width",         "height",   "max_layer",
      "proxy_id", "sending_id", "ttl",       "count",   "immunity_delay"};
  return std::find(std::begin(kSmall), std::end(kSmall), member) != std::end(kSmall);
}

std::string check_integer(const Json& json, bool small) {
  if (json.kind != Json::kNumber && json.kind != Json::kString) {
    return expected("String or Number", json);
  }
  std::int64_t number = 0;
  const char* end = json.text.data() + json.text.size();
  const auto read = std::from_chars(json.text.data(), end, number);
  const bool fits = !small || (number >= INT32_MIN && number <= INT32_MAX);
  if (read.ec == std::errc() && read.ptr == end && fits) return {};
  return "Can't parse as an integer string \"" + json.text + "\"";
}

std::string check_members(const Json& object, const Type& type);

std::string check_object(const Json& json, std::string_view wanted) {
  if (json.kind != Json::kObject) return expected("Object", json);
  const Type* type = find_type(wanted);
  if (type == nullptr) {  // a class: the object says which of its types it is
    if (json["@type"].is_null()) return "Can't find field \"@type\"";
    type = find_type(json.type());
    if (type == nullptr || type->class_name != wanted)
      return "Unknown class \"" + std::string(json.type()) + "\"";
  }
  return check_members(json, *type);
}

std::string check_value(const Json& json, std::string_view kind, bool small) {
  const auto wants = [&](bool fits, const char* what) {
    return fits ? std::string() : expected(what, json);
  };
  std::string error;
  if (json.is_null()) return error;
  switch (kind[0]) {
    case 'i':
    case 'l': return check_integer(json, small);
    case 'b':
      return wants(json.kind == Json::kBoolean || check_integer(json, false).empty(), "Boolean");
    case 'd': return wants(json.kind == Json::kNumber, "Number");
    case 's':
    case 'y': return wants(json.kind == Json::kString, "String");
    case 'a':
      if (json.kind != Json::kArray) return expected("Array", json);
      for (const Json& item : json.items) {
        if (error.empty()) error = check_value(item, kind.substr(1), small);
      }
      return error;
    default: return check_object(json, kind.substr(1));
  }
}

std::string check_members(const Json& object, const Type& type) {
  std::string error;
  for (const Member& member : type.members) {
    if (error.empty()) error = check_value(object[member.name], member.kind, is_small(member.name));
  }
  return error;
}

bool is_utf8(std::string_view text) {
  for (std::size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i++]);
    int more = 0;
    if (lead >= 0xC2 && lead < 0xF5) more = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
    if (lead >= 0x80 && more == 0) return false;
    // Halves of a pair are no characters.
    if (lead == 0xED && i < text.size() && static_cast<unsigned char>(text[i]) >= 0xA0)
      return false;
    for (; more > 0; --more, ++i) {
      if (i >= text.size() || (static_cast<unsigned char>(text[i]) & 0xC0) != 0x80) return false;
    }
  }
  return true;
}

}  // namespace

bool has_bad_string(const Json& json) {
  return (json.kind == Json::kString && !is_utf8(json.text)) ||
         std::any_of(json.items.begin(), json.items.end(), has_bad_string);
}

bool read_json(std::string_view text, Json& json, std::string& error) {
  Reader reader{text, error};
  if (!reader.value(json, kMostNested)) return false;
  reader.skip_blanks();
  return reader.rest.empty() || reader.fail("Expected string end");
}

std::string check_request(const Json& request) {
  const Json& name = request["@type"];
  if (name.is_null()) return "Can't find field \"@type\"";
  if (name.kind == Json::kNumber) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08x", static_cast<unsigned>(name.number()));
    return std::string("Unknown constructor ") + text;
  }
  if (name.kind != Json::kString) return expected("String or Integer", name);
  const Type* type = find_type(name.text);
  if (type == nullptr || type->class_name != "()") return "Unknown class \"" + name.text + "\"";
  return check_members(request, *type);
}

void append_json(std::string& out, const Json& json) {
  switch (json.kind) {
    case Json::kNull: out += "null"; return;
    case Json::kString: append_string(out, json.text); return;
    case Json::kBoolean:
    case Json::kNumber: out += json.text; return;
    default: break;
  }
  const bool object = json.kind == Json::kObject;
  out += object ? '{' : '[';
  for (const Json& item : json.items) {
    if (&item != json.items.data()) out += ',';
    if (object) {
      append_string(out, item.name);
      out += ':';
    }
    append_json(out, item);
  }
  out += object ? '}' : ']';
}

}  // namespace world
