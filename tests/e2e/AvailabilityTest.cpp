// The default profile end to end: network-configuration changes reported by the quality service
// become Wi-Fi availability records (station, soft access point, P2P group), completed from the
// daemons' genuine replies, and Wi-Fi on/off becomes a data-settings record.
#include <arpa/inet.h>

#include <cstring>

#include "CasProxy.h"
#include "EmuFixture.h"
#include "TpxWifiClientMgr.h"

namespace {

using Msg = dsd_wlan_available_req_msg_v01;
using Quality = dsd_set_wqe_profile_quality_status_req_msg_v01;

constexpr const char* kHostapdLine =
    "hostapd_cli -p /data/vendor/wifi/hostapd/ctrl -s /data/vendor/wifi/hostapd/ctrl -i wlan0 "
    "STATUS";
constexpr uint8_t kAp2g[6] = {0x02, 0x00, 0x00, 0x00, 0x03, 0x00};

template <class T>
T zeroed() {
    T t;
    std::memset(&t, 0, sizeof(t));
    return t;
}

template <class T>
std::vector<uint8_t> bytes(const T& t) {
    const auto* b = reinterpret_cast<const uint8_t*>(&t);
    return {b, b + sizeof(T)};
}

void setSsid(Msg& m, const std::string& ssid) {
    m.ssid_valid = 1;
    m.ssid_len = static_cast<uint32_t>(ssid.size());
    std::memcpy(m.ssid, ssid.data(), ssid.size());
}

class AvailabilityTest : public ylmtest::EmuTest {
  protected:
    void SetUp() override {
        EmuTest::SetUp();
        auto& sup = engine().scriptedSupplicant();
        sup.setReply("SIGNAL_POLL", ylmtest::fixture("sta-signal-poll.txt"));
        sup.setReply("STATUS", ylmtest::fixture("sta-status.txt"));
        sup.setReply("BSS 02:00:00:00:03:00", ylmtest::fixture("sta-bss-ap2g.txt"));
        sup.setReply("STATUS", ylmtest::fixture("p2p-status.txt"), 1);
        engine().scriptedForkExec().setResult(kHostapdLine, ylmtest::fixture("hostapd-status.txt"));
        TpxWifiClientMgr* mgr = TpxWifiClientMgr::getInstance();
        mgr->initializeLinks(engine().com(), engine().timer(), engine().supplicant());
        mgr->createDefaultProfile(engine().dsd());
    }

    // The service reports a configuration; returns the records sent for it.
    std::vector<emu::DsdMessage> report(const CasWlanNetConfigType& config) {
        engine().messages.clear();
        EXPECT_EQ(engine().deliverNotification(nullptr, const_cast<CasWlanNetConfigType*>(&config)),
                  1U);
        return engine().messages;
    }

    static CasWlanNetConfigType station(int32_t state, uint8_t flag200) {
        auto c = zeroed<CasWlanNetConfigType>();
        c.netType = 1;
        c.state = state;
        c.netFlag = 1;
        c.stationFlag = flag200;
        const uint8_t v4[4] = {192, 168, 1, 2};
        std::memcpy(&c.ipv4Addr, v4, 4);
        inet_pton(AF_INET6, "2001:db8::2", c.ipv6Addr);
        inet_pton(AF_INET, "8.8.8.8", &c.dnsIpv4[0]);
        inet_pton(AF_INET, "1.1.1.1", &c.dnsIpv4[1]);
        inet_pton(AF_INET6, "2001:4860:4860::8888", c.dnsIpv6[0]);
        std::strcpy(c.bssid, "02:00:00:00:03:00");
        std::strcpy(c.ssid, "testbed-2g");
        return c;
    }

    // What the station record above becomes, completed from the station daemon's replies.
    static Msg stationMsg(uint32_t connStatus) {
        auto m = zeroed<Msg>();
        std::memcpy(m.bssid, kAp2g, 6);
        m.ipv4_addr_valid = 1;
        m.ipv4_addr = 0xC0A80102;
        m.ipv6_addr_valid = 1;
        inet_pton(AF_INET6, "2001:db8::2", m.ipv6_addr);
        m.ipv6_prefix_len = 64;
        m.reserved30 = 1;
        m.reserved32 = 1;
        m.dns_ipv4_1_valid = 1;
        m.dns_ipv4_1 = 0x08080808;
        m.dns_ipv4_2_valid = 1;
        m.dns_ipv4_2 = 0x01010101;
        m.dns_ipv6_1_valid = 1;
        inet_pton(AF_INET6, "2001:4860:4860::8888", m.dns_ipv6_1);
        setSsid(m, "testbed-2g");
        m.freq_valid = 1;
        m.freq = 2437;
        m.wlan_type_valid = 1;
        m.wlan_type = 2;
        m.wifi_mode_valid = 1;
        m.wifi_mode = 5;  // HT Operation element
        m.conn_status_valid = 1;
        m.conn_status = connStatus;
        m.net_flag_valid = 1;
        m.net_flag = 1;
        m.hessid_valid = 1;
        std::memcpy(m.hessid, kAp2g, 6);
        m.country_code_valid = 1;
        std::memcpy(m.country_code, "US", 2);
        return m;
    }

    static Quality quality(int32_t q) {
        auto m = zeroed<Quality>();
        m.quality_status_valid = 1;
        m.quality_status = q;
        return m;
    }
};

TEST_F(AvailabilityTest, StationConnectSendsQualityThenAvailability) {
    const struct {
        uint8_t flag200;
        int32_t quality;
        uint32_t conn;
    } cases[] = {{1, 0, 2}, {0, 1, 1}};
    for (const auto& c : cases) {
        const auto sent = report(station(1, c.flag200));
        ASSERT_EQ(sent.size(), 2U);
        EXPECT_EQ(sent[0].op, emu::DsdOp::WqeProfileStatus);
        EXPECT_EQ(sent[0].bytes, bytes(quality(c.quality)));
        EXPECT_EQ(sent[1].op, emu::DsdOp::WifiAvailableStatus);
        EXPECT_EQ(sent[1].bytes, bytes(stationMsg(c.conn)));
    }
    EXPECT_TRUE(logged(1, 10357, "src/CasProxy", "CountryCode obtained from Wifi AP: US"));
    EXPECT_TRUE(logged(0, 10357, "src/CasProxy", "DNS V6 address 1: 2001:4860:4860::8888"));
    EXPECT_EQ(engine().commands(),
              (std::vector<std::string>{"0:SIGNAL_POLL", "0:STATUS", "0:BSS 02:00:00:00:03:00",
                                        "0:SIGNAL_POLL", "0:STATUS", "0:BSS 02:00:00:00:03:00"}));
}

TEST_F(AvailabilityTest, StationGoneReportsTheLastNetworkOnce) {
    report(station(1, 1));
    engine().scriptedSupplicant().setFailure("SIGNAL_POLL");  // no longer associated
    auto gone = station(4, 1);
    std::memset(gone.ssid, 0, sizeof(gone.ssid));
    std::memcpy(gone.countryCode, "DE", 2);

    for (const char* ssid : {"testbed-2g", ""}) {
        const auto sent = report(gone);
        ASSERT_EQ(sent.size(), 2U);
        EXPECT_EQ(sent[0].bytes, bytes(quality(1)));
        Msg want = stationMsg(0);
        want.freq_valid = want.freq = 0;
        want.wifi_mode_valid = want.wifi_mode = 0;
        want.hessid_valid = 0;
        std::memset(want.hessid, 0, 6);
        std::memset(want.ssid, 0, sizeof(want.ssid));
        setSsid(want, ssid);
        std::memcpy(want.country_code, "DE", 2);  // location services win
        EXPECT_EQ(sent[1].bytes, bytes(want)) << ssid;
    }
    EXPECT_TRUE(
        logged(1, 10357, "src/CasProxy", "CountryCode obtained from location services: DE"));
}

TEST_F(AvailabilityTest, StationTextsAreReadWithinTheirFields) {
    auto c = station(0, 0);
    std::memset(c.ssid, 'S', sizeof(c.ssid));    // no terminating zero
    std::memset(c.bssid, '1', sizeof(c.bssid));  // neither
    c.countryCode[0] = 'D';
    c.countryCode[1] = 'E';
    const auto sent = report(c);
    ASSERT_EQ(sent.size(), 2U);
    const Msg m = sent[1].as<Msg>();
    EXPECT_EQ(m.ssid_len, 32U);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(m.ssid), 32), std::string(32, 'S'));
    EXPECT_EQ(m.conn_status, 1U);  // state 0
    EXPECT_TRUE(logged(0, 10357, "src/CasProxy", "BSSID: " + std::string(25, '1')));
    EXPECT_TRUE(
        logged(1, 10357, "src/CasProxy", "CountryCode obtained from location services: DE"));
}

TEST_F(AvailabilityTest, SoftApOnAndOff) {
    auto c = zeroed<CasWlanNetConfigType>();
    c.netType = 100;
    c.isActive = 1;
    auto sent = report(c);
    ASSERT_EQ(sent.size(), 1U);
    auto want = zeroed<Msg>();
    std::memcpy(want.bssid, kAp2g, 6);
    setSsid(want, "testbed-2g");
    want.freq_valid = 1;
    want.freq = 2437;
    want.wlan_type_valid = 1;
    want.wlan_type = 3;
    want.conn_status_valid = 1;
    want.conn_status = 1;
    EXPECT_EQ(sent[0].bytes, bytes(want));
    ASSERT_EQ(engine().forkCalls.size(), 1U);
    EXPECT_EQ(engine().forkCalls[0].cmdLine, kHostapdLine);

    c.isActive = 0;
    for (const char* ssid : {"testbed-2g", ""}) {
        sent = report(c);
        ASSERT_EQ(sent.size(), 1U);
        auto off = zeroed<Msg>();
        setSsid(off, ssid);
        off.wlan_type_valid = 1;
        off.wlan_type = 3;
        off.conn_status_valid = 1;
        EXPECT_EQ(sent[0].bytes, bytes(off)) << ssid;
    }
    EXPECT_EQ(engine().forkCalls.size(), 1U);
    EXPECT_TRUE(logged(2, 10357, "src/CasProxy", "getting hostapd info"));
}

TEST_F(AvailabilityTest, P2pGroupOwnerClientAndEnd) {
    auto c = zeroed<CasWlanNetConfigType>();
    c.netType = 101;
    c.isActive = 1;
    auto group = zeroed<Msg>();
    const uint8_t go[6] = {0x06, 0, 0, 0, 0, 0};
    std::memcpy(group.bssid, go, 6);
    setSsid(group, "DIRECT-4m");
    group.freq_valid = 1;
    group.freq = 2437;
    group.wlan_type_valid = 1;
    group.conn_status_valid = 1;
    group.conn_status = 2;

    auto sent = report(c);
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(sent[0].bytes, bytes(group));  // P2P GO: wlan_type 0

    // The same group seen from a client, with an address.
    std::string reply = ylmtest::fixture("p2p-status.txt");
    reply.replace(reply.find("mode=P2P GO"), 11, "mode=station");
    reply += "ip_address=192.168.49.2\n";
    engine().scriptedSupplicant().setReply("STATUS", reply, 1);
    sent = report(c);
    ASSERT_EQ(sent.size(), 1U);
    group.wlan_type = 1;
    group.ipv4_addr_valid = 1;
    const uint8_t v4[4] = {192, 168, 49, 2};
    std::memcpy(&group.ipv4_addr, v4, 4);  // network order, as written
    EXPECT_EQ(sent[0].bytes, bytes(group));

    c.isActive = 0;
    for (const char* ssid : {"DIRECT-4m", ""}) {
        sent = report(c);
        ASSERT_EQ(sent.size(), 1U);
        auto off = zeroed<Msg>();
        setSsid(off, ssid);
        off.wlan_type_valid = 1;
        off.conn_status_valid = 1;
        EXPECT_EQ(sent[0].bytes, bytes(off)) << ssid;
    }
}

TEST_F(AvailabilityTest, UnknownNetworkTypeSendsTheTypeFlagAlone) {
    auto c = station(1, 1);
    c.netType = 5;
    const auto sent = report(c);
    ASSERT_EQ(sent.size(), 1U);
    auto want = zeroed<Msg>();
    want.wlan_type_valid = 1;
    EXPECT_EQ(sent[0].bytes, bytes(want));
}

TEST_F(AvailabilityTest, WifiOnAndOffReachTheModem) {
    for (bool on : {true, false}) {
        engine().messages.clear();
        ASSERT_EQ(engine().deliverWifiState(on), 1U);
        ASSERT_EQ(engine().messages.size(), 1U);
        EXPECT_EQ(engine().messages[0].op, emu::DsdOp::NotifyDataSettings);
        auto want = zeroed<dsd_notify_data_settings_req_msg_v01>();
        want.wifi_state_valid = 1;
        want.wifi_state = on ? 1 : 0;
        EXPECT_EQ(engine().messages[0].bytes, bytes(want));
    }
    EXPECT_TRUE(logged(0, 10357, "src/CasProxy", "Wifi State: 1"));
    EXPECT_TRUE(logged(0, 10357, "src/CasProxy", "Wifi State: 0"));
}

}  // namespace
