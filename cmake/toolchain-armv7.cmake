# 32-bit ARM (hard-float EABI) with Debian's cross compiler; tests run under qemu-arm.
# The engine on a handset is a 32-bit ARM binary, so this is the build whose layouts matter most.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)

set(YLM_TRIPLE arm-linux-gnueabihf)
set(CMAKE_C_COMPILER ${YLM_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${YLM_TRIPLE}-g++)
set(CMAKE_FIND_ROOT_PATH /usr/${YLM_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# CTest and gtest discovery run target binaries through the user-mode emulator, which finds the
# target's dynamic loader and C/C++ runtime under the cross sysroot.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L /usr/${YLM_TRIPLE})

# The simulator needs host-only libraries.
set(YLM_BUILD_TOOLS OFF CACHE BOOL "Build the simulator (needs yaml-cpp and nlohmann-json)")
