# x86-64 with clang and LLVM's C++ runtime (libc++, types in std::__1), the runtime a handset's
# engine is built with. The engine's imports that take a std::string are spelled with it, so this
# build shows the names the handset's engine has to export.
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_CXX_FLAGS_INIT "-stdlib=libc++")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-stdlib=libc++")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-stdlib=libc++")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-stdlib=libc++")
