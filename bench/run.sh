#!/usr/bin/env bash
# Runs the benchmarks and prints cost ratios, never absolute times:
# - the reading alone: cost per access point at 256 APs against 4 APs (near 1: flat as it grows);
# - one whole scan-ready callback against one memchr pass over the bytes it reads, at 4, 16 and 45
#   access points (with its heap allocations per access point), and its cost per access point at
#   45 against 4.
# Then the soak run: heap bytes kept per 1000 repeated operations of each kind (0 everywhere but
# createDefaultProfile, whose every call keeps one proxy registered for Wi-Fi state).
# Usage: bench/run.sh [REPETITIONS]   (default 5; the medians of the CPU times are compared, so
# that other work on a shared machine weighs less)
set -euo pipefail
cd "$(dirname "$0")/.."
reps=${1:-5}
cmake --preset default >/dev/null
cmake --build --preset default --target ylm_bench ylm_soak >/dev/null
out=$(build/default/bench/ylm_bench --benchmark_format=json --benchmark_repetitions="$reps" \
      --benchmark_report_aggregates_only=true 2>/dev/null)
echo "$out" | python3 -c '
import json, sys
rows, allocs = {}, {}
for b in json.load(sys.stdin)["benchmarks"]:
    if b.get("aggregate_name") == "median":
        rows[b["run_name"]] = float(b["cpu_time"])
        if "allocs_per_ap" in b:
            allocs[b["run_name"]] = float(b["allocs_per_ap"])
for base in ("BM_ParseScanData", "BM_FilterAnySsid"):
    small, large = rows.get(base + "/4"), rows.get(base + "/256")
    if small and large:
        print(f"{base}: per-AP cost at 256 APs / at 4 APs = {(large / 256) / (small / 4):.2f}")
for n in (4, 16, 45):
    key = f"BM_ScanReadyCallback/{n}"
    cb, scan = rows.get(key), rows.get(f"BM_MemchrPass/{n}")
    if cb and scan:
        print(f"scan-ready callback at {n} APs / one memchr pass over its bytes = {cb / scan:.1f}"
              f" ({allocs.get(key, 0):.1f} heap allocations per AP)")
small, large = rows.get("BM_ScanReadyCallback/4"), rows.get("BM_ScanReadyCallback/45")
if small and large:
    print(f"scan-ready callback: per-AP cost at 45 APs / at 4 APs = {(large / 45) / (small / 4):.2f}")
'
build/default/bench/ylm_soak
