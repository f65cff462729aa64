#!/usr/bin/env bash
# Size of the tests against the code they test: non-blank lines of the C/C++ files git tracks.
# Tests should stay near a quarter to a third of the code; above 35 % this fails.
set -euo pipefail
cd "$(dirname "$0")/.."

count() { git ls-files -- "$@" | grep -E '\.(c|cc|cpp|cxx|h|hh|hpp|hxx)$' | xargs -r cat | grep -cv '^[[:space:]]*$'; }
code=$(count src inc host emu tools bench)
tests=$(count tests)
percent=$(awk -v t="$tests" -v c="$code" 'BEGIN { printf "%.1f", 100 * t / c }')
echo "test-size: code $code lines, tests $tests lines: $percent %"
if [ $((100 * tests)) -gt $((35 * code)) ]; then
    echo "test-size: tests above 35 % of the code" >&2
    exit 1
fi
