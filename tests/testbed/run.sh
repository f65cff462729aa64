#!/usr/bin/env bash
# Real-radio testbed: boots a small VM (qemu, software emulation) with mac80211_hwsim radios,
# Debian's hostapd as access points and wpa_supplicant as stations, runs the simulator's live
# scenarios in it against those daemons, and checks the plug-in's DSD messages against what the
# daemons say.
#
# Usage: tests/testbed/run.sh [BUILD_DIR] [--probe | --capture | --keep-recordings]
#   BUILD_DIR  a build with the simulator (default: build/default); ASAN_OPTIONS, UBSAN_OPTIONS
#              and LSAN_OPTIONS are passed on to the simulator in the VM
#   --probe    boot and bring the daemons up, capture their replies, run no scenario
#   --capture  make the genuine replies of tests/fixtures/real-daemons again, with the configs
#              kept there, and compare them with the kept ones (compare-captures.py)
#   --keep-recordings  after a passing run, keep the recordings of the changing world's
#              scenarios (and their live messages) in scenarios/recorded/, to play on the host
# Exits 0 when every scenario passes, and also (printing SKIPPED) when qemu cannot run here at all.
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(cd "$here/../.." && pwd)
build=""
probe=0
capture=0
keep=0
fixtures=$root/tests/fixtures/real-daemons
for a in "$@"; do
  case "$a" in
    --probe) probe=1 ;;
    --capture) probe=1 capture=1 ;;
    --keep-recordings) keep=1 ;;
    -*) echo "usage: $0 [BUILD_DIR] [--probe | --capture | --keep-recordings]" >&2; exit 2 ;;
    *) build=$a ;;
  esac
done
# Probe and capture runs need no build products, only a place for their work.
[ "$probe" -eq 0 ] || mkdir -p "${build:-$root/build/default}"
build=$(cd "${build:-$root/build/default}" 2>/dev/null && pwd) || {
  echo "testbed: build directory ${build:-$root/build/default} not found" >&2
  exit 2
}
cache=${TESTBED_CACHE:-$here/cache}
work=$build/testbed
start=$(date +%s)
vm_timeout=${TESTBED_VM_TIMEOUT:-420}
qemu=${TESTBED_QEMU:-qemu-system-x86_64}

say() { echo "testbed: $*"; }
die() { echo "testbed: FAILED: $*" >&2; exit 1; }
skip() {
  echo "testbed: SKIPPED: $* (no scenario ran; this is not a pass)"
  exit 0
}

ensure_tools() {
  "$root/scripts/install-deps.sh" --with-testbed || say "warning: installing the testbed packages failed"
  command -v "$qemu" >/dev/null || skip "$qemu is not installed"
  # A VM that cannot even be created (no TCG, no memory, sandbox refusing it) is a property of
  # the machine, not of the plug-in.
  local rc=0
  timeout 3 "$qemu" -machine q35,accel=tcg -m 64 -nodefaults -display none -S \
    </dev/null >/dev/null 2>"$work/qemu-probe.err" || rc=$?
  [ "$rc" -eq 124 ] || skip "qemu cannot start here (exit status $rc): $(head -c 300 "$work/qemu-probe.err")"
  local t
  for t in wpa_supplicant wpa_cli hostapd hostapd_cli iw; do
    [ -x "/usr/sbin/$t" ] || die "/usr/sbin/$t missing after installing the testbed packages"
  done
  for t in busybox socat kmod cpio depmod ldconfig; do
    command -v "$t" >/dev/null || die "$t missing after installing the testbed packages"
  done
}

# The kernel package apt offers now (linux-image-amd64's dependency), e.g. linux-image-6.1.0-56-amd64.
kernel_package() {
  local name
  name=$(apt-cache depends linux-image-amd64 2>/dev/null |
    sed -n 's/^ *Depends: \(linux-image-[0-9.]*-[0-9]*-amd64\)$/\1/p' | head -1)
  if [ -z "$name" ]; then
    apt-get update -qq >/dev/null 2>&1 || true
    name=$(apt-cache depends linux-image-amd64 2>/dev/null |
      sed -n 's/^ *Depends: \(linux-image-[0-9.]*-[0-9]*-amd64\)$/\1/p' | head -1)
  fi
  if [ -z "$name" ]; then # offline: the newest one already in the cache
    name=$(find "$cache/kernel" -mindepth 1 -maxdepth 1 -name 'linux-image-*' -printf '%f\n' \
      2>/dev/null | sort -V | tail -1)
  fi
  [ -n "$name" ] || die "no linux-image-*-amd64 package offered by apt and none cached"
  echo "$name"
}

fetch_deb() { # PACKAGE: downloads PACKAGE's .deb into the cache unless one is there
  local pkg=$1
  ls "$cache/debs/${pkg}"_*.deb >/dev/null 2>&1 && return 0
  say "downloading $pkg"
  (cd "$cache/debs" && apt-get -q -o APT::Sandbox::User=root download "$pkg" >/dev/null) ||
    die "apt-get download $pkg failed"
}

prepare_kernel() {
  mkdir -p "$cache/debs" "$cache/kernel"
  kpkg=$(kernel_package)
  kver=${kpkg#linux-image-}
  kdir=$cache/kernel/$kpkg
  regdir=$cache/regdb
  if [ ! -e "$kdir/lib/modules/$kver/modules.dep" ]; then
    # A newer kernel replaces the cached one.
    find "$cache/kernel" -mindepth 1 -maxdepth 1 -not -name "$kpkg" -exec rm -rf {} +
    find "$cache/debs" -name 'linux-image-*.deb' -not -name "${kpkg}_*" -delete
    fetch_deb "$kpkg"
    rm -rf "$kdir"
    dpkg -x "$cache/debs/${kpkg}"_*.deb "$kdir"
    depmod -b "$kdir" "$kver"
  fi
  if [ ! -e "$regdir/lib/firmware/regulatory.db-debian" ]; then
    fetch_deb wireless-regdb
    rm -rf "$regdir"
    dpkg -x "$cache/debs/"wireless-regdb_*.deb "$regdir"
  fi
}

# The base image depends on the kernel, the regulatory database, the installed daemons and the
# script that builds it; a change in any of them builds a new one.
prepare_base() {
  local key
  key=$(
    {
      echo "$kpkg"
      find "$cache/debs" -name 'wireless-regdb_*.deb' -printf '%f\n' | sort
      dpkg-query -W -f='${Package}=${Version}\n' wpasupplicant hostapd iw busybox-static socat kmod
      sha256sum "$here/mkbase.sh"
    } | sha256sum | cut -c1-16
  )
  base=$cache/base-$key.cpio
  if [ ! -e "$base" ]; then
    say "building the base initramfs ($kpkg)"
    rm -f "$cache"/base-*.cpio
    "$here/mkbase.sh" "$kdir" "$kver" "$regdir" "$base"
  fi
}

find_built() { # PATH NAME: PATH under the build directory, else the newest file called NAME there
  if [ -f "$build/$1" ]; then
    echo "$build/$1"
    return
  fi
  find "$build" -name "$2" -type f -not -path "$work/*" -printf '%T@ %p\n' 2>/dev/null |
    sort -n | tail -1 | cut -d' ' -f2-
}

# Per-run overlay: the VM's init, the daemon configs and the project's freshly built binaries
# with the shared libraries they need.
build_overlay() {
  local ov=$work/overlay f lib
  rm -rf "$ov"
  mkdir -p "$ov/testbed/conf" "$ov/opt/ylm"
  install -m 755 "$here/vm-init.sh" "$ov/init"
  if [ "$capture" -eq 1 ]; then
    cp "$fixtures"/*.conf "$ov/testbed/conf/"
  else
    cp "$here"/conf/*.conf "$ov/testbed/conf/"
  fi
  if [ "$probe" -eq 0 ]; then
    sim=$(find_built tools/ylm-sim ylm-sim)
    libylm=$(find_built libylm.so libylm.so)
    libvor=$(find_built emu/libvor.so libvor.so)
    [ -n "$sim" ] || die "ylm-sim not found under $build (configure with -DYLM_BUILD_TOOLS=ON)"
    if [ -z "$libylm" ] || [ -z "$libvor" ]; then
      die "libylm.so or libvor.so not found under $build"
    fi
    for f in "$sim" "$libylm" "$libvor"; do
      cp -L "$f" "$ov/opt/ylm/"
      ldd "$f" | awk '{for (i = 1; i <= NF; i++) if ($i ~ /^\//) print $i}' | while read -r lib; do
        case "$lib" in "$build"/*) continue ;; esac
        cp -L --parents "$lib" "$ov"
      done
    done
  fi
  (cd "$ov" && find . -mindepth 1 | LC_ALL=C sort | cpio --quiet -o -H newc -R 0:0) >"$work/overlay.cpio"
  # The kernel unpacks concatenated archives in order, so the overlay's files win.
  cat "$base" "$work/overlay.cpio" >"$work/initrd.cpio"
}

prepare_share() {
  rm -rf "$work/share"
  mkdir -p "$work/share/in/scenarios" "$work/share/out"
  if [ "$probe" -eq 0 ]; then
    cp "$here"/scenarios/*.yaml "$work/share/in/scenarios/"
  fi
  [ "$capture" -eq 0 ] || touch "$work/share/in/capture"
  # A sanitizer build is judged with the caller's sanitizer settings.
  local v
  for v in ASAN_OPTIONS UBSAN_OPTIONS LSAN_OPTIONS; do
    [ -z "${!v:-}" ] || printf "export %s='%s'\n" "$v" "${!v}" >>"$work/share/in/env"
  done
}

boot_vm() {
  say "booting the VM (timeout ${vm_timeout}s)"
  local t0 rc=0
  t0=$(date +%s)
  set +e
  timeout "$vm_timeout" "$qemu" -machine q35,accel=tcg -cpu max -smp 2 -m 1024 \
    -nographic -no-reboot -nic none \
    -kernel "$kdir/boot/vmlinuz-$kver" -initrd "$work/initrd.cpio" \
    -append "console=ttyS0 panic=-1 quiet loglevel=4 cfg80211.ieee80211_regdom=US" \
    -device virtio-rng-pci \
    -fsdev "local,id=share,path=$work/share,security_model=none" \
    -device virtio-9p-pci,fsdev=share,mount_tag=share \
    </dev/null 2>&1 | tee "$work/console.log"
  rc=${PIPESTATUS[0]}
  set -e
  vm_seconds=$(($(date +%s) - t0))
  [ "$rc" -ne 124 ] || say "the VM did not power off within ${vm_timeout}s"
}

# The console went by above (and is in console.log); the daemons' logs tell why they did not come up.
report_vm_failure() {
  local f
  for f in "$work"/share/out/logs/*.log; do
    [ -e "$f" ] || continue
    echo "===== $(basename "$f") =====" >&2
    tail -n 60 "$f" >&2
  done
}

# The recording of each scenario judged by derivation (the changing world's), headed by what the
# world did around it, and the messages of the live run, which its playback on the host must give
# again. The recorder's notes name the VM's paths; the kept copy names the repository's.
keep_recordings() {
  local yaml name dest=$root/scenarios/recorded
  mkdir -p "$dest"
  for yaml in "$here"/scenarios/*.yaml; do
    ! grep -q '^# judge: truth' "$yaml" || continue
    name=$(basename "$yaml" .yaml)
    {
      echo "# Recorded in the real-radio testbed from tests/testbed/scenarios/$name.yaml"
      echo "# (docs/testbed.md), against real hostapd and wpa_supplicant. What the world did around"
      echo "# the plug-in, at seconds of the run:"
      grep -E '^# (world [0-9]+|setup):' "$yaml" ||
        echo "# nothing but what the scenario's own steps do"
      sed -e "s#/mnt/share/in/scenarios/$name.yaml#tests/testbed/scenarios/$name.yaml#g" \
        -e "s#/mnt/share/out/scenarios/$name.recorded.yaml#scenarios/recorded/$name.yaml#g" \
        "$work/share/out/scenarios/$name.recorded.yaml"
    } >"$dest/$name.yaml"
    cp "$work/share/out/scenarios/$name.jsonl" "$dest/$name.jsonl"
    say "kept scenarios/recorded/$name.yaml"
  done
}

main() {
  mkdir -p "$work"
  ensure_tools
  prepare_kernel
  prepare_base
  build_overlay
  prepare_share
  local prep=$(($(date +%s) - start))
  boot_vm
  local result
  result=$(cat "$work/share/out/result" 2>/dev/null || echo "no result (VM did not finish)")
  if [ "$result" != DONE ]; then
    report_vm_failure
    die "VM: $result"
  fi
  local rc=0
  if [ "$capture" -eq 1 ]; then
    python3 "$here/compare-captures.py" "$fixtures" "$work/share/out/fixtures" || rc=$?
  elif [ "$probe" -eq 0 ]; then
    python3 "$here/check.py" "$work/share/out" "$sim" || rc=$?
  else
    say "probe: the replies are in $work/share/out/truth"
  fi
  say "wall time $(($(date +%s) - start))s (preparation ${prep}s, VM ${vm_seconds}s); results in $work/share/out"
  [ "$capture" -eq 0 ] || [ "$rc" -eq 0 ] || die "the new captures differ from the kept ones"
  [ "$rc" -eq 0 ] || die "scenario checks failed"
  [ "$keep" -eq 0 ] || keep_recordings
}

main
