#include "record/RecordText.h"

#include <arpa/inet.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <sstream>

#include "record/YamlText.h"
#include "scenario/Records.h"

namespace ylmsim::recordtext {
namespace {

using yamltext::Fields;
using yamltext::hexOf;

std::string recordBytes(const Step& s) {
    const auto r = recordOf(const_cast<Step&>(s));
    return std::string(reinterpret_cast<const char*>(r.first), r.second);
}

std::string ssidEntry(const dsd_wifi_ident_ssid_type_v01& e, bool& ok) {
    Fields f;
    const auto* b = reinterpret_cast<const uint8_t*>(e.ssid);
    size_t ones = 0;
    size_t zeros = 0;
    for (size_t i = 0; i < sizeof e.ssid; ++i) {
        ones += b[i] == 0xFF ? 1 : 0;
        zeros += b[i] == 0 ? 1 : 0;
    }
    if (zeros == sizeof e.ssid) {
        f.add("connected", "true");
    } else if (ones == 32 && b[32] == 0) {
        f.add("any", "true");
    } else {
        f.addText("ssid", std::string(e.ssid, strnlen(e.ssid, 32)));
    }
    if (e.bssid_list_len > 16) {
        ok = false;
    } else if (e.bssid_list_len > 0) {
        std::string list;
        for (uint32_t i = 0; i < e.bssid_list_len; ++i) {
            const auto& bssid = e.bssid_list[i];
            Fields bf;
            bf.add("bssid", records::macText(bssid.bssid));
            if (bssid.channel_list_len > 16) {
                ok = false;
                return "";
            }
            if (bssid.channel_list_len > 0) {
                std::string channels;
                for (uint32_t k = 0; k < bssid.channel_list_len; ++k) {
                    channels += (k != 0 ? ", " : "") + std::to_string(bssid.channel_list[k]);
                }
                bf.add("channel_list", "[" + channels + "]");
            }
            list += (i != 0 ? ", " : "") + bf.map();
        }
        f.add("bssid_list", "[" + list + "]");
    }
    ok = ok && f.ok;
    return f.map();
}

std::string ipv4Text(uint32_t networkOrder) {
    char buf[INET_ADDRSTRLEN] = {};
    inet_ntop(AF_INET, &networkOrder, buf, sizeof buf);
    return buf;
}

std::string ipv6Text(const uint8_t (&a)[16]) {
    char buf[INET6_ADDRSTRLEN] = {};
    inet_ntop(AF_INET6, a, buf, sizeof buf);
    return std::string("\"") + buf + "\"";
}

bool allZero(const uint8_t* p, size_t n) {
    for (size_t i = 0; i < n; ++i) {
        if (p[i] != 0) {
            return false;
        }
    }
    return true;
}

// The action and its value for an indication or a quality-service delivery, as fields; ok false
// when the fields cannot give that record.
std::string fieldsOf(const Step& s, bool& ok) {
    Fields f;
    if (s.kind != StepKind::CasVerdict && s.kind != StepKind::NetConfig && s.dsd != 0) {
        f.add("dsd", std::to_string(s.dsd));
    }
    switch (s.kind) {
        case StepKind::StartMeasurement: {
            const auto& m = s.start;
            f.add("meas_id", std::to_string(m.meas_id));
            f.add("meas_param_mask", records::hexText(m.meas_param_mask));
            if (m.sampling_interval_valid != 0) {
                f.add("sampling_interval", std::to_string(m.sampling_interval));
            }
            if (m.reporting_interval_valid != 0) {
                f.add("reporting_interval", std::to_string(m.reporting_interval));
            }
            if (m.alpha_valid != 0) {
                char buf[32];
                std::snprintf(buf, sizeof buf, "%.9g", static_cast<double>(m.alpha));
                f.add("alpha", buf);
            }
            if (m.ssid_list_valid != 0) {
                if (m.ssid_list_len > 8) {
                    ok = false;
                    return "";
                }
                std::string list;
                for (uint32_t i = 0; i < m.ssid_list_len; ++i) {
                    list += (i != 0 ? ", " : "") + ssidEntry(m.ssid_list[i], ok);
                }
                f.add("ssid_list", "[" + list + "]");
            }
            return "start_measurement: " + f.map();
        }
        case StepKind::StopMeasurement:
            f.add("meas_id", std::to_string(s.stop.meas_id));
            return "stop_measurement: " + f.map();
        case StepKind::ProfileInit: {
            const auto& m = s.init;
            f.add("profile_type", std::to_string(m.profile_type));
            if (m.rssi_low_valid != 0) {
                f.add("rssi_low", std::to_string(m.rssi_low));
            }
            if (m.rssi_high_valid != 0) {
                f.add("rssi_high", std::to_string(m.rssi_high));
            }
            if (m.iccid_valid != 0) {
                if (m.iccid_len > sizeof m.iccid) {
                    ok = false;
                    return "";
                }
                f.add("iccid",
                      "\"" +
                          hexOf(std::string(reinterpret_cast<const char*>(m.iccid), m.iccid_len)) +
                          "\"");
            }
            if (m.meas_id_valid != 0) {
                f.add("meas_id", std::to_string(m.meas_id));
            }
            return "profile_init: " + f.map();
        }
        case StepKind::ProfileMask:
            f.add("profile_type_mask", records::hexText(s.mask.profile_type_mask));
            if (s.mask.meas_id_valid != 0) {
                f.add("meas_id", std::to_string(s.mask.meas_id));
            }
            return "profile_mask: " + f.map();
        case StepKind::CasVerdict:
            if (s.nameNull) {
                ok = false;
                return "";
            }
            f.addText("name", s.text);
            f.add("pass", s.cas.isActive != 0 ? "true" : "false");
            f.add("reason", std::to_string(s.cas.reason));
            ok = ok && f.ok;
            return "cas_verdict: " + f.map();
        case StepKind::NetConfig: {
            const auto& c = s.cas;
            if (!s.nameNull) {
                f.addText("name", s.text);
            }
            static const std::map<int32_t, const char*> kTypes = {
                {1, "station"}, {100, "softap"}, {101, "p2p"}};
            const auto type = kTypes.find(c.netType);
            f.add("net_type",
                  type != kTypes.end() ? std::string(type->second) : std::to_string(c.netType));
            if (c.state != 0) {
                f.add("state", std::to_string(c.state));
            }
            if (c.ssid[0] != '\0') {
                f.addText("ssid", std::string(c.ssid, strnlen(c.ssid, sizeof c.ssid)));
            }
            if (c.bssid[0] != '\0') {
                f.addText("bssid", std::string(c.bssid, strnlen(c.bssid, sizeof c.bssid)));
            }
            if (c.ipv4Addr != 0) {
                f.add("ipv4_addr", ipv4Text(c.ipv4Addr));
            }
            if (!allZero(c.ipv6Addr, sizeof c.ipv6Addr)) {
                f.add("ipv6_addr", ipv6Text(c.ipv6Addr));
            }
            if (c.dnsIpv4[0] != 0 || c.dnsIpv4[1] != 0) {
                f.add("dns_ipv4", "[" + ipv4Text(c.dnsIpv4[0]) +
                                      (c.dnsIpv4[1] != 0 ? ", " + ipv4Text(c.dnsIpv4[1]) : "") +
                                      "]");
            }
            if (!allZero(c.dnsIpv6[0], 16) || !allZero(c.dnsIpv6[1], 16)) {
                f.add("dns_ipv6",
                      "[" + ipv6Text(c.dnsIpv6[0]) +
                          (!allZero(c.dnsIpv6[1], 16) ? ", " + ipv6Text(c.dnsIpv6[1]) : "") + "]");
            }
            for (const auto& [key, v] : {std::pair<const char*, uint8_t>{"net_flag", c.netFlag},
                                         {"station_flag", c.stationFlag},
                                         {"is_active", c.isActive}}) {
                if (v != 0) {
                    f.add(key, std::to_string(v));
                }
            }
            if (c.reason != 0) {
                f.add("reason", std::to_string(c.reason));
            }
            if (c.countryCode[0] != '\0') {
                f.addText("country_code", std::string(c.countryCode, strnlen(c.countryCode, 2)));
            }
            ok = ok && f.ok;
            return "net_config: " + f.map();
        }
        default:
            ok = false;
            return "";
    }
}

// The step as its bytes: {dsd or name, hex}, trailing zero bytes left out.
std::string rawForm(const Step& s) {
    std::string bytes = recordBytes(s);
    while (!bytes.empty() && bytes.back() == '\0') {
        bytes.pop_back();
    }
    Fields f;
    const bool cas = s.kind == StepKind::CasVerdict || s.kind == StepKind::NetConfig;
    if (cas && !s.nameNull) {
        f.addText("name", s.text);
    } else if (!cas && s.dsd != 0) {
        f.add("dsd", std::to_string(s.dsd));
    }
    f.add("hex", "\"" + hexOf(bytes) + "\"");
    static const std::map<StepKind, const char*> kNames = {
        {StepKind::StartMeasurement, "start_measurement"},
        {StepKind::StopMeasurement, "stop_measurement"},
        {StepKind::ProfileInit, "profile_init"},
        {StepKind::ProfileMask, "profile_mask"},
        {StepKind::CasVerdict, "cas_verdict"},
        {StepKind::NetConfig, "net_config"}};
    return std::string(kNames.at(s.kind)) + ": " + f.map();
}

}  // namespace

std::pair<uint8_t*, size_t> recordOf(Step& s) {
    switch (s.kind) {
        case StepKind::StartMeasurement:
            return {reinterpret_cast<uint8_t*>(&s.start), sizeof s.start};
        case StepKind::StopMeasurement:
            return {reinterpret_cast<uint8_t*>(&s.stop), sizeof s.stop};
        case StepKind::ProfileInit:
            return {reinterpret_cast<uint8_t*>(&s.init), sizeof s.init};
        case StepKind::ProfileMask:
            return {reinterpret_cast<uint8_t*>(&s.mask), sizeof s.mask};
        case StepKind::CasVerdict:
        case StepKind::NetConfig:
            return {reinterpret_cast<uint8_t*>(&s.cas), sizeof s.cas};
        default:
            return {nullptr, 0};
    }
}

std::string recordStep(const Step& s) {
    bool ok = true;
    std::string fields = fieldsOf(s, ok);
    if (ok) {
        try {
            const Scenario back = loadScenarioText("steps:\n  - " + fields + "\n", "<check>", "");
            const Step& b = back.steps.at(0);
            if (b.kind == s.kind && b.dsd == s.dsd && b.nameNull == s.nameNull &&
                b.text == s.text && recordBytes(b) == recordBytes(s)) {
                return fields;
            }
        } catch (const ScenarioError&) {
        }
    }
    return rawForm(s);
}

}  // namespace ylmsim::recordtext
