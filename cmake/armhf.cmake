# 32-bit ARM with hardware floating point, by Debian's cross compiler.
set(TD_BACKEND_TRIPLET arm-linux-gnueabihf)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(TD_BACKEND_LOADER ld-linux-armhf.so.3)
# The ABI of some C++ types changed long ago: nothing here crosses that border.
set(CMAKE_CXX_FLAGS_INIT "-Wno-psabi")
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
