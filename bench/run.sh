#!/usr/bin/env bash
# Runs the benchmarks and prints cost-per-access-point ratios (256 APs against 4 APs): a ratio
# near 1 means the per-AP cost stays flat as the scan table grows. Then the soak run: heap bytes
# kept per 1000 repeated operations of each kind (0 everywhere but createDefaultProfile, whose
# every call keeps one proxy registered for Wi-Fi state).
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset default >/dev/null
cmake --build --preset default --target ylm_bench ylm_soak >/dev/null
out=$(build/default/bench/ylm_bench --benchmark_format=csv 2>/dev/null)
echo "$out" | python3 -c '
import csv, sys
rows = {r["name"]: float(r["real_time"]) for r in csv.DictReader(l for l in sys.stdin if l.count(",") > 3)}
for base in ("BM_ParseScanData", "BM_FilterAnySsid"):
    small, large = rows.get(base + "/4"), rows.get(base + "/256")
    if small and large:
        print(f"{base}: per-AP cost at 256 APs / at 4 APs = {(large / 256) / (small / 4):.2f}")
'
build/default/bench/ylm_soak
