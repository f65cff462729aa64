// The Wi-Fi information provider against the daemons' genuine replies: command order, what each
// failure stops and logs, and the BSS load decision on scan results.
#include "HostapdWrapper.h"
#include "RawTestSupport.h"

namespace {

using namespace ylmtest;

std::string summary(const WifiStatus& s) {
    return s.ssid + "|" + s.bssid + "|" + std::to_string(s.rssi) + "|" + std::to_string(s.freq) +
           "|" + s.wpaState + "|" + s.mode + "|" + std::to_string(s.wifiMode) + "|" + s.countryCode;
}

class InfoProviderTest : public RawTest {};

TEST_F(InfoProviderTest, StationP2pAndAccessPointQueriesStopAtEachFailure) {
    auto& sup = engine().scriptedSupplicant();
    sup.setReply("SIGNAL_POLL", "RSSI=-61\nFREQUENCY=5180\n");
    replies({{"STATUS", "sta-status.txt"},
             {"BSS 02:00:00:00:03:00", "sta-bss-ap2g.txt"},
             {"BSS 02:00:00:00:04:00", "sta-bss-ap5g.txt"}});
    // The status reply's frequency replaces the poll's; HT Operation in the elements gives mode 5.
    Strings seen{summary(provider->getSTAStatus())};
    for (const char* failing : {"BSS 02:00:00:00:03:00", "STATUS", "SIGNAL_POLL"}) {
        sup.setFailure(failing);
        seen.push_back(summary(provider->getSTAStatus()));
    }
    sup.setFailure("SIGNAL_POLL", false);
    sup.setFailure("STATUS", false);
    replies({{"STATUS", "p2p-dev-status.txt"}});  // not associated: no BSS query
    seen.push_back(summary(provider->getSTAStatus()));
    // The P2P group is read with the station parser; its interface is always let go.
    sup.setReply("STATUS", fixture("p2p-status.txt"), 1);
    seen.push_back(summary(provider->getP2pStatus()));
    sup.setFailure("STATUS", true, 1);
    seen.push_back(summary(provider->getP2pStatus()));
    sup.setConnectFailure(1);
    seen.push_back(summary(provider->getP2pStatus()));
    const std::string hostapd = HostapdWrapper::HOSTAPD_CLI_CMD + " -i wlan0 STATUS";
    engine().scriptedForkExec().setResult(hostapd, fixture("hostapd-status.txt"));
    seen.push_back(summary(provider->getAPStatus()));
    engine().scriptedForkExec().setResult(hostapd, "ssid[0]=x\n", 1);
    seen.push_back(summary(provider->getAPStatus()));
    seen.push_back(
        std::to_string(provider->getBssLoadInfo("02:00:00:00:04:00").channelUtilization));
    // An empty BSSID sends the empty command; its failure keeps the signal-poll wording.
    seen.push_back(std::to_string(provider->getBssLoadInfo("").channelUtilization));

    EXPECT_EQ(seen, (Strings{"testbed-2g|02:00:00:00:03:00|-61|2437|COMPLETED|station|5|US",
                             "testbed-2g|02:00:00:00:03:00|-61|2437|COMPLETED|station|-1|",
                             "||-61|5180|||-1|", "||0|0|||-1|", "||-61|5180|DISCONNECTED||-1|",
                             "DIRECT-4m|06:00:00:00:00:00|0|2437|COMPLETED|P2P GO|0|", "||0|0|||0|",
                             "||0|0|||0|", "testbed-2g|02:00:00:00:03:00|0|2437|||0|", "||0|0|||0|",
                             "30", "0"}));
    EXPECT_EQ(events(), (Strings{"command 0:SIGNAL_POLL",
                                 "command 0:STATUS",
                                 "command 0:BSS 02:00:00:00:03:00",
                                 "command 0:SIGNAL_POLL",
                                 "command 0:STATUS",
                                 "command 0:BSS 02:00:00:00:03:00",
                                 "command 0:SIGNAL_POLL",
                                 "command 0:STATUS",
                                 "command 0:SIGNAL_POLL",
                                 "command 0:SIGNAL_POLL",
                                 "command 0:STATUS",
                                 "connect 1:",
                                 "command 1:STATUS",
                                 "disconnect 1:",
                                 "connect 1:",
                                 "command 1:STATUS",
                                 "disconnect 1:",
                                 "connect 1:",
                                 "disconnect 1:",
                                 "command 0:BSS 02:00:00:00:04:00",
                                 "command 0:"}));
    EXPECT_EQ(
        logsOf("src/WifiInfoProvider"),
        (Strings{
            "121 1 10357 Bss command returned error", "110 1 10357 Status command returned error",
            "100 1 10357 Signal Poll command returned error",
            "162 0 10357 Response: BSSID: 06:00:00:00:00:00, Frequency: 2437, SSID: DIRECT-4m",
            "152 1 10357 Error: sendCommandToSupplicant error",
            "146 1 10357 Error: connectToSupplicant error",
            "187 0 10357 Response: BSSID: 02:00:00:00:03:00, Frequency: 2437, SSID: testbed-2g",
            "178 1 10357 Status command returned error",
            "208 1 10357 Signal Poll command returned error"}));
}

TEST_F(InfoProviderTest, ScanFiltersAndOnlyTheFirstRequestDecidesOnBssLoad) {
    std::list<MeasurementRequestReport> reports(2);
    reports.back().isBssLoadMask = 1;
    replies({{"SCAN_RESULTS", "sta-scan-results.txt"}});
    provider->startScan(reports, "2437,5180", "02:00:00:00:03:00", 7, nullptr, nullptr);
    engine().fireScanReady();
    EXPECT_EQ(events(), (Strings{"bssid-filter 0:02:00:00:00:03:00", "frequency-filter 0:2437,5180",
                                 "command 0:SCAN", "command 0:SCAN_RESULTS"}));
    EXPECT_EQ(logsOf("src/WifiInfoProvider"),
              (Strings{"285 1 10357 LTEU callback startScan called",
                       "250 1 10357 WifiInfoProvider scanResultsReadyCb called",
                       "223 4 10357 scanResultsReadyCb isBssLoadMask: 0"}));
}

// A provider that was never linked: every query logs and returns the cleared record.
class UnlinkedProviderTest : public RawTest {
    void SetUp() override { EmuTest::SetUp(); }
};
TEST_F(UnlinkedProviderTest, AnswersEmptyRecords) {
    EXPECT_EQ(provider->getSTAStatus().wifiMode, -1);
    EXPECT_EQ(summary(provider->getP2pStatus()), "||0|0|||0|");
    EXPECT_EQ(provider->getBssLoadInfo("x").channelUtilization, 0);
    provider->getAPStatus();
    EXPECT_TRUE(engine().supplicantEvents.empty() && engine().forkCalls.empty());
    provider->initializeLinks(nullptr);
    EXPECT_EQ(logsOf("src/WifiInfoProvider"),
              (Strings{"94 3 10357 SupplicantWrapper instance is null",
                       "140 3 10357 SupplicantWrapper instance is null",
                       "202 4 10357 SupplicantWrapper instance is null",
                       "173 3 10357 HostapdWrapper instance is null",
                       "76 1 10357 WifiInfoProvider intialize done"}));
}

}  // namespace
