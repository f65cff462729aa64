// The Wi-Fi information provider: command order, failure paths, scan filtering hand-over and BSS
// load, against the daemons' genuine replies.
#include "EmuFixture.h"
#include "HostapdWrapper.h"
#include "WifiInfoProvider.h"

namespace {

using ylmtest::fixture;
constexpr const char* kFile = "src/WifiInfoProvider";
const std::string kHostapdStatus =
    "hostapd_cli -p /data/vendor/wifi/hostapd/ctrl -s /data/vendor/wifi/hostapd/ctrl -i wlan0 "
    "STATUS";

// What the scan callback saw: the grouped and flat matches, copied while the result lived.
struct Seen {
    int calls = 0;
    void* ctx = nullptr;
    std::map<std::string, std::list<BssidInfo>> groups;
    std::list<BssidInfo> matches;
};
Seen gSeen;
void recordScan(void* result, void* ctx) {
    auto* r = static_cast<WifiScanResult*>(result);
    ++gSeen.calls;
    gSeen.ctx = ctx;
    gSeen.groups = r->reportBySsid;
    gSeen.matches = r->matches;
}

MeasurementRequestReport anyReport(uint8_t bssLoad) {
    MeasurementRequestReport r;
    r.ssid = "AnySSID";
    r.isRssiMask = 1;
    r.isBssLoadMask = bssLoad;
    r.bssidChannels["ff:ff:ff:ff:ff:ff"] = {65535};
    return r;
}

class InfoProviderTest : public ylmtest::EmuTest {
  protected:
    void SetUp() override {
        EmuTest::SetUp();
        gSeen = Seen{};
        provider = WifiInfoProvider::getInstance();
        provider->initializeLinks(engine().supplicant());
        engine().supplicantEvents.clear();
    }
    void scriptStation() {
        auto& s = engine().scriptedSupplicant();
        s.setReply("SIGNAL_POLL", fixture("sta-signal-poll.txt"));
        s.setReply("STATUS", fixture("sta-status.txt"));
        s.setReply("BSS 02:00:00:00:03:00", fixture("sta-bss-ap2g.txt"));
    }
    void scriptScan() {
        auto& s = engine().scriptedSupplicant();
        s.setReply("SCAN_RESULTS", fixture("sta-scan-results.txt"));
        s.setReply("BSS 02:00:00:00:03:00", fixture("sta-bss-ap2g.txt"));
        s.setReply("BSS 02:00:00:00:04:00", fixture("sta-bss-ap5g.txt"));
    }
    const emu::LogLine* providerLog(const std::string& text) const {
        const auto* l = findLog(text);
        return l != nullptr && l->file == kFile ? l : nullptr;
    }
    void expectLogAt(const std::string& text, int level, int line) const {
        const auto* l = providerLog(text);
        ASSERT_NE(l, nullptr) << text;
        EXPECT_EQ(l->level, level) << text;
        EXPECT_EQ(l->line, line) << text;
    }
    WifiInfoProvider* provider = nullptr;
};

TEST_F(InfoProviderTest, StationStatusPollsThenStatusThenAskedBss) {
    scriptStation();
    // The status reply's frequency replaces the one from the poll.
    engine().scriptedSupplicant().setReply("SIGNAL_POLL", "RSSI=-61\nFREQUENCY=5180\n");
    const WifiStatus st = provider->getSTAStatus();
    EXPECT_EQ(engine().commands(),
              (std::vector<std::string>{"0:SIGNAL_POLL", "0:STATUS", "0:BSS 02:00:00:00:03:00"}));
    for (const auto& e : engine().supplicantEvents) {
        EXPECT_EQ(e.replyRoom, 4095U) << e.text;
    }
    EXPECT_EQ(st.ssid, "testbed-2g");
    EXPECT_EQ(st.bssid, "02:00:00:00:03:00");
    EXPECT_EQ(st.rssi, -61);
    EXPECT_EQ(st.freq, 2437);
    EXPECT_EQ(st.wpaState, "COMPLETED");
    EXPECT_EQ(st.wifiMode, 5);  // HT Operation in the access point's elements
    EXPECT_EQ(st.countryCode, "US");
}

TEST_F(InfoProviderTest, StationStatusStopsAtEachFailure) {
    const struct {
        const char* failing;
        const char* text;
        int line;
        size_t commands;
    } cases[] = {{"SIGNAL_POLL", "Signal Poll command returned error", 100, 1},
                 {"STATUS", "Status command returned error", 110, 2},
                 {"BSS 02:00:00:00:03:00", "Bss command returned error", 121, 3}};
    for (const auto& c : cases) {
        engine().reset();
        scriptStation();
        engine().scriptedSupplicant().setFailure(c.failing);
        const WifiStatus st = provider->getSTAStatus();
        EXPECT_EQ(engine().commands().size(), c.commands) << c.failing;
        expectLogAt(c.text, 1, c.line);
        EXPECT_EQ(st.wifiMode, -1) << c.failing;
    }
}

TEST_F(InfoProviderTest, UnassociatedStationSendsNoBssQuery) {
    engine().scriptedSupplicant().setReply("SIGNAL_POLL", fixture("sta-signal-poll.txt"));
    engine().scriptedSupplicant().setReply("STATUS", fixture("p2p-dev-status.txt"));
    const WifiStatus st = provider->getSTAStatus();
    EXPECT_EQ(engine().commands(), (std::vector<std::string>{"0:SIGNAL_POLL", "0:STATUS"}));
    EXPECT_EQ(st.wifiMode, -1);
    EXPECT_EQ(st.wpaState, "DISCONNECTED");
}

TEST_F(InfoProviderTest, P2pGroupIsReadWithTheStationParserAndAlwaysDisconnected) {
    engine().scriptedSupplicant().setReply("STATUS", fixture("p2p-status.txt"), 1);
    const WifiStatus st = provider->getP2pStatus();
    const auto& ev = engine().supplicantEvents;
    ASSERT_EQ(ev.size(), 3U);
    EXPECT_EQ(ev[0].kind, emu::SupplicantEvent::Connect);
    EXPECT_EQ(ev[1].kind, emu::SupplicantEvent::Command);
    EXPECT_EQ(ev[1].text, "STATUS");
    EXPECT_EQ(ev[1].replyRoom, 4095U);
    EXPECT_EQ(ev[2].kind, emu::SupplicantEvent::Disconnect);
    for (const auto& e : ev) {
        EXPECT_EQ(e.type, 1);
    }
    EXPECT_EQ(st.bssid, "06:00:00:00:00:00");
    EXPECT_EQ(st.mode, "P2P GO");  // a key only the station parser knows
    EXPECT_EQ(st.wifiMode, 0);
    expectLogAt("Response: BSSID: 06:00:00:00:00:00, Frequency: 2437, SSID: DIRECT-4m", 0, 162);
}

TEST_F(InfoProviderTest, P2pFailuresStillDisconnect) {
    engine().scriptedSupplicant().setConnectFailure(1);
    provider->getP2pStatus();
    expectLogAt("Error: connectToSupplicant error", 1, 146);
    EXPECT_TRUE(engine().commands().empty());
    EXPECT_EQ(engine().supplicantEvents.back().kind, emu::SupplicantEvent::Disconnect);

    engine().reset();
    provider->getP2pStatus();  // no reply scripted: the command fails
    expectLogAt("Error: sendCommandToSupplicant error", 1, 152);
    EXPECT_EQ(engine().supplicantEvents.back().kind, emu::SupplicantEvent::Disconnect);
}

TEST_F(InfoProviderTest, AccessPointStatusComesFromHostapdCli) {
    engine().scriptedForkExec().setResult(kHostapdStatus, fixture("hostapd-status.txt"));
    const WifiStatus st = provider->getAPStatus();
    EXPECT_EQ(st.ssid, "testbed-2g");
    EXPECT_EQ(st.bssid, "02:00:00:00:03:00");
    EXPECT_EQ(st.freq, 2437);
    EXPECT_EQ(st.wifiMode, 0);
    expectLogAt("Response: BSSID: 02:00:00:00:03:00, Frequency: 2437, SSID: testbed-2g", 0, 187);

    engine().scriptedForkExec().setResult(kHostapdStatus, "ssid[0]=x\n", 1);
    const WifiStatus failed = provider->getAPStatus();
    expectLogAt("Status command returned error", 1, 178);
    EXPECT_TRUE(failed.ssid.empty());
    EXPECT_EQ(failed.freq, 0);
}

TEST_F(InfoProviderTest, BssLoadQuery) {
    engine().scriptedSupplicant().setReply("BSS 02:00:00:00:04:00", fixture("sta-bss-ap5g.txt"));
    EXPECT_EQ(provider->getBssLoadInfo("02:00:00:00:04:00").channelUtilization, 30);

    // An empty BSSID sends the empty command; its failure keeps the signal-poll wording.
    const BssLoad none = provider->getBssLoadInfo("");
    EXPECT_EQ(engine().commands().back(), "0:");
    EXPECT_EQ(none.channelUtilization, 0);
    expectLogAt("Signal Poll command returned error", 1, 208);
}

// A provider that was never linked: every query logs and returns the cleared record.
class UnlinkedProviderTest : public ylmtest::EmuTest {};
TEST_F(UnlinkedProviderTest, AnswersEmptyRecords) {
    WifiInfoProvider* p = WifiInfoProvider::getInstance();
    EXPECT_EQ(p->getSTAStatus().wifiMode, -1);
    EXPECT_EQ(p->getP2pStatus().wifiMode, 0);
    EXPECT_EQ(p->getBssLoadInfo("x").channelUtilization, 0);
    p->getAPStatus();
    std::vector<std::pair<int, int>> lines;  // (line, level) of each refusal
    for (const auto& l : engine().logs) {
        EXPECT_EQ(l.file, kFile);
        lines.emplace_back(l.line, l.level);
    }
    EXPECT_EQ(lines, (std::vector<std::pair<int, int>>{{94, 3}, {140, 3}, {202, 4}, {173, 3}}));
    EXPECT_EQ(engine().logs.back().text, "HostapdWrapper instance is null");
    EXPECT_EQ(engine().logs.front().text, "SupplicantWrapper instance is null");
    EXPECT_TRUE(engine().supplicantEvents.empty());
    EXPECT_TRUE(engine().forkCalls.empty());
}

TEST_F(InfoProviderTest, StartScanSetsBssidThenFrequencyFilterThenScans) {
    std::list<MeasurementRequestReport> reports{anyReport(0)};
    provider->startScan(reports, "2437,5180", "02:00:00:00:03:00", 7, recordScan, &gSeen);
    const auto& ev = engine().supplicantEvents;
    ASSERT_EQ(ev.size(), 3U);
    EXPECT_EQ(ev[0].kind, emu::SupplicantEvent::BssidFilter);
    EXPECT_EQ(ev[0].text, "02:00:00:00:03:00");
    EXPECT_EQ(ev[1].kind, emu::SupplicantEvent::FrequencyFilter);
    EXPECT_EQ(ev[1].text, "2437,5180");
    EXPECT_EQ(ev[2].text, "SCAN");
    EXPECT_EQ(ev[2].replyRoom, 4095U);
    expectLogAt("LTEU callback startScan called", 1, 285);
    expectLogAt("WifiInfoProvider intialize done", 1, 76);
    ASSERT_EQ(provider->getReports().size(), 1U);
    EXPECT_EQ(provider->getReports().front().ssid, "AnySSID");
}

TEST_F(InfoProviderTest, ScanReadyFiltersAddsBssLoadToGroupsAndCallsBack) {
    scriptScan();
    // No reply for the HE access point: its failed query yields the all-zero record.
    std::list<MeasurementRequestReport> reports{anyReport(1)};
    provider->startScan(reports, "", "", 1, recordScan, &gSeen);
    engine().supplicantEvents.clear();
    engine().fireScanReady();

    EXPECT_EQ(engine().commands(),
              (std::vector<std::string>{"0:SCAN_RESULTS", "0:BSS 02:00:00:00:03:00",
                                        "0:BSS 02:00:00:00:04:00", "0:BSS 02:00:00:00:05:00"}));
    expectLogAt("WifiInfoProvider scanResultsReadyCb called", 1, 250);
    expectLogAt("scanResultsReadyCb isBssLoadMask: 1", 4, 223);
    ASSERT_EQ(gSeen.calls, 1);
    EXPECT_EQ(gSeen.ctx, &gSeen);
    ASSERT_EQ(gSeen.groups.size(), 3U);
    const BssidInfo& ap5g = gSeen.groups["testbed-5g"].front();
    EXPECT_EQ(ap5g.bssLoad.channelUtilization, 30);
    EXPECT_EQ(ap5g.isBssLoadValid, 1);
    EXPECT_EQ(gSeen.groups["testbed-he"].front().isBssLoadValid, 1);
    // The flat list keeps its copies without load.
    ASSERT_EQ(gSeen.matches.size(), 3U);
    for (const auto& m : gSeen.matches) {
        EXPECT_EQ(m.bssLoad.channelUtilization, 0) << m.ssid;
        EXPECT_EQ(m.isBssLoadValid, 0) << m.ssid;
    }
}

TEST_F(InfoProviderTest, UnknownLoadIsNotMarkedValid) {
    engine().scriptedSupplicant().setReply("SCAN_RESULTS", fixture("sta-scan-results.txt"));
    for (const char* b : {"02:00:00:00:03:00", "02:00:00:00:04:00", "02:00:00:00:05:00"}) {
        engine().scriptedSupplicant().setReply(std::string("BSS ") + b, "id=1\nflags=[ESS]\n");
    }
    std::list<MeasurementRequestReport> reports{anyReport(1)};
    provider->startScan(reports, "", "", 1, recordScan, &gSeen);
    engine().fireScanReady();
    for (const auto& g : gSeen.groups) {
        EXPECT_EQ(g.second.front().bssLoad.channelUtilization, 65535) << g.first;
        EXPECT_EQ(g.second.front().isBssLoadValid, 0) << g.first;
    }
}

TEST_F(InfoProviderTest, OnlyTheFirstReportDecidesOnBssLoad) {
    scriptScan();
    std::list<MeasurementRequestReport> reports{anyReport(0), anyReport(1)};
    provider->startScan(reports, "", "", 1, recordScan, &gSeen);
    engine().supplicantEvents.clear();
    engine().fireScanReady();
    EXPECT_EQ(engine().commands(), (std::vector<std::string>{"0:SCAN_RESULTS"}));
    expectLogAt("scanResultsReadyCb isBssLoadMask: 0", 4, 223);
    EXPECT_EQ(gSeen.calls, 1);
}

TEST_F(InfoProviderTest, NoReportsMeansNoLoadButStillACallback) {
    scriptScan();
    std::list<MeasurementRequestReport> none;
    provider->startScan(none, "", "", 1, recordScan, &gSeen);
    engine().fireScanReady();
    EXPECT_EQ(findLog("scanResultsReadyCb isBssLoadMask: 0"), nullptr);
    EXPECT_EQ(gSeen.calls, 1);
    EXPECT_TRUE(gSeen.groups.empty());
}

TEST_F(InfoProviderTest, AfterCleanUpResultsAreStillFetchedButGoNowhere) {
    scriptScan();
    std::list<MeasurementRequestReport> reports{anyReport(1)};
    provider->startScan(reports, "", "", 1, recordScan, &gSeen);
    provider->cleanUp();
    EXPECT_EQ(provider->getScanCallbackContext(), nullptr);
    engine().supplicantEvents.clear();
    engine().fireScanReady();
    EXPECT_EQ(engine().commands().size(), 4U);
    EXPECT_EQ(gSeen.calls, 0);
}

}  // namespace
