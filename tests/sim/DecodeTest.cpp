// The JSON form of each DSD message the plug-in sends, and the timeline text made from it.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <cstring>

#include "Printer.h"
#include "emu/DsdDecoder.h"

namespace {

using nlohmann::json;

template <class T>
emu::DsdMessage message(emu::DsdOp op, const T& record) {
    const auto* p = reinterpret_cast<const uint8_t*>(&record);
    return {nullptr, op, 42, std::vector<uint8_t>(p, p + sizeof record)};
}

json decoded(const emu::DsdMessage& msg) {
    return json::parse(emu::toJson(msg, 1));
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
    const auto msg = message(emu::DsdOp::WifiMeasurementReport, m);
    const json j = decoded(msg);
    EXPECT_EQ(j["op"], "sendWifiMeasurementReport");
    EXPECT_EQ(j["time"], 42);
    EXPECT_EQ(j["dsd"], 1);
    EXPECT_EQ(j["meas_id"], 9);
    EXPECT_EQ(j["report_seq"], 3);
    EXPECT_EQ(j["last_report"], 1);
    EXPECT_EQ(j["ssid"], "testbed-2g");
    ASSERT_EQ(j["bssid_list"].size(), 2U);
    EXPECT_EQ(j["bssid_list"][0]["bssid"], "02:00:00:00:03:00");
    EXPECT_EQ(j["bssid_list"][0]["frequency"], 2437);
    EXPECT_EQ(j["bssid_list"][0]["param_mask"], 5);
    EXPECT_EQ(j["bssid_list"][0]["channel_utilization"], 30);
    EXPECT_EQ(j["bssid_list"][1]["rssi"], -71);
    EXPECT_EQ(j["reserved_zero"], true);

    std::vector<std::string> sub;
    EXPECT_EQ(ylmsim::Printer::describe(msg, sub),
              "meas_id=9 report_seq=3 last_report=1 ssid=\"testbed-2g\" bssid_list_len=2");
    ASSERT_EQ(sub.size(), 2U);
    EXPECT_EQ(sub[0],
              "02:00:00:00:03:00  frequency=2437  rssi=-20  param_mask=5  channel_utilization=30");

    m.bssid_list[57].reserved32[0] = 1;  // a stray byte beyond the used records
    EXPECT_EQ(decoded(message(emu::DsdOp::WifiMeasurementReport, m))["reserved_zero"], false);
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
    const auto qmsg = message(emu::DsdOp::WqeProfileStatus, q);
    const json j = decoded(qmsg);
    EXPECT_EQ(j["op"], "sendWqeProfileStatus");
    EXPECT_EQ(j["profile_type"], 4);
    EXPECT_EQ(j["quality_status"], 1);
    EXPECT_EQ(j["status_code_valid"], 1);
    EXPECT_EQ(j["status_code"], 5);
    EXPECT_EQ(j["meas_id"], 7);
    std::vector<std::string> sub;
    EXPECT_EQ(ylmsim::Printer::describe(qmsg, sub),
              "profile_type=4 quality_status=1 status_code=5 meas_id=7");

    dsd_notify_data_settings_req_msg_v01 n{};
    n.wifi_state_valid = 1;
    n.wifi_state = 1;
    const json nj = decoded(message(emu::DsdOp::NotifyDataSettings, n));
    EXPECT_EQ(nj["op"], "sendNotifyDataSettings");
    EXPECT_EQ(nj["wifi_state_valid"], 1);
    EXPECT_EQ(nj["wifi_state"], 1);
    EXPECT_EQ(nj["reserved_zero"], true);
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
    const auto msg = message(emu::DsdOp::WifiAvailableStatus, w);
    const json j = decoded(msg);
    EXPECT_EQ(j["op"], "sendWifiAvailableStatus");
    EXPECT_EQ(j["bssid"], "02:00:00:00:03:00");
    EXPECT_EQ(j["ipv4_addr"], 0xC0A80102U);
    EXPECT_EQ(j["ipv6_addr"][0], 0xfe);
    EXPECT_EQ(j["ipv6_prefix_len"], 64);
    EXPECT_EQ(j["dns_ipv4_1"], 0x08080808U);
    EXPECT_EQ(j["ssid"], "home");
    EXPECT_EQ(j["freq"], 2437);
    EXPECT_EQ(j["wlan_type"], 2);
    EXPECT_EQ(j["wifi_mode"], 5);
    EXPECT_EQ(j["conn_status"], 2);
    EXPECT_EQ(j["net_flag"], 1);
    EXPECT_EQ(j["hessid_valid"], 0);
    EXPECT_EQ(j["country_code"], "US");
    EXPECT_EQ(j["reserved_zero"], true);
    std::vector<std::string> sub;
    EXPECT_EQ(ylmsim::Printer::describe(msg, sub),
              "wlan_type=2 conn_status=2 ssid=\"home\" bssid=02:00:00:00:03:00 freq=2437 "
              "ipv4_addr=192.168.1.2 ipv6_addr=fe80::1/64 dns_ipv4_1=8.8.8.8 wifi_mode=5 "
              "net_flag=1 country_code=\"US\"");
}

TEST(DsdJson, WrongSizeIsReportedNotRead) {
    const emu::DsdMessage msg{nullptr, emu::DsdOp::WqeProfileStatus, 0, {1, 2, 3}};
    EXPECT_EQ(decoded(msg)["error"], "unexpected size 3");
    std::vector<std::string> sub;
    EXPECT_EQ(ylmsim::Printer::describe(msg, sub), "error=\"unexpected size 3\"");
}

}  // namespace
