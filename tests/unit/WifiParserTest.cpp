// Daemon replies into records (status, signal poll, AP/P2P/hostapd, BSS and scan replies) and the
// MAC, octet and BCD text helpers.
#include "EmuFixture.h"
#include "WifiParser.h"

namespace {

using ylmtest::fixture;
using P = WifiInformationElementParser;
constexpr const char* kFile = "src/WifiParser";

// The text fields and numbers of a record in one line, for table comparisons.
std::string str(const WifiStatus& s) {
    return s.ssid + "|" + s.bssid + "|" + s.address + "|" + s.mode + "|" + s.wpaState + "|" +
           std::to_string(s.freq) + "|" + std::to_string(s.rssi) + "|" + s.ipAddress;
}
std::string str(const BssLoad& l) {
    return std::to_string(l.reservedA) + " " + std::to_string(l.channelUtilization) + " " +
           std::to_string(l.reservedB) + " " + std::to_string(l.channelWidth) + " " +
           std::to_string(l.vhtSegment1);
}
std::string firstKeys(const WifiScanResult& r) {
    std::string out;
    for (const auto& e : r.byFreqBssidSsid) {
        out += e.first + ";";
    }
    return out;
}

class WifiParserTest : public ylmtest::EmuTest {
  protected:
    bool logged(int level, const std::string& text) const {
        return EmuTest::logged(level, 10357, kFile, text);
    }
    WifiParser& parser = *WifiParser::getInstance();
};

TEST_F(WifiParserTest, StatusRepliesFillNamedFieldsOnly) {
    const std::pair<const char*, const char*> cases[] = {
        {"sta-status.txt",
         "testbed-2g|02:00:00:00:03:00|02:00:00:00:00:00|station|COMPLETED|2437|-40|old"},
        {"sta-status-verbose.txt",
         "testbed-2g|02:00:00:00:03:00|02:00:00:00:00:00|station|COMPLETED|2437|-40|old"},
        {"sta-status-with-p2p.txt",
         "testbed-2g|02:00:00:00:03:00|02:00:00:00:00:00|station|COMPLETED|2437|-40|old"},
        {"sta5-status.txt",
         "testbed-5g|02:00:00:00:04:00|02:00:00:00:01:00|station|COMPLETED|5180|-40|old"},
        {"sta-he-status.txt",
         "testbed-he|02:00:00:00:05:00|02:00:00:00:02:00|station|COMPLETED|5745|-40|old"},
        {"p2p-status.txt",
         "DIRECT-4m|06:00:00:00:00:00|06:00:00:00:00:00|P2P GO|COMPLETED|2437|-40|old"},
        {"p2p-dev-status.txt", "old|old|42:00:00:00:00:00|old|DISCONNECTED|1|-40|old"}};
    for (const auto& [file, want] : cases) {
        WifiStatus s;
        s.ssid = s.bssid = s.mode = s.ipAddress = "old";
        s.freq = 1;
        s.rssi = -40;
        parser.parseStatusCmdData(fixture(file).c_str(), s);
        EXPECT_EQ(str(s), want) << file;
    }
    EXPECT_TRUE(logged(0, "Ignoring key: wifi_generation "));
    EXPECT_EQ(&parser, WifiParser::getInstance());
}

TEST_F(WifiParserTest, ValueEndsAtEqualsOrNewlineAndIsStoredVerbatim) {
    WifiStatus s;
    parser.parseStatusCmdData("ssid=a=b\nfreq=2412", s);
    EXPECT_EQ(str(s), "a|||||0|0|");
    EXPECT_TRUE(logged(0, "Ignoring key: b\nfreq "));

    parser.parseStatusCmdData("freq=70000\nssid=caf\\xc3\\xa9 \\\"x\\\"\nwpa_state", s);
    EXPECT_EQ(str(s), "caf\\xc3\\xa9 \\\"x\\\"|||||4464|0|");
    EXPECT_TRUE(logged(1, "Value is null for key: wpa_state"));
}

TEST_F(WifiParserTest, SignalPollLogsItsPreambleAndReadsRssiAndFrequency) {
    WifiStatus s;
    parser.parseSignalPollCmdData("", s);
    const std::vector<std::string> preamble = {"parseSignalPollCmdData sizeof: 4",
                                               "signalPollData: "};
    EXPECT_EQ(logTexts(kFile), preamble);

    for (const auto& [file, want] : {std::pair{"sta-signal-poll.txt", "|||||2437|-20|"},
                                     std::pair{"sta5-signal-poll.txt", "|||||5180|-27|"},
                                     std::pair{"sta-he-signal-poll.txt", "|||||5745|-20|"}}) {
        const std::string reply = fixture(file);
        parser.parseSignalPollCmdData(reply.c_str(), s);
        EXPECT_EQ(str(s), want);
        EXPECT_TRUE(logged(1, "signalPollData: " + reply));
    }
    EXPECT_TRUE(logged(1, "Ignoring key: LINKSPEED"));
    parser.parseSignalPollCmdData("RSSI=-67\nNOISE", s);
    EXPECT_EQ(s.rssi, -67);
    EXPECT_TRUE(logged(1, "Value is null for key: NOISE"));
}

TEST_F(WifiParserTest, AccessPointAndP2pRepliesDifferInTheirBssidKey) {
    for (const auto& [file, ssid, bssid, freq] :
         {std::tuple{"hostapd-status.txt", "testbed-2g", "02:00:00:00:03:00", "2437"},
          std::tuple{"hostapd-5g-status.txt", "testbed-5g", "02:00:00:00:04:00", "5180"},
          std::tuple{"hostapd-he-status.txt", "testbed-he", "02:00:00:00:05:00", "5745"}}) {
        const std::string ap = fixture(file);
        WifiStatus s;
        parser.parseApStatusCmdData(ap.c_str(), s);
        EXPECT_EQ(str(s), std::string(ssid) + "|" + bssid + "||||" + freq + "|0|");
        // The soft AP's own BSSID is its address; a trailing key without value is silent.
        s = parser.hostapdStatus((ap + "ssid[0]\n").c_str());
        EXPECT_EQ(str(s), std::string(ssid) + "||" + bssid + "|||" + freq + "|0|");
    }
    WifiStatus p;
    parser.parseP2pStatusCmdData(fixture("p2p-status.txt").c_str(), p);
    EXPECT_EQ(str(p), "|06:00:00:00:00:00||||2437|0|");  // the group names it "ssid", not "ssid[0]"
    parser.parseP2pStatusCmdData("ssid[0]=DIRECT-4m\nbssid[0]=x\nfreq", p);
    EXPECT_EQ(str(p), "DIRECT-4m|06:00:00:00:00:00||||2437|0|");
    EXPECT_TRUE(logTexts(kFile).empty());  // these three parsers are silent
}

TEST_F(WifiParserTest, NullRepliesLeaveTheRecordAlone) {
    WifiStatus s;
    s.ssid = "kept";
    BssLoad load{1, 2, 3, 4, 5};
    parser.parseStatusCmdData(nullptr, s);
    parser.parseSignalPollCmdData(nullptr, s);
    parser.parseApStatusCmdData(nullptr, s);
    parser.parseP2pStatusCmdData(nullptr, s);
    parser.parseBssCmdWifiInfo(nullptr, s);
    parser.parseBssLoadCmdData(nullptr, load);
    EXPECT_EQ(countLog("rspData is NULL"), 6u);
    EXPECT_TRUE(logged(4, "rspData is NULL"));
    EXPECT_EQ(str(s), "kept|||||0|0|");
    EXPECT_EQ(str(load), "1 2 3 4 5");
    EXPECT_EQ(str(parser.hostapdStatus(nullptr)), "|||||0|0|");
    EXPECT_TRUE(parser.parseScanData(nullptr).byBssid.empty());
    EXPECT_EQ(countLog("a_tag_list is NULL"), 2u);
}

TEST_F(WifiParserTest, BssRepliesGiveModeHessidCountryAndLoad) {
    // These APs' HT Operation octet 2 is 0, so every width reads 20 MHz, VHT80 included.
    const std::tuple<const char*, uint16_t, const char*, const char*> cases[] = {
        {"sta-bss-ap5g.txt", 5180, "7 02:00:00:00:04:00 US", "0 30 0 20000 0"},
        {"sta5-bss-ap5g.txt", 5180, "7 02:00:00:00:04:00 US", "0 0 0 20000 0"},
        {"sta-bss-ap2g.txt", 2437, "5 02:00:00:00:03:00 US", "0 0 0 20000 0"},
        {"sta-bss-aphe.txt", 5745, "7  US", "0 30 0 20000 0"},
        {"sta-he-bss-aphe.txt", 5745, "7  US", "0 0 0 20000 0"},
        {"sta5-bss-p2p-go.txt", 2437, "5  ", "0 65535 0 20000 0"},
        // Hand-written: no "ie", only a vendor element, a hidden SSID first, 2.4 GHz HT40.
        {"id=1\nbssid=02:00:00:00:03:00\n", 0, "-1  ", "0 65535 0 0 0"},
        {"ie=dd050050f20201\n", 0, "-1  ", "0 65535 0 20000 0"},
        {"ie=0000010882848b96\n", 0, "-1  ", "0 65535 0 20000 0"},
        {"ie=0b050000140000\nie=3d1606000500000000000000000000000000000000000000\nflags", 2437,
         "5  ", "0 20 0 40000 0"}};
    for (const auto& [reply, freq, info, load] : cases) {
        const std::string text =
            std::string(reply).find('=') == std::string::npos ? fixture(reply) : std::string(reply);
        WifiStatus s;
        s.freq = freq;
        s.hessid = s.countryCode = "old";
        parser.parseBssCmdWifiInfo(text.c_str(), s);
        EXPECT_EQ(std::to_string(s.wifiMode) + " " + s.hessid + " " + s.countryCode, info);
        BssLoad l{0, 1, 0, 2, 3};
        parser.parseBssLoadCmdData(text.c_str(), l);
        EXPECT_EQ(str(l), load) << reply;
    }
    EXPECT_TRUE(logged(1, "Ignoring key: beacon_ie"));
    EXPECT_TRUE(logged(1, "Value is null for key: flags"));
    EXPECT_TRUE(logged(1, "Parsed ie channel Utilization : 30"));
    EXPECT_TRUE(logged(1, "getHESSIDInfo: Returned HESSID: 02:00:00:00:04:00"));
    EXPECT_TRUE(logged(1, "getCountryCode: Returned countryCode: US"));
}

TEST_F(WifiParserTest, WifiModeFromElements) {
    auto rates = [](std::vector<int> r, bool extended = false) -> P::InformationElement* {
        auto* e = extended ? new P::ExtendedSupportedRateElement() : new P::SupportedRateElement();
        e->rates = std::move(r);
        return e;
    };
    struct Case {
        WifiParser::ElementMap map;
        unsigned short freq;
        int mode;
    };
    std::vector<Case> cases = {
        {{{192, new P::VHTOperationElement()}, {1, rates({54000000})}}, 2412, 7},
        {{{61, new P::HTOperationElement()}, {42, new P::ERPElement()}}, 5180, 5},
        {{{42, new P::ERPElement()}}, 5180, 3},
        {{{1, rates({1000000})}}, 5200, 1},
        {{{1, rates({6000000, 54000000})}}, 2412, 3},
        {{{1, rates({54000000, 11000000})}}, 2412, 2},  // the last entry counts, not the largest
        {{{1, rates({11000000})}, {50, rates({24000000}, true)}}, 2412, 3},
        {{{1, rates({})}, {50, rates({12000000}, true)}}, 2412, 2},
        {{{50, rates({54000000}, true)}}, 2412, -1},
        {{}, 2412, -1}};
    for (Case& c : cases) {
        EXPECT_EQ(parser.getWifiMode(c.map, c.freq), c.mode);
        for (auto& e : c.map) {
            delete e.second;
        }
    }
    EXPECT_TRUE(logged(1, " Frequency is greater than 3000"));
    EXPECT_TRUE(logged(1, "Found ExtendedSupportedRate Element in wifiInfoMap"));
}

TEST_F(WifiParserTest, ScanTableRowsAndTheEmptySsidShift) {
    WifiScanResult r = parser.parseScanData(fixture("sta-scan-results.txt").c_str());
    EXPECT_EQ(firstKeys(r),
              "2437&02:00:00:00:03:00&testbed-2g;5180&02:00:00:00:04:00&testbed-5g;"
              "5745&02:00:00:00:05:00&testbed-he;");
    EXPECT_EQ(r.byBssid.at("02:00:00:00:04:00&5180").level, -27);
    r = parser.parseScanData(fixture("sta5-scan-results-with-p2p.txt").c_str());
    EXPECT_EQ(r.byBssid.at("06:00:00:00:00:00&24ghtz").ssid, "DIRECT-4m");
    EXPECT_TRUE(parser.parseScanData("bssid / frequency / signal level / flags / ssid\n")
                    .byFreqBssidSsid.empty());

    // A hidden network's empty SSID column takes the next row's BSSID as SSID, and the next row
    // is read one column to the left (its flags become its level, 0).
    r = parser.parseScanData(
        "bssid / frequency / signal level / flags / ssid\n"
        "02:00:00:00:0a:00\t2412\t-50\t[ESS]\t\n"
        "02:00:00:00:0b:00\t2437\t-60\t[WPA2-PSK-CCMP][ESS]\tNet\\x00\n");
    EXPECT_EQ(firstKeys(r), "-60&2437&02:00:00:00:0b:00;2412&02:00:00:00:0a:00&02:00:00:00:0b:00;");
    EXPECT_EQ(r.byBssid.at("2437&-60").level, 0);
}

TEST_F(WifiParserTest, MacAndOctetText) {
    unsigned char mac[6] = {0x02, 0x00, 0x00, 0x00, 0x0a, 0xff};
    char* text = WifiParser::MacAddressToString(mac);
    EXPECT_STREQ(text, "02:00:00:00:0a:ff");
    EXPECT_EQ(WifiParser::MacAddressToString(nullptr), text);  // one shared buffer
    EXPECT_STREQ(text, "");

    parser.StringToMac(mac, "6:00:0:00:4:A00");
    EXPECT_STREQ(WifiParser::MacAddressToString(mac), "06:00:00:00:04:00");
    for (const char* bad : {"02:00:00:00:04", "zz:00:00:00:00:00", "", (const char*)nullptr}) {
        parser.StringToMac(mac, bad);
    }
    EXPECT_STREQ(WifiParser::MacAddressToString(mac), "06:00:00:00:04:00");
    EXPECT_EQ(countLog("Malformed mac address!"), 4u);

    parser.getBSSID(mac, "02:00::00:00:04");  // five fields: octet 5 stays
    EXPECT_STREQ(WifiParser::MacAddressToString(mac), "02:00:00:00:04:00");
    EXPECT_TRUE(logged(4, "extract failed"));
    EXPECT_TRUE(logged(4, "BSSID conversion failed"));
    EXPECT_TRUE(logged(1, "bssid extractOctetStr p: 02:00::00:00:04 index:5 length:6"));
    parser.getBSSID(mac, "0-:11:22:33:AB:cdef");
    EXPECT_STREQ(WifiParser::MacAddressToString(mac), "00:11:22:33:ab:cd");
    EXPECT_TRUE(logged(4, "Malformed octet data!"));
    EXPECT_TRUE(logged(1, "bssid octet 4 = 0xab"));
    parser.getBSSID(mac, nullptr);
    EXPECT_TRUE(logged(4, "Invalid parameter"));

    unsigned char out[3] = {'x', 'x', 'x'};
    EXPECT_TRUE(parser.extractOctetStr("aa:", 1, 6, ':', out));  // never reads past the end
    EXPECT_STREQ(reinterpret_cast<char*>(out), "");
    EXPECT_FALSE(parser.extractOctetStr("", 0, 6, ':', out));
    EXPECT_FALSE(parser.extractOctetStr("aa", 1, 6, ':', out));
    EXPECT_FALSE(parser.extractOctetStr("aa", 6, 6, ':', out));

    for (const auto& [octet, value] :
         {std::pair{"", 0}, std::pair{"A0", 160}, std::pair{"fF", 255}, std::pair{"7", 0x70},
          std::pair{"zz", 83}, std::pair{"abc", 0xc0}, std::pair{"1 ", 0}}) {
        EXPECT_EQ(parser.genNumericOctet(octet), value) << octet;
    }
}

TEST_F(WifiParserTest, BcdDigitsLowNibbleFirst) {
    unsigned char octets[10] = {0x21, 0x43, 0xA5, 0x1B, 0x99, 0x99, 0x99, 0x99, 0x99, 0x99};
    char* text = WifiParser::BCDToString(octets, 2);
    EXPECT_STREQ(text, "1234");
    EXPECT_STREQ(WifiParser::BCDToString(octets, 4), "12345001");
    EXPECT_TRUE(logged(4, "Invalid upper nibble in octet 10"));  // the nibble, not the index
    EXPECT_TRUE(logged(4, "Invalid lower nibble in octet 11"));
    EXPECT_STREQ(WifiParser::BCDToString(octets, 0), "");
    EXPECT_EQ(WifiParser::BCDToString(octets, 255), text);
    EXPECT_STREQ(text, "12345001999999999999");
    EXPECT_TRUE(logged(4, "BCD octet count 255 clamped to 10"));
}

}  // namespace
