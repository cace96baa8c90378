#include "world/schema.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <map>

namespace world {

static constexpr std::string_view kSchema =
#include "world/schema.inc"
    ;

// Takes what stands before the next `mark`, and the mark, off the text.
static std::string_view take_until(std::string_view& text, char mark) {
  const std::size_t end = std::min(text.find(mark), text.size());
  const std::string_view part = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return part;
}

static std::vector<Type> read_schema() {
  std::vector<Type> types;
  for (std::string_view rest = kSchema; !rest.empty();) {
    std::string_view line = take_until(rest, '\n');
    Type type;
    type.name = take_until(line, '=');
    type.class_name = take_until(line, ' ');
    while (!line.empty()) {
      std::string_view member = take_until(line, ' ');
      const std::string_view name = take_until(member, ':');
      type.members.push_back({name, member});
    }
    types.push_back(std::move(type));
  }
  return types;
}

const Type* find_type(std::string_view name) {
  static const std::vector<Type> types = read_schema();  // sorted by name
  const auto found =
      std::lower_bound(types.begin(), types.end(), name,
                       [](const Type& type, std::string_view key) { return type.name < key; });
  return found != types.end() && found->name == name ? &*found : nullptr;
}

void append_number(std::string& out, std::int64_t number) {
  char digits[24];
  const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
  out.append(digits, static_cast<std::size_t>(end - digits));
}

static void append_unit(std::string& out, unsigned unit) {
  static constexpr char kHex[] = "0123456789abcdef";
  const char text[] = {
      '\\',           'u', kHex[unit >> 12 & 15], kHex[unit >> 8 & 15], kHex[unit >> 4 & 15],
      kHex[unit & 15]};
  out.append(text, sizeof text);
}

// The character that begins at `i`, which goes behind it.
static unsigned next_character(std::string_view text, std::size_t& i) {
  const auto byte = [&] { return static_cast<unsigned char>(text[i++]); };
  const unsigned lead = byte();
  const int more = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
  unsigned character = lead & (0x3Fu >> more);
  for (int k = 0; k < more && i < text.size(); ++k) character = character << 6 | (byte() & 0x3Fu);
  return character;
}

static void append_escaped(std::string& out, std::string_view text, std::size_t& i) {
  const auto c = static_cast<unsigned char>(text[i]);
  if (c >= 0x80) {
    const unsigned character = next_character(text, i);
    if (character >= 0x10000) append_unit(out, 0xD7C0 + (character >> 10));
    append_unit(out, character >= 0x10000 ? 0xDC00 + (character & 0x3FF) : character);
    return;
  }
  ++i;
  static constexpr std::string_view kShort = "\"\"\\\\\bb\ff\nn\rr\tt";
  for (std::size_t k = 0; k < kShort.size(); k += 2) {
    if (kShort[k] == text[i - 1]) {
      out += '\\';
      out += kShort[k + 1];
      return;
    }
  }
  append_unit(out, c);
}

void append_string(std::string& out, std::string_view text) {
  const auto is_plain = [](char c) { return c >= ' ' && c != '"' && c != '\\' && c != 127; };
  out += '"';
  for (std::size_t i = 0; i < text.size();) {
    std::size_t end = i;
    while (end < text.size() && is_plain(text[end])) ++end;
    out.append(text, i, end - i);
    i = end;
    if (i < text.size()) append_escaped(out, text, i);
  }
  out += '"';
}

// ---- shapes

namespace {

struct Given {
  std::string_view text;  // behind the equals sign; empty for a slot
  std::size_t slot = 0;
};

[[noreturn]] void give_up(std::string_view what, std::string_view where) {
  std::fprintf(stderr, "world: %.*s: %.*s\n", static_cast<int>(what.size()), what.data(),
               static_cast<int>(where.size()), where.data());
  std::abort();
}

}  // namespace

struct ShapeBuilder {
  Shape& shape;
  std::map<std::string, Given> given;
  std::string pending;  // written since the last slot

  void read(std::string_view members) {
    std::size_t slots = 0;
    while (!members.empty()) {
      if (members[0] == ' ' || members[0] == '\n') {
        members.remove_prefix(1);
        continue;
      }
      std::size_t end = 0;
      for (bool quoted = false; end < members.size(); ++end) {
        if (members[end] == '\'') quoted = !quoted;
        if (!quoted && (members[end] == ' ' || members[end] == '\n')) break;
      }
      std::string_view token = members.substr(0, end);
      members.remove_prefix(end);
      const std::string name(take_until(token, '='));
      Given value{token, slots};
      if (!token.empty() && token[0] == '%') {
        value = {{}, static_cast<std::size_t>(token[1] - 'a')};
      } else if (token.empty()) {
        ++slots;
      }
      given[name] = value;
    }
  }

  bool has_below(const std::string& path) const {
    const auto next = given.lower_bound(path + ".");
    return next != given.end() && next->first.compare(0, path.size() + 1, path + ".") == 0;
  }

  void add_slot(const Member& member, std::size_t value) {
    Shape::Slot slot;
    slot.before.swap(pending);
    slot.kind = member.kind[0];
    slot.value = value;
    if (slot.kind == '?') {
      slot.key = member.name;
    }
    shape.slots_.push_back(std::move(slot));
  }

  void add_key(const Member& member) { (((pending += ",\"") += member.name) += "\":"); }

  void add_empty(const Member& member, const std::string& path) {
    switch (member.kind[0]) {
      case 'b': pending += "false"; break;
      case 'i': pending += '0'; break;
      case 'd': pending += "0.000000"; break;
      case 'l': pending += "\"0\""; break;
      case 'a': pending += "[]"; break;
      case 's':
      case 'y': pending += "\"\""; break;
      default: add_object(member.kind.substr(1), path + "."); break;
    }
  }

  void add_constant(std::string_view text) {
    for (std::size_t i = 0; i < text.size();) {
      if (static_cast<unsigned char>(text[i]) >= 0x80) {
        append_escaped(pending, text, i);
      } else {
        pending += text[i] == '\'' ? '"' : text[i];
        ++i;
      }
    }
  }

  void add_member(const Member& member, const std::string& prefix) {
    const std::string path = prefix + std::string(member.name);
    const auto found = given.find(path);
    const bool optional = member.kind[0] == '?';
    if (found == given.end()) {
      if (optional && !has_below(path)) return;
      add_key(member);
      add_empty(member, path);
      return;
    }
    const Given value = found->second;
    given.erase(found);
    if (value.text.empty()) {
      if (!optional) add_key(member);
      add_slot(member, value.slot);
      return;
    }
    add_key(member);
    if (value.text[0] == '@') {
      add_object(value.text.substr(1), path + ".");
    } else if (member.kind[0] == 'l') {
      ((pending += '"') += value.text) += '"';
    } else {
      add_constant(value.text);
    }
  }

  void add_object(std::string_view name, const std::string& prefix) {
    const Type* type = find_type(name);
    if (type == nullptr) give_up("no such type", std::string(name) + " at " + prefix);
    ((pending += "{\"@type\":\"") += name) += '"';
    for (const Member& member : type->members) add_member(member, prefix);
    pending += '}';
  }
};

Shape::Shape(std::string_view type, std::string_view members) {
  ShapeBuilder builder{*this, {}, {}};
  builder.read(members);
  builder.add_object(type, "");
  end_.swap(builder.pending);
  if (!builder.given.empty()) {
    give_up("no such member", std::string(type) + "." + builder.given.begin()->first);
  }
}

void Shape::append(std::string& out, const Value* values) const {
  for (const Slot& slot : slots_) {
    out += slot.before;
    const Value& value = values[slot.value];
    switch (slot.kind) {
      case 'b': out += value.number != 0 ? "true" : "false"; break;
      case 'i': append_number(out, value.number); break;
      case 'l':
        out += '"';
        append_number(out, value.number);
        out += '"';
        break;
      case 'd': {
        char digits[64];
        const int size = std::snprintf(digits, sizeof digits, "%.6f", value.real);
        out.append(digits, static_cast<std::size_t>(size));
        break;
      }
      case 's':
      case 'y': append_string(out, value.text); break;
      case '?':
        if (!value.text.empty()) ((((out += ",\"") += slot.key) += "\":") += value.text);
        break;
      case 'a':
        if (value.text.empty()) {
          out += "[]";
          break;
        }
        [[fallthrough]];
      default: out += value.text; break;
    }
  }
  out += end_;
}

std::string Shape::text(std::initializer_list<Value> values) const {
  std::string out;
  append(out, values.begin());
  return out;
}

}  // namespace world
