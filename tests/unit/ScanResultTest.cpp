// Scan tables into the scan store, its text keys, moving a result, and the request filters.
#include "EmuFixture.h"
#include "WifiParser.h"

namespace {

constexpr const char* kAny = "ff:ff:ff:ff:ff:ff";

class ScanResultTest : public ylmtest::EmuTest {
  protected:
    void SetUp() override {
        EmuTest::SetUp();
        fill(scan);
    }
    // Five access points; a4's SSID lies past the "~" bound of the prefix Home, a5's frequency
    // is 2412 in 16 bits.
    static void fill(WifiScanResult& r) {
        r.addData("a1", "2412", -40, "Home");
        r.addData("a2", "2437", -50, "HomeNet");
        r.addData("a3", "5180", -60, "Office");
        r.addData("a4", "2484", -70, "Home~x");
        r.addData("a5", "67948", -80, "Far");
    }
    static MeasurementRequestReport report(const char* ssid, const char* bssid,
                                           std::set<uint16_t> codes) {
        return {ssid, 0, 0, 0, {{bssid, std::move(codes)}}};
    }
    // The keys of a map, or the BSSIDs of a list, joined by blanks.
    template <class T>
    static std::string part(const std::pair<const std::string_view, T>& entry) {
        return std::string(entry.first);
    }
    static std::string part(const BssidInfo& info) { return std::string(info.bssid); }
    template <class Container>
    static std::string join(const Container& c) {
        std::string out;
        for (const auto& e : c) {
            out += (out.empty() ? "" : " ") + part(e);
        }
        return out;
    }
    std::string filter(std::list<MeasurementRequestReport> reports) {
        scan.filterData(reports);
        return join(scan.matches);
    }
    WifiScanResult scan;
};

// A hidden network's empty SSID column takes the next row's BSSID as SSID, and the next row is
// read one column to the left (its flags become its level, 0); the first line of a key wins.
TEST_F(ScanResultTest, ScanTableRowsFirstLineWinsAndMovingEmptiesTheSource) {
    WifiScanResult r = WifiParser::getInstance()->parseScanData(
        "bssid / frequency / signal level / flags / ssid\n"
        "02:00:00:00:0a:00\t2412\t-50\t[ESS]\t\n"
        "02:00:00:00:0b:00\t2437\t-60\t[WPA2-PSK-CCMP][ESS]\tNet\\x00\n");
    EXPECT_EQ(join(r.byFreqBssidSsid),
              "-60&2437&02:00:00:00:0b:00 2412&02:00:00:00:0a:00&02:00:00:00:0b:00");
    EXPECT_EQ(r.byBssid.at("2437&-60").level, 0);
    scan.addData("a1", "2412", -99, "Home");
    scan.addData("a1", "2437", -98, "Home");
    EXPECT_EQ(scan.byFreqBssidSsid.at("2412&a1&Home").level + scan.byBssid.at("a1&24ghtz").level +
                  scan.byBssid.at("a1&2437").level,
              -40 - 40 - 98);
    filter({report("AnySSID", kAny, {ANY_CHANNEL})});
    scan.ssidBssids["Home"].insert("a1");
    r = std::move(scan);  // the source is left with six empty containers
    // NOLINTNEXTLINE(bugprone-use-after-move)
    EXPECT_TRUE(scan.byFreqBssidSsid.empty() && scan.byBssid.empty() && scan.byFreqOrBand.empty());
    EXPECT_TRUE(scan.matches.empty() && scan.reportBySsid.empty() && scan.ssidBssids.empty());
    const WifiScanResult constructed(std::move(r));
    // Nothing of what the target held before stays.
    EXPECT_EQ(constructed.byBssid.count("2437&-60") + constructed.matches.size() +
                  constructed.ssidBssids.size(),
              6U);
    // NOLINTNEXTLINE(bugprone-use-after-move)
    EXPECT_TRUE(r.byBssid.empty() && r.ssidBssids.empty());
}

TEST_F(ScanResultTest, KeysByFrequencyBssidAndBand) {
    // frequency text, then the keys of byBssid | byFreqOrBand
    using F = std::pair<const char*, const char*>;
    for (const auto& [freq, want] :
         {F{"2412", "b&2412 b&24ghtz|2412&b 24ghtz&b"},
          F{"3657", "b&3657 b&36ghtz|3657&b 36ghtz&b"},
          F{"3692", "b&3692 b&36ghtz|3692&b 36ghtz&b"}, F{"5035", "b&5035 b&5ghtz|5035&b 5ghtz&b"},
          F{"5825", "b&5825 b&5ghtz|5825&b 5ghtz&b"},
          F{"67948", "b&24ghtz b&67948|24ghtz&b 67948&b"}, F{"2300", "b& b&2300|&b 2300&b"},
          F{"5826", "b& b&5826|&b 5826&b"}, F{"", "b&|&b"}, F{"0", "b&0|0&b"}, F{"x", "b&x|x&b"}}) {
        WifiScanResult r;
        r.addData("b", freq, -1, "S");
        EXPECT_EQ(join(r.byBssid) + "|" + join(r.byFreqOrBand), want) << freq;
        EXPECT_EQ(join(r.byFreqBssidSsid), std::string(freq) + "&b&S");
    }
}

TEST_F(ScanResultTest, ChannelAndBssidSelection) {
    struct C {
        const char* bssid;
        std::set<uint16_t> codes;
        const char* matches;  // in the order of the hits' SSID & BSSID keys
    };
    for (const auto& [bssid, codes, want] :
         {C{kAny, {ANY_CHANNEL}, "a5 a1 a2 a4 a3"}, C{kAny, {1}, "a5 a1 a2 a4"},
          C{kAny, {2437}, "a2"}, C{kAny, {2}, ""}, C{"a3", {3}, "a3"}, C{"a3", {5180}, "a3"},
          C{"a3", {1, 2412}, ""}, C{"a3", {ANY_CHANNEL}, "a3"}, C{"a5", {1}, "a5"},
          C{"a5", {2412}, ""}, C{"a3", {}, ""}}) {
        WifiScanResult r;
        fill(r);
        std::list<MeasurementRequestReport> reports = {report("AnySSID", bssid, codes)};
        r.filterData(reports);
        EXPECT_EQ(join(r.matches), want) << bssid << " " << codes.size();
    }
    EXPECT_THAT(logs("src/WifiScanResult"),
                ylmtest::Contains("1 WifiScanResult::findPartialKey  AnySSID a3 2412").Times(1));
    filter({report("AnySSID", kAny, {ANY_CHANNEL})});
    EXPECT_EQ(join(scan.reportBySsid), "Far Home HomeNet Home~x Office");  // each under its own
}

TEST_F(ScanResultTest, SsidGroupsByPrefixFirstGroupWinsAndTheDump) {
    EXPECT_EQ(filter({report("Home", kAny, {ANY_CHANNEL}), report("Home", "a1", {1}),
                      report("Office", "a2", {2437}), report("AnySSID", "a3", {3}),
                      report("Nope", "a1", {2412}), report("Nowhere", "zz", {ANY_CHANNEL})}),
              "a1 a2 a1 a3");
    // HomeNet is filed under Home; a group once made is kept; no hit at all makes no group.
    EXPECT_EQ(transcript("src/WifiScanResult", 0, true),
              "198 1 WifiScanResult::findPartialKey  Home ff:ff:ff:ff:ff:ff 65535; "
              "198 1 WifiScanResult::findPartialKey  Home a1 1; "
              "198 1 WifiScanResult::findPartialKey  Office a2 2437; "
              "198 1 WifiScanResult::findPartialKey  AnySSID a3 3; "
              "198 1 WifiScanResult::findPartialKey  Nope a1 2412; "
              "198 1 WifiScanResult::findPartialKey  Nowhere zz 65535; "
              "243 1 dumpReport after filterData; 254 1 ssid :Home; 255 1 bssid lsit length :2; "
              "261 1 RawMeasurement bssid channel a1  2412  -40; "
              "261 1 RawMeasurement bssid channel a2  2437  -50; "
              "254 1 ssid :Nope; 255 1 bssid lsit length :0; "
              "254 1 ssid :Office; 255 1 bssid lsit length :1; "
              "261 1 RawMeasurement bssid channel a3  5180  -60; ");
}

}  // namespace
