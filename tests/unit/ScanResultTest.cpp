// The scan store's text keys, moving a result, and the request filters over those keys.
#include "EmuFixture.h"
#include "WifiScanResult.h"

namespace {

constexpr const char* kAny = "ff:ff:ff:ff:ff:ff";

// The keys of a map, or the BSSIDs of a list, joined by blanks.
template <class Map>
std::string keys(const Map& m) {
    std::string out;
    for (const auto& e : m) {
        out += (out.empty() ? "" : " ") + e.first;
    }
    return out;
}
std::string bssids(const std::list<BssidInfo>& list) {
    std::string out;
    for (const auto& i : list) {
        out += (out.empty() ? "" : " ") + i.bssid;
    }
    return out;
}

MeasurementRequestReport report(const std::string& ssid, const std::string& bssid,
                                std::set<uint16_t> codes) {
    MeasurementRequestReport r;
    r.ssid = ssid;
    r.bssidChannels[bssid] = std::move(codes);
    return r;
}

// Five access points; a4's SSID lies past the "~" bound of the prefix Home, a5's frequency is
// 2412 in 16 bits.
void fill(WifiScanResult& scan) {
    scan.addData("a1", "2412", -40, "Home");
    scan.addData("a2", "2437", -50, "HomeNet");
    scan.addData("a3", "5180", -60, "Office");
    scan.addData("a4", "2484", -70, "Home~x");
    scan.addData("a5", "67948", -80, "Far");
}

class ScanResultTest : public ylmtest::EmuTest {
  protected:
    void SetUp() override {
        EmuTest::SetUp();
        fill(scan);
    }
    std::string filter(std::list<MeasurementRequestReport> reports) {
        scan.filterData(reports);
        return bssids(scan.matches);
    }
    WifiScanResult scan;
};

TEST_F(ScanResultTest, KeysByFrequencyBssidAndBand) {
    // frequency text, then the keys of byBssid | byFreqOrBand
    const std::pair<const char*, const char*> cases[] = {
        {"2412", "b&2412 b&24ghtz|2412&b 24ghtz&b"},
        {"3660", "b&3660 b&36ghtz|3660&b 36ghtz&b"},
        {"5825", "b&5825 b&5ghtz|5825&b 5ghtz&b"},
        {"67948", "b&24ghtz b&67948|24ghtz&b 67948&b"},
        {"2300", "b& b&2300|&b 2300&b"},
        {"5826", "b& b&5826|&b 5826&b"},
        {"", "b&|&b"},
        {"0", "b&0|0&b"},
        {"x", "b&x|x&b"}};
    for (const auto& [freq, want] : cases) {
        WifiScanResult r;
        r.addData("b", freq, -1, "S");
        EXPECT_EQ(keys(r.byBssid) + "|" + keys(r.byFreqOrBand), want) << freq;
        EXPECT_EQ(keys(r.byFreqBssidSsid), std::string(freq) + "&b&S");
    }
}

TEST_F(ScanResultTest, FirstLineWinsAndMovingEmptiesTheSource) {
    scan.addData("a1", "2412", -99, "Home");
    scan.addData("a1", "2437", -98, "Home");
    EXPECT_EQ(scan.byFreqBssidSsid.at("2412&a1&Home").level, -40);
    EXPECT_EQ(scan.byBssid.at("a1&24ghtz").level, -40);
    EXPECT_EQ(scan.byBssid.at("a1&2437").level, -98);
    const BssidInfo& info = scan.byFreqOrBand.at("2412&a1");
    EXPECT_EQ(info.frequency, "2412");
    EXPECT_EQ(info.isBssLoadValid + info.bssLoad.channelUtilization, 0);

    filter({report("AnySSID", kAny, {ANY_CHANNEL})});
    scan.ssidBssids["Home"].insert("a1");
    WifiScanResult moved;
    moved.addData("z", "1", 0, "z");
    moved = std::move(scan);
    EXPECT_EQ(moved.byBssid.count("z&1"), 0u);
    EXPECT_EQ(moved.matches.size(), 5u);
    // The moved-from state is part of the contract: six empty containers.
    // NOLINTNEXTLINE(bugprone-use-after-move)
    EXPECT_TRUE(scan.byFreqBssidSsid.empty() && scan.byBssid.empty() && scan.byFreqOrBand.empty());
    EXPECT_TRUE(scan.matches.empty() && scan.reportBySsid.empty() && scan.ssidBssids.empty());
    WifiScanResult constructed(std::move(moved));
    EXPECT_EQ(constructed.ssidBssids.size(), 1u);
    // NOLINTNEXTLINE(bugprone-use-after-move)
    EXPECT_TRUE(moved.byBssid.empty() && moved.ssidBssids.empty());
}

TEST_F(ScanResultTest, ChannelAndBssidSelection) {
    struct Case {
        const char* bssid;
        std::set<uint16_t> codes;
        const char* matches;  // in the order of the hits' SSID & BSSID keys
    };
    for (const Case& c :
         {Case{kAny, {ANY_CHANNEL}, "a5 a1 a2 a4 a3"}, Case{kAny, {1}, "a5 a1 a2 a4"},
          Case{kAny, {2437}, "a2"}, Case{kAny, {2}, ""}, Case{"a3", {3}, "a3"},
          Case{"a3", {5180}, "a3"}, Case{"a3", {1, 2412}, ""}, Case{"a3", {ANY_CHANNEL}, "a3"},
          Case{"a5", {1}, "a5"}, Case{"a5", {2412}, ""}, Case{"a3", {}, ""}}) {
        WifiScanResult r;
        fill(r);
        std::list<MeasurementRequestReport> reports = {report("AnySSID", c.bssid, c.codes)};
        r.filterData(reports);
        EXPECT_EQ(bssids(r.matches), c.matches) << c.bssid << " " << c.codes.size();
        if (c.codes.count(ANY_CHANNEL) != 0 &&
            std::string(c.bssid) == kAny) {  // each under its own SSID
            EXPECT_EQ(keys(r.reportBySsid), "Far Home HomeNet Home~x Office");
        }
    }
    EXPECT_EQ(countLog("WifiScanResult::findPartialKey  AnySSID a3 2412"), 1u);
}

TEST_F(ScanResultTest, SsidGroupsByPrefixAndFirstGroupWins) {
    EXPECT_EQ(filter({report("Home", kAny, {ANY_CHANNEL}), report("Home", "a1", {1}),
                      report("Office", "a2", {2437}), report("AnySSID", "a3", {3}),
                      report("Nowhere", "zz", {ANY_CHANNEL})}),
              "a1 a2 a1 a3");
    EXPECT_EQ(keys(scan.reportBySsid), "Home Office");
    EXPECT_EQ(bssids(scan.reportBySsid.at("Home")), "a1 a2");  // HomeNet filed under Home
    EXPECT_EQ(bssids(scan.reportBySsid.at("Office")), "a3");
}

TEST_F(ScanResultTest, DumpReportLinesAndLineNumbers) {
    filter({report("AnySSID", "a3", {ANY_CHANNEL}), report("Nope", "a1", {2412})});
    std::string lines;
    for (const auto& l : engine().logs) {
        EXPECT_TRUE(l.file == "src/WifiScanResult" && l.level == 1 && l.module == 10357);
        lines += std::to_string(l.line) + " " + l.text + ";";
    }
    EXPECT_EQ(lines,
              "198 WifiScanResult::findPartialKey  AnySSID a3 65535;"
              "198 WifiScanResult::findPartialKey  Nope a1 2412;"
              "243 dumpReport after filterData;"
              "254 ssid :Nope;255 bssid lsit length :0;"
              "254 ssid :Office;255 bssid lsit length :1;"
              "261 RawMeasurement bssid channel a3  5180  -60;");
}

}  // namespace
