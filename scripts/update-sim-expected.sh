#!/usr/bin/env bash
# Regenerates the expected output of ylm-sim's built-in scenario (tests/sim/expected/) and its
# picture in the guide (docs/img/default-run.png, rendered with rsvg-convert) from a build of this
# tree, then shows what changed. Review the diff before committing it.
# Usage: scripts/update-sim-expected.sh [BUILD_DIR]   (default: build/default)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build/default}
if [ ! -f "$build/CMakeCache.txt" ]; then
  echo "update-sim-expected: $build is not a configured build directory" >&2
  echo "  configure one first, e.g. cmake --preset default" >&2
  exit 2
fi
cmake --build "$build" --target ylm-sim ylm
sim="$build/tools/ylm-sim"
expected="$root/tests/sim/expected"
mkdir -p "$expected"
"$sim" > "$expected/default.txt"
"$sim" --json > "$expected/default.jsonl"
svg=$(mktemp --suffix=.svg)
"$sim" --svg "$svg" > /dev/null
mkdir -p "$root/docs/img"
rsvg-convert -o "$root/docs/img/default-run.png" "$svg"
rm -f "$svg"
echo "update-sim-expected: wrote tests/sim/expected/default.txt, default.jsonl and docs/img/default-run.png"
git -C "$root" diff --stat -- tests/sim/expected docs/img || true
