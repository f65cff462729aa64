# Shared part of the ARM toolchains: Debian's cross compiler for YLM_TRIPLE, the cross sysroot for
# libraries and headers, and tests run under the user-mode emulator YLM_QEMU, which finds the
# target's dynamic loader and C/C++ runtime under that sysroot.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${YLM_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${YLM_TRIPLE}-g++)
set(CMAKE_FIND_ROOT_PATH /usr/${YLM_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR ${YLM_QEMU} -L /usr/${YLM_TRIPLE})

# The simulator needs host-only libraries.
set(YLM_BUILD_TOOLS OFF CACHE BOOL "Build the simulator (needs libyaml and nlohmann-json)")
# The handset platform's device defaults for the library and the engine stand-in, in every ARM
# build (presets, scripts/cross-test.sh, scripts/update-baselines.sh): these are the builds that
# stand for the handset's.
set(YLM_PLATFORM_FLAGS ON CACHE BOOL "Build the library and the engine emulator with the handset platform's flags")
