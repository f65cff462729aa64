#include "chaos/RawModel.h"

#include <algorithm>
#include <set>
#include <string>

namespace ylmsim::chaos {
namespace {

std::string measName(size_t client, int32_t id) {
    return "meas_id " + std::to_string(id) + " of client " + std::to_string(client);
}

bool timerActive(int32_t id) {
    for (const auto& t : emu::Engine::instance().timers) {
        if (t.id == id) {
            return t.active;
        }
    }
    return false;
}

uint32_t nextSeq(uint32_t seq) {
    return seq == 0xFFFFFFFFU ? 1 : seq + 1;
}

// The timer service takes the interval sign-extended: 2^31 and above arrive negative.
int64_t period(uint8_t valid, uint32_t value, uint32_t fallback) {
    return static_cast<int32_t>(valid != 0 ? value : fallback);
}

}  // namespace

std::optional<Violation> RawModel::step(const Step& s, bool started, const StepView& v) {
    std::optional<Violation> bad;
    bool startedScan = false;
    if (s.kind == StepKind::StartMeasurement) {
        bad = start(s, started, v);
        const auto it = live.find({s.dsd, s.start.meas_id});
        startedScan = started && it != live.end() && !it->second.connected;
    } else if (s.kind == StepKind::StopMeasurement) {
        bad = stop({{s.dsd, s.stop.meas_id}}, v);
    } else if (s.kind == StepKind::StopAll) {
        std::vector<Key> keys;
        for (const auto& [key, m] : live) {
            if (key.first == s.dsd) {
                keys.push_back(key);
            }
        }
        bad = stop(keys, v);
    } else if (!v.added.empty() || !v.removed.empty()) {
        return Violation{"timers-outside-start-and-stop",
                         "timers were armed or removed by a step that neither starts nor stops a "
                         "measurement"};
    }
    if (!bad) {
        bad = timersAndSamples(v, startedScan);
    }
    if (!bad) {
        bad = reports(s, v);
    }
    return bad;
}

std::optional<Violation> RawModel::start(const Step& s, bool started, const StepView& v) {
    const auto& ind = s.start;
    const Key key{s.dsd, ind.meas_id};
    const bool wasLive = live.count(key) != 0;
    const bool paramsOk = ind.meas_param_mask != 0 && (ind.meas_param_mask & 1) != 0;
    if (started != (!wasLive && paramsOk)) {
        return Violation{"start-result", "startWifiMeasurement of " +
                                             measName(key.first, key.second) + " returned " +
                                             (started ? "true" : "false") + ", but it was " +
                                             (wasLive    ? "live already"
                                              : paramsOk ? "acceptable"
                                                         : "without RSSI")};
    }
    if (!v.removed.empty()) {
        return Violation{"timers-outside-start-and-stop", "a start removed a timer"};
    }
    if (!started) {
        if (!v.added.empty()) {
            return Violation{"refused-start-armed", "a refused start armed a timer"};
        }
        return std::nullopt;
    }
    // Only the first entry decides: an all-zero SSID there asks for the associated network.
    const auto* first = reinterpret_cast<const uint8_t*>(ind.ssid_list[0].ssid);
    const bool connected = ind.ssid_list_valid != 0 &&
                           std::all_of(first, first + 32, [](uint8_t b) { return b == 0; });
    std::vector<int64_t> want;
    if (connected) {
        want.push_back(period(ind.sampling_interval_valid, ind.sampling_interval, 2));
    }
    want.push_back(period(ind.reporting_interval_valid, ind.reporting_interval, 5));
    bool same = v.added.size() == want.size();
    for (size_t i = 0; same && i < want.size(); ++i) {
        same = v.added[i]->period == want[i] && v.added[i]->ctx == v.added[0]->ctx;
    }
    if (!same) {
        return Violation{"start-timers", "the start of " + measName(key.first, key.second) + " (" +
                                             (connected ? "connected" : "scan") + " mode) armed " +
                                             std::to_string(v.added.size()) +
                                             " timers, not its sampling/reporting periods"};
    }
    Live m;
    m.connected = connected;
    m.sampling = connected ? v.added[0]->id : 0;
    m.reporting = v.added.back()->id;
    live[key] = m;
    if (!connected) {
        target = key;
    }
    return std::nullopt;
}

std::optional<Violation> RawModel::stop(const std::vector<Key>& keys, const StepView& v) {
    std::set<int32_t> want;
    for (const auto& key : keys) {
        const auto it = live.find(key);
        if (it == live.end()) {
            continue;
        }
        if (it->second.sampling != 0) {
            want.insert(it->second.sampling);
        }
        want.insert(it->second.reporting);
        live.erase(it);
        target.reset();  // any measurement's stop clears the provider's callback
    }
    const std::set<int32_t> removed(v.removed.begin(), v.removed.end());
    if (removed != want) {
        return Violation{"stop-timers", "the stop removed " + std::to_string(removed.size()) +
                                            " timers; the stopped measurements had " +
                                            std::to_string(want.size())};
    }
    for (int32_t id : want) {
        if (timerActive(id)) {
            return Violation{"timer-after-stop", "timer " + std::to_string(id) +
                                                     " of a stopped measurement is still armed"};
        }
    }
    return std::nullopt;
}

std::optional<Violation> RawModel::timersAndSamples(const StepView& v, bool startedScan) {
    int64_t samples = 0;
    int64_t scans = startedScan ? 1 : 0;
    std::optional<std::pair<int64_t, int32_t>> lastScan;  // (time, timer id)
    for (const auto& [key, m] : live) {
        const auto f = v.fired.find(m.reporting);
        if (m.connected) {
            const auto s = v.fired.find(m.sampling);
            samples += s == v.fired.end() ? 0 : s->second;
        } else if (f != v.fired.end() && f->second > 0) {
            scans += f->second;
            const std::pair<int64_t, int32_t> when{v.lastFired.at(m.reporting), m.reporting};
            if (!lastScan || when > *lastScan) {
                lastScan = when;
                target = key;
            }
        }
    }
    const auto polls =
        static_cast<int64_t>(v.count(emu::SupplicantEvent::CommandNoReply, "SIGNAL_POLL"));
    if (polls != samples) {
        return Violation{"samples", std::to_string(polls) + " RSSI samples were taken, " +
                                        std::to_string(samples) +
                                        " sampling timer firings of live measurements"};
    }
    const auto sent = static_cast<int64_t>(v.count(emu::SupplicantEvent::Command, "SCAN"));
    if (sent != scans) {
        return Violation{"scans", std::to_string(sent) + " scans were started, " +
                                      std::to_string(scans) +
                                      " scan-mode starts and reporting timer firings"};
    }
    return std::nullopt;
}

std::optional<Violation> RawModel::reports(const Step& s, const StepView& v) {
    const size_t results = v.count(emu::SupplicantEvent::Command, "SCAN_RESULTS");
    std::map<Key, int64_t> connectedReports;
    size_t batches = 0;
    for (size_t i = 0; i < v.messages.size(); ++i) {
        const auto& msg = *v.messages[i];
        if (msg.op != emu::DsdOp::WifiMeasurementReport) {
            continue;
        }
        const auto r = msg.as<dsd_wifi_meas_report_req_msg_v01>();
        const Key key{v.messageClients[i], static_cast<int32_t>(r.meas_id)};
        const auto it = live.find(key);
        if (it == live.end()) {
            return Violation{"report-not-live",
                             "a report for " + measName(key.first, key.second) +
                                 ", which is not live (never started, refused or stopped)"};
        }
        Live& m = it->second;
        if (m.connected) {
            // One record, on the associated access point, with the smoothed RSSI only.
            const auto& rec = r.bssid_list[0];
            if (r.bssid_list_len != 1 || rec.param_mask != 1 || rec.channel_utilization != 0) {
                return Violation{"connected-report-record",
                                 "a connected-mode report of " + measName(key.first, key.second) +
                                     " without its one RSSI-only record"};
            }
            if (r.last_report != 1 || r.report_seq != m.nextSeq) {
                return Violation{"report-seq",
                                 "connected-mode report " + std::to_string(r.report_seq) + " of " +
                                     measName(key.first, key.second) + ", expected " +
                                     std::to_string(m.nextSeq) + " with last_report 1"};
            }
            m.nextSeq = nextSeq(m.nextSeq);
            ++connectedReports[key];
            continue;
        }
        if (results == 0) {
            return Violation{"scan-report-without-results", "a scan report of " +
                                                                measName(key.first, key.second) +
                                                                " in a step without scan results"};
        }
        if (s.kind == StepKind::ScanReady && target != key) {
            return Violation{
                "scan-report-target",
                "scan results went to " + measName(key.first, key.second) +
                    "; the latest scan since the last stop was " +
                    (target ? measName(target->first, target->second) : std::string("none"))};
        }
        for (const auto& [other, o] : live) {
            if (o.batchOpen && other != key) {
                return Violation{"batch-interleaved", "two report batches at once"};
            }
        }
        if (r.report_seq != m.nextSeq) {
            return Violation{"report-seq", "scan report " + std::to_string(r.report_seq) + " of " +
                                               measName(key.first, key.second) + ", expected " +
                                               std::to_string(m.nextSeq)};
        }
        m.batchOpen = r.last_report == 0;
        if (r.last_report != 0) {
            m.nextSeq = nextSeq(m.nextSeq);
            ++batches;
        }
    }
    for (const auto& [key, m] : live) {
        if (m.batchOpen) {
            return Violation{"batch-unfinished", "a report batch of " +
                                                     measName(key.first, key.second) +
                                                     " ended without last_report"};
        }
        const auto f = v.fired.find(m.reporting);
        const int64_t want = m.connected && f != v.fired.end() ? f->second : 0;
        const auto got = connectedReports.find(key);
        if (m.connected && (got == connectedReports.end() ? 0 : got->second) != want) {
            return Violation{"connected-reports",
                             measName(key.first, key.second) + " sent " +
                                 std::to_string(got == connectedReports.end() ? 0 : got->second) +
                                 " reports for " + std::to_string(want) +
                                 " reporting timer firings"};
        }
    }
    if (batches > results) {
        return Violation{"batches", std::to_string(batches) + " report batches for " +
                                        std::to_string(results) + " scan results"};
    }
    return std::nullopt;
}

}  // namespace ylmsim::chaos
