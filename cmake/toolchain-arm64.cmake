# 64-bit ARM (AArch64) with Debian's cross compiler; tests run under qemu-aarch64.
# Current handsets run 64-bit processes too: pointer-sized members grow here.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(YLM_TRIPLE aarch64-linux-gnu)
set(CMAKE_C_COMPILER ${YLM_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${YLM_TRIPLE}-g++)
set(CMAKE_FIND_ROOT_PATH /usr/${YLM_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# CTest and gtest discovery run target binaries through the user-mode emulator, which finds the
# target's dynamic loader and C/C++ runtime under the cross sysroot.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L /usr/${YLM_TRIPLE})

# The simulator needs host-only libraries.
set(YLM_BUILD_TOOLS OFF CACHE BOOL "Build the simulator (needs yaml-cpp and nlohmann-json)")
