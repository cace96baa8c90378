// Preloaded before the program: files below "/accounts/", the device's shared folder, are opened
// below the directory in TD_HELD_ACCOUNTS instead, when that is set.

#include <dlfcn.h>
#include <fcntl.h>

#include <cstdarg>
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

template <class Function>
static Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): libc's are reserved names
extern "C" {

FILE* fopen(const char* path, const char* mode) {
  static auto* real = next<FILE*(const char*, const char*)>("fopen");
  return real(held_path(path).c_str(), mode);
}

FILE* fopen64(const char* path, const char* mode) { return fopen(path, mode); }

int open(const char* path, int flags, ...) {
  static auto* real = next<int(const char*, int, ...)>("open");
  mode_t mode = 0;
  if ((flags & O_CREAT) != 0) {
    va_list rest;
    va_start(rest, flags);
    mode = va_arg(rest, mode_t);  // NOLINT(clang-analyzer-valist.Uninitialized): it is not
    va_end(rest);
  }
  return real(held_path(path).c_str(), flags, mode);
}

}  // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
