// Runs the seeds of every target once.
// usage: fuzz_replay DIRECTORY    with a directory of files for each target
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "fuzz/targets.h"

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const std::filesystem::path seeds = std::filesystem::absolute(argv[1]);
  const struct {
    const char* name;
    void (*run)(std::string_view);
  } kTargets[] = {{"text", fuzz_text},
                  {"script", fuzz_script},
                  {"mp4", fuzz_mp4},
                  {"env", fuzz_env},
                  {"numbers", fuzz_numbers}};
  for (const auto& target : kTargets) {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(seeds / target.name)) {
      std::ifstream file(entry.path(), std::ios::binary);
      const std::string text((std::istreambuf_iterator<char>(file)), {});
      // A copy that ends where its memory ends.
      const std::unique_ptr<char[]> exact(new char[text.size()]);
      text.copy(exact.get(), text.size());
      std::fprintf(stderr, "%s\n", entry.path().c_str());
      target.run({exact.get(), text.size()});
      ++count;
    }
    must(count > 0, "a target without seeds", target.name);
  }
  return 0;
}
