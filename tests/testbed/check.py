#!/usr/bin/env python3
"""Judges the testbed's scenario runs. Every run of raw measurements is judged by derivation: from
the replies the plug-in really got (ylm-sim's reply log), derive.py works out every DSD message it
must have sent, field by field, and any difference, extra or missing message fails. A scenario
whose world changes while it runs also shows that the change happened and reached the plug-in.
The static scenarios are also compared with what the daemons replied right after them
(truth/<scenario>-*.txt), and the default profile only that way. Every run's recording
(ylm-sim --record) is played back on this machine and must give the live run's messages. Every
run must exit 0 and leave no sanitizer report. Usage: check.py OUT_DIR YLM_SIM. Prints one line
per scenario and a closing "N passed, M failed"; on a failure it shows the DSD messages, the
recording, the reply log and the daemon logs."""
import json
import os
import subprocess
import sys

import derive

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


def bssids(rows):
    return {r["bssid"] for r in rows}


def check_ap_off_on(msgs, run, res):
    tables = [bssids(t["rows"]) for t in run.tables]
    off = [i for i, t in enumerate(tables) if "02:00:00:00:04:00" not in t]
    res.expect(off and any("02:00:00:00:04:00" in t for t in tables[:off[0]]),
               "no scan table lost testbed-5g after it was switched off")
    res.expect(any("02:00:00:00:07:00" in t for t in tables),
               "no scan table shows the second testbed-2g access point switched on")
    both = {"02:00:00:00:03:00", "02:00:00:00:07:00"}
    res.expect(any(m["ssid"] == "testbed-2g" and {r["bssid"] for r in m["bssid_list"]} == both
                   for m in msgs), "no testbed-2g report lists both of its access points")


def check_restart(msgs, run, res):
    notices = " | ".join(text for _, text in run.notices)
    for text in ("is gone", "is back: reconnected", "is back: scan-results events attached again"):
        res.expect(text in notices, "no notice that wpa_supplicant %s" % text)
    failed = [e for e in run.entries if e.get("call") == "command" and not e["ok"]]
    res.expect(failed, "no command failed while wpa_supplicant was gone")
    attached = [i for i, e in enumerate(run.entries) if "attached again" in e.get("notice", "")]
    res.expect(attached and any(e.get("call") == "scan_ready" for e in run.entries[attached[0]:]),
               "no scan results of the new wpa_supplicant reached the plug-in")
    after = [s for t, s in run.statuses if failed and t > failed[-1]["time"]]
    res.expect(any(s["bssid"] for s in after), "no report after the restart names an access point")


def check_roam(msgs, run, res):
    path = []
    for _, status in run.statuses:
        if status["bssid"] and (not path or path[-1] != status["bssid"]):
            path.append(status["bssid"])
    res.expect("02:00:00:00:03:00 02:00:00:00:07:00 02:00:00:00:03:00" in " ".join(path),
               "the reports do not follow the roam to 02:00:00:00:07:00 and back: %s" % path)


def check_stop_while_scanning(msgs, run, res):
    # Steps 2 and 7 wait for the scan-results events of the scans that meas_id 81 and 83 started.
    late = {t["step"] for t in run.tables if t["meas_id"] is None}
    res.expect(2 in late, "no late scan results after meas_id 81 was stopped")
    res.expect(7 in late, "no late scan results after stopAllRequests")
    reported = {m["meas_id"] for m in msgs}
    res.equal(sorted(reported & {81, 83}), [], "measurements reported after their stop")
    res.expect({82, 84} <= reported, "meas_id 82 and 84 report")


def check_6ghz(msgs, run, res):
    six = [t for t in run.tables
           if any(r["bssid"] == "02:00:00:00:08:00" and r["frequency"] == "5975" for r in t["rows"])]
    if not res.expect(six, "no scan table shows testbed-6g at 5975 MHz (see docs/testbed.md)"):
        return
    def listed(meas_id):
        return any(r["bssid"] == "02:00:00:00:08:00" for m in msgs if m["meas_id"] == meas_id
                   for r in m["bssid_list"])
    res.expect(listed(91), "meas_id 91 (5975 MHz) does not report testbed-6g")
    res.expect(not listed(92), "meas_id 92 (band codes 1, 2, 3) reports testbed-6g")
    res.expect(any(m["meas_id"] == 92 for m in msgs), "meas_id 92 reports nothing")
    res.expect(listed(93), "meas_id 93 (its BSSID, any channel) does not report testbed-6g")
    res.expect(any(t["meas_id"] == 92 for t in six),
               "no scan table that meas_id 92 filtered holds testbed-6g")


SANITIZER_MARKS = ("ERROR: AddressSanitizer", "ERROR: LeakSanitizer", "runtime error:",
                   "SUMMARY: UndefinedBehaviorSanitizer")

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

# Compared with the daemons' replies captured after the run.
CHECKS = {
    "1-connected": check_connected,
    "2-scan-any": check_scan_any,
    "3-filters": check_filters,
    "4-default-profile": check_default_profile,
}

# The world changed while they ran: shown by the derivation's view of the run.
WORLD_CHECKS = {
    "5-ap-off-on": check_ap_off_on,
    "6-supplicant-restart": check_restart,
    "7-roam": check_roam,
    "8-stop-while-scanning": check_stop_while_scanning,
    "9-6ghz": check_6ghz,
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


def judge_run(out, sim, name, res):
    base = os.path.join(out, "scenarios", name)
    with open(base + ".rc", encoding="utf-8") as f:
        res.equal(f.read().strip(), "0", "ylm-sim exit status")
    with open(base + ".stderr", encoding="utf-8", errors="replace") as f:
        stderr = f.read()
    for mark in SANITIZER_MARKS:
        res.expect(mark not in stderr, "sanitizer report in ylm-sim's stderr: " + mark)
    with open(base + ".jsonl", encoding="utf-8") as f:
        msgs = [json.loads(line) for line in f if line.strip()]
    scenario = os.path.join(out, "..", "in", "scenarios", name + ".yaml")
    checks = [c.get(name) for c in (CHECKS, WORLD_CHECKS)]
    res.expect(any(checks), "no check for scenario " + name)
    if name != "4-default-profile":
        run, differences = derive.judge(scenario, base + ".replies", base + ".jsonl")
        res.problems += differences
        if checks[1]:
            checks[1](msgs, run, res)
    if checks[0]:
        checks[0](msgs, Truth(out, name), res)
    check_playback(sim, base, msgs, res)


def run(out, sim):
    sdir = os.path.join(out, "scenarios")
    names = sorted(f[:-6] for f in os.listdir(sdir) if f.endswith(".jsonl"))
    passed = failed = 0
    for name in names:
        res = Result()
        base = os.path.join(sdir, name)
        try:
            judge_run(out, sim, name, res)
        except (OSError, ValueError, KeyError, IndexError, TypeError,
                subprocess.SubprocessError) as e:
            res.problems.append("cannot judge: %s: %s" % (type(e).__name__, e))
        if not res.problems:
            passed += 1
            print("testbed: PASS %s" % name)
            continue
        failed += 1
        print("testbed: FAIL %s" % name)
        for p in res.problems[:30]:
            print("  - " + p[:300])
        if len(res.problems) > 30:
            print("  - ... and %d more" % (len(res.problems) - 30))
        show("the plug-in's DSD messages", base + ".jsonl")
        show("the run's recording", base + ".recorded.yaml", 120)
        show("ylm-sim stderr (last 80 lines)", base + ".stderr", 80)
        show("the replies the plug-in got (last 60 lines)", base + ".replies", 60)
        for log in ("wpa_supplicant-wlan0.log", "hostapd-softap.log", "hostapd.log"):
            show("daemon log " + log, os.path.join(out, "logs", log), 60)
        if name in CHECKS:
            for file, cmd in TRUTH_SHOWN:
                show("daemon reply: " + cmd, Truth(out, name).path(file))
    if not names:
        failed += 1
        print("testbed: FAIL no scenario output")
    print("testbed: %d passed, %d failed" % (passed, failed))
    return failed == 0


if __name__ == "__main__":
    sys.exit(0 if run(sys.argv[1], sys.argv[2]) else 1)
