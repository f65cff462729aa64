#!/usr/bin/env bash
# Checks the ABI that the engine sees in a built libylm.so against abi/libylm-<target>.abi, with
# libabigail: the exported functions, the manager that `init` returns (its virtual table: slot
# order and the signature of each slot) and the DSD records passed through those slots.
#
# Usage: scripts/check-abi.sh <build-dir> <x86_64|armv7|arm64> [--write]
#   --write  replace the baseline instead of comparing (used by scripts/update-baselines.sh).
#
# How the dump is reduced to what the engine sees:
#   1. abidw drops every type not declared in host/ or inc/TpxWifiClientMgr.h
#      (abi/engine-view.suppr).
#   2. The manager is reduced to its virtual functions: the engine only holds the pointer and calls
#      through the table, so the manager's data members, nested types and non-virtual functions
#      are taken out, and its size is that of the table pointer.
#   3. What the exported functions cannot reach is pruned, so the baseline holds only the contract.
# abidiff then compares the two views. It counts a slot whose parameters changed as a harmless
# replacement of one method by another, so the slot table (offset and mangled name of each
# virtual function) is compared as well.
set -euo pipefail

usage() {
    echo "usage: $0 <build-dir> <x86_64|armv7|arm64> [--write]" >&2
    exit 2
}
[ $# -ge 2 ] && [ $# -le 3 ] || usage
build=$1
target=$2
mode=${3:-}
[ -z "$mode" ] || [ "$mode" = --write ] || usage
case $target in
    x86_64 | armv7 | arm64) ;;
    *) usage ;;
esac
root=$(cd "$(dirname "$0")/.." && pwd)
baseline=$root/abi/libylm-$target.abi
lib=$build/libylm.so
for tool in abidw abidiff python3 readelf; do
    command -v $tool >/dev/null || { echo "check-abi: $tool not found (scripts/install-deps.sh)" >&2; exit 2; }
done
[ -f "$lib" ] || { echo "check-abi: $lib not found (build the ylm target first)" >&2; exit 2; }
if ! readelf -S -W "$lib" | grep -q '\.debug_info'; then
    echo "check-abi: $lib has no debug info; build with CMAKE_BUILD_TYPE=RelWithDebInfo" >&2
    exit 2
fi

tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
abidw --no-corpus-path --no-comp-dir-path --short-locs --type-id-style hash \
    --suppressions "$root/abi/engine-view.suppr" --out-file "$tmp/raw.abi" "$lib"

# Reduces the dump (steps 2 and 3 above), checks that the contract is really in it, and writes the
# view, or with --slots prints the manager's slot table of a view.
view() {
    python3 - "$@" <<'PY'
import sys
import xml.etree.ElementTree as ET

MANAGER = "TpxWifiClientMgr"
SCOPES = ("abi-instr", "namespace-decl")
RECORDS = ("dsd_start_wifi_meas_ind_msg_v01", "dsd_stop_wifi_meas_ind_msg_v01",
           "dsd_wqe_profile_init_ind_msg_v01", "dsd_wqe_profile_type_ind_msg_v01")


def managers(root):
    return [c for c in root.iter("class-decl")
            if c.get("name") == MANAGER and c.get("is-declaration-only") != "yes"]


def slots(root):
    rows = set()
    for cls in managers(root):
        for fn in cls.findall("member-function"):
            off = fn.get("vtable-offset")
            decl = fn.find("function-decl")
            if off is not None and decl is not None:
                kind = "destructor" if fn.get("destructor") == "yes" else "slot " + off
                rows.add((int(off), kind, decl.get("mangled-name", decl.get("name"))))
    return ["%s %s" % (kind, name) for _, kind, name in sorted(rows)]


def reduce_manager(root):
    for instr in root.iter("abi-instr"):
        for cls in instr.iter("class-decl"):
            if cls.get("name") != MANAGER or cls.get("is-declaration-only") == "yes":
                continue
            for child in list(cls):
                if child.tag != "member-function" or child.get("vtable-offset") is None:
                    cls.remove(child)
            cls.set("size-in-bits", instr.get("address-size"))


def prune(root):
    defs = {el.get("id"): el for el in root.iter() if el.get("id") is not None}
    todo = [el for scope in root.iter() if scope.tag in SCOPES for el in scope
            if el.tag in ("function-decl", "var-decl") and el.get("elf-symbol-id")]
    keep = set()
    while todo:
        el = todo.pop()
        if id(el) in keep:
            continue
        for sub in el.iter():
            keep.add(id(sub))
            for attr, val in sub.attrib.items():
                if (attr.endswith("type-id") or attr == "def-of-decl-id") and val in defs:
                    if id(defs[val]) not in keep:
                        todo.append(defs[val])
    changed = True
    while changed:
        changed = False
        for scope in [s for s in root.iter() if s.tag in SCOPES]:
            for el in list(scope):
                if id(el) not in keep and not (el.tag == "namespace-decl" and len(el)):
                    scope.remove(el)
                    changed = True
        for instr in root.findall("abi-instr"):
            if len(instr) == 0:
                root.remove(instr)
                changed = True


def require(root, where):
    missing = []
    if not [s for s in slots(root) if s.startswith("slot ")]:
        missing.append("the virtual table of " + MANAGER)
    names = {c.get("name") for c in root.iter("class-decl") if c.get("is-declaration-only") != "yes"}
    missing += [r for r in RECORDS if r not in names]
    if missing:
        sys.exit("check-abi: %s lacks %s" % (where, ", ".join(missing)))


if sys.argv[1] == "--slots":
    root = ET.parse(sys.argv[2]).getroot()
    print("\n".join(slots(root)))
    sys.exit(0)
tree = ET.parse(sys.argv[1])
require(tree.getroot(), "the abidw dump")
reduce_manager(tree.getroot())
prune(tree.getroot())
require(tree.getroot(), "the reduced view")
ET.indent(tree, space="  ")
tree.write(sys.argv[2], encoding="unicode")
PY
}
view "$tmp/raw.abi" "$tmp/current.abi"

if [ "$mode" = --write ]; then
    cp "$tmp/current.abi" "$baseline"
    echo "check-abi [$target]: wrote ${baseline#"$root"/}"
    exit 0
fi
if [ ! -f "$baseline" ]; then
    echo "check-abi [$target]: no baseline ${baseline#"$root"/}; run scripts/update-baselines.sh" >&2
    exit 1
fi
fail=0
if ! abidiff "$baseline" "$tmp/current.abi" >"$tmp/report"; then
    echo "check-abi [$target]: abidiff reports ABI changes against ${baseline#"$root"/}:" >&2
    cat "$tmp/report" >&2
    fail=1
fi
view --slots "$baseline" | c++filt | uniq >"$tmp/slots-baseline"
view --slots "$tmp/current.abi" | c++filt | uniq >"$tmp/slots-current"
if ! diff -u --label "TpxWifiClientMgr virtual table (baseline)" \
        --label "TpxWifiClientMgr virtual table in $build" "$tmp/slots-baseline" "$tmp/slots-current" \
        >"$tmp/slots-diff"; then
    echo "check-abi [$target]: the manager's virtual table changed:" >&2
    cat "$tmp/slots-diff" >&2
    fail=1
fi
if [ $fail -ne 0 ]; then
    echo "check-abi [$target]: if the change is intended, run scripts/update-baselines.sh and" \
        "commit abi/." >&2
    exit 1
fi
echo "check-abi [$target]: OK ($(grep -c '^slot ' "$tmp/slots-current") virtual slots after the destructors)"
