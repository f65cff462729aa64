#!/usr/bin/env bash
# Regenerates the interface baselines in abi/ from the current sources: for each target, a
# RelWithDebInfo build of libylm.so and libvor.so only (build/abi-<target>), then
# abi/symbols-<target>.txt (scripts/check-symbols.sh) and, for the gcc targets,
# abi/libylm-<target>.abi (scripts/check-abi.sh). The libcxx target (clang, libc++) has a symbol
# list only: the records and the manager's slots do not depend on the C++ runtime, and the gcc
# baselines hold them. Review the diff of abi/ before committing it: every line that changes is a
# change the engine will see.
# Usage: scripts/update-baselines.sh [x86_64] [armv7] [arm64] [libcxx]   (default: all four)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(x86_64 armv7 arm64 libcxx)

for t in "${targets[@]}"; do
    case $t in
        x86_64) toolchain=(-DCMAKE_CXX_COMPILER=g++ -DCMAKE_C_COMPILER=gcc) ;;
        armv7 | arm64 | libcxx) toolchain=(-DCMAKE_TOOLCHAIN_FILE="$root/cmake/toolchain-$t.cmake") ;;
        *) echo "update-baselines: unknown target $t (x86_64, armv7, arm64, libcxx)" >&2; exit 2 ;;
    esac
    dir=build/abi-$t
    gen=()
    [ -f "$dir/CMakeCache.txt" ] || gen=(-G Ninja)
    cmake -S . -B "$dir" "${gen[@]}" "${toolchain[@]}" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DYLM_BUILD_TESTS=OFF -DYLM_BUILD_TOOLS=OFF -DYLM_SANITIZE= -DYLM_FUZZ=OFF >/dev/null
    cmake --build "$dir" -j2 --target ylm vor >/dev/null
    scripts/check-symbols.sh "$dir" "$t" --write
    [ "$t" = libcxx ] || scripts/check-abi.sh "$dir" "$t" --write
done
git -c color.ui=never diff --stat -- abi/ || true
