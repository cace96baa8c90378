#include "world/json_in.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <iterator>

#include "json/digits.h"
#include "json/search.h"
#include "json/skip.h"
#include "json/text.h"
#include "world/schema.h"

namespace world {

static constexpr int kMostNested = 100;

const Json& Json::operator[](std::string_view member) const {
  static const Json null;
  const auto found = std::find_if(items.begin(), items.end(),
                                  [&](const Json& item) { return item.name == member; });
  return found != items.end() ? *found : null;
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

// ---- reading

namespace {

// Takes values off the front of a text; each is false, with TDLib's words, when there is none.
struct Reader {
  std::string_view rest;
  std::string& error;

  bool fail(std::string why) {
    error = std::move(why);
    return false;
  }
  bool skip(std::string_view word) {
    if (rest.substr(0, word.size()) != word) return false;
    rest.remove_prefix(word.size());
    return true;
  }
  void skip_blanks() { rest.remove_prefix(skip_spaces(rest, 0)); }

  bool word(std::string_view word, Json& json, Json::Kind kind) {
    json.kind = kind;
    json.text = kind == Json::kBoolean ? word : "";
    return skip(word) || fail("Token starts with '" + std::string(word, 0, 1) + "' -- " +
                              std::string(word) + " expected");
  }

  bool string(std::string& out) {
    if (!skip("\"")) return fail("Opening '\"' expected");
    const std::size_t end = find_string_end(rest, 0);
    if (end == kNotFound) return fail("Closing '\"' not found");
    out = json_unescape(rest.substr(0, end));
    rest.remove_prefix(end + 1);
    return true;
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

  // The items of an array or an object, at whose opening bracket the text stands.
  bool list(Json& json, int depth) {
    const bool object = json.kind == Json::kObject;
    const std::string_view begin = rest;
    rest.remove_prefix(1);
    for (skip_blanks(); !skip(object ? "}" : "]"); skip_blanks()) {
      if (!json.items.empty() && !rest.empty() && !skip(",")) {
        return fail(std::string("Unexpected symbol while parsing JSON ") +
                    (object ? "Object" : "Array"));
      }
      skip_blanks();
      if (rest.empty()) return fail("Unexpected string end");
      Json& item = json.items.emplace_back();
      if (object) {
        if (!string(item.name)) return false;
        skip_blanks();
        if (!skip(":")) return fail("':' expected");
      }
      if (!value(item, depth)) return false;
    }
    json.text = begin.substr(0, begin.size() - rest.size());
    return true;
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
      case '[': json.kind = Json::kArray; return list(json, depth - 1);
      case '{': json.kind = Json::kObject; return list(json, depth - 1);
      default: return number(json);
    }
  }
};

}  // namespace

bool read_json(std::string_view text, Json& json, std::string& error) {
  Reader reader{text, error};
  if (!reader.value(json, kMostNested)) return false;
  reader.skip_blanks();
  return reader.rest.empty() || reader.fail("Expected string end");
}

bool has_bad_string(const Json& json) {
  return (json.kind == Json::kString && !is_utf8(json.text)) ||
         std::any_of(json.items.begin(), json.items.end(), has_bad_string);
}

// ---- what the schema wants

static std::string expected(std::string_view what, const Json& json) {
  static constexpr const char* kNames[] = {"Null",   "Number", "Boolean",
                                           "String", "Array",  "Object"};
  return "Expected " + std::string(what) + ", but receive " + kNames[json.kind];
}

// The schema calls int32 and int53 one kind; in requests these are the small ones.
static bool is_small(std::string_view member) {
  static constexpr std::string_view kSmall[] = {
      "limit",    "offset",     "priority",  "file_id", "port",          "duration", "length",
      "mute_for", "api_id",     "min_layer", "call_id", "width",         "height",   "max_layer",
      "proxy_id", "sending_id", "ttl",       "count",   "immunity_delay"};
  return std::find(std::begin(kSmall), std::end(kSmall), member) != std::end(kSmall);
}

static std::string check_integer(const Json& json, bool small) {
  if (json.kind != Json::kNumber && json.kind != Json::kString)
    return expected("String or Number", json);
  std::int64_t number = 0;
  const char* end = json.text.data() + json.text.size();
  const auto read = std::from_chars(json.text.data(), end, number);
  const bool fits = !small || (number >= INT32_MIN && number <= INT32_MAX);
  if (read.ec == std::errc() && read.ptr == end && fits) return {};
  return "Can't parse as an integer string \"" + json.text + "\"";
}

static std::string check_members(const Json& object, const Type& type);

static std::string check_object(const Json& json, std::string_view wanted) {
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

static std::string check_value(const Json& json, std::string_view kind, bool small) {
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
      error = wants(json.kind == Json::kArray, "Array");
      for (const Json& item : json.items) {
        if (error.empty()) error = check_value(item, kind.substr(1), small);
      }
      return error;
    default: return check_object(json, kind.substr(1));
  }
}

static std::string check_members(const Json& object, const Type& type) {
  std::string error;
  for (const Member& member : type.members) {
    if (error.empty()) error = check_value(object[member.name], member.kind, is_small(member.name));
  }
  return error;
}

std::string check_request(const Json& request) {
  const Json& name = request["@type"];
  if (name.is_null()) return "Can't find field \"@type\"";
  if (name.kind == Json::kNumber) {
    char text[40];
    std::snprintf(text, sizeof text, "Unknown constructor 0x%08x",
                  static_cast<unsigned>(name.number()));
    return text;
  }
  if (name.kind != Json::kString) return expected("String or Integer", name);
  const Type* type = find_type(name.text);
  if (type == nullptr || type->class_name != "()") return "Unknown class \"" + name.text + "\"";
  return check_members(request, *type);
}

}  // namespace world
