#!/usr/bin/env python3
"""What the plug-in must have sent in a run of raw measurements, worked out from the replies it
got. The input is the scenario's steps and the reply log of ylm-sim (--reply-log: every call on
the supplicant channel with its reply, between the steps and the scan-ready callbacks, each with
the engine's clock and the number of DSD messages sent so far). The plug-in's reading of those
replies is redone here from the contract, independently of its code: the scan table's columns,
the text keys and prefix ranges of the filters, BSS Load from the element walk, the station
status, the smoothing in single precision. A reply the plug-in reads in a way not redone here
(a malformed BSSID text, say) stops the derivation with a problem rather than a guess.

Usage as a program: derive.py SCENARIO.yaml REPLY_LOG MESSAGES.jsonl prints the differences and
exits 1 when there are any. derive.py --scripted YLM_SIM SCENARIO.yaml... plays each scenario of
raw measurements alone with its scripted replies and judges it the same way (the others are
skipped): the derivation kept honest by every example scenario on the host. A scenario with a
SCENARIO.jsonl beside it (a testbed run's recording) must also play to exactly those messages."""
import difflib
import json
import os
import re
import struct
import subprocess
import sys
import tempfile

import yaml

BROADCAST = "ff:ff:ff:ff:ff:ff"
ANY_CHANNEL = 65535
ROOM = 4095  # every supplicant reply buffer holds 4095 bytes of text
BSSIDS_PER_REPORT = 58
BAND_KEYS = {1: "24ghtz", 2: "36ghtz", 3: "5ghtz"}


class Cannot(Exception):
    """The run went where this derivation does not follow."""


def atoi(text):
    m = re.match(r"[ \t\n\v\f\r]*([+-]?[0-9]+)", text)
    if not m:
        return 0
    v = max(-2**63, min(2**63 - 1, int(m.group(1))))  # strtol saturates, atoi keeps 32 bits
    v &= 0xFFFFFFFF
    return v - 2**32 if v >= 2**31 else v


def int16(v):
    v &= 0xFFFF
    return v - 0x10000 if v >= 0x8000 else v


def f32(x):
    return struct.unpack("f", struct.pack("f", x))[0]


def strtok(text, pos, delims):
    """strtok_r: the next token at or after pos, and where the following call starts."""
    while pos < len(text) and text[pos] in delims:
        pos += 1
    if pos >= len(text):
        return None, len(text)
    end = pos
    while end < len(text) and text[end] not in delims:
        end += 1
    return text[pos:end], min(end + 1, len(text))


def seen(entry):
    """The reply as the plug-in reads it: cut at its buffer's room and at the first zero byte."""
    if not entry["ok"]:
        return None
    return entry["reply"][:entry["room"] or len(entry["reply"])].split("\0")[0]


def key_values(text):
    """The common key=value scan of the daemon replies, in order."""
    out = []
    key, pos = strtok(text, 0, "=")
    while key is not None:
        value, pos = strtok(text, pos, "=\n")
        if value is not None:
            out.append((key, value))
        key, pos = strtok(text, pos, "=")
    return out


def hex_digit(c):
    return int(c, 16) if c in "123456789abcdefABCDEF" else 0


def elements(text):
    """(id, body) of the element walk over an ie= text; an empty body ends it."""
    pos = 0
    while len(text) - pos >= 4:
        eid = hex_digit(text[pos]) * 16 + hex_digit(text[pos + 1])
        length = hex_digit(text[pos + 2]) * 16 + hex_digit(text[pos + 3])
        if length == 0 or len(text) < pos + 4 + 2 * length:
            return
        body = [hex_digit(text[pos + 4 + 2 * i]) * 16 + hex_digit(text[pos + 5 + 2 * i])
                for i in range(length)]
        yield eid, body
        pos += 4 + 2 * length


def channel_utilization(reply):
    """BssLoad.channelUtilization after a BSS reply: 65535 unless a 5-octet BSS Load element."""
    cu = 65535
    for key, value in key_values(reply):
        if key == "ie":
            for eid, body in elements(value):
                if eid == 11 and len(body) == 5:
                    cu = body[2]
    return cu


def scanned_mac(text):
    """StringToMac: six %x numbers joined by colons, each cut to 8 bits; with fewer, zeros."""
    octets, pos = [], 0
    number = re.compile(r"[ \t\n\v\f\r]*([+-]?)(?:0[xX](?=[0-9a-fA-F]))?([0-9a-fA-F]+)")
    for i in range(6):
        if i > 0:
            if not text.startswith(":", pos):
                break
            pos += 1
        m = number.match(text, pos)
        if not m:
            break
        v = int(m.group(2), 16)
        octets.append((-v if m.group(1) == "-" else v) & 0xFF)
        pos = m.end()
    return ":".join("%02x" % o for o in octets) if len(octets) == 6 else "00:00:00:00:00:00"


def status_mac(text):
    """getBSSID of a status reply's bssid text; an empty one gives zeros. Other shapes than the
    daemons' own are not followed."""
    if text == "":
        return "00:00:00:00:00:00"
    if re.fullmatch(r"[0-9a-fA-F]{2}(:[0-9a-fA-F]{2}){5}", text):
        return text.lower()
    raise Cannot("a status BSSID text the derivation does not read: %r" % text)


def c_text(text):
    """A scenario's text as the bytes the indication carries."""
    return text.encode("utf-8").decode("latin-1")


class Request:
    """One raw measurement as the start indication asks for it."""

    def __init__(self, step, time):
        self.dsd = step.get("dsd", 0)
        self.meas_id = step["meas_id"]
        mask = step["meas_param_mask"]
        self.accepted = mask & 1 != 0
        self.sampling = step.get("sampling_interval", 2)
        self.reporting = step.get("reporting_interval", 5)
        alpha = f32(step.get("alpha", 0.5))
        self.alpha = alpha if 0.0 < alpha < 1.0 else f32(0.5)
        entries = step.get("ssid_list")
        self.filters = []
        self.bssid_filter = self.channel_filter = ""
        for entry in entries or []:
            ssid = "AnySSID" if entry.get("any") else c_text(entry.get("ssid", ""))[:32]
            channels = {}
            macs, chans = [], ""
            for b in entry.get("bssid_list", []):
                mac = b["bssid"].lower()
                macs.append(mac)
                chans += "," if chans else ""
                chans += ",".join(str(c) for c in b.get("channel_list", []))
                channels.setdefault(mac, sorted(set(b.get("channel_list", []))))
            self.filters.append({"ssid": ssid, "load": mask & 4 != 0, "channels": channels})
            self.bssid_filter, self.channel_filter = ",".join(macs), chans
        self.scan_mode = not entries or self.filters[0]["ssid"] != ""
        self.start = time
        self.seq = 1
        self.average = 0
        self.sampled = False
        self.ticks = {"sampling": [], "reporting": []}

    def fold(self, sample):
        if not self.sampled:
            self.sampled, self.average = True, sample
            return
        history = f32(self.alpha * f32(self.average))
        fresh = f32(f32(1.0 - self.alpha) * f32(sample))
        self.average = int16(int(f32(history + fresh)))

    def next_seq(self):
        seq = self.seq
        self.seq = 1 if seq == 0xFFFFFFFF else seq + 1
        return seq


def scan_table(text):
    """The scan-result rows as the reader takes them: columns by strtok, the holders kept across
    rows, so an empty column takes the next field."""
    rows = []
    _, pos = strtok(text, 0, "\n")
    bssid, pos = strtok(text, pos, "\t")
    freq, level, ssid = "", 0, ""
    while bssid is not None:
        token, pos = strtok(text, pos, "\t")
        freq = token if token is not None else freq
        token, pos = strtok(text, pos, "\t")
        level = int16(atoi(token)) if token is not None else level
        _, pos = strtok(text, pos, "\t")
        token, pos = strtok(text, pos, "\t\n")
        ssid = token if token is not None else ssid
        rows.append({"bssid": bssid, "frequency": freq, "level": level, "ssid": ssid})
        bssid, pos = strtok(text, pos, "\t")
    return rows


def band_key(freq_text):
    f = (atoi(freq_text) if freq_text else 0) & 0xFFFF
    if 2412 <= f <= 2484:
        return f, "24ghtz"
    if 3657 <= f <= 3692:
        return f, "36ghtz"
    if 5035 <= f <= 5825:
        return f, "5ghtz"
    return f, ""


def prefix_range(table, prefix):
    return [table[k] for k in sorted(table) if prefix <= k <= prefix + "~"]


def filter_scan(rows, filters):
    """reportBySsid after filtering the stored rows with the request's filters: SSID -> records."""
    by_bssid, by_freq = {}, {}
    for row in rows:
        info = dict(row, cu=0, load=False)
        by_bssid.setdefault(row["bssid"] + "&" + row["frequency"], info)
        by_freq.setdefault(row["frequency"] + "&" + row["bssid"], info)
        f, band = band_key(row["frequency"])
        if f != 0:
            by_bssid.setdefault(row["bssid"] + "&" + band, info)
            by_freq.setdefault(band + "&" + row["bssid"], info)
    groups = {}
    for flt in filters:
        for bssid in sorted(flt["channels"]):
            for code in flt["channels"][bssid]:
                key = BAND_KEYS.get(code, str(code))
                if code != ANY_CHANNEL and bssid == BROADCAST:
                    found = prefix_range(by_freq, key)
                elif code == ANY_CHANNEL and bssid == BROADCAST:
                    found = [by_bssid[k] for k in sorted(by_bssid)]
                elif code == ANY_CHANNEL:
                    found = prefix_range(by_bssid, bssid)
                else:
                    found = [by_bssid[bssid + "&" + key]] if bssid + "&" + key in by_bssid else []
                hits = {}
                for info in found:
                    hits.setdefault(info["ssid"] + "&" + info["bssid"], dict(info))
                if flt["ssid"] == "AnySSID":
                    for k in sorted(hits):
                        groups.setdefault(hits[k]["ssid"], []).append(dict(hits[k]))
                elif hits:
                    picked = prefix_range(hits, flt["ssid"])
                    groups.setdefault(flt["ssid"], [dict(i) for i in picked])
    return groups


class Run:
    """Walks the reply log in order, as the engine's thread ran, and builds the messages."""

    def __init__(self, steps, entries):
        self.steps, self.entries = steps, entries
        self.at = 0
        self.messages = []
        self.problems = []
        self.requests = {}  # (dsd, meas_id) -> Request, running ones
        self.stopped = []
        self.callback = None  # the request the provider calls back
        self.provider_filters = []
        self.channel_rssi = 0
        self.tables = []  # every scan table read: time, step (index), rows, meas_id called back
        self.statuses = []  # (time, status) of every station status read for a report
        self.notices = []
        self.step_index = -1
        self.misplaced = False

    # ---- the log ----

    def take(self, want=None, text=None):
        if self.at >= len(self.entries):
            raise Cannot("the log ends where the plug-in must call %s %s" % (want, text or ""))
        e = self.entries[self.at]
        if e["sent"] != len(self.messages) and not self.misplaced:
            self.misplaced = True  # one line says it; every later one would repeat it
            self.problems.append("at log line %d: %d DSD messages sent, %d derived by then"
                                 % (self.at + 1, e["sent"], len(self.messages)))
        if want is not None and (e.get("call") != want or (text is not None and
                                                           e.get("cmd", e.get("text")) != text)):
            raise Cannot("log line %d: %s, where the plug-in must call %s %s"
                         % (self.at + 1, json.dumps(e)[:200], want, text or ""))
        self.at += 1
        return e

    def command(self, cmd, room=ROOM):
        e = self.take("command", cmd)
        if e["room"] != room or e["iface"] != "sta":
            raise Cannot("log line %d: %s sent with room %d on %s, expected %d on sta"
                         % (self.at, cmd, e["room"], e["iface"], room))
        if e["ok"] and cmd == "SIGNAL_POLL":
            # The engine keeps the RSSI= of every answered signal poll in its channel object.
            for line in e["reply"].split("\n"):
                if line.startswith("RSSI="):
                    self.channel_rssi = int16(atoi(line[5:]))
                    break
        return e, seen(e)

    def walk(self):
        try:
            while self.at < len(self.entries):
                e = self.entries[self.at]
                if "step" in e:
                    self.take()
                    self.step_index = e["step"]
                    self.step(self.steps[e["step"]], e["time"])
                elif "notice" in e:
                    self.notices.append((e["time"], self.take()["notice"]))
                elif "end" in e:
                    self.take()
                    for req in list(self.requests.values()):
                        self.check_ticks(req, e["time"])
                elif e.get("call") == "scan_ready":
                    self.scan_ready()
                elif e.get("call") == "bssid_filter":
                    self.start_scan(self.due("reporting", e["time"], scan=True), e["time"])
                elif e.get("call") == "command" and e.get("cmd") == "SIGNAL_POLL":
                    self.tick(e)
                else:
                    raise Cannot("log line %d: %s comes from no timer, step or callback"
                                 % (self.at + 1, json.dumps(e)[:200]))
        except Cannot as why:
            self.problems.append("cannot derive further: %s" % why)

    # ---- the engine's calls ----

    def step(self, step, time):
        kind, args = next(iter(step.items())) if isinstance(step, dict) else (step, None)
        if kind == "start_measurement":
            req = Request(args, time)
            key = (req.dsd, req.meas_id)
            if key in self.requests or not req.accepted:
                return  # refused: nothing armed, nothing scanned
            self.requests[key] = req
            if req.scan_mode:
                self.start_scan(req, time)
        elif kind == "stop_measurement":
            self.stop((args.get("dsd", 0), args["meas_id"]), time)
        elif kind == "stop_all":
            dsd = (args or {}).get("dsd", 0)
            for key in sorted(k for k in self.requests if k[0] == dsd):
                self.stop(key, time)
        elif kind not in ("advance", "at", "note", "scan_ready"):
            raise Cannot("step %s is not a raw measurement's" % kind)

    def stop(self, key, time):
        req = self.requests.pop(key, None)
        if req is None:
            return  # the registry knows no such measurement
        req.seq = 1
        self.callback = None
        self.check_ticks(req, time)
        self.stopped.append(req)

    def due(self, timer, time, scan):
        """The running measurement whose timer of that kind fires now (timers fire in the order
        they were armed)."""
        for req in self.requests.values():
            period = req.sampling if timer == "sampling" else req.reporting
            if (req.scan_mode == scan and time > req.start and period > 0
                    and (time - req.start) % period == 0 and time not in req.ticks[timer]):
                req.ticks[timer].append(time)
                return req
        raise Cannot("log line %d: a %s tick at %d s that no measurement has due"
                     % (self.at + 1, timer, time))

    def check_ticks(self, req, until):
        for timer, period in (("sampling", req.sampling), ("reporting", req.reporting)):
            if timer == "sampling" and req.scan_mode:
                continue
            want = list(range(req.start + period, until + 1, period)) if period > 0 else []
            if req.ticks[timer] != want:
                self.problems.append("meas_id %d: %s ticks at %s s, due at %s s"
                                     % (req.meas_id, timer, req.ticks[timer], want))

    def tick(self, entry):
        if entry["room"] == 0:  # the sampling timer's poll, which takes no reply buffer
            req = self.due("sampling", entry["time"], scan=False)
            e, _ = self.command("SIGNAL_POLL", room=0)
            if e["ok"]:
                req.fold(self.channel_rssi)
            return
        req = self.due("reporting", entry["time"], scan=False)
        self.andsf_report(req, entry["time"])

    def start_scan(self, req, time):
        self.callback, self.provider_filters = req, req.filters
        self.take("bssid_filter", req.bssid_filter)
        self.take("frequency_filter", req.channel_filter)
        self.command("SCAN")

    def scan_ready(self):
        time = self.take("scan_ready")["time"]
        _, text = self.command("SCAN_RESULTS")
        rows = scan_table(text or "")
        self.tables.append({"time": time, "step": self.step_index, "rows": rows,
                            "meas_id": self.callback.meas_id if self.callback else None})
        groups = filter_scan(rows, self.provider_filters)
        if self.provider_filters and self.provider_filters[0]["load"]:
            for ssid in sorted(groups):
                for info in groups[ssid]:
                    e, reply = self.command("BSS " + info["bssid"] if info["bssid"] else "")
                    info["cu"] = channel_utilization(reply) if e["ok"] else 0
                    info["load"] = info["cu"] < 65535
        req = self.callback
        if req is None:
            return
        if not req.scan_mode:
            self.andsf_report(req, time)
            return
        seq = req.seq
        for i, ssid in enumerate(sorted(groups)):
            last = i == len(groups) - 1
            if last:
                req.next_seq()
            records = [{"bssid": scanned_mac(info["bssid"]),
                        "frequency": atoi(info["frequency"]) & 0xFFFF,
                        "param_mask": 5 if info["load"] else 1, "rssi": info["level"],
                        "channel_utilization": info["cu"]}
                       for info in groups[ssid][:BSSIDS_PER_REPORT]]
            self.send(req, time, seq, last, ssid, records)

    def andsf_report(self, req, time):
        status = {"ssid": "", "bssid": "", "freq": 0}
        e, reply = self.command("SIGNAL_POLL")
        if e["ok"]:
            for key, value in key_values(reply):
                if key == "FREQUENCY":
                    status["freq"] = atoi(value) & 0xFFFF
            e, reply = self.command("STATUS")
            if e["ok"]:
                for key, value in key_values(reply):
                    if key in ("ssid", "bssid"):
                        status[key] = value
                    elif key == "freq":
                        status["freq"] = atoi(value) & 0xFFFF
                if status["bssid"]:
                    self.command("BSS " + status["bssid"])
        self.statuses.append((time, status))
        seq = req.next_seq()
        self.send(req, time, seq, True, status["ssid"],
                  [{"bssid": status_mac(status["bssid"]),
                    "frequency": status["freq"], "param_mask": 1, "rssi": req.average,
                    "channel_utilization": 0}])

    def send(self, req, time, seq, last, ssid, records):
        ssid = ssid[:32]
        self.messages.append({
            "op": "sendWifiMeasurementReport", "time": time, "dsd": req.dsd,
            "meas_id": req.meas_id, "report_seq": seq, "last_report": 1 if last else 0,
            "ssid_len": len(ssid), "ssid": ssid, "bssid_list_valid": 1 if records else 0,
            "bssid_list_len": len(records), "bssid_list": records, "reserved_zero": True})


def compare(expected, got, source="derived"):
    """Differences between the expected messages (derived, or a live run's) and those sent:
    messages aligned as sequences, so that one extra or missing message is named as such;
    aligned ones field by field."""
    out = []
    canonical = [[json.dumps(m, sort_keys=True) for m in ms] for ms in (expected, got)]
    matcher = difflib.SequenceMatcher(None, *canonical, autojunk=False)
    for op, i1, i2, j1, j2 in matcher.get_opcodes():
        if op == "equal":
            continue
        if op == "replace" and i2 - i1 == j2 - j1:
            for want, have, j in zip(expected[i1:i2], got[j1:j2], range(j1, j2)):
                for field in sorted(set(want) | set(have)):
                    if want.get(field) != have.get(field):
                        out.append("message %d (%s meas_id %s report_seq %s) %s: sent %s, "
                                   "%s %s" % (j + 1, have.get("op"), have.get("meas_id"),
                                              have.get("report_seq"), field,
                                              json.dumps(have.get(field)), source,
                                              json.dumps(want.get(field))))
            continue
        out += ["extra message %d: %s" % (j + 1, canonical[1][j]) for j in range(j1, j2)]
        out += ["missing message (%s %d): %s" % (source, i + 1, canonical[0][i])
                for i in range(i1, i2)]
    return out


def read_lines(path):
    with open(path, encoding="utf-8") as f:
        return [json.loads(line) for line in f if line.strip()]


def judge(scenario_path, log_path, messages_path):
    """(the derivation, the differences) of one run."""
    with open(scenario_path, encoding="utf-8") as f:
        steps = yaml.safe_load(f)["steps"]
    run = Run(steps, read_lines(log_path))
    run.walk()
    return run, run.problems + compare(run.messages, read_lines(messages_path))


RAW_STEPS = {"advance", "at", "note", "scan_ready", "start_measurement", "stop_measurement",
             "stop_all", "daemon"}


def scripted(sim, scenarios):
    failed = 0
    with tempfile.TemporaryDirectory() as tmp:
        for path in scenarios:
            with open(path, encoding="utf-8") as f:
                steps = yaml.safe_load(f)["steps"]
            name = os.path.basename(path)
            if any(next(iter(s)) not in RAW_STEPS for s in steps if isinstance(s, dict)):
                print("skipped %s: not only raw measurements" % name)
                continue
            log, out = os.path.join(tmp, "replies"), os.path.join(tmp, "out.jsonl")
            with open(out, "w", encoding="utf-8") as f:
                rc = subprocess.call([sim, path, "--json", "--reply-log", log], stdout=f,
                                     stderr=subprocess.DEVNULL)
            _, differences = judge(path, log, out)
            differences += ["ylm-sim exit status %d" % rc] if rc else []
            live = os.path.splitext(path)[0] + ".jsonl"
            if os.path.exists(live):
                differences += compare(read_lines(live), read_lines(out), "live")
            failed += 1 if differences else 0
            print("%s %s" % ("FAIL" if differences else "PASS", name))
            for d in differences:
                print("  - " + d)
    return failed


if __name__ == "__main__":
    if sys.argv[1:2] == ["--scripted"]:
        sys.exit(1 if scripted(sys.argv[2], sys.argv[3:]) else 0)
    _, found = judge(*sys.argv[1:4])
    for d in found:
        print(d)
    sys.exit(1 if found else 0)
