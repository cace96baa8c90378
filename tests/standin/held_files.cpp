// Preloaded before the program: files below "/accounts/", the device's shared folder, are opened
// below the directory in TD_HELD_ACCOUNTS instead, when that is set.

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

static std::string held_path(const char* path) {
  const char* directory = std::getenv("TD_HELD_ACCOUNTS");
  constexpr std::size_t kRoot = sizeof "/accounts" - 1;
  if (directory == nullptr || std::strncmp(path, "/accounts/", kRoot + 1) != 0) return path;
  return std::string(directory) + (path + kRoot);
}

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): libc's are reserved names
extern "C" {

FILE* fopen(const char* path, const char* mode) {
  static const auto real =
      reinterpret_cast<FILE* (*)(const char*, const char*)>(dlsym(RTLD_NEXT, "fopen"));
  return real(held_path(path).c_str(), mode);
}

FILE* fopen64(const char* path, const char* mode) { return fopen(path, mode); }

}  // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
