#!/usr/bin/env python3
"""Compares a fresh capture of the daemons' replies (run.sh --capture) with the kept ones.

Usage: compare-captures.py KEPT_DIR NEW_DIR

Per file it says: identical; equal apart from what changes from run to run (timers, counters,
the BSS Load element's load figures, the P2P group's random SSID suffix and key); equal apart from
which frames the station happened to receive (a BSS reply's beacon_ie= line is there only when a
beacon, not just a probe response, came in, and the group owner's [P2P] flag comes from that
beacon); or which lines differ beyond that. Exit status 1 when a file is missing or differs beyond
those, so a newer daemon whose replies changed shape shows up before the suite runs on them.
"""
import pathlib
import re
import sys

# key=value lines whose values change from one run to the next on the same daemons.
VOLATILE_KEYS = {
    "tsf", "age", "LINKSPEED", "connected_time", "inactive_msec", "rx_packets", "tx_packets",
    "rx_bytes", "tx_bytes", "rx_rate_info", "tx_rate_info", "rx_airtime", "tx_airtime",
    "beacons_since_update", "num_sta", "signal", "last_ack_signal", "backlog_packets",
    "backlog_bytes", "fcs_error_count", "rx_beacons", "tx_retry_count", "tx_retry_failed",
    "passphrase", "psk", "id", "timeout_next", "rx_duration", "tx_duration",
}
P2P_SSID = re.compile(r"DIRECT-[0-9A-Za-z]{2}")
P2P_SSID_HEX = re.compile(r"(4449524543542d)[0-9a-f]{4}")  # "DIRECT-" and two characters


def mask_elements(hexstr: str) -> str:
    """Blanks the load figures of BSS Load elements (id 11) in an element list given as hex."""
    try:
        data = bytearray.fromhex(hexstr)
    except ValueError:
        return hexstr
    pos = 0
    while pos + 2 <= len(data):
        eid, length = data[pos], data[pos + 1]
        if pos + 2 + length > len(data):
            break
        if eid == 11 and length >= 3:
            data[pos + 2:pos + 5] = b"\0\0\0"  # station count, channel utilisation
        pos += 2 + length
    return data.hex()


def normalise(text: str) -> list:
    lines = []
    for line in text.split("\n"):
        key, sep, value = line.partition("=")
        if sep and key in VOLATILE_KEYS:
            line = key + "=*"
        elif sep and key in ("ie", "beacon_ie"):
            line = key + "=" + mask_elements(value)
        line = P2P_SSID_HEX.sub(r"\1****", P2P_SSID.sub("DIRECT-**", line))
        lines.append(line)
    return lines


def without_frame_luck(lines: list) -> list:
    return [l.replace("[P2P]", "") for l in lines if not l.startswith("beacon_ie=")]


def main() -> int:
    if len(sys.argv) != 3:
        print(__doc__.strip().splitlines()[2], file=sys.stderr)
        return 2
    kept, new = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
    bad = 0
    for old in sorted(kept.glob("*.txt")):
        fresh = new / old.name
        if not fresh.exists():
            print(f"{old.name}: MISSING from the new capture")
            bad += 1
            continue
        a, b = old.read_bytes(), fresh.read_bytes()
        if a == b:
            print(f"{old.name}: identical")
            continue
        na, nb = normalise(a.decode("latin-1")), normalise(b.decode("latin-1"))
        if na == nb:
            print(f"{old.name}: equal apart from the run-to-run fields")
            continue
        if without_frame_luck(na) == without_frame_luck(nb):
            print(f"{old.name}: equal apart from the run-to-run fields and the frames received")
            continue
        bad += 1
        print(f"{old.name}: DIFFERS")
        width = max(len(na), len(nb))
        for i in range(width):
            x = na[i] if i < len(na) else "<none>"
            y = nb[i] if i < len(nb) else "<none>"
            if x != y:
                print(f"  line {i + 1}: kept {x[:120]!r}")
                print(f"  {' ' * len(str(i + 1))}       new  {y[:120]!r}")
    print(f"compare-captures: {bad} file(s) differ beyond the run-to-run fields")
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main())
