// Comparing a text with a POSIX extended expression, for lines that hold addresses.
#pragma once

#include <gtest/gtest.h>
#include <regex.h>

#include <string>

// The whole text against the expression.
inline bool matches(const std::string& text, const std::string& expression) {
  regex_t compiled;
  const int flags = REG_EXTENDED | REG_NOSUB;
  const bool good = regcomp(&compiled, ("^(" + expression + ")$").c_str(), flags) == 0;
  EXPECT_TRUE(good) << expression;
  const bool found = good && regexec(&compiled, text.c_str(), 0, nullptr, 0) == 0;
  if (good) regfree(&compiled);
  return found;
}
