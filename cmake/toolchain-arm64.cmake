# 64-bit ARM (AArch64); tests run under qemu-aarch64.
# Current handsets run 64-bit processes too: pointer-sized members grow here.
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(YLM_TRIPLE aarch64-linux-gnu)
set(YLM_QEMU qemu-aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/toolchain-common.cmake)
