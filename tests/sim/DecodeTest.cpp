// The JSON form of each DSD message the plug-in sends, and the timeline text made from it.
#include <gtest/gtest.h>

#include <cstring>

#include "Printer.h"
#include "emu/DsdDecoder.h"

namespace {

// The message as a JSON line, then its timeline text and sub-lines.
std::string decoded(const emu::DsdMessage& msg) {
    std::vector<std::string> sub;
    std::string out = emu::toJson(msg, 1) + "\n" + ylmsim::Printer::describe(msg, sub);
    for (const auto& line : sub) {
        out += "\n" + line;
    }
    return out;
}

// The record as client 1 sent it at second 42.
template <class T>
std::string decoded(emu::DsdOp op, const T& record) {
    const auto* p = reinterpret_cast<const uint8_t*>(&record);
    return decoded({nullptr, op, 42, std::vector<uint8_t>(p, p + sizeof record)});
}

TEST(DsdJson, MeasurementReportWithItsRecords) {
    dsd_wifi_meas_report_req_msg_v01 m{};
    m.meas_id = 9;
    m.report_seq = 3;
    m.last_report = 1;
    m.ssid_len = 10;
    std::memcpy(m.ssid, "testbed-2g", 10);
    m.bssid_list_valid = 1;
    m.bssid_list_len = 2;
    const uint8_t mac[6] = {2, 0, 0, 0, 3, 0};
    std::memcpy(m.bssid_list[0].bssid, mac, 6);
    m.bssid_list[0].frequency = 2437;
    m.bssid_list[0].param_mask = 5;
    m.bssid_list[0].rssi = -20;
    m.bssid_list[0].channel_utilization = 30;
    m.bssid_list[1].rssi = -71;
    EXPECT_EQ(decoded(emu::DsdOp::WifiMeasurementReport, m),
              R"({"op":"sendWifiMeasurementReport","time":42,"dsd":1,"meas_id":9,"report_seq":3,)"
              R"("last_report":1,"ssid_len":10,"ssid":"testbed-2g","bssid_list_valid":1,)"
              R"("bssid_list_len":2,"bssid_list":[{"bssid":"02:00:00:00:03:00","frequency":2437,)"
              R"("param_mask":5,"rssi":-20,"channel_utilization":30},{"bssid":"00:00:00:00:00:00",)"
              R"("frequency":0,"param_mask":0,"rssi":-71,"channel_utilization":0}],)"
              R"("reserved_zero":true})"
              "\n"
              R"(meas_id=9 report_seq=3 last_report=1 ssid="testbed-2g" bssid_list_len=2)"
              "\n"
              "02:00:00:00:03:00  frequency=2437  rssi=-20  param_mask=5  channel_utilization=30\n"
              "00:00:00:00:00:00  frequency=0     rssi=-71  param_mask=0  channel_utilization=0");
    m.bssid_list[57].reserved32[0] = 1;  // a stray byte beyond the used records
    EXPECT_NE(decoded(emu::DsdOp::WifiMeasurementReport, m).find(R"("reserved_zero":false})"),
              std::string::npos);
}

TEST(DsdJson, QualityStatusAndDataSettings) {
    dsd_set_wqe_profile_quality_status_req_msg_v01 q{};
    q.profile_type = 4;
    q.quality_status_valid = 1;
    q.quality_status = 1;
    q.status_code_valid = 1;
    q.status_code = 5;
    q.meas_id_valid = 1;
    q.meas_id = 7;
    EXPECT_EQ(
        decoded(emu::DsdOp::WqeProfileStatus, q),
        R"({"op":"sendWqeProfileStatus","time":42,"dsd":1,"profile_type":4,)"
        R"("quality_status_valid":1,"quality_status":1,"status_code_valid":1,"status_code":5,)"
        R"("meas_id_valid":1,"meas_id":7,"reserved_zero":true})"
        "\nprofile_type=4 quality_status=1 status_code=5 meas_id=7");
    dsd_notify_data_settings_req_msg_v01 n{};
    n.wifi_state_valid = 1;
    n.wifi_state = 1;
    EXPECT_EQ(decoded(emu::DsdOp::NotifyDataSettings, n),
              R"({"op":"sendNotifyDataSettings","time":42,"dsd":1,"wifi_state_valid":1,)"
              R"("wifi_state":1,"reserved_zero":true})"
              "\nwifi_state=1");
}

TEST(DsdJson, WlanAvailability) {
    dsd_wlan_available_req_msg_v01 w{};
    const uint8_t mac[6] = {2, 0, 0, 0, 3, 0};
    std::memcpy(w.bssid, mac, 6);
    w.ipv4_addr_valid = 1;
    w.ipv4_addr = 0xC0A80102;
    w.ipv6_addr_valid = 1;
    w.ipv6_addr[0] = 0xfe;
    w.ipv6_addr[1] = 0x80;
    w.ipv6_addr[15] = 1;
    w.ipv6_prefix_len = 64;
    w.reserved30 = 1;
    w.reserved32 = 1;
    w.dns_ipv4_1_valid = 1;
    w.dns_ipv4_1 = 0x08080808;
    w.ssid_valid = 1;
    w.ssid_len = 4;
    std::memcpy(w.ssid, "home", 4);
    w.freq_valid = 1;
    w.freq = 2437;
    w.wlan_type_valid = 1;
    w.wlan_type = 2;
    w.wifi_mode_valid = 1;
    w.wifi_mode = 5;
    w.conn_status_valid = 1;
    w.conn_status = 2;
    w.net_flag_valid = 1;
    w.net_flag = 1;
    w.country_code_valid = 1;
    std::memcpy(w.country_code, "US", 2);
    EXPECT_EQ(
        decoded(emu::DsdOp::WifiAvailableStatus, w),
        R"({"op":"sendWifiAvailableStatus","time":42,"dsd":1,"bssid":"02:00:00:00:03:00",)"
        R"("ipv4_addr_valid":1,"ipv4_addr":3232235778,"ipv6_addr_valid":1,"ipv6_addr":[254,128,0,)"
        R"(0,0,0,0,0,0,0,0,0,0,0,0,1],"ipv6_prefix_len":64,"reserved30":1,"reserved32":1,)"
        R"("dns_ipv4_1_valid":1,"dns_ipv4_1":134744072,"dns_ipv4_2_valid":0,"dns_ipv4_2":0,)"
        R"("dns_ipv6_1_valid":0,"dns_ipv6_1":[0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0],)"
        R"("dns_ipv6_2_valid":0,"dns_ipv6_2":[0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0],"ssid_valid":1,)"
        R"("ssid_len":4,"ssid":"home","freq_valid":1,"freq":2437,"wlan_type_valid":1,)"
        R"("wlan_type":2,"wifi_mode_valid":1,"wifi_mode":5,"conn_status_valid":1,"conn_status":2,)"
        R"("net_flag_valid":1,"net_flag":1,"hessid_valid":0,"hessid":"00:00:00:00:00:00",)"
        R"("country_code_valid":1,"country_code":"US","reserved_zero":true})"
        "\n"
        R"(wlan_type=2 conn_status=2 ssid="home" bssid=02:00:00:00:03:00 freq=2437 )"
        R"(ipv4_addr=192.168.1.2 ipv6_addr=fe80::1/64 dns_ipv4_1=8.8.8.8 wifi_mode=5 net_flag=1 )"
        R"(country_code="US")");
}

TEST(DsdJson, WrongSizeIsReportedNotRead) {
    EXPECT_EQ(decoded({nullptr, emu::DsdOp::WqeProfileStatus, 0, {1, 2, 3}}),
              R"({"op":"sendWqeProfileStatus","time":0,"dsd":1,"error":"unexpected size 3"})"
              "\n"
              R"(error="unexpected size 3")");
}

}  // namespace
