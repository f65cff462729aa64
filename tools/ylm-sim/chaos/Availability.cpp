#include "chaos/Availability.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstring>

namespace ylmsim::chaos {
namespace {

constexpr size_t kMaxSsid = 32;

std::string ssidOf(const dsd_wlan_available_req_msg_v01& m) {
    return std::string(reinterpret_cast<const char*>(m.ssid),
                       std::min<size_t>(m.ssid_len, kMaxSsid));
}

bool zero(const uint8_t (&a)[16]) {
    return std::all_of(std::begin(a), std::end(a), [](uint8_t b) { return b == 0; });
}

// An IPv4 address of the record goes as a host-order number, valid exactly when it is set.
bool ipv4(uint8_t valid, uint32_t sent, uint32_t networkOrder) {
    return valid == (networkOrder != 0 ? 1 : 0) &&
           (networkOrder == 0 || sent == ntohl(networkOrder));
}

bool ipv6(uint8_t valid, const uint8_t (&sent)[16], const uint8_t (&given)[16]) {
    return valid == (zero(given) ? 0 : 1) && (zero(given) || std::memcmp(sent, given, 16) == 0);
}

// The SSID reported from a slot; the slot is forgotten afterwards.
bool reportAndForget(std::optional<std::string>& slot, const dsd_wlan_available_req_msg_v01& m) {
    const bool ok = m.ssid_valid == 1 && (!slot || ssidOf(m) == *slot);
    slot = "";
    return ok;
}

}  // namespace

bool Availability::station(std::optional<std::string>& slot, const CasWlanNetConfigType& c,
                           const dsd_wlan_available_req_msg_v01& m, std::string& why) {
    const uint32_t conn = c.state == 1 ? (c.stationFlag != 0 ? 2 : 1) : c.state == 0 ? 1 : 0;
    if (m.wlan_type != 2 || m.conn_status_valid != 1 || m.conn_status != conn ||
        m.reserved30 != 1 || m.reserved32 != 1 || m.net_flag_valid != 1 ||
        m.net_flag != c.netFlag) {
        why = "its type, connection status or network flag";
        return false;
    }
    if (!ipv4(m.ipv4_addr_valid, m.ipv4_addr, c.ipv4Addr) ||
        !ipv4(m.dns_ipv4_1_valid, m.dns_ipv4_1, c.dnsIpv4[0]) ||
        !ipv4(m.dns_ipv4_2_valid, m.dns_ipv4_2, c.dnsIpv4[1]) ||
        !ipv6(m.ipv6_addr_valid, m.ipv6_addr, c.ipv6Addr) ||
        m.ipv6_prefix_len != (zero(c.ipv6Addr) ? 0 : 64) ||
        !ipv6(m.dns_ipv6_1_valid, m.dns_ipv6_1, c.dnsIpv6[0]) ||
        !ipv6(m.dns_ipv6_2_valid, m.dns_ipv6_2, c.dnsIpv6[1])) {
        why = "its addresses";
        return false;
    }
    if (c.countryCode[0] != '\0' &&
        (m.country_code_valid != 1 || std::memcmp(m.country_code, c.countryCode, 2) != 0)) {
        why = "the location services' country code";
        return false;
    }
    if (c.state == 4) {
        why = "the SSID of the station that went";
        return reportAndForget(slot, m);
    }
    const std::string given(c.ssid, std::min(strnlen(c.ssid, sizeof c.ssid), kMaxSsid));
    if (m.ssid_valid != 1 || ssidOf(m) != given) {
        why = "the record's SSID";
        return false;
    }
    if (c.state == 1) {
        slot = given;
    }
    return true;
}

bool Availability::check(const void* proxy, const CasWlanNetConfigType& c,
                         const dsd_wlan_available_req_msg_v01& m, std::string& why) {
    Slots& s = proxies[proxy];
    switch (c.netType) {
        case 1:
        case 254:
            return station(s.station, c, m, why);
        case 100:
        case 101: {
            // A group that went reports the SSID it had, once; one that is up reports the
            // daemon's, which the proxy remembers.
            auto& slot = c.netType == 100 ? s.station : s.p2p;
            why = "the SSID or status of a " +
                  std::string(c.netType == 100 ? "soft AP" : "P2P group");
            if (m.conn_status_valid != 1) {
                return false;
            }
            if (c.isActive == 0) {
                return m.conn_status == 0 && reportAndForget(slot, m);
            }
            if (c.netType == 100 && (m.wlan_type != 3 || m.conn_status != 1)) {
                return false;
            }
            if (m.ssid_valid == 1) {
                slot = ssidOf(m);
            }
            return true;
        }
        default:
            return true;  // only wlan_type_valid, checked by the caller
    }
}

}  // namespace ylmsim::chaos
