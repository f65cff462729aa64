#!/usr/bin/env python3
"""Judges the testbed's scenario runs: the plug-in's DSD messages (ylm-sim --json, one object per
line) against what the real daemons replied in the same VM (truth/<scenario>-*.txt, captured right
after each scenario, before any other scan could change the station's view), and the run's
recording (ylm-sim --record) played back on this machine against the live messages.
Usage: check.py OUT_DIR YLM_SIM. Prints one line per scenario and a closing "N passed, M failed";
on a failure it shows the DSD messages and the daemon logs."""
import json
import os
import subprocess
import sys

BAND_24 = (2412, 2484)
BAND_5 = (5035, 5825)
TESTBED_SSIDS = {"testbed-2g", "testbed-5g", "testbed-he", "testbed-softap"}


class Truth:
    """The daemons' own replies, as the VM captured them."""

    def __init__(self, out, scenario):
        self.dir = os.path.join(out, "truth")
        self.scenario = scenario

    def path(self, name):
        return os.path.join(self.dir, "%s-%s.txt" % (self.scenario, name))

    def text(self, name):
        with open(self.path(name), encoding="utf-8") as f:
            return f.read()

    def keys(self, name):
        return dict(line.split("=", 1) for line in self.text(name).splitlines() if "=" in line)

    def scan(self):
        rows = []
        for line in self.text("sta-scan-results").splitlines()[1:]:
            cols = line.split("\t")
            if len(cols) == 5:
                rows.append({"bssid": cols[0], "frequency": int(cols[1]), "rssi": int(cols[2]),
                             "ssid": cols[4]})
        return rows

    def elements(self, bssid):
        return elements(self.keys("sta-bss-" + bssid).get("ie", ""))


def elements(hex_text):
    """Element id -> body of its first occurrence, from a BSS reply's ie= hex text."""
    data = bytes.fromhex(hex_text)
    found, i = {}, 0
    while i + 2 <= len(data) and i + 2 + data[i + 1] <= len(data):
        found.setdefault(data[i], data[i + 2:i + 2 + data[i + 1]])
        i += 2 + data[i + 1]
    return found


def wifi_mode(elems, freq):
    """The Wi-Fi generation code that the elements advertise."""
    if 192 in elems:
        return 7
    if 61 in elems:
        return 5
    if 42 in elems:
        return 3
    if freq > 2999:
        return 1
    if 1 not in elems:
        return -1
    last = [(r & 0x7F) * 500000 for r in (elems[1][-1:] + elems.get(50, b"")[-1:])]
    return 2 if max(last, default=0) < 24000000 else 3


def hessid(elems):
    """HESSID of the Interworking element: after the options octet and the optional venue."""
    body = elems.get(107, b"")
    mac = body[1:7] if len(body) == 7 else body[3:9] if len(body) == 9 else b""
    return ":".join("%02x" % b for b in mac)


def channel_utilization(elems):
    """Utilisation octet of the BSS Load element; None when the access point sends none."""
    body = elems.get(11, b"")
    return body[2] if len(body) >= 3 else None


class Result:
    def __init__(self):
        self.problems = []

    def expect(self, ok, what):
        if not ok:
            self.problems.append(what)
        return ok

    def equal(self, got, want, what):
        return self.expect(got == want, "%s: got %r, want %r" % (what, got, want))


def reports(msgs, meas_id):
    return [m for m in msgs if m["op"] == "sendWifiMeasurementReport" and m["meas_id"] == meas_id]


def check_batch(res, msgs, meas_id, rows, truth, with_load):
    """The first report batch of a scan measurement: one message per SSID of rows, each listing
    exactly that SSID's access points with the scan's frequency and level."""
    batch = [m for m in reports(msgs, meas_id) if m["report_seq"] == 1]
    if not res.expect(batch, "meas_id %d: no scan report" % meas_id):
        return
    res.equal([m["last_report"] for m in batch], [0] * (len(batch) - 1) + [1],
              "meas_id %d last_report flags" % meas_id)
    want = {}
    for row in rows:
        want.setdefault(row["ssid"], []).append(row)
    res.equal(sorted(m["ssid"] for m in batch), sorted(want), "meas_id %d SSIDs" % meas_id)
    for m in batch:
        aps = want.get(m["ssid"], [])
        res.equal(m["ssid_len"], len(m["ssid"].encode()), "%s ssid_len" % m["ssid"])
        res.equal(m["bssid_list_len"], len(aps), "%s bssid_list_len" % m["ssid"])
        got = sorted(m["bssid_list"], key=lambda r: r["bssid"])
        for rec, ap in zip(got, sorted(aps, key=lambda r: r["bssid"])):
            where = "%s %s" % (m["ssid"], ap["bssid"])
            res.equal(rec["bssid"], ap["bssid"], where + " bssid")
            res.equal(rec["frequency"], ap["frequency"], where + " frequency")
            res.equal(rec["rssi"], ap["rssi"], where + " rssi (scan level)")
            load = channel_utilization(truth.elements(ap["bssid"])) if with_load else None
            if with_load and load is not None:
                res.equal(rec["param_mask"], 5, where + " param_mask")
                res.equal(rec["channel_utilization"], load, where + " channel_utilization")
            elif with_load:
                res.equal(rec["param_mask"], 1, where + " param_mask (no BSS Load element)")
                res.equal(rec["channel_utilization"], 65535, where + " channel_utilization")
            else:
                res.equal(rec["param_mask"], 1, where + " param_mask")


def in_band(band):
    return lambda row: band[0] <= row["frequency"] <= band[1]


def check_connected(msgs, truth, res):
    status, poll = truth.keys("sta-status"), truth.keys("sta-signal-poll")
    sent = reports(msgs, 11)
    res.expect(len(sent) >= 2, "expected at least 2 connected-mode reports, got %d" % len(sent))
    for i, m in enumerate(sent):
        res.equal(m["report_seq"], i + 1, "report %d report_seq" % i)
        res.equal(m["last_report"], 1, "report %d last_report" % i)
        res.equal(m["ssid"], status["ssid"], "report %d ssid" % i)
        res.equal(m["bssid_list_len"], 1, "report %d bssid_list_len" % i)
        rec = m["bssid_list"][0] if m["bssid_list"] else {}
        res.equal(rec.get("bssid"), status["bssid"], "report %d bssid" % i)
        res.equal(rec.get("frequency"), int(status["freq"]), "report %d frequency" % i)
        res.equal(rec.get("rssi"), int(poll["RSSI"]), "report %d rssi vs SIGNAL_POLL" % i)
        res.equal(rec.get("param_mask"), 1, "report %d param_mask" % i)


def check_scan_any(msgs, truth, res):
    rows = truth.scan()
    res.expect(TESTBED_SSIDS <= {r["ssid"] for r in rows},
               "the station's scan results lack testbed access points")
    check_batch(res, msgs, 21, rows, truth, with_load=True)


def check_filters(msgs, truth, res):
    rows = truth.scan()
    band24 = [r for r in rows if in_band(BAND_24)(r)]
    band5 = [r for r in rows if in_band(BAND_5)(r)]
    res.equal({r["ssid"] for r in band24} & TESTBED_SSIDS, {"testbed-2g", "testbed-softap"},
              "2.4 GHz access points in the scan results")
    res.equal({r["ssid"] for r in band5} & TESTBED_SSIDS, {"testbed-5g", "testbed-he"},
              "5 GHz access points in the scan results")
    check_batch(res, msgs, 31, band24, truth, with_load=False)
    check_batch(res, msgs, 32, band5, truth, with_load=False)
    exact = [r for r in rows if r["bssid"] == "02:00:00:00:04:00" and r["frequency"] == 5180]
    res.equal(len(exact), 1, "testbed-5g at 5180 MHz in the scan results")
    check_batch(res, msgs, 33, exact, truth, with_load=True)


def check_default_profile(msgs, truth, res):
    ops = [m["op"] for m in msgs]
    res.equal(ops, ["sendNotifyDataSettings", "sendWqeProfileStatus"] +
              ["sendWifiAvailableStatus"] * 3, "DSD operations in order")
    notify = [m for m in msgs if m["op"] == "sendNotifyDataSettings"]
    if notify:
        res.equal(notify[0]["wifi_state"], 1, "Wi-Fi state")
    quality = [m for m in msgs if m["op"] == "sendWqeProfileStatus"]
    if quality:
        res.equal((quality[0]["profile_type"], quality[0]["quality_status"]), (0, 0),
                  "default profile quality (profile, status)")
    avail = [m for m in msgs if m["op"] == "sendWifiAvailableStatus"]
    if not res.expect(len(avail) == 3, "expected 3 availability reports, got %d" % len(avail)):
        return
    sta, softap, p2p = avail
    status = truth.keys("sta-status")
    elems = truth.elements(status["bssid"])
    freq = int(status["freq"])
    country = elems.get(7, b"")[:2].decode("ascii", "replace")
    for field, want in [("wlan_type", 2), ("ssid", "testbed-2g"), ("bssid", status["bssid"]),
                        ("conn_status", 2), ("freq_valid", 1), ("freq", freq),
                        ("wifi_mode_valid", 1), ("wifi_mode", wifi_mode(elems, freq)),
                        ("hessid_valid", 1), ("hessid", hessid(elems)),
                        ("country_code_valid", 1), ("country_code", country),
                        ("net_flag_valid", 1), ("net_flag", 1)]:
        res.equal(sta[field], want, "station " + field)
    res.equal((hessid(elems), country), ("02:00:00:00:03:00", "US"),
              "testbed-2g's own elements (HESSID, country)")
    ap = truth.keys("softap-status")
    for field, want in [("wlan_type", 3), ("conn_status", 1), ("ssid", ap["ssid[0]"]),
                        ("freq_valid", 1), ("freq", int(ap["freq"])), ("bssid", ap["bssid[0]"])]:
        res.equal(softap[field], want, "soft AP " + field)
    group = truth.keys("p2p-status")
    res.equal((group["mode"], group["wpa_state"]), ("P2P GO", "COMPLETED"), "P2P group status")
    for field, want in [("wlan_type", 0), ("conn_status", 2), ("ssid", group["ssid"]),
                        ("freq_valid", 1), ("freq", int(group["freq"])),
                        ("bssid", group["bssid"])]:
        res.equal(p2p[field], want, "P2P " + field)


def check_playback(sim, base, msgs, res):
    """The recording of the live run, played back scripted here, sends the same messages."""
    recording = base + ".recorded.yaml"
    if not res.expect(os.path.exists(recording), "no recording " + recording):
        return
    run = subprocess.run([sim, recording, "--json"], capture_output=True, text=True,
                         timeout=120, check=False)
    if not res.equal(run.returncode, 0, "playback exit status (%s)" % run.stderr.strip()[-300:]):
        return
    played = [json.loads(line) for line in run.stdout.splitlines() if line.strip()]
    res.equal(len(played), len(msgs), "messages of the playback")
    for i, (live, again) in enumerate(zip(msgs, played)):
        if not res.equal(again, live, "playback message %d" % i):
            break


TRUTH_SHOWN = [
    ("sta-status", "wpa_cli -i wlan0 status"),
    ("sta-signal-poll", "wpa_cli -i wlan0 signal_poll"),
    ("sta-scan-results", "wpa_cli -i wlan0 scan_results"),
    ("softap-status", "hostapd_cli -p /data/vendor/wifi/hostapd/ctrl -s ... -i wlan0 STATUS"),
    ("p2p-status", "wpa_cli -i p2p-wlan0-0 status"),
]

CHECKS = {
    "1-connected": check_connected,
    "2-scan-any": check_scan_any,
    "3-filters": check_filters,
    "4-default-profile": check_default_profile,
}


def show(title, path, tail=None):
    print("----- %s (%s)" % (title, path))
    try:
        with open(path, encoding="utf-8", errors="replace") as f:
            lines = f.read().splitlines()
    except OSError as e:
        print("  (unreadable: %s)" % e)
        return
    for line in lines[-tail:] if tail else lines:
        print("  " + line)


def run(out, sim):
    sdir = os.path.join(out, "scenarios")
    names = sorted(f[:-6] for f in os.listdir(sdir) if f.endswith(".jsonl"))
    passed = failed = 0
    for name in names:
        res = Result()
        truth = Truth(out, name)
        base = os.path.join(sdir, name)
        try:
            with open(base + ".rc", encoding="utf-8") as f:
                res.equal(f.read().strip(), "0", "ylm-sim exit status")
            with open(base + ".jsonl", encoding="utf-8") as f:
                msgs = [json.loads(line) for line in f if line.strip()]
            check = CHECKS.get(name)
            if res.expect(check is not None, "no check for scenario " + name):
                check(msgs, truth, res)
            check_playback(sim, base, msgs, res)
        except (OSError, ValueError, KeyError, IndexError, TypeError,
                subprocess.SubprocessError) as e:
            res.problems.append("cannot judge: %s: %s" % (type(e).__name__, e))
        if not res.problems:
            passed += 1
            print("testbed: PASS %s" % name)
            continue
        failed += 1
        print("testbed: FAIL %s" % name)
        for p in res.problems:
            print("  - " + p)
        show("the plug-in's DSD messages", base + ".jsonl")
        show("the run's recording", base + ".recorded.yaml", 120)
        show("ylm-sim stderr (last 80 lines)", base + ".stderr", 80)
        for log in ("wpa_supplicant-wlan0.log", "hostapd-softap.log", "hostapd.log"):
            show("daemon log " + log, os.path.join(out, "logs", log), 60)
        for name, cmd in TRUTH_SHOWN:
            show("daemon reply: " + cmd, truth.path(name))
    if not names:
        failed += 1
        print("testbed: FAIL no scenario output")
    print("testbed: %d passed, %d failed" % (passed, failed))
    return failed == 0


if __name__ == "__main__":
    sys.exit(0 if run(sys.argv[1], sys.argv[2]) else 1)
