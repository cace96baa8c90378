#include "tests/objects.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <stdexcept>
#include <vector>

static std::map<std::string, std::string> read_objects() {
  std::ifstream file(TD_BACKEND_SOURCE_DIR "/tests/objects.txt");
  if (!file) throw std::runtime_error("tests/objects.txt is not there");
  std::map<std::string, std::string> objects;
  std::string line;
  while (std::getline(file, line)) {
    const std::size_t blank = line.find(' ');
    if (!line.empty() && line[0] != '#') objects[line.substr(0, blank)] = line.substr(blank + 1);
  }
  return objects;
}

// The arguments from the '(' at `at` on; commas within brackets and strings are part of them.
static std::vector<std::string> take_arguments(std::string_view text, std::size_t& at) {
  std::vector<std::string> arguments(1);
  int depth = 0;
  bool quoted = false;
  for (++at; at < text.size(); ++at) {
    const char c = text[at];
    if (quoted && c == '\\' && at + 1 < text.size()) {
      arguments.back() += c;
      arguments.back() += text[++at];
      continue;
    }
    if (c == '"') quoted = !quoted;
    if (!quoted && (c == '(' || c == '{' || c == '[')) ++depth;
    if (!quoted && depth == 0 && c == ')') break;
    if (!quoted && (c == ')' || c == '}' || c == ']')) --depth;
    if (!quoted && depth == 0 && c == ',') {
      arguments.emplace_back();
    } else {
      arguments.back() += c;
    }
  }
  if (at < text.size()) ++at;
  return arguments;
}

// times(3,ab,) is "ab,ab,ab,".
static std::string repeated(const std::vector<std::string>& arguments) {
  std::string once;
  for (std::size_t i = 1; i < arguments.size(); ++i) once += (i > 1 ? "," : "") + arguments[i];
  std::string text;
  for (int i = std::stoi(arguments[0]); i > 0; --i) text += once;
  return text;
}

std::string expand_objects(std::string_view text) {
  static const std::map<std::string, std::string> objects = read_objects();
  std::string out;
  for (std::size_t at = 0; at < text.size();) {
    if (text[at] != '$') {
      out += text[at++];
      continue;
    }
    std::size_t end = at + 1;
    while (end < text.size() &&
           (std::isalnum(static_cast<unsigned char>(text[end])) != 0 || text[end] == '_'))
      ++end;
    if (text.substr(at, 7) == "$times(") {
      end = at + 6;
      out += repeated(take_arguments(text, end));
      at = end;
      continue;
    }
    const auto found = objects.find(std::string(text.substr(at + 1, end - at - 1)));
    if (found == objects.end()) {
      out += text[at++];
      continue;
    }
    std::vector<std::string> arguments;
    if (end < text.size() && text[end] == '(') arguments = take_arguments(text, end);
    std::string object;
    const std::string& body = found->second;
    for (std::size_t i = 0; i < body.size(); ++i) {
      const bool place =
          body[i] == '$' && i + 1 < body.size() && body[i + 1] >= '1' && body[i + 1] <= '9';
      if (!place) {
        object += body[i];
        continue;
      }
      const auto number = static_cast<std::size_t>(body[++i] - '1');
      if (number < arguments.size()) object += arguments[number];
    }
    out += expand_objects(object);
    at = end;
  }
  return out;
}

std::vector<std::string> longest_objects(std::size_t count) {
  std::set<std::string> objects;
  for (const auto& entry :
       std::filesystem::directory_iterator(TD_BACKEND_SOURCE_DIR "/tests/flows")) {
    std::ifstream file(entry.path());
    for (std::string line; std::getline(file, line);) {
      const bool given = line.compare(0, 3, "td ") == 0 || line.compare(0, 3, "td:") == 0;
      if (given) objects.insert(expand_objects(std::string_view(line).substr(line.find(' ') + 1)));
    }
  }
  std::vector<std::string> longest(objects.begin(), objects.end());
  std::stable_sort(longest.begin(), longest.end(),
                   [](const std::string& a, const std::string& b) { return a.size() > b.size(); });
  longest.resize(std::min(count, longest.size()));
  return longest;
}
