#include "world/json_in.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <iterator>

#include "world/schema.h"

namespace world {

const Json& Json::operator[](std::string_view name) const {
  static const Json null;
  for (const auto& member : members) {
    if (member.first == name) return member.second;
  }
  return null;
}

std::int64_t number_of(const Json& json) {
  std::int64_t number = 0;
  std::from_chars(json.text.data(), json.text.data() + json.text.size(), number);
  return number;
}

std::int64_t Json::number(std::string_view name) const { return number_of((*this)[name]); }

std::string_view Json::string(std::string_view name) const { return (*this)[name].text; }

bool Json::boolean(std::string_view name) const {
  const Json& value = (*this)[name];
  return value.kind == kBoolean ? value.flag : number_of(value) != 0;
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
  char peek() const { return rest.empty() ? '\0' : rest[0]; }
  bool skip(std::string_view word) {
    if (rest.substr(0, word.size()) != word) return false;
    rest.remove_prefix(word.size());
    return true;
  }
  void skip_blanks() {
    while (!rest.empty() && std::string_view(" \t\r\n").find(rest[0]) != std::string_view::npos) {
      rest.remove_prefix(1);
    }
  }

  bool word(std::string_view name, Json& json, Json::Kind kind) {
    json.kind = kind;
    json.flag = name[0] == 't';
    if (skip(name)) return true;
    return fail(std::string("Token starts with '") + name[0] + "' -- " + std::string(name) +
                " expected");
  }

  bool hex_unit(unsigned& unit) {
    if (rest.size() < 4) return false;
    const auto end = std::from_chars(rest.data(), rest.data() + 4, unit, 16);
    if (end.ec != std::errc() || end.ptr != rest.data() + 4) return false;
    rest.remove_prefix(4);
    return true;
  }

  bool escape(std::string& out) {
    const char c = peek();
    rest.remove_prefix(rest.empty() ? 0 : 1);
    static constexpr std::string_view kFrom = "bfnrt";
    static constexpr std::string_view kTo = "\b\f\n\r\t";
    const std::size_t known = kFrom.find(c);
    if (c != 'u') {
      out += c != '\0' && known != std::string_view::npos ? kTo[known] : c;
      return true;
    }
    unsigned unit = 0;
    if (!hex_unit(unit)) return fail("\\u has less than 4 symbols");
    unsigned low = 0;
    if (unit >= 0xD800 && unit < 0xDC00 && rest.substr(0, 2) == "\\u") {
      rest.remove_prefix(2);
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

  // After a value: true when another one follows, `closed` when the list ends here.
  bool next(std::string_view close, std::string_view what, bool& closed) {
    skip_blanks();
    closed = skip(close);
    if (closed) return true;
    if (skip(",")) {
      skip_blanks();
      return true;
    }
    if (rest.empty()) return fail("Unexpected string end");
    return fail("Unexpected symbol while parsing JSON " + std::string(what));
  }

  bool array(Json& json, int depth) {
    skip_blanks();
    if (skip("]")) return true;
    for (bool closed = false; !closed;) {
      if (rest.empty()) return fail("Unexpected string end");
      if (!value(json.items.emplace_back(), depth)) return false;
      if (!next("]", "Array", closed)) return false;
    }
    return true;
  }

  bool object(Json& json, int depth) {
    skip_blanks();
    if (skip("}")) return true;
    for (bool closed = false; !closed;) {
      if (rest.empty()) return fail("Unexpected string end");
      auto& member = json.members.emplace_back();
      if (!string(member.first)) return false;
      skip_blanks();
      if (!skip(":")) return fail("':' expected");
      if (!value(member.second, depth)) return false;
      if (!next("}", "Object", closed)) return false;
    }
    return true;
  }

  bool value(Json& json, int depth) {
    if (depth < 0) return fail("Too big object depth");
    skip_blanks();
    const char c = peek();
    switch (c) {
      case 'f': return word("false", json, Json::kBoolean);
      case 't': return word("true", json, Json::kBoolean);
      case 'n': return word("null", json, Json::kNull);
      case '"': json.kind = Json::kString; return string(json.text);
      case '[':
        json.kind = Json::kArray;
        rest.remove_prefix(1);
        return array(json, depth - 1);
      case '{':
        json.kind = Json::kObject;
        rest.remove_prefix(1);
        return object(json, depth - 1);
      default: break;
    }
    if (c == '\0') return fail("Unexpected string end");
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

std::string check_integer(const Json& json, bool small = false) {
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
  if (type == nullptr) {
    const Json& name = json["@type"];
    if (name.kind == Json::kNull) return "Can't find field \"@type\"";
    type = find_type(name.text);
    if (type == nullptr || type->class_name != wanted) {
      return "Unknown class \"" + name.text + "\"";
    }
  }
  return check_members(json, *type);
}

std::string check_value(const Json& json, std::string_view kind, bool small) {
  if (json.kind == Json::kNull) return {};
  switch (kind[0]) {
    case 'b':
      if (json.kind == Json::kBoolean) return {};
      return check_integer(json).empty() ? std::string() : expected("Boolean", json);
    case 'i':
    case 'l': return check_integer(json, small);
    case 'd': return json.kind == Json::kNumber ? std::string() : expected("Number", json);
    case 's':
    case 'y': return json.kind == Json::kString ? std::string() : expected("String", json);
    case 'a':
      if (json.kind != Json::kArray) return expected("Array", json);
      for (const Json& item : json.items) {
        std::string error = check_value(item, kind.substr(1), small);
        if (!error.empty()) return error;
      }
      return {};
    default: return check_object(json, kind.substr(1));
  }
}

std::string check_members(const Json& object, const Type& type) {
  for (const Member& member : type.members) {
    std::string error = check_value(object[member.name], member.kind, is_small(member.name));
    if (!error.empty()) return error;
  }
  return {};
}

}  // namespace

bool read_json(std::string_view text, Json& json, std::string& error) {
  Reader reader{text, error};
  if (!reader.value(json, kMostNested)) return false;
  reader.skip_blanks();
  return reader.rest.empty() || reader.fail("Expected string end");
}

std::string check_request(const Json& request) {
  const Json& name = request["@type"];
  if (name.kind == Json::kNull) return "Can't find field \"@type\"";
  if (name.kind == Json::kNumber) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08x", static_cast<unsigned>(number_of(name)));
    return std::string("Unknown constructor ") + text;
  }
  if (name.kind != Json::kString) return expected("String or Integer", name);
  const Type* type = find_type(name.text);
  if (type == nullptr || type->class_name != "()") return "Unknown class \"" + name.text + "\"";
  return check_members(request, *type);
}

void append_json(std::string& out, const Json& json) {
  switch (json.kind) {
    case Json::kNull: out += "null"; break;
    case Json::kBoolean: out += json.flag ? "true" : "false"; break;
    case Json::kNumber: out += json.text; break;
    case Json::kString: append_string(out, json.text); break;
    case Json::kArray:
      out += '[';
      for (const Json& item : json.items) {
        if (&item != json.items.data()) out += ',';
        append_json(out, item);
      }
      out += ']';
      break;
    case Json::kObject:
      out += '{';
      for (const auto& member : json.members) {
        if (&member != json.members.data()) out += ',';
        append_string(out, member.first);
        out += ':';
        append_json(out, member.second);
      }
      out += '}';
      break;
  }
}

}  // namespace world
