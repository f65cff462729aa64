#include "scenario/Records.h"

#include <arpa/inet.h>

#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <limits>
#include <sstream>

namespace ylmsim::records {
namespace {

using fields::Field;
using fields::MapReader;

constexpr size_t kMaxDsdClients = 16;

bool parseMac(const std::string& s, uint8_t (&out)[6]) {
    if (s.size() != 17) {
        return false;
    }
    for (size_t i = 0; i < 6; ++i) {
        const std::string pair = s.substr(i * 3, 2);
        if ((i < 5 && s[i * 3 + 2] != ':') || !std::isxdigit(static_cast<unsigned char>(pair[0])) ||
            !std::isxdigit(static_cast<unsigned char>(pair[1]))) {
            return false;
        }
        out[i] = static_cast<uint8_t>(std::stoul(pair, nullptr, 16));
    }
    return true;
}

int32_t measId(const Field& f) {
    return static_cast<int32_t>(fields::integer(f, std::numeric_limits<int32_t>::min(),
                                                std::numeric_limits<uint32_t>::max()));
}

void bssidEntry(const Field& f, dsd_wifi_ident_bssid_type_v01& out) {
    const MapReader m(f, {"bssid", "channel_list"});
    const Field b = m.need("bssid");
    if (!parseMac(fields::scalar(b, "a MAC address"), out.bssid)) {
        fields::fail(
            b, "expected a MAC address like 02:00:00:00:03:00, got \"" + b.node.scalar() + "\"");
    }
    if (auto ch = m.opt("channel_list")) {
        const auto items = fields::listOf(*ch, std::size(out.channel_list));
        out.channel_list_len = static_cast<uint32_t>(items.size());
        for (size_t i = 0; i < items.size(); ++i) {
            out.channel_list[i] = static_cast<uint16_t>(fields::integer(items[i], 0, 65535));
        }
    }
}

void ssidEntry(const Field& f, dsd_wifi_ident_ssid_type_v01& out) {
    const MapReader m(f, {"ssid", "any", "connected", "bssid_list"});
    const std::string which = m.oneOf({"ssid", "any", "connected"});
    if (which == "ssid") {
        const std::string s = fields::text(m.need("ssid"), sizeof out.ssid - 1);
        std::memcpy(out.ssid, s.data(), s.size());
    } else {
        const Field flag = m.need(which.c_str());
        if (!fields::boolean(flag)) {
            fields::fail(flag, which + ": false selects nothing; give ssid instead");
        }
        if (which == "any") {
            std::memset(out.ssid, 0xff, sizeof out.ssid - 1);  // the modem's "any SSID"
        }
    }
    if (auto list = m.opt("bssid_list")) {
        const auto items = fields::listOf(*list, std::size(out.bssid_list));
        out.bssid_list_len = static_cast<uint32_t>(items.size());
        for (size_t i = 0; i < items.size(); ++i) {
            bssidEntry(items[i], out.bssid_list[i]);
        }
    }
}

void ipv4(const Field& f, uint32_t& out) {
    if (inet_pton(AF_INET, fields::scalar(f, "an IPv4 address").c_str(), &out) != 1) {
        fields::fail(f,
                     "expected an IPv4 address like 192.168.1.2, got \"" + f.node.scalar() + "\"");
    }
}

void ipv6(const Field& f, uint8_t (&out)[16]) {
    if (inet_pton(AF_INET6, fields::scalar(f, "an IPv6 address").c_str(), out) != 1) {
        fields::fail(f, "expected an IPv6 address like fe80::1, got \"" + f.node.scalar() + "\"");
    }
}

uint8_t byteOrBool(const Field& f) {
    if (f.node.isScalar()) {
        const std::string v = f.node.scalar();
        if (v == "true" || v == "false") {
            return v == "true" ? 1 : 0;
        }
    }
    return static_cast<uint8_t>(fields::integer(f, 0, 255));
}

int32_t netType(const Field& f) {
    const std::string v = fields::scalar(f, "a network type");
    if (v == "station") {
        return 1;
    }
    if (v == "softap") {
        return 100;
    }
    if (v == "p2p") {
        return 101;
    }
    if (v.empty() || (std::isdigit(static_cast<unsigned char>(v[0])) == 0 && v[0] != '-')) {
        fields::fail(f, "expected station, softap, p2p or a number, got \"" + v + "\"");
    }
    return fields::int32(f);
}

}  // namespace

size_t dsdIndex(const MapReader& m) {
    auto f = m.opt("dsd");
    return f ? static_cast<size_t>(fields::integer(*f, 0, kMaxDsdClients - 1)) : 0;
}

std::optional<std::string> registrationName(const MapReader& m, bool required) {
    if (auto n = m.opt("name")) {
        return fields::text(*n, 64);
    }
    if (required) {
        m.need("name");
    }
    return std::nullopt;
}

FromClient<dsd_start_wifi_meas_ind_msg_v01> startMeasurement(const Field& f) {
    const MapReader m(f, {"dsd", "meas_id", "meas_param_mask", "ssid_list", "sampling_interval",
                          "reporting_interval", "alpha"});
    FromClient<dsd_start_wifi_meas_ind_msg_v01> out;
    out.dsd = dsdIndex(m);
    auto& ind = out.record;
    ind.meas_id = measId(m.need("meas_id"));
    ind.meas_param_mask =
        fields::unsignedInteger(m.need("meas_param_mask"), std::numeric_limits<uint64_t>::max());
    if (auto v = m.opt("sampling_interval")) {
        ind.sampling_interval_valid = 1;
        ind.sampling_interval = static_cast<uint32_t>(
            fields::unsignedInteger(*v, std::numeric_limits<uint32_t>::max()));
    }
    if (auto v = m.opt("reporting_interval")) {
        ind.reporting_interval_valid = 1;
        ind.reporting_interval = static_cast<uint32_t>(
            fields::unsignedInteger(*v, std::numeric_limits<uint32_t>::max()));
    }
    if (auto v = m.opt("alpha")) {
        const double a = fields::number(*v);
        if (std::fabs(a) > std::numeric_limits<float>::max()) {
            fields::fail(*v, "does not fit a 32-bit float");
        }
        ind.alpha_valid = 1;
        ind.alpha = static_cast<float>(a);
    }
    if (auto list = m.opt("ssid_list")) {
        const auto items = fields::listOf(*list, std::size(ind.ssid_list));
        ind.ssid_list_valid = 1;
        ind.ssid_list_len = static_cast<uint32_t>(items.size());
        for (size_t i = 0; i < items.size(); ++i) {
            ssidEntry(items[i], ind.ssid_list[i]);
        }
    }
    return out;
}

FromClient<dsd_stop_wifi_meas_ind_msg_v01> stopMeasurement(const Field& f) {
    const MapReader m(f, {"dsd", "meas_id"});
    FromClient<dsd_stop_wifi_meas_ind_msg_v01> out;
    out.dsd = dsdIndex(m);
    out.record.meas_id = measId(m.need("meas_id"));
    return out;
}

FromClient<dsd_wqe_profile_init_ind_msg_v01> profileInit(const Field& f) {
    const MapReader m(f, {"dsd", "profile_type", "rssi_low", "rssi_high", "iccid", "meas_id"});
    FromClient<dsd_wqe_profile_init_ind_msg_v01> out;
    out.dsd = dsdIndex(m);
    auto& ind = out.record;
    ind.profile_type = fields::int32(m.need("profile_type"));
    if (auto v = m.opt("rssi_low")) {
        ind.rssi_low_valid = 1;
        ind.rssi_low = static_cast<int16_t>(fields::integer(*v, -32768, 32767));
    }
    if (auto v = m.opt("rssi_high")) {
        ind.rssi_high_valid = 1;
        ind.rssi_high = static_cast<int16_t>(fields::integer(*v, -32768, 32767));
    }
    if (auto v = m.opt("iccid")) {
        const std::string h = fields::text(*v, 20);
        if (h.size() % 2 != 0 ||
            h.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
            fields::fail(*v, "expected the BCD octets in hex (an even number of hex digits)");
        }
        ind.iccid_valid = 1;
        ind.iccid_len = static_cast<uint32_t>(h.size() / 2);
        for (size_t i = 0; i < ind.iccid_len; ++i) {
            ind.iccid[i] = static_cast<uint8_t>(std::stoul(h.substr(i * 2, 2), nullptr, 16));
        }
    }
    if (auto v = m.opt("meas_id")) {
        ind.meas_id_valid = 1;
        ind.meas_id = fields::unsignedInteger(*v, std::numeric_limits<uint64_t>::max());
    }
    return out;
}

int profileBit(int64_t p) {
    return p >= 36 ? static_cast<int>(p - 33) : static_cast<int>(p + 28);
}

FromClient<dsd_wqe_profile_type_ind_msg_v01> profileMask(const Field& f) {
    const MapReader m(f, {"dsd", "profile_type_mask", "profiles", "meas_id"});
    FromClient<dsd_wqe_profile_type_ind_msg_v01> out;
    out.dsd = dsdIndex(m);
    auto& ind = out.record;
    if (m.oneOf({"profile_type_mask", "profiles"}) == "profiles") {
        for (const auto& item : fields::listOf(m.need("profiles"), 39)) {
            ind.profile_type_mask |= uint64_t{1} << profileBit(fields::integer(item, 4, 42));
        }
    } else {
        ind.profile_type_mask = fields::unsignedInteger(m.need("profile_type_mask"),
                                                        std::numeric_limits<uint64_t>::max());
    }
    if (auto v = m.opt("meas_id")) {
        ind.meas_id_valid = 1;
        ind.meas_id = fields::unsignedInteger(*v, std::numeric_limits<uint64_t>::max());
    }
    return out;
}

size_t client(const Field& f) {
    return dsdIndex(MapReader(f, {"dsd"}));
}

ForRegistration casVerdict(const Field& f) {
    const MapReader m(f, {"name", "pass", "reason"});
    ForRegistration out;
    out.name = registrationName(m, true);
    out.record.isActive = fields::boolean(m.need("pass")) ? 1 : 0;
    if (auto r = m.opt("reason")) {
        out.record.reason = fields::int32(*r);
    }
    return out;
}

ForRegistration netConfig(const Field& f) {
    const MapReader m(
        f, {"name", "net_type", "state", "ssid", "bssid", "ipv4_addr", "ipv6_addr", "dns_ipv4",
            "dns_ipv6", "net_flag", "station_flag", "is_active", "reason", "country_code"});
    ForRegistration out;
    out.name = registrationName(m, false);
    auto& c = out.record;
    c.netType = netType(m.need("net_type"));
    if (auto v = m.opt("state")) {
        c.state = fields::int32(*v);
    }
    if (auto v = m.opt("ssid")) {
        const std::string t = fields::text(*v, sizeof c.ssid - 1);
        std::memcpy(c.ssid, t.data(), t.size());
    }
    if (auto v = m.opt("bssid")) {
        const std::string t = fields::text(*v, sizeof c.bssid - 1);
        std::memcpy(c.bssid, t.data(), t.size());
    }
    if (auto v = m.opt("ipv4_addr")) {
        ipv4(*v, c.ipv4Addr);
    }
    if (auto v = m.opt("ipv6_addr")) {
        ipv6(*v, c.ipv6Addr);
    }
    if (auto v = m.opt("dns_ipv4")) {
        const auto items = fields::listOf(*v, 2);
        for (size_t i = 0; i < items.size(); ++i) {
            ipv4(items[i], c.dnsIpv4[i]);
        }
    }
    if (auto v = m.opt("dns_ipv6")) {
        const auto items = fields::listOf(*v, 2);
        for (size_t i = 0; i < items.size(); ++i) {
            ipv6(items[i], c.dnsIpv6[i]);
        }
    }
    if (auto v = m.opt("net_flag")) {
        c.netFlag = byteOrBool(*v);
    }
    if (auto v = m.opt("station_flag")) {
        c.stationFlag = byteOrBool(*v);
    }
    if (auto v = m.opt("is_active")) {
        c.isActive = byteOrBool(*v);
    }
    if (auto v = m.opt("reason")) {
        c.reason = fields::int32(*v);
    }
    if (auto v = m.opt("country_code")) {
        const std::string t = fields::text(*v, 2);
        std::memcpy(c.countryCode, t.data(), t.size());
    }
    return out;
}

std::string hexText(uint64_t v) {
    std::ostringstream out;
    out << "0x" << std::hex << v;
    return out.str();
}

std::string macText(const uint8_t* b) {
    char buf[18];
    std::snprintf(buf, sizeof buf, "%02x:%02x:%02x:%02x:%02x:%02x", b[0], b[1], b[2], b[3], b[4],
                  b[5]);
    return buf;
}

}  // namespace ylmsim::records
