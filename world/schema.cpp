// A shape is read once, into slots for values and the text between them, so that building an
// object is a few copies.
#include "world/schema.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <unordered_map>

#include "json/text.h"

namespace world {

static constexpr std::string_view kSchema =
#include "world/schema.inc"
    ;

// Takes what stands before the next `mark`, and the mark, off the text.
static std::string_view take_until(std::string_view& text, char mark) {
  std::string_view part;
  split_once(text, mark, part, text);
  return part;
}

static std::unordered_map<std::string_view, Type> read_schema() {
  std::unordered_map<std::string_view, Type> types;
  for (std::string_view rest = kSchema; !rest.empty();) {
    std::string_view line = take_until(rest, '\n');
    Type& type = types[take_until(line, '=')];
    type.class_name = take_until(line, ' ');
    while (!line.empty()) {
      std::string_view member = take_until(line, ' ');
      const std::string_view name = take_until(member, ':');
      type.members.push_back({name, member});
    }
  }
  return types;
}

const Type* find_type(std::string_view name) {
  static const auto types = read_schema();
  const auto found = types.find(name);
  return found == types.end() ? nullptr : &found->second;
}

static void append_unit(std::string& out, unsigned unit) {
  static constexpr char kHex[] = "0123456789abcdef";
  out += "\\u";
  for (int shift = 12; shift >= 0; shift -= 4) out += kHex[unit >> shift & 15];
}

// Appends the character that begins at `i`, which goes behind it.
static void append_escaped(std::string& out, std::string_view text, std::size_t& i) {
  static constexpr std::string_view kShort = "\"\\\b\f\n\r\t", kLetters = "\"\\bfnrt";
  const std::size_t known = kShort.find(text[i]);
  if (known != std::string_view::npos) {
    (out += '\\') += kLetters[known];
    ++i;
    return;
  }
  unsigned character = static_cast<unsigned char>(text[i++]);
  const int more = character < 0x80 ? 0 : character < 0xE0 ? 1 : character < 0xF0 ? 2 : 3;
  if (more > 0) character &= 0x3Fu >> more;
  for (int k = 0; k < more && i < text.size(); ++k)
    character = character << 6 | (static_cast<unsigned char>(text[i++]) & 0x3Fu);
  if (character >= 0x10000) {
    append_unit(out, 0xD7C0 + (character >> 10));
    character = 0xDC00 + (character & 0x3FF);
  }
  append_unit(out, character);
}

void append_string(std::string& out, std::string_view text) {
  const auto is_plain = [](char c) { return c >= ' ' && c != '"' && c != '\\' && c != 127; };
  out += '"';
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t begin = i;
    while (i < text.size() && is_plain(text[i])) ++i;
    out.append(text, begin, i - begin);
    if (i < text.size()) append_escaped(out, text, i);
  }
  out += '"';
}

// ---- shapes

namespace {

struct Slot {
  std::string before;     // what stands between the last slot and this one
  char kind = 0;          // as in schema.inc
  std::string_view name;  // of a member that may be left out
  std::size_t value = 0;  // which of the values
};

struct Shape {
  std::vector<Slot> slots;
  std::string end;
};

// A value as a member of that kind; of an object that may be null, the whole member.
void append_value(std::string& out, const Slot& slot, const Value& value) {
  switch (slot.kind) {
    case 'b': out += value.number != 0 ? "true" : "false"; break;
    case 'l':
      append_i64(out += '"', value.number);
      out += '"';
      break;
    case 'd': {
      char digits[64];
      std::snprintf(digits, sizeof digits, "%.6f", value.real);
      out += digits;
      break;
    }
    case 's':
    case 'y': append_string(out, value.text); break;
    case 'i':
      if (value.text.empty()) return append_i64(out, value.number);
      out += value.text;
      break;
    case '?':
      if (!value.text.empty()) ((((out += ",\"") += slot.name) += "\":") += value.text);
      break;
    case 'a': out += value.text.empty() ? "[]" : value.text; break;
    default: out += value.text; break;
  }
}

[[noreturn]] void give_up(const char* what, const std::string& where) {
  std::fprintf(stderr, "world: %s: %s\n", what, where.c_str());
  std::abort();
}

struct ShapeReader {
  Shape shape;
  std::map<std::string, std::string> given;  // by the member's path; "%c" for a slot

  void read(std::string_view text) {
    const std::string_view type = take_until(text, ' ');
    for (char slot = 'a'; !text.empty();) {
      std::size_t end = 0;
      for (bool quoted = false; end < text.size() && (quoted || text[end] != ' '); ++end)
        quoted ^= text[end] == '\'';
      std::string_view value = text.substr(0, end);
      text.remove_prefix(std::min(end + 1, text.size()));
      const std::string path(take_until(value, '='));
      given[path] = value.empty() ? std::string{'%', slot++} : std::string(value);
    }
    add_object(type, "");
    if (!given.empty()) give_up("no such member", std::string(type) + "." + given.begin()->first);
  }

  void add_object(std::string_view name, const std::string& prefix) {
    const Type* type = find_type(name);
    if (type == nullptr) give_up("no such type", std::string(name) + " at " + prefix);
    ((shape.end += "{\"@type\":\"") += name) += '"';
    for (const Member& member : type->members) add_member(member, prefix);
    shape.end += '}';
  }

  void add_member(const Member& member, const std::string& prefix) {
    const std::string path = prefix + std::string(member.name), below = path + ".";
    const std::string value = given[path];
    given.erase(path);
    const auto next = given.lower_bound(below);
    const bool has_below = next != given.end() && next->first.compare(0, below.size(), below) == 0;
    const bool optional = member.kind[0] == '?', slot = value[0] == '%';
    if (optional && value.empty() && !has_below) return;
    if (!optional || !slot) ((shape.end += ",\"") += member.name) += "\":";
    if (slot) {
      const auto number = static_cast<std::size_t>(value[1] - 'a');
      shape.slots.push_back({std::move(shape.end), member.kind[0], member.name, number});
      shape.end.clear();
    } else if (value[0] == '@') {
      add_object(std::string_view(value).substr(1), below);
    } else if (!value.empty()) {
      add_constant(value);
    } else if (has_below || std::strchr("bildasy", member.kind[0]) == nullptr) {
      add_object(member.kind.substr(1), below);
    } else {
      append_value(shape.end, {"", member.kind[0], "", 0}, {});
    }
  }

  void add_constant(std::string_view text) {
    for (std::size_t i = 0; i < text.size();) {
      if (static_cast<unsigned char>(text[i]) >= 0x80) {
        append_escaped(shape.end, text, i);
      } else {
        shape.end += text[i] == '\'' ? '"' : text[i];
        ++i;
      }
    }
  }
};

const Shape& shape_of(const char* text) {
  static std::unordered_map<const char*, Shape> known;
  const auto found = known.find(text);
  if (found != known.end()) return found->second;
  ShapeReader reader;
  reader.read(text);
  return known[text] = std::move(reader.shape);
}

}  // namespace

std::string object(const char* shape, const Value* values) {
  const Shape& parts = shape_of(shape);
  std::string out;
  for (const Slot& slot : parts.slots) {
    out += slot.before;
    append_value(out, slot, values[slot.value]);
  }
  out += parts.end;
  return out;
}

std::string object(const char* shape, std::initializer_list<Value> values) {
  return object(shape, values.begin());
}

std::string ids_text(const std::vector<std::int64_t>& ids) {
  return array_text(ids, [](std::int64_t id) { return std::to_string(id); });
}

std::string bare_object(std::string_view type) {
  return "{\"@type\":\"" + std::string(type) + "\"}";
}

}  // namespace world
