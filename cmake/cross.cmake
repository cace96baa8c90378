# What the toolchain files share. Debian keeps a target's libraries in /usr/TRIPLET, and programs
# are linked with the loader and libraries from there, so that they run without further ado.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${TD_BACKEND_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${TD_BACKEND_TRIPLET}-g++)
set(CMAKE_STRIP ${TD_BACKEND_TRIPLET}-strip)

set(CMAKE_FIND_ROOT_PATH /usr/${TD_BACKEND_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(target_lib /usr/${TD_BACKEND_TRIPLET}/lib)
# The older kind of rpath, which holds for what libraries need, too.
set(TD_BACKEND_RPATH "-Wl,--disable-new-dtags,-rpath,${target_lib}")
set(CMAKE_EXE_LINKER_FLAGS_INIT
    "-Wl,--dynamic-linker=${target_lib}/${TD_BACKEND_LOADER} ${TD_BACKEND_RPATH}")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "${TD_BACKEND_RPATH}")
