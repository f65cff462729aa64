#!/usr/bin/env bash
# Checks the dynamic interface of a built libylm.so against abi/symbols-<target>.txt: the libraries
# it needs, the symbols it exports, and the engine symbols it imports from libvor.so. On a change it
# prints a unified diff of the two lists and fails. Also checks the names the engine and the
# loader rely on: libylm.so's SONAME, its NEEDED libvor.so, and libvor.so's SONAME.
#
# Usage: scripts/check-symbols.sh <build-dir> <x86_64|armv7|arm64|libcxx> [--write]
#   --write  replace the baseline with the current list instead of comparing (used by
#            scripts/update-baselines.sh).
# Targets: the three gcc builds (libstdc++, whose std::string is std::__cxx11::basic_string), and
# libcxx, the x86-64 clang build against libc++ (std::__1), the C++ runtime of a handset's engine.
# The engine imports that take a std::string are spelled differently in the two runtimes; the
# libcxx list holds them as the handset's engine exports them.
#
# List format, one line per item, sorted:
#   needed <soname>
#   export <FUNC|OBJECT> <mangled name>  <demangled name>
#   import <FUNC|OBJECT> <mangled name>  <demangled name>
# The mangled name is the contract (it is what the dynamic loader matches); the demangled one is
# there to read. Imports are the undefined symbols that libvor.so defines; C and C++ runtime
# imports are left out.
set -euo pipefail

usage() {
    echo "usage: $0 <build-dir> <x86_64|armv7|arm64|libcxx> [--write]" >&2
    exit 2
}
[ $# -ge 2 ] && [ $# -le 3 ] || usage
build=$1
target=$2
mode=${3:-}
[ -z "$mode" ] || [ "$mode" = --write ] || usage
root=$(cd "$(dirname "$0")/.." && pwd)
baseline=$root/abi/symbols-$target.txt
lib=$build/libylm.so
vor=$build/emu/libvor.so

case $target in
    x86_64 | libcxx) machine='Advanced Micro Devices X86-64' ;;
    armv7) machine='ARM' ;;
    arm64) machine='AArch64' ;;
    *) usage ;;
esac
for f in "$lib" "$vor"; do
    [ -f "$f" ] || { echo "check-symbols: $f not found (build the ylm and vor targets first)" >&2; exit 2; }
done
actual=$(readelf -h "$lib" | sed -n 's/^ *Machine: *//p')
if [ "$actual" != "$machine" ]; then
    echo "check-symbols: $lib is built for '$actual', not for $target" >&2
    exit 2
fi
runtime=libstdc++.so.6
[ "$target" != libcxx ] || runtime=libc++.so.1
if ! readelf -d "$lib" | grep -q "(NEEDED).*\[$runtime\]"; then
    echo "check-symbols: $lib is not linked against $runtime, the C++ runtime of $target" >&2
    exit 2
fi

fail=0
problem() {
    echo "check-symbols [$target]: $*" >&2
    fail=1
}

# The names the engine's loader goes by.
soname() { readelf -d "$1" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p'; }
needed() { readelf -d "$1" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p'; }
[ "$(soname "$lib")" = libylm.so ] || problem "libylm.so has SONAME '$(soname "$lib")', want libylm.so"
[ "$(soname "$vor")" = libvor.so ] || problem "libvor.so has SONAME '$(soname "$vor")', want libvor.so"
needed "$lib" | grep -qx libvor.so || problem "libylm.so does not list libvor.so as NEEDED"

# Dynamic symbols as "<Ndx> <Type> <Name>", version suffixes dropped.
dynsyms() {
    readelf --dyn-syms -W "$1" |
        awk '$1 ~ /^[0-9]+:$/ && $8 != "" && ($5 == "GLOBAL" || $5 == "WEAK") {
                 name = $8; sub(/@.*/, "", name); print $7, $4, name }'
}
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
dynsyms "$vor" | awk '$1 != "UND" { print $3 }' | sort -u >"$tmp/vor-defined"
dynsyms "$lib" >"$tmp/lib"
{
    awk '$1 != "UND" { print "export", $2, $3 }' "$tmp/lib"
    awk 'NR == FNR { host[$1] = 1; next } $1 == "UND" && ($3 in host) { print "import", $2, $3 }' \
        "$tmp/vor-defined" "$tmp/lib"
} | sort -u -k1,1 -k3,3 >"$tmp/symbols"
cut -d' ' -f3 "$tmp/symbols" | c++filt >"$tmp/demangled"
{
    needed "$lib" | sort | sed 's/^/needed /'
    paste -d' ' "$tmp/symbols" "$tmp/demangled" | awk '{ d = $0; sub(/^[^ ]+ [^ ]+ [^ ]+ /, "", d)
                                                         printf "%s %s %s", $1, $2, $3
                                                         if (d != $3) printf "  %s", d
                                                         print "" }'
} >"$tmp/current"
grep -q '^export FUNC init$' "$tmp/current" || problem "libylm.so does not export the function init"

if [ "$mode" = --write ]; then
    cp "$tmp/current" "$baseline"
    echo "check-symbols [$target]: wrote ${baseline#"$root"/} ($(wc -l <"$baseline") lines)"
    exit $fail
fi
if [ ! -f "$baseline" ]; then
    problem "no baseline ${baseline#"$root"/}; run scripts/update-baselines.sh"
elif ! diff -u --label "abi/symbols-$target.txt (baseline)" --label "libylm.so in $build" \
        "$baseline" "$tmp/current"; then
    problem "the dynamic interface differs from the baseline (diff above). If the change is" \
        "intended, run scripts/update-baselines.sh and commit abi/."
fi
[ $fail -eq 0 ] && echo "check-symbols [$target]: OK ($(grep -c '^export' "$tmp/current") exports," \
    "$(grep -c '^import' "$tmp/current") engine imports)"
exit $fail
