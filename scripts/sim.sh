#!/usr/bin/env bash
# Builds the plug-in, the engine emulator and the simulator (host preset), then runs ylm-sim with
# the given arguments; with none it plays the embedded default scenario.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
cd "$root"
{ cmake --preset default && cmake --build --preset default --target ylm-sim ylm vor; } >&2
exec "$root/build/default/tools/ylm-sim" "$@"
