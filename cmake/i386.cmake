# 32-bit x86, by Debian's cross compiler: what it makes runs here, and is the quick look at 32 bits.
set(TD_BACKEND_TRIPLET i686-linux-gnu)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(TD_BACKEND_LOADER ld-linux.so.2)
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
