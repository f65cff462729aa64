#!/usr/bin/env bash
# clang-format and clang-tidy over the project's own sources (needs a configured build dir for
# compile_commands.json; default build/default).
set -uo pipefail
cd "$(dirname "$0")/.."
build=${1:-build/default}
mapfile -t files < <(git ls-files -- 'src/*.cpp' 'inc/*.h' 'host/*.h' 'emu/*.cpp' 'emu/*.h' \
    'tools/*.cpp' 'tools/*.h' 'tests/*.cpp' 'tests/*.h' 'bench/*.cpp')
status=0
if ! clang-format --dry-run -Werror "${files[@]}"; then
    echo "lint: clang-format differences (run clang-format -i on the files above)"
    status=1
fi
mapfile -t tidy < <(printf '%s\n' "${files[@]}" | grep -E '^(src|emu|tools)/.*\.cpp$')
if [ ${#tidy[@]} -gt 0 ]; then
    if ! printf '%s\n' "${tidy[@]}" | xargs -P 2 -n 4 clang-tidy -p "$build" --quiet 2>/dev/null; then
        echo "lint: clang-tidy findings"
        status=1
    fi
fi
[ $status -eq 0 ] && echo "lint: clean (${#files[@]} files formatted, ${#tidy[@]} checked by clang-tidy)"
exit $status
