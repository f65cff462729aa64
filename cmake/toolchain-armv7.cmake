# 32-bit ARM (hard-float EABI); tests run under qemu-arm.
# The engine on a handset is a 32-bit ARM binary, so this is the build whose layouts matter most.
set(CMAKE_SYSTEM_PROCESSOR arm)
set(YLM_TRIPLE arm-linux-gnueabihf)
set(YLM_QEMU qemu-arm)
include(${CMAKE_CURRENT_LIST_DIR}/toolchain-common.cmake)
