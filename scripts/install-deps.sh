#!/usr/bin/env bash
# Installs the Debian packages that the build, the test suite, the cross-target runs and the
# real-radio testbed need. Idempotent: packages already present are left alone.
# Usage: scripts/install-deps.sh [--with-testbed] [--with-cross] [--with-libcxx] [--all]
set -euo pipefail

base=(build-essential cmake ninja-build pkg-config g++ clang clang-tidy clang-format
      libclang-rt-14-dev llvm googletest libgtest-dev libgmock-dev libbenchmark-dev
      libyaml-dev nlohmann-json3-dev python3 python3-yaml valgrind binutils abigail-tools librsvg2-bin)
cross=(g++-arm-linux-gnueabihf g++-aarch64-linux-gnu qemu-user)
testbed=(qemu-system-x86 wpasupplicant hostapd iw busybox-static kmod cpio socat)
# LLVM's C++ runtime, which a handset's engine is built with (the libcxx preset).
libcxx=(libc++-14-dev libc++abi-14-dev)

want=("${base[@]}")
for a in "$@"; do
  case "$a" in
    --with-cross) want+=("${cross[@]}") ;;
    --with-testbed) want+=("${testbed[@]}") ;;
    --with-libcxx) want+=("${libcxx[@]}") ;;
    --all) want+=("${cross[@]}" "${testbed[@]}" "${libcxx[@]}") ;;
    *) echo "unknown option: $a" >&2; exit 2 ;;
  esac
done

missing=()
for p in "${want[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -eq 0 ]; then
  echo "install-deps: all ${#want[@]} packages present"
  exit 0
fi
SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO=sudo
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
echo "install-deps: installed ${missing[*]}"
