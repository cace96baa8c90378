// The longest of the objects that TDLib gives in the transcripts, longest first (objects.py).
#pragma once

#include <fstream>
#include <string>
#include <vector>

inline std::vector<std::string> longest_objects() {
  std::ifstream file(TD_LONGEST_OBJECTS);
  std::vector<std::string> objects;
  for (std::string line; std::getline(file, line);) objects.push_back(line);
  return objects;
}
