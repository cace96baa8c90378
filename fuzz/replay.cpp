// Runs every file of a directory once.
// usage: fuzz_replay TARGET DIRECTORY
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "fuzz/targets.h"

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  const std::string_view name = argv[1];
  const struct {
    std::string_view name;
    void (*run)(std::string_view);
  } kTargets[] = {{"text", fuzz_text},
                  {"script", fuzz_script},
                  {"mp4", fuzz_mp4},
                  {"env", fuzz_env},
                  {"numbers", fuzz_numbers}};
  for (const auto& target : kTargets) {
    if (target.name != name) continue;
    int count = 0;
    const std::filesystem::path files = std::filesystem::absolute(argv[2]);
    for (const auto& entry : std::filesystem::directory_iterator(files)) {
      std::ifstream file(entry.path(), std::ios::binary);
      const std::string text((std::istreambuf_iterator<char>(file)), {});
      // A copy that ends where its memory ends.
      const std::unique_ptr<char[]> exact(new char[text.size()]);
      text.copy(exact.get(), text.size());
      dprintf(STDERR_FILENO, "%s\n", entry.path().c_str());
      target.run({exact.get(), text.size()});
      ++count;
    }
    must(count > 0, "a target without files", name);
    return 0;
  }
  return 2;
}
