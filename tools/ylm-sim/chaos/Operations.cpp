#include "chaos/Operations.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "record/ScenarioText.h"

namespace ylmsim::chaos {
namespace {

// How often each kind comes, per thousand operations.
constexpr unsigned kWeights[] = {
    170,  // Advance
    110,  // ScanReady
    90,   // StartScan
    60,   // StartConnected
    40,   // StartOdd
    90,   // Stop
    35,   // StopAll
    70,   // ProfileInit
    70,   // ProfileMask
    25,   // DefaultProfile
    40,   // Verdict
    50,   // NetConfig
    20,   // WifiState
    100,  // Daemon
    15,   // ForkExec
    15,   // Engine
};
static_assert(sizeof kWeights / sizeof kWeights[0] == static_cast<size_t>(OpKind::Count),
              "one weight per kind");

const char* const kHostapdWlan0 =
    "hostapd_cli -p /data/vendor/wifi/hostapd/ctrl -s /data/vendor/wifi/hostapd/ctrl -i wlan0 "
    "STATUS";
const char* const kHostapdSoftAp =
    "hostapd_cli -p /data/vendor/wifi/hostapd/ctrl -s /data/vendor/wifi/hostapd/ctrl -i softap0 "
    "STATUS";
// BCD octets of the SIM the engine knows, and of one whose operator name is empty.
const char* const kKnownIccid = "98101430121181157002";
const char* const kNamelessIccid = "98942000002143658709";

int32_t measId(Rng& r) {
    const auto u = r.below(100);
    if (u < 85) {
        return static_cast<int32_t>(r.range(1, 6));
    }
    if (u < 90) {
        return 0;
    }
    if (u < 95) {
        return -1;
    }
    return u < 98 ? std::numeric_limits<int32_t>::min() : static_cast<int32_t>(r.next());
}

int32_t profile(Rng& r) {
    const auto u = r.below(100);
    if (u < 80) {
        return r.pick<int32_t>({4, 5, 35, 36, 37, 42});
    }
    return u < 92 ? r.pick<int32_t>({0, 1, 2, 3, 43, 44, -1}) : static_cast<int32_t>(r.next());
}

// A profile's measurement id, and whether the indication marks it valid. Now and then an id is
// given but not marked valid: the look-up then uses 0 while creation and start use the field.
void profileMeasId(Rng& r, uint8_t& valid, uint64_t& id) {
    const auto u = r.below(100);
    id = u < 40 ? 0 : u < 70 ? 1 : u < 90 ? 7 : r.next();
    valid = id == 0 ? (r.percent(50) ? 1 : 0) : (r.percent(85) ? 1 : 0);
}

uint64_t bitOf(int32_t p) {
    return uint64_t{1} << (p >= 36 ? p - 33 : p + 28);
}

uint32_t interval(Rng& r, int64_t lo, int64_t hi) {
    return r.percent(85) ? static_cast<uint32_t>(r.range(lo, hi))
                         : r.pick<uint32_t>({0, 0x80000000U, 0xFFFFFFFFU, 60});
}

void putText(char* field, size_t room, const std::string& text) {
    std::copy_n(text.data(), std::min(room, text.size()), field);
}

std::string ssidText(Rng& r) {
    return r.pick<std::string>({"testbed-2g", "testbed-5g", "testbed-he", "DIRECT-4m", "crowd",
                                "Caf\\xc3\\xa9", "testbed-softap"});
}

}  // namespace

const char* opName(OpKind kind) {
    static const char* const names[] = {
        "advance",      "scan_ready", "start (scan)", "start (connected)",
        "start (odd)",  "stop",       "stop_all",     "profile_init",
        "profile_mask", "default",    "verdict",      "net_config",
        "wifi_state",   "daemon",     "forkexec",     "engine"};
    return names[static_cast<size_t>(kind)];
}

Op Generator::next() {
    for (;;) {
        auto u = static_cast<unsigned>(rng.below(1000));
        size_t k = 0;
        while (u >= kWeights[k]) {
            u -= kWeights[k];
            ++k;
        }
        const uint8_t dsd = rng.percent(80) ? 0 : 1;
        const uint64_t seed = rng.next();
        // Each call keeps a proxy for good and one more registration that every delivery calls
        // back: often at first, rarely later, as an engine whose quality service restarts.
        if (static_cast<OpKind>(k) == OpKind::DefaultProfile && defaults >= 16 && !rng.percent(1)) {
            continue;
        }
        defaults += static_cast<OpKind>(k) == OpKind::DefaultProfile ? 1 : 0;
        Op op{static_cast<OpKind>(k), dsd, seed};
        if (op.kind == OpKind::ProfileInit || op.kind == OpKind::ProfileMask) {
            profileOp(op);
        }
        return op;
    }
}

void Generator::profileOp(Op& op) {
    std::vector<Init> mine;
    for (const auto& i : inits) {
        if (i.dsd == op.dsd) {
            mine.push_back(i);
        }
    }
    profileMeasId(rng, op.valid, op.measId);
    if (op.kind == OpKind::ProfileInit) {
        op.profile = !mine.empty() && rng.percent(40) ? rng.pick(mine).profile : profile(rng);
        inits.push_back({op.dsd, op.profile, op.measId});
        if (inits.size() > 8) {
            inits.erase(inits.begin());
        }
        return;
    }
    if (mine.empty() || rng.percent(30)) {
        const auto u = rng.below(100);
        if (u < 70) {
            const auto n = rng.range(1, 4);
            for (int64_t i = 0; i < n; ++i) {
                op.mask |= bitOf(rng.pick<int32_t>({4, 5, 35, 36, 37, 42}));
            }
        } else {
            op.mask = u < 85 ? 0 : u < 92 ? ~uint64_t{0} : rng.next();
        }
        return;
    }
    // Profiles initialised under one id, switched on or off, that id marked valid or not.
    const Init& one = rng.pick(mine);
    op.measId = one.measId;
    op.valid = one.measId == 0 ? (rng.percent(50) ? 1 : 0) : (rng.percent(70) ? 1 : 0);
    for (const auto& i : mine) {
        if (i.measId == one.measId && (&i == &one || rng.percent(50)) &&
            static_cast<uint32_t>(i.profile - 4) <= 38) {
            op.mask |= bitOf(i.profile);
        }
    }
    if (rng.percent(25)) {
        op.mask = 0;  // every one of them stopped
    }
}

Scenario Expander::base() const {
    Rng r(0);
    Scenario sc;
    sc.name = "chaos";
    sc.engine.chipsetType = 0;
    sc.engine.decisionEngine = true;
    sc.engine.operators = {{kKnownIccidDigits, "TestOperator"}, {"89490200001234567890", ""}};
    auto& rules = sc.daemon.rules;
    rules.push_back({0, "STATUS", {{false, texts.genuine(ReplyKind::Status, r)}}});
    rules.push_back({0, "SIGNAL_POLL", {{false, texts.genuine(ReplyKind::SignalPoll, r)}}});
    rules.push_back({0, "SCAN", {{false, "OK\n"}}});
    rules.push_back({0, "SCAN_RESULTS", {{false, texts.genuine(ReplyKind::ScanResults, r)}}});
    for (const auto& bssid : Texts::bssids()) {
        rules.push_back({0, "BSS " + bssid, {{false, texts.genuine(ReplyKind::Bss, r)}}});
    }
    rules.push_back({1, "STATUS", {{false, texts.genuine(ReplyKind::P2pStatus, r)}}});
    sc.forks = {{kHostapdWlan0, texts.genuine(ReplyKind::Hostapd, r), 0},
                {kHostapdSoftAp, texts.genuine(ReplyKind::Hostapd, r), 0}};
    sc.dsdCount = 2;
    return sc;
}

void Expander::start(Step& s, Rng& r, OpKind kind) const {
    auto& ind = s.start;
    ind.meas_id = measId(r);
    const bool connected =
        kind == OpKind::StartConnected || (kind == OpKind::StartOdd && r.percent(40));
    const auto u = r.below(100);
    ind.meas_param_mask = u < 40 ? 5 : u < 80 ? 1 : u < 85 ? 7 : u < 90 ? 0 : u < 95 ? 4 : r.next();
    ind.sampling_interval_valid = connected ? (r.percent(90) ? 1 : 0) : (r.percent(30) ? 1 : 0);
    ind.sampling_interval = ind.sampling_interval_valid != 0 ? interval(r, 1, 5) : 0;
    ind.reporting_interval_valid = r.percent(connected ? 90 : 70) ? 1 : 0;
    ind.reporting_interval =
        ind.reporting_interval_valid != 0 ? interval(r, 1, connected ? 10 : 20) : 0;
    ind.alpha_valid = r.percent(40) ? 1 : 0;
    ind.alpha = ind.alpha_valid != 0
                    ? r.pick<float>({0.25F, 0.5F, 0.75F, 0.0F, 1.0F, -0.5F, 2.0F, 0.999F})
                    : 0.0F;
    if (connected) {
        ind.ssid_list_valid = 1;
        ind.ssid_list_len = 1;  // an all-zero first SSID: the associated network
    } else if (r.percent(85)) {
        ind.ssid_list_valid = 1;
        ind.ssid_list_len = static_cast<uint32_t>(r.range(1, 3));
        for (uint32_t i = 0; i < ind.ssid_list_len; ++i) {
            auto& e = ind.ssid_list[i];
            if (r.percent(45)) {
                std::memset(e.ssid, 0xFF, 32);
            } else {
                putText(e.ssid, 32, ssidText(r));
            }
            // Only BSSIDs with channels select anything: mostly the broadcast BSSID or one the
            // scan tables hold, on any channel, a band or a frequency of theirs.
            e.bssid_list_len = r.percent(15) ? 0 : static_cast<uint32_t>(r.range(1, 3));
            for (uint32_t j = 0; j < e.bssid_list_len; ++j) {
                auto& b = e.bssid_list[j];
                const std::string mac =
                    r.percent(50) ? std::string("ff:ff:ff:ff:ff:ff") : r.pick(Texts::bssids());
                std::sscanf(mac.c_str(), "%hhx:%hhx:%hhx:%hhx:%hhx:%hhx", &b.bssid[0], &b.bssid[1],
                            &b.bssid[2], &b.bssid[3], &b.bssid[4], &b.bssid[5]);
                b.channel_list_len = r.percent(10) ? 0 : static_cast<uint32_t>(r.range(1, 3));
                for (uint32_t k = 0; k < b.channel_list_len; ++k) {
                    const auto c = r.below(100);
                    b.channel_list[k] = c < 40   ? 65535
                                        : c < 70 ? r.pick<uint16_t>({1, 2, 3})
                                        : c < 90 ? r.pick<uint16_t>({2437, 5180, 5745, 2412})
                                                 : static_cast<uint16_t>(r.next());
                }
            }
        }
    }
    if (kind != OpKind::StartOdd) {
        return;
    }
    // Lengths past the record's room, SSIDs without their end, stray bytes in reserved fields.
    auto* raw = reinterpret_cast<uint8_t*>(&ind);
    const auto oddities = r.range(1, 3);
    for (int64_t i = 0; i < oddities; ++i) {
        auto& e = ind.ssid_list[r.below(8)];
        switch (r.below(6)) {
            case 0:
                ind.ssid_list_len = r.pick<uint32_t>({9, 200, 0xFFFFFFFFU});
                break;
            case 1:
                e.bssid_list_len = r.pick<uint32_t>({17, 1000});
                e.bssid_list[r.below(16)].channel_list_len = r.pick<uint32_t>({17, 0xFFFF});
                break;
            case 2: {
                const std::string bytes = r.bytes(sizeof e.ssid);
                std::memcpy(e.ssid, bytes.data(), bytes.size());
                break;
            }
            case 3:
                std::memset(e.ssid, 0xFF, sizeof e.ssid);
                break;
            case 4:
                ind.ssid_list_valid = r.pick<uint8_t>({1, 2, 255});
                break;
            default:
                raw[r.below(sizeof ind)] = static_cast<uint8_t>(r.next());
                break;
        }
    }
}

void Expander::netConfig(Step& s, Rng& r) const {
    auto& c = s.cas;
    s.nameNull = r.percent(85);
    if (!s.nameNull) {
        s.text = r.pick<std::string>({"profile4", "dynamic"});
    }
    const auto u = r.below(100);
    c.netType = u < 30   ? 1
                : u < 35 ? 254
                : u < 60 ? 100
                : u < 85 ? 101
                : u < 92 ? 5
                         : static_cast<int32_t>(r.next());
    c.state = r.pick<int32_t>({0, 1, 1, 4, 2});
    if (r.percent(80)) {
        putText(c.ssid, r.percent(5) ? sizeof c.ssid : sizeof c.ssid - 1,
                r.percent(10) ? std::string(40, 'S') : ssidText(r));
    }
    if (r.percent(70)) {
        putText(c.bssid, sizeof c.bssid - 1,
                r.pick(Texts::bssids()).substr(0, r.percent(90) ? 17 : r.below(17)));
    }
    if (r.percent(50)) {
        c.ipv4Addr = static_cast<uint32_t>(r.next());
    }
    if (r.percent(30)) {
        const std::string v6 = r.bytes(16);
        std::memcpy(c.ipv6Addr, v6.data(), 16);
    }
    if (r.percent(30)) {
        c.dnsIpv4[0] = static_cast<uint32_t>(r.next());
        c.dnsIpv4[1] = r.percent(50) ? static_cast<uint32_t>(r.next()) : 0;
        const std::string v6 = r.bytes(16);
        std::memcpy(c.dnsIpv6[r.below(2)], v6.data(), 16);
    }
    c.netFlag = r.percent(60) ? 1 : 0;
    c.stationFlag = r.percent(60) ? 1 : 0;
    c.isActive = r.percent(60) ? 1 : 0;
    c.reason = r.percent(20) ? static_cast<int32_t>(r.range(9, 16)) : 0;
    if (r.percent(40)) {
        putText(c.countryCode, 2, r.pick<std::string>({"US", "DE", "X"}));
    }
}

void Expander::daemon(Step& s, Rng& r) const {
    auto& d = s.daemon;
    const auto u = r.below(100);
    if (u < 5) {
        d.connectFailure[1] = r.percent(50);
        return;
    }
    ReplyKind kind = ReplyKind::Status;
    std::string command = "STATUS";
    int type = 0;
    if (u < 25) {
        kind = ReplyKind::SignalPoll;
        command = "SIGNAL_POLL";
    } else if (u < 35) {
        kind = ReplyKind::Scan;
        command = "SCAN";
    } else if (u < 55) {
        kind = ReplyKind::ScanResults;
        command = "SCAN_RESULTS";
    } else if (u < 75) {
        kind = ReplyKind::Bss;
        command = "BSS " + r.pick(Texts::bssids());
    } else if (u < 80) {
        kind = ReplyKind::P2pStatus;
        type = 1;
    }
    d.rules.push_back({type, command, {texts.reply(kind, r)}});
}

Step Expander::step(const Op& op) const {
    Rng r(op.seed);
    Step s;
    s.dsd = op.dsd;
    switch (op.kind) {
        case OpKind::Advance:
            s.kind = StepKind::Advance;
            s.seconds = r.percent(5) ? r.range(30, 600) : r.range(0, 6);
            break;
        case OpKind::ScanReady:
            s.kind = StepKind::ScanReady;
            break;
        case OpKind::StartScan:
        case OpKind::StartConnected:
        case OpKind::StartOdd:
            s.kind = StepKind::StartMeasurement;
            start(s, r, op.kind);
            break;
        case OpKind::Stop:
            s.kind = StepKind::StopMeasurement;
            s.stop.meas_id = measId(r);
            break;
        case OpKind::StopAll:
            s.kind = StepKind::StopAll;
            break;
        case OpKind::ProfileInit: {
            s.kind = StepKind::ProfileInit;
            auto& ind = s.init;
            ind.profile_type = op.profile;
            ind.rssi_low_valid = r.percent(50) ? 1 : 0;
            ind.rssi_low = ind.rssi_low_valid != 0 ? static_cast<int16_t>(r.range(-120, 0)) : 0;
            ind.rssi_high_valid = r.percent(50) ? 1 : 0;
            ind.rssi_high = ind.rssi_high_valid != 0
                                ? static_cast<int16_t>(r.percent(90) ? r.range(-90, 0) : r.next())
                                : 0;
            const auto u = r.below(100);
            std::string iccid;
            if (u >= 40) {
                iccid = u < 75 ? kKnownIccid : u < 85 ? kNamelessIccid : "";
                std::string octets;
                hexBytes(iccid, octets);
                if (iccid.empty()) {
                    octets = r.bytes(static_cast<size_t>(r.below(11)));  // no known SIM
                }
                ind.iccid_valid = 1;
                ind.iccid_len = u < 97 ? static_cast<uint32_t>(octets.size())
                                       : r.pick<uint32_t>({11, 255, 0x10A});
                std::memcpy(ind.iccid, octets.data(), octets.size());
            }
            ind.meas_id_valid = op.valid;
            ind.meas_id = op.measId;
            break;
        }
        case OpKind::ProfileMask:
            s.kind = StepKind::ProfileMask;
            s.mask.profile_type_mask = op.mask;
            s.mask.meas_id_valid = op.valid;
            s.mask.meas_id = op.measId;
            break;
        case OpKind::DefaultProfile:
            s.kind = StepKind::DefaultProfile;
            break;
        case OpKind::Verdict:
            s.kind = StepKind::CasVerdict;
            s.text =
                r.pick<std::string>({"profile4", "profile5", "profile35", "dynamic", "profile6"});
            s.cas.isActive = r.percent(50) ? 1 : 0;
            s.cas.reason = r.percent(90) ? static_cast<int32_t>(r.range(9, 16))
                                         : static_cast<int32_t>(r.next());
            break;
        case OpKind::NetConfig:
            s.kind = StepKind::NetConfig;
            netConfig(s, r);
            break;
        case OpKind::WifiState:
            s.kind = StepKind::WifiState;
            s.flag = r.percent(60);
            break;
        case OpKind::Daemon:
            s.kind = StepKind::Daemon;
            daemon(s, r);
            break;
        case OpKind::ForkExec: {
            s.kind = StepKind::ForkExec;
            const Reply out = texts.reply(ReplyKind::Hostapd, r);
            s.forks.push_back({r.percent(70) ? kHostapdWlan0 : kHostapdSoftAp, out.text,
                               out.fail || r.percent(15) ? r.pick<int>({1, 127, 255, -1}) : 0});
            break;
        }
        case OpKind::Engine:
            s.kind = StepKind::Engine;
            if (r.percent(60)) {
                s.engine.decisionEngine = r.percent(70);
            } else {
                s.engine.chipsetType = r.pick<int>({0, 4, 0, 1});
            }
            break;
        case OpKind::Count:
            break;
    }
    return s;
}

}  // namespace ylmsim::chaos
