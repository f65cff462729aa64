#!/usr/bin/env python3
"""ylm-sim --svg against --json: for the built-in scenario and every scenarios/*.yaml, the picture
renders with rsvg-convert at its own size, and its plotted points (data-* attributes) are exactly
the fields of the DSD messages; the built-in scenario's RSSI samples are its signal-poll replies,
and each connected report carries the plotted smoothed average of the samples before it.
Usage: svg_check.py YLM_SIM SCENARIOS_DIR"""
import glob
import json
import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ET

# Samples per measurement, (time, rssi or None for a failed poll), as the scenarios script the
# replies; the status queries of the reports poll too (at 4 s, -71) and must not show.
SAMPLES = {
    "<default>": {"2": [(17, -52), (19, -58), (21, -71), (23, -66), (25, -75), (27, -73),
                        (29, -60)]},
    "connected-smoothing.yaml": {"21": [(1, -50), (2, -52), (3, None), (4, -70), (5, -90),
                                         (6, -88), (7, -61)] + [(t, -55) for t in range(8, 17)]},
}


def xml_text(s):
    return re.sub("[\x00-\x1f]", "\ufffd", s)


def from_json(m):
    """The points the picture must hold for one message, as tuples of text."""
    t, dsd = str(m["time"]), str(m["dsd"])
    if m["op"] == "sendWifiMeasurementReport":
        out = []
        for r in m["bssid_list"]:
            base = (t, dsd, str(m["meas_id"]), r["bssid"], str(r["channel_utilization"]))
            out.append(("report",) + base + (str(m["report_seq"]), xml_text(m["ssid"]),
                                             str(r["rssi"]), str(r["param_mask"])))
            if r["param_mask"] & 4:
                out.append(("cu",) + base)
        return out
    if m["op"] == "sendWqeProfileStatus":
        return [("quality", t, dsd, str(m["profile_type"]), str(m["quality_status"]),
                 str(m["status_code"]) if m["status_code_valid"] else None,
                 str(m["meas_id"]) if m["meas_id_valid"] else None)]
    if m["op"] == "sendWifiAvailableStatus":
        return [("availability", t, dsd, str(m["wlan_type"]), str(m["conn_status"]),
                 m["bssid"], xml_text(m["ssid"]) if m["ssid_valid"] else None)]
    return [("wifi-state", t, dsd, str(m["wifi_state"]))]


FIELDS = {
    "report": ["t", "dsd", "meas-id", "bssid", "cu", "report-seq", "ssid", "rssi", "param-mask"],
    "cu": ["t", "dsd", "meas-id", "bssid", "cu"],
    "quality": ["t", "dsd", "profile", "quality", "code", "meas-id"],
    "availability": ["t", "dsd", "wlan-type", "conn", "bssid", "ssid"],
    "wifi-state": ["t", "dsd", "state"],
}


def check(sim, scenario, work):
    name = os.path.basename(scenario) if scenario else "<default>"
    svg = os.path.join(work, "run.svg")
    args = [sim] + ([scenario] if scenario else []) + ["--json", "--svg", svg]
    out = subprocess.run(args, capture_output=True, text=True, check=True).stdout
    want = sorted(p for line in out.splitlines() for p in from_json(json.loads(line)))
    root = ET.parse(svg).getroot()
    points = [e.attrib for e in root.iter() if "data-kind" in e.attrib]
    got = sorted(tuple([a["data-kind"]] + [a.get("data-" + f) for f in FIELDS[a["data-kind"]]])
                 for a in points if a["data-kind"] in FIELDS)
    errors = [] if got == want else [f"points differ from --json:\n  svg  {got}\n  json {want}"]
    samples = {}
    for a in points:
        if a["data-kind"] == "sample":
            rssi = None if "data-failed" in a else int(a["data-rssi"])
            samples.setdefault(a["data-meas-id"], []).append((int(a["data-t"]), rssi))
    if name in SAMPLES and samples != SAMPLES[name]:
        errors.append(f"samples {samples}, want {SAMPLES[name]}")
    # A connected report carries the smoothed average after the last sample before it (samples
    # fire before reports due in the same second), 0 before the first.
    averages = {}
    for a in points:
        if a["data-kind"] == "sample" and "data-avg" in a:
            averages.setdefault(a["data-meas-id"], []).append((int(a["data-t"]), int(a["data-avg"])))
    for a in points:
        if a["data-kind"] == "report" and a["data-meas-id"] in samples:
            before = [v for t, v in averages.get(a["data-meas-id"], []) if t <= int(a["data-t"])]
            if int(a["data-rssi"]) != (before[-1] if before else 0):
                errors.append(f"report at {a['data-t']} carried {a['data-rssi']}, "
                              f"the plotted average was {before[-1:] or [0]}")
    png = os.path.join(work, "run.png")
    subprocess.run(["rsvg-convert", "-o", png, svg], check=True)
    with open(png, "rb") as f:
        head = f.read(24)
        size = len(head) + len(f.read())
    width, height = struct.unpack(">II", head[16:24])
    if head[:8] != b"\x89PNG\r\n\x1a\n" or (width, height) != (1200, int(root.get("height"))):
        errors.append(f"rendered {width}x{height}, want 1200x{root.get('height')}")
    if size < 10000:
        errors.append(f"rendered PNG of only {size} bytes")
    for e in errors:
        print(f"{name}: {e}")
    print(f"{name}: {len(got)} points, {sum(map(len, samples.values()))} samples, "
          f"{width}x{height} PNG" + (" FAILED" if errors else " ok"))
    return not errors


def main():
    sim, scenarios = sys.argv[1], sys.argv[2]
    if shutil.which("rsvg-convert") is None:
        print("rsvg-convert not found: install librsvg2-bin (scripts/install-deps.sh)")
        return 1
    ok = True
    with tempfile.TemporaryDirectory() as work:
        for scenario in [None] + sorted(glob.glob(os.path.join(scenarios, "*.yaml"))):
            ok = check(sim, scenario, work) and ok
    return 0 if ok else 1


if __name__ == "__main__":
    sys.exit(main())
