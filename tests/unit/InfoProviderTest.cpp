// The access-point channel and the Wi-Fi information provider, against the daemons' genuine
// replies: command lines and order, what each failure stops and logs, the BSS load decision.
#include "HostapdWrapper.h"
#include "RawTestSupport.h"

namespace {

using namespace ylmtest;

std::string summary(const WifiStatus& s) {
    return s.ssid + "|" + s.bssid + "|" + std::to_string(s.rssi) + "|" + std::to_string(s.freq) +
           "|" + s.wpaState + "|" + s.mode + "|" + std::to_string(s.wifiMode) + "|" + s.countryCode;
}

class InfoProviderTest : public RawTest {};

TEST_F(InfoProviderTest, HostapdCliSelectorOptionWordsAndCapturedOutput) {
    const std::string status = fixture("hostapd-status.txt"), a1000(1000, 'a');
    // {chipset, interface, printed, code, output}: the engine cuts at the buffer's size and then
    // leaves no terminating zero.
    const std::vector<std::tuple<int, std::string, std::string, int, std::string>> cases = {
        {4, " -i softap0 ", status, 0, status},
        {0, " -i wlan0 ", std::string("ab\0cd", 5), 0, "ab"},
        {3, " -i wlan0 ", a1000 + a1000, 0, a1000},
        {-1, " -i wlan0 ", "partial", 3, ""}};
    for (const auto& [chipset, selector, printed, rc, output] : cases) {
        engine().reset();
        HostapdWrapper::deleteInstance();  // a second delete finds nothing to free
        HostapdWrapper::deleteInstance();
        engine().chipsetType = chipset;
        const std::string line = HostapdWrapper::HOSTAPD_CLI_CMD + selector + "STATUS";
        engine().scriptedForkExec().setResult(line, printed, rc);
        std::string out = "kept|";
        EXPECT_EQ(HostapdWrapper::getInstance()->execHostapdCommand("STATUS", out), rc == 0);
        EXPECT_EQ(out, "kept|" + output) << chipset;
        EXPECT_EQ(logs("src/HostapdWrapper", 0, true),
                  Strings{rc == 0 ? "91 0 Command : STATUS and Response: " + out
                                  : "87 4 forkExec failed with error 3"});
        ASSERT_EQ(engine().forkCalls.size(), 1U);
        const auto& call = engine().forkCalls[0];
        EXPECT_TRUE(call.cmdLine == line && call.bufferGiven && call.bufferSize == 1000U);
        EXPECT_EQ(std::vector<uint32_t>(call.words, call.words + 10),
                  (std::vector<uint32_t>{0, call.words[1], 1000, 0, 0, 0, 0, 2, 0, 0}));
    }
}

TEST_F(InfoProviderTest, StationP2pAndAccessPointQueriesStopAtEachFailure) {
    auto& sup = engine().scriptedSupplicant();
    sup.setReply("SIGNAL_POLL", "RSSI=-61\nFREQUENCY=5180\n");
    replies({{"STATUS", "sta-status.txt"}, {"BSS 02:00:00:00:03:00", "sta-bss-ap2g.txt"}});
    // The status reply's frequency replaces the poll's; the BSS elements give mode 5.
    Strings seen{summary(provider->getSTAStatus())};
    for (const char* failing : {"BSS 02:00:00:00:03:00", "STATUS", "SIGNAL_POLL"}) {
        sup.setFailure(failing);
        EXPECT_EQ(provider->getSTAStatus().wifiMode, -1) << failing;
    }
    sup.setFailure("SIGNAL_POLL", false);
    sup.setFailure("STATUS", false);
    replies({{"STATUS", "p2p-dev-status.txt"}});  // not associated: no BSS query
    seen.push_back(summary(provider->getSTAStatus()));
    // The P2P group is read with the station parser; its interface is always let go.
    sup.setReply("STATUS", fixture("p2p-status.txt"), 1);
    provider->getP2pStatus();
    sup.setFailure("STATUS", true, 1);
    provider->getP2pStatus();
    sup.setConnectFailure(1);
    provider->getP2pStatus();
    const std::string hostapd = HostapdWrapper::HOSTAPD_CLI_CMD + " -i wlan0 STATUS";
    engine().scriptedForkExec().setResult(hostapd, fixture("hostapd-status.txt"));
    provider->getAPStatus();
    engine().scriptedForkExec().setResult(hostapd, "ssid[0]=x\n", 1);
    seen.push_back(summary(provider->getAPStatus()));
    replies({{"BSS 02:00:00:00:04:00", "sta-bss-ap5g.txt"}});
    seen.push_back(
        std::to_string(provider->getBssLoadInfo("02:00:00:00:04:00").channelUtilization));
    // An empty BSSID sends the empty command; its failure keeps the signal-poll wording.
    seen.push_back(std::to_string(provider->getBssLoadInfo("").channelUtilization));
    EXPECT_EQ(seen, (Strings{"testbed-2g|02:00:00:00:03:00|-61|2437|COMPLETED|station|5|US",
                             "||-61|5180|DISCONNECTED||-1|", "||0|0|||0|", "30", "0"}));
    const std::string sta = "0:SIGNAL_POLL; 0:STATUS; ", bss = "0:BSS 02:00:00:00:03:00; ",
                      p2p = "connect 1:; 1:STATUS; disconnect 1:; ";
    EXPECT_EQ(events(), sta + bss + sta + bss + sta + "0:SIGNAL_POLL; " + sta + p2p + p2p +
                            "connect 1:; disconnect 1:; 0:BSS 02:00:00:00:04:00; 0:; ");
    EXPECT_EQ(
        logs("src/WifiInfoProvider", 0, true),
        (Strings{
            "121 1 Bss command returned error", "110 1 Status command returned error",
            "100 1 Signal Poll command returned error",
            "162 0 Response: BSSID: 06:00:00:00:00:00, Frequency: 2437, SSID: DIRECT-4m",
            "152 1 Error: sendCommandToSupplicant error", "146 1 Error: connectToSupplicant error",
            "187 0 Response: BSSID: 02:00:00:00:03:00, Frequency: 2437, SSID: testbed-2g",
            "178 1 Status command returned error", "208 1 Signal Poll command returned error"}));
}

TEST_F(InfoProviderTest, ScanFiltersAndOnlyTheFirstRequestDecidesOnBssLoad) {
    std::list<MeasurementRequestReport> reports(2);
    reports.back().isBssLoadMask = 1;
    replies({{"SCAN_RESULTS", "sta-scan-results.txt"}});
    provider->startScan(reports, "2437,5180", "02:00:00:00:03:00", 7, nullptr, nullptr);
    engine().fireScanReady();
    EXPECT_EQ(events(),
              "bssid-filter 0:02:00:00:00:03:00; frequency-filter 0:2437,5180; 0:SCAN; "
              "0:SCAN_RESULTS; ");
    EXPECT_EQ(logs("src/WifiInfoProvider", 0, true),
              (Strings{"285 1 LTEU callback startScan called",
                       "250 1 WifiInfoProvider scanResultsReadyCb called",
                       "223 4 scanResultsReadyCb isBssLoadMask: 0"}));
}

// Before the engine hands over its channel every query returns an empty record and says why.
class InfoProviderUnlinked : public EmuTest {};

TEST_F(InfoProviderUnlinked, QueriesSayWhatIsMissingUntilLinked) {
    emu::Engine& e = engine();
    WifiInfoProvider* p = WifiInfoProvider::getInstance();
    std::list<MeasurementRequestReport> none;
    p->startScan(none, "", "", 1, nullptr, nullptr);
    EXPECT_EQ(logs("src/WifiInfoProvider"), (Strings{"1 LTEU callback startScan called",
                                                     "3 SupplicantWrapper instance is null"}));
    e.logs.clear();
    std::string seen = summary(p->getSTAStatus());
    seen += summary(p->getP2pStatus());
    EXPECT_EQ(seen + summary(p->getAPStatus()), "||0|0|||-1|||0|0|||0|||0|0|||0|");
    EXPECT_EQ(p->getBssLoadInfo("02:00:00:00:03:00").channelUtilization, 0);
    p->initializeLinks(e.supplicant());
    EXPECT_EQ(transcript("src/WifiInfoProvider", 0, true),
              "94 3 SupplicantWrapper instance is null; 140 3 SupplicantWrapper instance is null; "
              "173 3 HostapdWrapper instance is null; 202 4 SupplicantWrapper instance is null; "
              "76 1 WifiInfoProvider intialize done; ");
}

}  // namespace
