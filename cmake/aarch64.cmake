# 64-bit ARM, by Debian's cross compiler.
set(TD_BACKEND_TRIPLET aarch64-linux-gnu)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(TD_BACKEND_LOADER ld-linux-aarch64.so.1)
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
