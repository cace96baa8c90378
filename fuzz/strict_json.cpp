#include "fuzz/strict_json.h"

namespace {

// Reads from `at` on; a function returns false where the grammar allows no way on.
struct Reader {
  std::string_view text;
  std::vector<Member>* members;  // of the outermost object
  std::size_t at = 0;
  int depth = 0;

  char here() const { return at < text.size() ? text[at] : '\0'; }
  bool take(char c) { return at < text.size() && text[at] == c && ++at > 0; }
  bool take(std::string_view word) {
    if (text.substr(at, word.size()) != word) return false;
    at += word.size();
    return true;
  }
  bool one_of(std::string_view bytes) const {
    return at < text.size() && bytes.find(text[at]) != std::string_view::npos;
  }
  void spaces() {
    while (one_of(" \t\r\n")) ++at;
  }
  bool digits() {
    const std::size_t begin = at;
    while (one_of("0123456789")) ++at;
    return at > begin;
  }

  bool number() {
    take('-');
    if (!take('0') && !digits()) return false;
    if (take('.') && !digits()) return false;
    if (!one_of("eE")) return true;
    ++at;
    if (one_of("+-")) ++at;
    return digits();
  }

  bool string() {
    if (!take('"')) return false;
    while (!take('"')) {
      if (at == text.size() || static_cast<unsigned char>(text[at]) < 0x20) return false;
      if (text[at++] != '\\') continue;
      if (take('u')) {
        for (int i = 0; i < 4; ++i, ++at) {
          if (!one_of("0123456789abcdefABCDEF")) return false;
        }
      } else if (!one_of("\"\\/bfnrt")) {
        return false;
      } else {
        ++at;
      }
    }
    return true;
  }

  bool member(bool outermost) {
    spaces();
    const std::size_t key = at;
    if (!string()) return false;
    const std::size_t key_end = at - 1;
    spaces();
    if (!take(':')) return false;
    spaces();
    const std::size_t begin = at;
    if (!value()) return false;
    if (outermost) {
      members->push_back({text.substr(key + 1, key_end - key - 1), text.substr(begin, at - begin)});
    }
    spaces();
    return true;
  }

  bool object() {
    const bool outermost = depth++ == 0 && members != nullptr;
    spaces();
    if (!take('}')) {
      do {
        if (!member(outermost)) return false;
      } while (take(','));
      if (!take('}')) return false;
    }
    --depth;
    return true;
  }

  bool array() {
    ++depth;
    spaces();
    if (!take(']')) {
      do {
        spaces();
        if (!value()) return false;
        spaces();
      } while (take(','));
      if (!take(']')) return false;
    }
    --depth;
    return true;
  }

  bool value() {
    if (take('{')) return object();
    if (take('[')) return array();
    if (here() == '"') return string();
    return take("true") || take("false") || take("null") || number();
  }

  bool whole() {
    spaces();
    if (!value()) return false;
    spaces();
    return at == text.size();
  }
};

}  // namespace

bool is_json(std::string_view text) { return Reader{text, nullptr}.whole(); }

std::vector<Member> members_of(std::string_view text) {
  std::vector<Member> members;
  if (!Reader{text, &members}.whole()) members.clear();
  return members;
}

std::string_view value_of(const std::vector<Member>& members, std::string_view key) {
  for (const Member& member : members) {
    if (member.key == key) return member.value;
  }
  return {};
}
