#!/usr/bin/env bash
# Regenerates the expected output of ylm-sim (tests/sim/expected/) and its picture in the guide
# (docs/img/default-run.png, rendered with rsvg-convert) from a build of this tree, then shows what
# changed. Review the diff before committing it: for the built-in scenario and every
# scenarios/*.yaml, NAME.jsonl holds the DSD messages as JSON and NAME.log the library's log lines
# at level 0, what the engine sees of the run; default.txt is the built-in scenario's timeline.
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
# The engine's view: messages on stdout; log lines ("[...") on stderr, the simulator's notes left out.
engine_view() {
  local name=$1; shift
  "$sim" "$@" --json --log-level 0 > "$expected/$name.jsonl" 2> "$expected/$name.err"
  grep -a '^\[' "$expected/$name.err" > "$expected/$name.log" || true
  rm -f "$expected/$name.err"
}
engine_view default
for yaml in "$root"/scenarios/*.yaml; do
  engine_view "$(basename "$yaml" .yaml)" "$yaml"
done
svg=$(mktemp --suffix=.svg)
"$sim" --svg "$svg" > /dev/null
mkdir -p "$root/docs/img"
rsvg-convert -o "$root/docs/img/default-run.png" "$svg"
rm -f "$svg"
echo "update-sim-expected: wrote tests/sim/expected/ and docs/img/default-run.png"
git -C "$root" status --short -- tests/sim/expected docs/img || true
