#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <string>

#include "frame/config.h"
#include "fuzz/targets.h"

namespace {

std::string trimmed(const std::string& text) {
  const char* blanks = " \t\r\n";
  const std::size_t begin = text.find_first_not_of(blanks);
  return begin == std::string::npos ? std::string()
                                    : text.substr(begin, text.find_last_not_of(blanks) + 1 - begin);
}

// The environment ends a text at its first NUL.
std::string up_to_nul(const std::string& text) { return text.substr(0, text.find('\0')); }

// The same rules, told by another hand.
std::map<std::string, std::string> expected(const std::string& text) {
  std::map<std::string, std::string> variables;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    const std::string line = trimmed(text.substr(at, end - at));
    at = end + 1;
    const std::size_t equals = line.find('=');
    if (line.empty() || line[0] == '#' || equals == std::string::npos) continue;
    const std::string name = up_to_nul(trimmed(line.substr(0, equals)));
    if (!name.empty()) variables[name] = up_to_nul(trimmed(line.substr(equals + 1)));
  }
  return variables;
}

}  // namespace

void fuzz_env(std::string_view input) {
  static const int file = memfd_create("env", MFD_CLOEXEC);
  static const std::string path = "/proc/self/fd/" + std::to_string(file);
  be_quiet();
  must(ftruncate(file, 0) == 0 &&
           pwrite(file, input.data(), input.size(), 0) == static_cast<ssize_t>(input.size()),
       "write");
  clearenv();
  load_env_file_into_process(path.c_str());
  for (const auto& [name, value] : expected(std::string(input))) {
    must(get_env(name.c_str(), "absent?") == value, "a variable has its last line's value", name);
    get_env_i64(name.c_str(), 0);
  }
  read_config_mode();
}
