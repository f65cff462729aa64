#include "emu/DsdDecoder.h"

#include <cstdio>
#include <sstream>

namespace emu {
namespace {

std::string jsonString(const char* data, size_t n) {
    std::string out = "\"";
    for (size_t i = 0; i < n; ++i) {
        const auto c = static_cast<unsigned char>(data[i]);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c < 0x20 || c >= 0x7f) {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\u%04x", c);
            out += buf;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out + "\"";
}

std::string mac(const uint8_t* b) {
    char buf[18];
    std::snprintf(buf, sizeof buf, "%02x:%02x:%02x:%02x:%02x:%02x", b[0], b[1], b[2], b[3], b[4],
                  b[5]);
    return "\"" + std::string(buf) + "\"";
}

std::string bytesArray(const uint8_t* b, size_t n) {
    std::string out = "[";
    for (size_t i = 0; i < n; ++i) {
        out += (i != 0 ? "," : "") + std::to_string(unsigned{b[i]});
    }
    return out + "]";
}

template <size_t N>
bool allZero(const uint8_t (&a)[N]) {
    for (uint8_t v : a) {
        if (v != 0) {
            return false;
        }
    }
    return true;
}

// Narrow fields print as the int they promote to; the unary plus makes that promotion explicit.
template <class T>
std::string num(T v) {
    return std::to_string(+v);
}

std::string boolText(bool v) {
    return v ? "true" : "false";
}

std::vector<DecodedField> decodeReport(const dsd_wifi_meas_report_req_msg_v01& m) {
    std::vector<DecodedField> f;
    f.emplace_back("meas_id", num(m.meas_id));
    f.emplace_back("report_seq", num(m.report_seq));
    f.emplace_back("last_report", num(m.last_report));
    const size_t ssidLen = m.ssid_len < 32 ? m.ssid_len : 32;
    f.emplace_back("ssid_len", num(m.ssid_len));
    f.emplace_back("ssid", jsonString(reinterpret_cast<const char*>(m.ssid), ssidLen));
    f.emplace_back("bssid_list_valid", num(m.bssid_list_valid));
    f.emplace_back("bssid_list_len", num(m.bssid_list_len));
    std::string list = "[";
    const size_t n = m.bssid_list_len < DSD_WIFI_MEAS_REPORT_BSSID_MAX_V01
                         ? m.bssid_list_len
                         : DSD_WIFI_MEAS_REPORT_BSSID_MAX_V01;
    bool recordsZero = true;
    for (size_t i = 0; i < DSD_WIFI_MEAS_REPORT_BSSID_MAX_V01; ++i) {
        const auto& r = m.bssid_list[i];
        const bool gapsZero = allZero(r.pad6) && allZero(r.reserved10) && allZero(r.reserved26) &&
                              allZero(r.reserved32);
        if (i >= n) {
            const auto* raw = reinterpret_cast<const uint8_t*>(&r);
            for (size_t k = 0; k < sizeof r; ++k) {
                recordsZero = recordsZero && raw[k] == 0;
            }
            continue;
        }
        recordsZero = recordsZero && gapsZero;
        list += (i != 0 ? "," : "");
        list += "{\"bssid\":" + mac(r.bssid) + ",\"frequency\":" + num(r.frequency) +
                ",\"param_mask\":" + num(r.param_mask) + ",\"rssi\":" + num(r.rssi) +
                ",\"channel_utilization\":" + num(r.channel_utilization) + "}";
    }
    f.emplace_back("bssid_list", list + "]");
    const bool headZero = m.reserved8 == 0 && allZero(m.pad13) && allZero(m.pad53) &&
                          allZero(m.pad60) && allZero(m.reserved2848);
    f.emplace_back("reserved_zero", boolText(headZero && recordsZero));
    return f;
}

std::string ipv6(const uint8_t* b) {
    return bytesArray(b, 16);
}

std::vector<DecodedField> decodeWlan(const dsd_wlan_available_req_msg_v01& m) {
    std::vector<DecodedField> f;
    f.emplace_back("bssid", mac(m.bssid));
    f.emplace_back("ipv4_addr_valid", num(m.ipv4_addr_valid));
    f.emplace_back("ipv4_addr", num(m.ipv4_addr));
    f.emplace_back("ipv6_addr_valid", num(m.ipv6_addr_valid));
    f.emplace_back("ipv6_addr", ipv6(m.ipv6_addr));
    f.emplace_back("ipv6_prefix_len", num(m.ipv6_prefix_len));
    f.emplace_back("reserved30", num(m.reserved30));
    f.emplace_back("reserved32", num(m.reserved32));
    f.emplace_back("dns_ipv4_1_valid", num(m.dns_ipv4_1_valid));
    f.emplace_back("dns_ipv4_1", num(m.dns_ipv4_1));
    f.emplace_back("dns_ipv4_2_valid", num(m.dns_ipv4_2_valid));
    f.emplace_back("dns_ipv4_2", num(m.dns_ipv4_2));
    f.emplace_back("dns_ipv6_1_valid", num(m.dns_ipv6_1_valid));
    f.emplace_back("dns_ipv6_1", ipv6(m.dns_ipv6_1));
    f.emplace_back("dns_ipv6_2_valid", num(m.dns_ipv6_2_valid));
    f.emplace_back("dns_ipv6_2", ipv6(m.dns_ipv6_2));
    const size_t ssidLen = m.ssid_len < 32 ? m.ssid_len : 32;
    f.emplace_back("ssid_valid", num(m.ssid_valid));
    f.emplace_back("ssid_len", num(m.ssid_len));
    f.emplace_back("ssid", jsonString(reinterpret_cast<const char*>(m.ssid), ssidLen));
    f.emplace_back("freq_valid", num(m.freq_valid));
    f.emplace_back("freq", num(m.freq));
    f.emplace_back("wlan_type_valid", num(m.wlan_type_valid));
    f.emplace_back("wlan_type", num(m.wlan_type));
    f.emplace_back("wifi_mode_valid", num(m.wifi_mode_valid));
    f.emplace_back("wifi_mode", num(m.wifi_mode));
    f.emplace_back("conn_status_valid", num(m.conn_status_valid));
    f.emplace_back("conn_status", num(m.conn_status));
    f.emplace_back("net_flag_valid", num(m.net_flag_valid));
    f.emplace_back("net_flag", num(m.net_flag));
    f.emplace_back("hessid_valid", num(m.hessid_valid));
    f.emplace_back("hessid", mac(m.hessid));
    f.emplace_back("country_code_valid", num(m.country_code_valid));
    f.emplace_back("country_code", jsonString(m.country_code, m.country_code[0] == 0   ? 0
                                                              : m.country_code[1] == 0 ? 1
                                                                                       : 2));
    const bool zero = m.pad7 == 0 && m.pad31 == 0 && allZero(m.pad37) && allZero(m.pad45) &&
                      allZero(m.reserved86) && m.pad135 == 0 && m.pad173 == 0 &&
                      allZero(m.reserved176) && allZero(m.pad193) && allZero(m.pad201) &&
                      allZero(m.pad209) && allZero(m.reserved216);
    f.emplace_back("reserved_zero", boolText(zero));
    return f;
}

std::vector<DecodedField> decodeQuality(const dsd_set_wqe_profile_quality_status_req_msg_v01& m) {
    return {{"profile_type", num(m.profile_type)},
            {"quality_status_valid", num(m.quality_status_valid)},
            {"quality_status", num(m.quality_status)},
            {"status_code_valid", num(m.status_code_valid)},
            {"status_code", num(m.status_code)},
            {"meas_id_valid", num(m.meas_id_valid)},
            {"meas_id", num(m.meas_id)},
            {"reserved_zero", boolText(allZero(m.pad5) && allZero(m.pad13) && allZero(m.pad21))}};
}

std::vector<DecodedField> decodeNotify(const dsd_notify_data_settings_req_msg_v01& m) {
    return {{"wifi_state_valid", num(m.wifi_state_valid)},
            {"wifi_state", num(m.wifi_state)},
            {"reserved_zero", boolText(allZero(m.reserved0) && allZero(m.reserved14))}};
}

}  // namespace

std::vector<DecodedField> decodeDsd(DsdOp op, const std::vector<uint8_t>& bytes) {
    DsdMessage msg{nullptr, op, 0, bytes};
    switch (op) {
        case DsdOp::WifiMeasurementReport:
            if (bytes.size() == sizeof(dsd_wifi_meas_report_req_msg_v01)) {
                return decodeReport(msg.as<dsd_wifi_meas_report_req_msg_v01>());
            }
            break;
        case DsdOp::WifiAvailableStatus:
            if (bytes.size() == sizeof(dsd_wlan_available_req_msg_v01)) {
                return decodeWlan(msg.as<dsd_wlan_available_req_msg_v01>());
            }
            break;
        case DsdOp::WqeProfileStatus:
            if (bytes.size() == sizeof(dsd_set_wqe_profile_quality_status_req_msg_v01)) {
                return decodeQuality(msg.as<dsd_set_wqe_profile_quality_status_req_msg_v01>());
            }
            break;
        case DsdOp::NotifyDataSettings:
            if (bytes.size() == sizeof(dsd_notify_data_settings_req_msg_v01)) {
                return decodeNotify(msg.as<dsd_notify_data_settings_req_msg_v01>());
            }
            break;
    }
    return {{"error", "\"unexpected size " + std::to_string(bytes.size()) + "\""}};
}

std::string toJson(const DsdMessage& msg, int dsdIndex) {
    std::ostringstream out;
    out << "{\"op\":\"" << dsdOpName(msg.op) << "\",\"time\":" << msg.time
        << ",\"dsd\":" << dsdIndex;
    for (const auto& [name, value] : decodeDsd(msg.op, msg.bytes)) {
        out << ",\"" << name << "\":" << value;
    }
    out << "}";
    return out.str();
}

std::string toHex(const std::vector<uint8_t>& bytes) {
    static const char digits[] = "0123456789abcdef";
    std::string out;
    out.reserve(bytes.size() * 2);
    for (uint8_t b : bytes) {
        out += digits[b >> 4];
        out += digits[b & 15];
    }
    return out;
}

}  // namespace emu
