// A directory of its own for one test, gone with everything in it when the value goes.
#pragma once

#include <string>
#include <string_view>

class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  // Without a slash at its end.
  const std::string& path() const { return path_; }
  std::string operator/(std::string_view name) const;

 private:
  std::string path_;
};

// The whole file; empty when it cannot be read.
std::string read_file(const std::string& path);

// Makes or replaces the file; throws std::runtime_error when that fails.
void write_file(const std::string& path, std::string_view bytes);
