#include "timeline/StepText.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <sstream>

#include "scenario/Records.h"

namespace ylmsim {
namespace {

using records::macText;

// A text field of a record, read no further than the field.
template <size_t N>
std::string field(const char (&text)[N]) {
    return std::string(text, strnlen(text, N));
}

bool allBytes(const char* p, size_t n, unsigned char value) {
    return std::all_of(p, p + n,
                       [value](char c) { return static_cast<unsigned char>(c) == value; });
}

template <size_t N>
bool isZero(const uint8_t (&bytes)[N]) {
    return std::all_of(bytes, bytes + N, [](uint8_t b) { return b == 0; });
}

std::string address(int family, const void* bytes) {
    char text[INET6_ADDRSTRLEN] = {};
    inet_ntop(family, bytes, text, sizeof text);
    return text;
}

// "RSSI=-52 (+7 lines)": enough of a reply to recognise it in the timeline.
std::string firstLineOf(const std::string& reply) {
    const size_t eol = reply.find('\n');
    if (eol == std::string::npos) {
        return "\"" + reply + "\"";
    }
    size_t more = 0;
    for (size_t i = eol + 1; i < reply.size(); ++i) {
        more += reply[i] == '\n' || (i + 1 == reply.size()) ? 1 : 0;
    }
    return "\"" + reply.substr(0, eol) + "\"" +
           (more == 0 ? "" : " (+" + std::to_string(more) + (more == 1 ? " line)" : " lines)"));
}

std::string ssidEntry(const dsd_wifi_ident_ssid_type_v01& e) {
    constexpr size_t kText = sizeof e.ssid - 1;
    std::string out = allBytes(e.ssid, kText, 0xff) ? "any"
                      : allBytes(e.ssid, kText, 0)
                          ? "connected"
                          : "\"" + std::string(e.ssid, strnlen(e.ssid, kText)) + "\"";
    if (e.bssid_list_len == 0) {
        return out;
    }
    out += "{";
    // A length beyond its list's room is the modem's to send and the plug-in's to refuse; the
    // timeline shows what the record holds.
    for (size_t i = 0; i < std::min<size_t>(e.bssid_list_len, std::size(e.bssid_list)); ++i) {
        const auto& b = e.bssid_list[i];
        out += (i != 0 ? "; " : "") + macText(b.bssid);
        for (size_t k = 0; k < std::min<size_t>(b.channel_list_len, std::size(b.channel_list));
             ++k) {
            out += (k == 0 ? " ch " : ",") + std::to_string(b.channel_list[k]);
        }
    }
    return out + "}";
}

std::string startMeasurement(const dsd_start_wifi_meas_ind_msg_v01& ind) {
    std::string out = "meas_id=" + std::to_string(ind.meas_id) +
                      " meas_param_mask=" + records::hexText(ind.meas_param_mask);
    if (ind.sampling_interval_valid != 0) {
        out += " sampling_interval=" + std::to_string(ind.sampling_interval);
    }
    if (ind.reporting_interval_valid != 0) {
        out += " reporting_interval=" + std::to_string(ind.reporting_interval);
    }
    if (ind.alpha_valid != 0) {
        std::ostringstream alpha;
        alpha << ind.alpha;
        out += " alpha=" + alpha.str();
    }
    if (ind.ssid_list_valid != 0) {
        out += " ssid_list=[";
        for (size_t i = 0; i < std::min<size_t>(ind.ssid_list_len, std::size(ind.ssid_list)); ++i) {
            out += (i != 0 ? ", " : "") + ssidEntry(ind.ssid_list[i]);
        }
        out += "]";
    }
    return out;
}

std::string profileInit(const dsd_wqe_profile_init_ind_msg_v01& ind) {
    std::string out = "profile_type=" + std::to_string(ind.profile_type);
    if (ind.rssi_low_valid != 0) {
        out += " rssi_low=" + std::to_string(ind.rssi_low);
    }
    if (ind.rssi_high_valid != 0) {
        out += " rssi_high=" + std::to_string(ind.rssi_high);
    }
    if (ind.iccid_valid != 0) {
        out += " iccid=";
        for (size_t i = 0; i < std::min<size_t>(ind.iccid_len, std::size(ind.iccid)); ++i) {
            char octet[3];
            std::snprintf(octet, sizeof octet, "%02x", ind.iccid[i]);
            out += octet;
        }
    }
    if (ind.meas_id_valid != 0) {
        out += " meas_id=" + std::to_string(ind.meas_id);
    }
    return out;
}

std::string profileMask(const dsd_wqe_profile_type_ind_msg_v01& ind) {
    std::string names;
    for (int p = 4; p <= 42; ++p) {
        if ((ind.profile_type_mask >> records::profileBit(p) & 1) != 0) {
            names += " " + std::to_string(p);
        }
    }
    std::string out = "profile_type_mask=" + records::hexText(ind.profile_type_mask) +
                      " (profiles" + (names.empty() ? " none" : names) + ")";
    if (ind.meas_id_valid != 0) {
        out += " meas_id=" + std::to_string(ind.meas_id);
    }
    return out;
}

std::string registration(const Step& s) {
    return "name=" + (s.nameNull ? std::string("(none)") : s.text);
}

std::string netConfig(const Step& s) {
    const CasWlanNetConfigType& c = s.cas;
    std::string out = registration(s) + " net_type=" + std::to_string(c.netType);
    auto number = [&out](const char* name, long long v) {
        if (v != 0) {
            out += std::string(" ") + name + "=" + std::to_string(v);
        }
    };
    number("state", c.state);
    if (c.ssid[0] != '\0') {
        out += " ssid=\"" + field(c.ssid) + "\"";
    }
    if (c.bssid[0] != '\0') {
        out += " bssid=" + field(c.bssid);
    }
    if (c.ipv4Addr != 0) {
        out += " ipv4_addr=" + address(AF_INET, &c.ipv4Addr);
    }
    if (!isZero(c.ipv6Addr)) {
        out += " ipv6_addr=" + address(AF_INET6, c.ipv6Addr);
    }
    for (const uint32_t dns : c.dnsIpv4) {
        if (dns != 0) {
            out += " dns_ipv4=" + address(AF_INET, &dns);
        }
    }
    for (const auto& dns : c.dnsIpv6) {
        if (!isZero(dns)) {
            out += " dns_ipv6=" + address(AF_INET6, dns);
        }
    }
    number("net_flag", c.netFlag);
    number("station_flag", c.stationFlag);
    number("is_active", c.isActive);
    number("reason", c.reason);
    if (c.countryCode[0] != '\0') {
        out += " country_code=\"" + field(c.countryCode) + "\"";
    }
    return out;
}

std::string daemon(const DaemonConfig& d) {
    std::string out;
    for (const auto& r : d.rules) {
        out += (out.empty() ? "" : "; ") + r.command + (r.type == 1 ? " (p2p)" : "") + ": ";
        if (r.replies.size() != 1) {
            out += std::to_string(r.replies.size()) + " replies";
        } else if (r.replies[0].fail) {
            out += "fails";
        } else {
            out += firstLineOf(r.replies[0].text);
        }
    }
    if (d.scanDelay) {
        out +=
            (out.empty() ? "" : "; ") + std::string("scan_delay=") + std::to_string(*d.scanDelay);
    }
    for (const auto& [type, on] : d.connectFailure) {
        out += (out.empty() ? "" : "; ") + std::string(type == 1 ? "p2p" : "sta") +
               " connect_failure=" + (on ? "true" : "false");
    }
    return out;
}

std::string forks(const std::vector<ForkRule>& rules) {
    std::string out;
    for (const auto& r : rules) {
        out += (out.empty() ? "" : "; ") + r.command + ": rc=" + std::to_string(r.rc);
    }
    return out;
}

std::string engine(const EngineConfig& e) {
    std::string out;
    if (e.chipsetType) {
        out += "chipset_type=" + std::to_string(*e.chipsetType) + " ";
    }
    if (e.decisionEngine) {
        out += std::string("decision_engine=") + (*e.decisionEngine ? "true " : "false ");
    }
    return out + std::to_string(e.operators.size()) + " operator(s)";
}

}  // namespace

std::string describeStep(const Step& s) {
    switch (s.kind) {
        case StepKind::StartMeasurement:
            return startMeasurement(s.start);
        case StepKind::StopMeasurement:
            return "meas_id=" + std::to_string(s.stop.meas_id);
        case StepKind::ProfileInit:
            return profileInit(s.init);
        case StepKind::ProfileMask:
            return profileMask(s.mask);
        case StepKind::CasVerdict:
            return registration(s) + " pass=" + std::to_string(s.cas.isActive) +
                   " reason=" + std::to_string(s.cas.reason);
        case StepKind::NetConfig:
            return netConfig(s);
        case StepKind::WifiState:
            return std::string("wifi_on=") + (s.flag ? "1" : "0");
        case StepKind::Daemon:
            return daemon(s.daemon);
        case StepKind::ForkExec:
            return forks(s.forks);
        case StepKind::Engine:
            return engine(s.engine);
        default:
            return "";
    }
}

}  // namespace ylmsim
