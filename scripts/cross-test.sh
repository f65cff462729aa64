#!/usr/bin/env bash
# Builds and tests libylm for 32-bit and 64-bit ARM on this machine: cross-compiled with Debian's
# toolchains (cmake/toolchain-*.cmake), the unit, end-to-end and load tests run under qemu-user,
# then the symbol and ABI checks against abi/. Prints one summary line per target and exits
# non-zero when anything failed.
# Usage: scripts/cross-test.sh [armv7|arm64|native|all]...   (default: all = armv7 arm64)
# Logs: build/<preset>/cross-test-{configure,build,ctest}.log
set -uo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"

targets=()
for a in "${@:-all}"; do
    case $a in
        all) targets+=(armv7 arm64) ;;
        armv7 | arm64 | native) targets+=("$a") ;;
        *) echo "usage: $0 [armv7|arm64|native|all]..." >&2; exit 2 ;;
    esac
done

preset_of() { [ "$1" = native ] && echo default || echo "$1"; }
abi_of() { [ "$1" = native ] && echo x86_64 || echo "$1"; }

summary=()
failed=0
for t in "${targets[@]}"; do
    preset=$(preset_of "$t")
    dir=build/$preset
    start=$(date +%s)
    status=ok
    detail=""
    mkdir -p "$dir"
    gen=()
    [ -f "$dir/CMakeCache.txt" ] || ! command -v ninja >/dev/null || gen=(-G Ninja)
    echo "== $t: configure, build, test (logs in $dir/cross-test-*.log)"
    if ! cmake --preset "$preset" "${gen[@]}" >"$dir/cross-test-configure.log" 2>&1; then
        status=FAILED detail="configure failed"
        tail -20 "$dir/cross-test-configure.log"
    elif ! cmake --build --preset "$preset" -j2 >"$dir/cross-test-build.log" 2>&1; then
        status=FAILED detail="build failed"
        grep -E -m 20 'error|FAILED' "$dir/cross-test-build.log"
    else
        # The interface checks run below, on their own, so that their diffs are printed as is.
        ctest --preset "$preset" -j2 -LE abi --timeout 300 >"$dir/cross-test-ctest.log" 2>&1
        rc=$?
        line=$(grep -E 'tests passed, [0-9]+ tests failed' "$dir/cross-test-ctest.log" | tail -1)
        detail="tests: ${line:-no test summary}"
        if [ $rc -ne 0 ]; then
            status=FAILED
            sed -n '/The following tests FAILED/,$p' "$dir/cross-test-ctest.log"
        fi
        abi=$(abi_of "$t")
        if scripts/check-symbols.sh "$dir" "$abi"; then detail+="; symbols ok"; else
            status=FAILED detail+="; symbols CHANGED"
        fi
        if scripts/check-abi.sh "$dir" "$abi"; then detail+="; abi ok"; else
            status=FAILED detail+="; abi CHANGED"
        fi
    fi
    secs=$(($(date +%s) - start))
    [ $status = ok ] || failed=1
    summary+=("$(printf '%-7s %-6s %4ds  %s' "$t" "$status" "$secs" "$detail")")
done

echo
echo "== cross-test summary (target, result, wall time, details)"
printf '%s\n' "${summary[@]}"
exit $failed
