// The version of this build, as the project's CMakeLists.txt states it: "1.0.0".
#pragma once

extern const char kVersion[];
