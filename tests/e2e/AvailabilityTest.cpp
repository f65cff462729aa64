// The default profile end to end: network-configuration changes reported by the quality service
// become Wi-Fi availability records (station, soft access point, P2P group), completed from the
// daemons' genuine replies, and Wi-Fi on/off becomes a data-settings record.
#include <arpa/inet.h>

#include "ProfileTestSupport.h"

namespace {

using namespace ylmtest;
using Msg = dsd_wlan_available_req_msg_v01;
constexpr const char* kProxy = "src/CasProxy";
constexpr const char* kHostapdLine =
    "hostapd_cli -p /data/vendor/wifi/hostapd/ctrl -s /data/vendor/wifi/hostapd/ctrl -i wlan0 "
    "STATUS";
constexpr uint8_t kAp2g[6] = {0x02, 0x00, 0x00, 0x00, 0x03, 0x00};
constexpr uint8_t kGo[6] = {0x06, 0, 0, 0, 0, 0};
constexpr uint8_t kNone[6] = {};

// An availability record with its type, connection status and SSID; BSSID and frequency if given.
Msg avail(uint32_t type, uint32_t conn, const std::string& ssid, const uint8_t* bssid = kNone,
          uint32_t freq = 0) {
    auto m = zeroed<Msg>();
    m.wlan_type_valid = m.conn_status_valid = m.ssid_valid = 1;
    m.wlan_type = type;
    m.conn_status = conn;
    m.ssid_len = static_cast<uint32_t>(ssid.size());
    std::memcpy(m.ssid, ssid.data(), ssid.size());
    std::memcpy(m.bssid, bssid, 6);
    m.freq_valid = freq != 0 ? 1 : 0;
    m.freq = freq;
    return m;
}
Sent::value_type sentAvail(const Msg& m) {
    return {emu::DsdOp::WifiAvailableStatus, bytes(m)};
}

// The station record below as sent: completed from the station daemon's replies unless gone,
// when only the record is left.
Sent::value_type stationMsg(uint32_t conn, uint8_t netFlag, const std::string& ssid = "testbed-2g",
                            bool gone = false) {
    auto m = avail(2, conn, ssid, kAp2g, gone ? 0 : 2437);
    m.ipv4_addr_valid = m.ipv6_addr_valid = m.reserved30 = m.reserved32 = m.net_flag_valid = 1;
    m.dns_ipv4_1_valid = m.dns_ipv4_2_valid = m.dns_ipv6_1_valid = m.country_code_valid = 1;
    m.net_flag = netFlag;
    m.ipv4_addr = 0xC0A80102;
    inet_pton(AF_INET6, "2001:db8::2", m.ipv6_addr);
    m.ipv6_prefix_len = 64;
    m.dns_ipv4_1 = 0x08080808;
    m.dns_ipv4_2 = 0x01010101;
    inet_pton(AF_INET6, "2001:4860:4860::8888", m.dns_ipv6_1);
    std::memcpy(m.country_code, gone ? "DE" : "US", 2);
    if (!gone) {
        m.wifi_mode_valid = m.hessid_valid = 1;
        m.wifi_mode = 5;  // HT Operation element
        std::memcpy(m.hessid, kAp2g, 6);
    }
    return sentAvail(m);
}

CasWlanNetConfigType station(int32_t state, uint8_t netFlag, uint8_t flag200) {
    auto c = zeroed<CasWlanNetConfigType>();
    c.netType = 1;
    c.state = state;
    c.netFlag = netFlag;
    c.stationFlag = flag200;
    inet_pton(AF_INET, "192.168.1.2", &c.ipv4Addr);
    inet_pton(AF_INET6, "2001:db8::2", c.ipv6Addr);
    inet_pton(AF_INET, "8.8.8.8", &c.dnsIpv4[0]);
    inet_pton(AF_INET, "1.1.1.1", &c.dnsIpv4[1]);
    inet_pton(AF_INET6, "2001:4860:4860::8888", c.dnsIpv6[0]);
    std::strcpy(c.bssid, "02:00:00:00:03:00");
    std::strcpy(c.ssid, "testbed-2g");
    return c;
}

CasWlanNetConfigType group(int32_t netType, uint8_t active) {
    auto c = zeroed<CasWlanNetConfigType>();
    c.netType = netType;
    c.isActive = active;
    return c;
}

class AvailabilityTest : public ProfileTest {
  protected:
    void SetUp() override {
        ProfileTest::SetUp();
        auto& sup = engine().scriptedSupplicant();
        sup.setReply("SIGNAL_POLL", fixture("sta-signal-poll.txt"));
        sup.setReply("STATUS", fixture("sta-status.txt"));
        sup.setReply("BSS 02:00:00:00:03:00", fixture("sta-bss-ap2g.txt"));
        sup.setReply("STATUS", fixture("p2p-status.txt"), 1);
        engine().scriptedForkExec().setResult(kHostapdLine, fixture("hostapd-status.txt"));
        mgr->createDefaultProfile(engine().dsd());
    }

    // The service reports a configuration; returns the records sent for it.
    Sent report(CasWlanNetConfigType config) {
        EXPECT_EQ(engine().deliverNotification(nullptr, &config), 1U);
        return sent();
    }
};

// A station reports its quality first (good only when connected with both flags); once gone, it
// reports the SSID it had, once.
TEST_F(AvailabilityTest, StationReportsQualityThenAvailability) {
    EXPECT_EQ(report(station(1, 1, 1)), (Sent{quality(0, 0), stationMsg(2, 1)}));
    EXPECT_EQ(report(station(1, 1, 0)), (Sent{quality(0, 1), stationMsg(1, 1)}));
    EXPECT_EQ(report(station(1, 0, 1)), (Sent{quality(0, 1), stationMsg(2, 0)}));
    EXPECT_THAT(logs(kProxy), Contains("1 CountryCode obtained from Wifi AP: US"));
    EXPECT_THAT(logs(kProxy), Contains("0 DNS V6 address 1: 2001:4860:4860::8888"));
    Lines poll;
    for (int i = 0; i < 3; ++i) {
        poll.insert(poll.end(), {"0:SIGNAL_POLL", "0:STATUS", "0:BSS 02:00:00:00:03:00"});
    }
    EXPECT_EQ(engine().commands(), poll);

    // Texts are read within their fields, terminated or not.
    auto c = station(0, 1, 1);
    std::memset(c.ssid, 'S', sizeof(c.ssid));
    std::memset(c.bssid, '1', sizeof(c.bssid));
    std::memcpy(c.countryCode, "DE", 2);  // the location services' code wins over the AP's
    const auto out = report(c);
    ASSERT_EQ(out.size(), 2U);
    EXPECT_EQ(out[0], quality(0, 1));
    Msg m;
    std::memcpy(&m, out[1].second.data(), sizeof(m));
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(m.ssid), m.ssid_len), std::string(32, 'S'));
    EXPECT_EQ(m.conn_status, 1U);  // state 0
    EXPECT_EQ(std::string(m.country_code, 2), "DE");
    EXPECT_THAT(logs(kProxy), Contains("0 BSSID: " + std::string(25, '1')));

    engine().scriptedSupplicant().setFailure("SIGNAL_POLL");  // no longer associated
    auto gone = station(4, 1, 1);
    std::memset(gone.ssid, 0, sizeof(gone.ssid));
    std::memcpy(gone.countryCode, "DE", 2);
    for (const char* ssid : {"testbed-2g", ""}) {
        EXPECT_EQ(report(gone), (Sent{quality(0, 1), stationMsg(0, 1, ssid, true)})) << ssid;
    }
    EXPECT_THAT(logs(kProxy), Contains("1 CountryCode obtained from location services: DE"));
}

// Soft AP (type 3) and P2P group (GO 0, client 1) each remember their SSID for one "down" report.
TEST_F(AvailabilityTest, SoftApAndP2pGroupUpAndDown) {
    for (const auto& [netType, up] : {std::pair{100, avail(3, 1, "testbed-2g", kAp2g, 2437)},
                                      {101, avail(0, 2, "DIRECT-4m", kGo, 2437)}}) {
        EXPECT_EQ(report(group(netType, 1)), Sent{sentAvail(up)});
        for (const char* ssid : {reinterpret_cast<const char*>(up.ssid), ""}) {
            EXPECT_EQ(report(group(netType, 0)), Sent{sentAvail(avail(up.wlan_type, 0, ssid))});
        }
    }
    ASSERT_EQ(engine().forkCalls.size(), 1U);
    EXPECT_EQ(engine().forkCalls[0].cmdLine, kHostapdLine);
    EXPECT_THAT(logs(kProxy), Contains("2 getting hostapd info"));

    // The same group seen from a client, with an address (network order, as written).
    std::string reply = fixture("p2p-status.txt");
    reply.replace(reply.find("mode=P2P GO"), 11, "mode=station");
    engine().scriptedSupplicant().setReply("STATUS", reply + "ip_address=192.168.49.2\n", 1);
    auto client = avail(1, 2, "DIRECT-4m", kGo, 2437);
    client.ipv4_addr_valid = 1;
    inet_pton(AF_INET, "192.168.49.2", &client.ipv4_addr);
    EXPECT_EQ(report(group(101, 1)), Sent{sentAvail(client)});

    // Any other network type sends the type flag alone.
    auto c = station(1, 1, 1);
    c.netType = 5;
    auto other = zeroed<Msg>();
    other.wlan_type_valid = 1;
    EXPECT_EQ(report(c), Sent{sentAvail(other)});
}

// The station's other network type and a one-letter location code; P2P groups in other states,
// with an address that does not read, and an SSID of the full 32 bytes kept for "down".
TEST_F(AvailabilityTest, OtherTypesStatesAndFullLengthTexts) {
    auto c = station(1, 1, 1);
    c.netType = 254;
    EXPECT_EQ(report(c), (Sent{quality(0, 0), stationMsg(2, 1)}));
    std::memcpy(c.countryCode, "D", 2);
    const Sent out = report(c);
    ASSERT_EQ(out.size(), 2U);
    EXPECT_EQ(
        std::string(reinterpret_cast<const char*>(&out[1].second[offsetof(Msg, country_code)]), 2),
        std::string("D", 2));
    auto& sup = engine().scriptedSupplicant();
    const std::string x32(32, 'x');
    sup.setReply("STATUS", "wpa_state=ASSOCIATED\nip_address=10.0.0.256\n", 1);
    auto assoc = zeroed<Msg>();
    assoc.wlan_type_valid = assoc.conn_status_valid = assoc.conn_status = assoc.ipv4_addr_valid = 1;
    EXPECT_EQ(report(group(101, 1)), Sent{sentAvail(assoc)});
    EXPECT_THAT(logs(kProxy, 4),
                Contains("4 inet_pton return 0, unable to convert ipv4 from string to uint32_t"));
    sup.setReply("STATUS", "wpa_state=SCANNING\nmode=station\nssid=" + x32 + "\n", 1);
    EXPECT_EQ(report(group(101, 1)), Sent{sentAvail(avail(1, 0, x32))});
    EXPECT_EQ(report(group(101, 0)), Sent{sentAvail(avail(0, 0, x32))});
}

TEST_F(AvailabilityTest, WifiStateReachesTheModemAndNullArgumentsAreRefused) {
    for (bool on : {true, false}) {
        ASSERT_EQ(engine().deliverWifiState(on), 1U);
        const dsd_notify_data_settings_req_msg_v01 want{{}, 1, on, {}};
        EXPECT_EQ(sent(), (Sent{{emu::DsdOp::NotifyDataSettings, bytes(want)}}));
        EXPECT_THAT(logs(kProxy), Contains(on ? "0 Wifi State: 1" : "0 Wifi State: 0"));
    }

    auto* proxy =
        static_cast<Proxy*>(mgr->requests().at({engine().dsd(), 0, 0}).request->getStrategy());
    auto c = group(1, 1);
    auto msg = zeroed<Msg>();
    Proxy::updateWqeProfileStatus(nullptr, proxy);
    Proxy::updateWqeProfileStatus(&c, nullptr);
    Proxy::sendDefaultWqeProfileStatus(nullptr, &c);
    Proxy::sendDefaultWqeProfileStatus(proxy, nullptr);
    Proxy::updateWifiStateChangeCb(true, nullptr);
    Proxy::updateWifiStatus(nullptr, proxy);
    Proxy::updateWifiStatus(&c, nullptr);
    proxy->buildSTAInfo(nullptr, &msg);
    proxy->buildSoftAPInfo(&c, nullptr);
    proxy->buildP2pInfo(nullptr, nullptr);
    EXPECT_TRUE(sent().empty());
    EXPECT_EQ(bytes(msg), bytes(zeroed<Msg>()));
    const std::string a = "3 CasProxy/CasWlanNetConfigType is null";
    const std::string b = "3 self pointer or CasWlanNetConfigType is null";
    const std::string d = "3 dsd_wlan_available_req_msg_v01 or CasWlanNetConfigType is null";
    const std::string w = "4 CasProxy/CasWlanNetConfigType is null";
    EXPECT_EQ(logs(kProxy, 3), (Lines{a, a, b, b, "4 CasProxy is null", w, w, d, d, d}));
}

}  // namespace
