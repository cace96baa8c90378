// Comparing a text with a POSIX extended expression, for lines that hold addresses.
#pragma once

#include <gtest/gtest.h>
#include <regex.h>

#include <string>
#include <vector>

// The whole text against the expression: what matched, then its groups; empty when the text does
// not match.
inline std::vector<std::string> match_whole(const std::string& text,
                                            const std::string& expression) {
  std::vector<std::string> groups;
  regex_t compiled;
  const int error = regcomp(&compiled, ("^(" + expression + ")$").c_str(), REG_EXTENDED);
  EXPECT_EQ(error, 0) << expression;
  if (error != 0) return groups;
  std::vector<regmatch_t> found(compiled.re_nsub + 1);
  if (regexec(&compiled, text.c_str(), found.size(), found.data(), 0) == 0) {
    for (std::size_t i = 1; i < found.size(); ++i) {
      const bool taken = found[i].rm_so >= 0;
      groups.push_back(taken
                           ? text.substr(static_cast<std::size_t>(found[i].rm_so),
                                         static_cast<std::size_t>(found[i].rm_eo - found[i].rm_so))
                           : "");
    }
  }
  regfree(&compiled);
  return groups;
}

inline bool matches(const std::string& text, const std::string& expression) {
  return !match_whole(text, expression).empty();
}
