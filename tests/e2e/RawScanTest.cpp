// Scan-mode measurements end to end: indication in, filtered scans and report records out.
#include "RawTestSupport.h"

namespace {

using namespace ylmtest;

class RawScanTest : public RawTest {};

TEST_F(RawScanTest, AnySsidWithBssLoadReportsEveryAccessPointEachPeriodUntilStopped) {
    replies({{"SCAN", "sta-scan.txt"},
             {"SCAN_RESULTS", "sta-scan-results.txt"},
             {"BSS 02:00:00:00:04:00", "sta-bss-ap5g.txt"}});
    // Load unknown to 2g: carried, not marked. No reply for HE: the failed query's all-zero load
    // is marked.
    engine().scriptedSupplicant().setReply("BSS 02:00:00:00:03:00", "id=1\nflags=[ESS]\n");
    EXPECT_FALSE(start(anyScan(42, 4)));  // no RSSI asked for: refused
    EXPECT_THAT(logs(kRawFile), Contains("1 Measurement parameters does not include RSSI"));
    ASSERT_TRUE(start(anyScan(42, 5, 10)));
    engine().fireScanReady();
    const auto batch = [](uint32_t seq) {
        return std::vector<Report>{
            report(42, seq, false, "testbed-2g", {rec(mac(3), 2437, 1, -20, 65535)}),
            report(42, seq, false, "testbed-5g", {rec(mac(4), 5180, 5, -27, 30)}),
            report(42, seq, true, "testbed-he", {rec(mac(5), 5745, 5, -20, 0)})};
    };
    expectReports(0, batch(1));
    EXPECT_THAT(logs(kRawFile), Contains("1 sendScanReport ssid called testbed-5g"));
    EXPECT_THAT(logs(kRawFile), Contains("1 sendScanReport bssid 2:0:0:0:4:0"));
    EXPECT_THAT(logs(kRawFile),
                Contains("1 sendScanReport bssid lenght :1 ssid length:3 ").Times(3));
    engine().advance(10);  // each reporting period scans again; its results make the next batch
    engine().fireScanReady();
    expectReports(3, batch(2));
    EXPECT_EQ(engine().messages.back().time, 10);
    stop(42);  // timers and late results reach nothing, though the provider still fetches them
    engine().fireScanReady();
    engine().advance(100);
    EXPECT_EQ(engine().messages.size(), 6U);
    EXPECT_EQ(timers(), "added 10, removed 1");  // no sampling timer
    const std::string scan = "bssid-filter 0:ff:ff:ff:ff:ff:ff; frequency-filter 0:65535; 0:SCAN; ",
                      results =
                          "0:SCAN_RESULTS; 0:BSS 02:00:00:00:03:00; 0:BSS 02:00:00:00:04:00; "
                          "0:BSS 02:00:00:00:05:00; ";
    EXPECT_EQ(events(), scan + results + scan + results + results);
}

TEST_F(RawScanTest, CrowdedSsidIsCutToTheReportsRoomAndLongSsidsToThirtyTwoBytes) {
    std::string table = "bssid / frequency / signal level / flags / ssid\n";
    std::vector<Record> crowd;
    for (int i = 0; i < 60; ++i) {
        char row[64];
        std::snprintf(row, sizeof row, "02:00:00:00:%02x:00\t2412\t%d\t[ESS]\tcrowd\n", i, -30 - i);
        table += row;
        crowd.push_back(
            rec(mac(static_cast<uint8_t>(i)), 2412, 1, static_cast<int16_t>(-30 - i), 0));
    }
    const std::string longSsid(40, 'z');
    engine().scriptedSupplicant().setReply(
        "SCAN_RESULTS", table + "02:00:00:00:ff:00\t5180\t-70\t[ESS]\t" + longSsid + "\n");
    ASSERT_TRUE(start(anyScan(3, 1)));
    engine().fireScanReady();
    crowd.resize(58);
    expectReports(0, {report(3, 1, false, "crowd", crowd),
                      report(3, 1, true, longSsid, {rec(mac(0xff), 5180, 1, -70, 0)})});
    EXPECT_THAT(
        logs(kRawFile, 3),
        Contains("3 sendScanReport: 2 BSSIDs of crowd do not fit in the report and are left out"));
}

TEST_F(RawScanTest, NoListScansUnfilteredAndReportsNothing) {
    replies({{"SCAN_RESULTS", "sta-scan-results.txt"}});
    ASSERT_TRUE(start(indication(5, 1, {}, false)));
    engine().fireScanReady();  // no requests: no load decision and no report, yet a callback
    engine().advance(5);
    const std::string scan = "bssid-filter 0:; frequency-filter 0:; 0:SCAN; ";
    EXPECT_EQ(events(), scan + "0:SCAN_RESULTS; " + scan);
    EXPECT_THAT(logs(kRawFile),
                Contains("1 LTEU callback RawMeasurement scanResultsCb called ").Times(1));
    EXPECT_THAT(logs("src/WifiInfoProvider"), Not(Contains(::testing::HasSubstr("isBssLoadMask"))));
    EXPECT_TRUE(engine().messages.empty());
}

}  // namespace
