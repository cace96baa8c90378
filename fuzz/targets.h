// What is fuzzed. Each takes any bytes and aborts when the program does what it must not; the
// sanitizers see the rest. One process runs them one after another on its main thread.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string_view>

void fuzz_text(std::string_view input);     // kernels, scanners and walks
void fuzz_script(std::string_view input);   // commands and objects, a line each
void fuzz_mp4(std::string_view input);      // media headers
void fuzz_env(std::string_view input);      // environment files
void fuzz_numbers(std::string_view input);  // numbers, escapes and tags

// Says what was to hold, and ends.
inline void must(bool holds, const char* what, std::string_view text = "") {
  if (holds) return;
  dprintf(STDERR_FILENO, "fuzz: %s: %.*s\n", what, static_cast<int>(text.size()), text.data());
  std::abort();
}

// The program's own words about its input are not looked at; the sanitizers' have another way.
inline void be_quiet() {
  static FILE* const nowhere = std::fopen("/dev/null", "w");
  stderr = nowhere;
}
