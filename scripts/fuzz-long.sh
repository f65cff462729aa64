#!/usr/bin/env bash
# Runs every built libFuzzer target for a given time each, one after another, growing each
# target's work corpus from its seeds. A finding stops the run with a non-zero status; its
# reproducer is left in the target's work directory (crash-*, leak-*, timeout-*).
# Usage: scripts/fuzz-long.sh [fuzz build dir, default build/fuzz] [seconds per target, default 300]
set -uo pipefail
cd "$(dirname "$0")/.."

build=$(realpath "${1:-build/fuzz}")
seconds=${2:-300}
seeds=$(realpath tests/fuzz/corpus)
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-halt_on_error=1:print_stacktrace=1}
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1}

shopt -s nullglob
targets=("$build"/tests/fuzz/fuzz_*)
if [ ${#targets[@]} -eq 0 ]; then
    echo "fuzz-long: no fuzz targets in $build/tests/fuzz (configure with -DYLM_FUZZ=ON)" >&2
    exit 2
fi
for target in "${targets[@]}"; do
    [ -f "$target" ] && [ -x "$target" ] || continue
    name=$(basename "$target")
    name=${name#fuzz_}
    work="$build/tests/fuzz/work/$name"
    mkdir -p "$work"
    dirs=("$work")
    [ -d "$seeds/$name" ] && dirs+=("$seeds/$name")
    log="$work/../$name.log"
    echo "=== $name: ${seconds}s"
    if ! "$target" -max_total_time="$seconds" -max_len=8192 -print_final_stats=1 \
        -artifact_prefix="$work/" "${dirs[@]}" >"$log" 2>&1; then
        tail -n 40 "$log"
        echo "fuzz-long: $name found a fault; see $log" >&2
        exit 1
    fi
    grep -E '^stat::number_of_executed_units|^stat::peak_rss_mb' "$log" | tr '\n' ' '
    echo
done
echo "fuzz-long: every target ran ${seconds}s without a finding"
