// Scan-mode measurements end to end: indication in, filtered scans and report records out.
#include "RawTestSupport.h"

namespace {

using emu::SupplicantEvent;
using ylmtest::expectReport;
using ylmtest::fixture;
using ylmtest::indication;
using ylmtest::kBroadcast;
using ylmtest::mac;
using ylmtest::report;

class RawScanTest : public ylmtest::RawEndToEnd {
  protected:
    // The three access points of the testbed, as the station daemon saw them.
    void scriptTestbed() {
        auto& s = engine().scriptedSupplicant();
        s.setReply("SCAN", fixture("sta-scan.txt"));
        s.setReply("SCAN_RESULTS", fixture("sta-scan-results.txt"));
        s.setReply("BSS 02:00:00:00:03:00", fixture("sta-bss-ap2g.txt"));
        s.setReply("BSS 02:00:00:00:04:00", fixture("sta-bss-ap5g.txt"));
        s.setReply("BSS 02:00:00:00:05:00", fixture("sta-bss-aphe.txt"));
    }
    // The commands of one filtered scan with these filter texts.
    void expectScanStarted(size_t from, const std::string& bssids, const std::string& channels) {
        const auto& ev = engine().supplicantEvents;
        ASSERT_GE(ev.size(), from + 3);
        EXPECT_EQ(ev[from].kind, SupplicantEvent::BssidFilter);
        EXPECT_EQ(ev[from].text, bssids);
        EXPECT_EQ(ev[from + 1].kind, SupplicantEvent::FrequencyFilter);
        EXPECT_EQ(ev[from + 1].text, channels);
        EXPECT_EQ(ev[from + 2].kind, SupplicantEvent::Command);
        EXPECT_EQ(ev[from + 2].text, "SCAN");
    }
};

TEST_F(RawScanTest, AnySsidWithBssLoadReportsEveryAccessPointEachPeriod) {
    scriptTestbed();
    auto ind = indication(42, 5, {{ylmtest::anySsid(), {{kBroadcast, {65535}}}}});
    ylmtest::setTiming(ind, 2, 10);
    ASSERT_TRUE(start(ind));

    // The first scan starts at once; one reporting timer, no sampling timer.
    expectScanStarted(1, "ff:ff:ff:ff:ff:ff", "65535");
    ASSERT_EQ(engine().timers.size(), 1U);
    EXPECT_EQ(engine().timers[0].period, 10);
    EXPECT_TRUE(engine().messages.empty());

    const auto batch = [](uint32_t seq) {
        return std::vector<dsd_wifi_meas_report_req_msg_v01>{
            report(42, seq, false, "testbed-2g", {{mac(3), 2437, 5, -20, 0}}),
            report(42, seq, false, "testbed-5g", {{mac(4), 5180, 5, -27, 30}}),
            report(42, seq, true, "testbed-he", {{mac(5), 5745, 5, -20, 30}})};
    };
    engine().supplicantEvents.clear();
    engine().fireScanReady();
    EXPECT_EQ(engine().commands(),
              (std::vector<std::string>{"0:SCAN_RESULTS", "0:BSS 02:00:00:00:03:00",
                                        "0:BSS 02:00:00:00:04:00", "0:BSS 02:00:00:00:05:00"}));
    auto first = batch(1);
    ASSERT_EQ(engine().messages.size(), 3U);
    for (size_t i = 0; i < 3; ++i) {
        expectReport(engine().messages[i], first[i]);
    }
    EXPECT_NE(findLog("sendScanReport ssid called testbed-5g"), nullptr);
    EXPECT_EQ(countLog("sendScanReport bssid lenght :1 ssid length:3 "), 3U);
    EXPECT_NE(findLog("sendScanReport bssid 2:0:0:0:4:0"), nullptr);
    EXPECT_EQ(countLog("LTEU callback RawMeasurement scanResultsCb called "), 1U);

    // Each reporting period starts the next scan; its results make the next batch.
    engine().supplicantEvents.clear();
    engine().advance(9);
    EXPECT_TRUE(engine().supplicantEvents.empty());
    engine().advance(1);
    expectScanStarted(0, "ff:ff:ff:ff:ff:ff", "65535");
    engine().fireScanReady();
    auto second = batch(2);
    ASSERT_EQ(engine().messages.size(), 6U);
    for (size_t i = 0; i < 3; ++i) {
        expectReport(engine().messages[3 + i], second[i]);
        EXPECT_EQ(engine().messages[3 + i].time, 10);
    }

    // After the stop, neither timers nor late results reach the measurement.
    stop(42);
    EXPECT_EQ(engine().removedTimerIds, (std::vector<int32_t>{1}));
    engine().supplicantEvents.clear();
    engine().fireScanReady();
    engine().advance(100);
    EXPECT_EQ(engine().messages.size(), 6U);
    EXPECT_EQ(engine().commands().size(), 4U);  // the provider still fetches and filters
    EXPECT_EQ(eventTexts(SupplicantEvent::BssidFilter).size(), 0U);
}

TEST_F(RawScanTest, SeveralSsidsWithBandAndFrequencyCodes) {
    scriptTestbed();
    // 2.4 GHz band for one BSSID; the 5 GHz band for any BSSID; exact frequencies for two
    // BSSIDs. The scan is filtered by the last entry's lists.
    auto ind = indication(9, 1,
                          {{"testbed-2g", {{mac(3), {1}}}},
                           {"testbed-5g", {{kBroadcast, {3}}}},
                           {"testbed-he", {{mac(5), {5745}}, {mac(4), {5180}}}}});
    ASSERT_TRUE(start(ind));
    expectScanStarted(1, "02:00:00:00:05:00,02:00:00:00:04:00", "5745,5180");

    engine().supplicantEvents.clear();
    engine().fireScanReady();
    // No BSS load asked: no per-BSS query.
    EXPECT_EQ(engine().commands(), (std::vector<std::string>{"0:SCAN_RESULTS"}));
    ASSERT_EQ(engine().messages.size(), 3U);
    expectReport(engine().messages[0],
                 report(9, 1, false, "testbed-2g", {{mac(3), 2437, 1, -20, 0}}));
    expectReport(engine().messages[1],
                 report(9, 1, false, "testbed-5g", {{mac(4), 5180, 1, -27, 0}}));
    // The third entry's first step (the 5180 MHz BSSID, which belongs to another SSID) files an
    // empty group under testbed-he; the later step's hit does not replace it.
    expectReport(engine().messages[2], report(9, 1, true, "testbed-he", {}));
    stop(9);
}

TEST_F(RawScanTest, CrowdedSsidIsCutToTheReportsRoomAndLongSsidsToThirtyTwoBytes) {
    const std::string longSsid(40, 'z');
    std::string table = "bssid / frequency / signal level / flags / ssid\n";
    for (int i = 0; i < 60; ++i) {
        char row[64];
        std::snprintf(row, sizeof row, "02:00:00:00:%02x:00\t2412\t%d\t[ESS]\tcrowd\n", i, -30 - i);
        table += row;
    }
    table += "02:00:00:00:ff:00\t5180\t-70\t[ESS]\t" + longSsid + "\n";
    ASSERT_LT(table.size(), 4095U);
    engine().scriptedSupplicant().setReply("SCAN_RESULTS", table);
    ASSERT_TRUE(start(indication(3, 1, {{ylmtest::anySsid(), {{kBroadcast, {65535}}}}})));
    engine().fireScanReady();

    ASSERT_EQ(engine().messages.size(), 2U);
    std::vector<ylmtest::RecordSpec> crowd;
    for (int i = 0; i < 58; ++i) {
        crowd.push_back({mac(static_cast<uint8_t>(i)), 2412, 1, static_cast<int16_t>(-30 - i), 0});
    }
    expectReport(engine().messages[0], report(3, 1, false, "crowd", crowd));
    expectReport(engine().messages[1],
                 report(3, 1, true, longSsid, {{mac(0xff), 5180, 1, -70, 0}}));
    const auto* cut =
        findLog("sendScanReport: 2 BSSIDs of crowd do not fit in the report and are left out");
    ASSERT_NE(cut, nullptr);
    EXPECT_EQ(cut->level, 3);
    stop(3);
}

TEST_F(RawScanTest, NoSsidListScansUnfilteredAndReportsNothing) {
    scriptTestbed();
    ASSERT_TRUE(start(indication(5, 1, {}, false)));
    expectScanStarted(1, "", "");
    engine().fireScanReady();
    engine().advance(5);
    expectScanStarted(1 + 3 + 1, "", "");  // after the first scan and its results command
    EXPECT_TRUE(engine().messages.empty());
    stop(5);
}

TEST_F(RawScanTest, RefusedIndicationStartsNoScan) {
    EXPECT_FALSE(start(indication(6, 4, {{ylmtest::anySsid(), {{kBroadcast, {65535}}}}})));
    EXPECT_TRUE(
        logged(1, 10357, "src/RawMeasurement", "Measurement parameters does not include RSSI"));
    EXPECT_TRUE(engine().timers.empty());
    EXPECT_TRUE(eventTexts(SupplicantEvent::Command).empty());
    engine().fireScanReady();
    EXPECT_TRUE(engine().messages.empty());
}

}  // namespace
