#!/usr/bin/env bash
# The whole test suite, as CI runs it:
#   0. the size of the tests against the code (scripts/test-size.sh, fails above 35 %);
#   1. host build (gcc) and its tests (unit, end-to-end, load, simulator, symbol/ABI checks),
#      then clang-format and clang-tidy over the sources;
#   2. the same suite built with clang and ASan+UBSan (any finding fails), then a chaos run of a
#      fixed seed (ylm-sim --chaos) under the sanitizers: every invariant after every step;
#   3. a clang build against libc++, the handset's C++ runtime: unit, end-to-end, load and
#      simulator tests, and the symbol check against abi/symbols-libcxx.txt;
#   4. the platform build: the library and the engine emulator with the handset platform's module
#      flags (no RTTI, no exceptions, FORTIFY, stack protector, its warnings as errors), clang and
#      libc++, and the whole host suite against it (docs/handset.md);
#   5. every libFuzzer target for a short fixed number of runs;
#   6. armv7 and arm64 builds (with the platform's module flags), their tests under qemu-user,
#      symbol and ABI checks;
#   7. the real-radio testbed (qemu VM with simulated radios and real daemons).
# Stages can be skipped locally with YLM_SKIP="libcxx platform cross testbed chaos" (CI skips
# nothing).
#
# Every stage runs in a fresh clone of this checkout in an empty temporary directory (with the
# checkout's uncommitted changes copied over), so a file the suite needs but the repository does
# not hold, or a path above the repository's root, fails a test here and not first for a user.
# The clone is removed after a passing run; YLM_KEEP_CLONE=1 keeps it.
set -uo pipefail
cd "$(dirname "$0")/.."

if [ -z "${YLM_LONE_CLONE:-}" ]; then
    tmp=$(mktemp -d "${TMPDIR:-/tmp}/ylm-suite.XXXXXX")
    clone=$tmp/libylm
    echo "=== lone clone: $clone"
    git clone --quiet --no-hardlinks . "$clone" || exit 1
    # What is on disk, not only what is committed: changed and new files, and deletions.
    git diff --binary HEAD | git -C "$clone" apply --allow-empty --whitespace=nowarn || exit 1
    git ls-files -z --others --exclude-standard | xargs -0 -r cp --parents -t "$clone" || exit 1
    git -C "$clone" add -A # the stages list the project's files with git ls-files
    # The testbed's kernel download is a cache, not a project file: share it when it is there.
    [ -d tests/testbed/cache ] && export TESTBED_CACHE=${TESTBED_CACHE:-$PWD/tests/testbed/cache}
    rc=0
    YLM_LONE_CLONE=1 "$clone/scripts/test.sh" || rc=$?
    if [ "$rc" -eq 0 ] && [ -z "${YLM_KEEP_CLONE:-}" ]; then
        rm -rf "$tmp"
    else
        echo "the clone and its builds are kept in $clone"
    fi
    exit "$rc"
fi

passed=0
failed=0
failures=()
skip=" ${YLM_SKIP:-} "

# Runs one CTest pass and adds its counts to the totals.
run_ctest() {
    local name=$1
    shift
    local log
    log=$(mktemp)
    ctest "$@" 2>&1 | tee "$log"
    local line
    line=$(grep -E 'tests passed, [0-9]+ tests? failed out of [0-9]+' "$log" | tail -n 1)
    if [ -z "$line" ]; then
        failures+=("$name: no test ran")
        failed=$((failed + 1))
    else
        local total bad
        total=$(sed -E 's/.*out of ([0-9]+).*/\1/' <<<"$line")
        bad=$(sed -E 's/.*, ([0-9]+) tests? failed.*/\1/' <<<"$line")
        passed=$((passed + total - bad))
        failed=$((failed + bad))
        [ "$bad" -eq 0 ] || failures+=("$name: $bad failed")
    fi
    rm -f "$log"
}

# Runs a stage command; a non-zero exit counts as one failure.
run_stage() {
    local name=$1
    shift
    echo "=== $name"
    local rc=0
    "$@" || rc=$?
    [ "$rc" -ne 0 ] || return 0
    failures+=("$name: exit status $rc")
    failed=$((failed + 1))
    return 1
}

skipped() { [[ "$skip" == *" $1 "* ]] && echo "=== $1: skipped (YLM_SKIP)"; }

run_stage "test size" scripts/test-size.sh

if run_stage "host build" bash -c 'cmake --preset default >/dev/null && cmake --build --preset default'; then
    run_ctest "host tests" --preset default
fi

if ! skipped lint; then
    run_stage "lint (clang-format, clang-tidy)" scripts/lint.sh build/default
fi

if ! skipped asan; then
    if run_stage "asan build" bash -c 'cmake --preset asan >/dev/null && cmake --build --preset asan'; then
        run_ctest "asan tests" --preset asan
        if ! skipped chaos; then
            # A couple of minutes of engine traffic; a failure leaves its scenario in build/asan/chaos.
            mkdir -p build/asan/chaos
            run_stage "chaos (seed 20240917, 100000 steps, ASan+UBSan)" env \
                UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 \
                ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 \
                build/asan/tools/ylm-sim --chaos 20240917 --steps 100000 --out build/asan/chaos &&
                passed=$((passed + 1))
        fi
    fi
fi

if ! skipped libcxx; then
    if run_stage "libcxx build" bash -c 'cmake --preset libcxx >/dev/null && cmake --build --preset libcxx'; then
        run_ctest "libcxx tests" --preset libcxx
    fi
fi

if ! skipped platform; then
    if run_stage "platform build" bash -c 'cmake --preset platform >/dev/null && cmake --build --preset platform'; then
        run_ctest "platform tests" --preset platform
    fi
fi

if ! skipped fuzz; then
    if run_stage "fuzz build" bash -c 'cmake --preset fuzz >/dev/null && cmake --build --preset fuzz'; then
        run_ctest "fuzz smoke" --test-dir build/fuzz -L fuzz -j2 --output-on-failure
    fi
fi

if ! skipped cross; then
    for target in armv7 arm64; do
        if run_stage "$target build" bash -c "cmake --preset $target >/dev/null && cmake --build --preset $target"; then
            run_ctest "$target tests" --preset "$target"
        fi
    done
fi

if ! skipped testbed; then
    tb_log=$(mktemp)
    run_stage "real-radio testbed" bash -c "tests/testbed/run.sh build/default 2>&1 | tee $tb_log; exit \${PIPESTATUS[0]}"
    tb_line=$(grep -E '^testbed: [0-9]+ passed, [0-9]+ failed' "$tb_log" | tail -n 1)
    if [ -n "$tb_line" ]; then
        passed=$((passed + $(sed -E 's/^testbed: ([0-9]+) passed.*/\1/' <<<"$tb_line")))
    fi
    rm -f "$tb_log"
fi

echo
echo "=== summary"
for f in "${failures[@]}"; do
    echo "FAILED: $f"
done
echo "suite: $passed passed, $failed failed"
[ "$failed" -eq 0 ]
