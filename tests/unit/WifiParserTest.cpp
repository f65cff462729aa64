// Daemon replies into records: status, signal poll, AP/P2P/hostapd, BSS and scan replies, and the
// MAC, octet and BCD text helpers.
#include <functional>

#include "EmuFixture.h"
#include "WifiParser.h"

namespace {

using ylmtest::fixture;
using P = WifiInformationElementParser;
constexpr const char* kFile = "src/WifiParser";
constexpr int kModule = 10357;

class WifiParserTest : public ylmtest::EmuTest {
  protected:
    bool logged(int level, const std::string& text) const {
        return EmuTest::logged(level, kModule, kFile, text);
    }
    WifiParser& parser = *WifiParser::getInstance();
};

TEST_F(WifiParserTest, StatusReplyFillsNamedFieldsOnly) {
    WifiStatus s;
    s.rssi = -40;
    s.ipAddress = "10.0.0.2";
    parser.parseStatusCmdData(fixture("sta-status.txt").c_str(), s);
    EXPECT_EQ(s.ssid, "testbed-2g");
    EXPECT_EQ(s.bssid, "02:00:00:00:03:00");
    EXPECT_EQ(s.address, "02:00:00:00:00:00");
    EXPECT_EQ(s.mode, "station");
    EXPECT_EQ(s.wpaState, "COMPLETED");
    EXPECT_EQ(s.freq, 2437);
    EXPECT_EQ(s.rssi, -40);  // a second parser's fields survive
    EXPECT_EQ(s.ipAddress, "10.0.0.2");
    EXPECT_TRUE(logged(0, "Ignoring key: wifi_generation "));
    EXPECT_EQ(&parser, WifiParser::getInstance());

    parser.parseStatusCmdData(fixture("p2p-status.txt").c_str(), s);
    EXPECT_EQ(s.mode, "P2P GO");
    EXPECT_EQ(s.ssid, "DIRECT-4m");
}

TEST_F(WifiParserTest, ValueEndsAtEqualsOrNewlineAndIsStoredVerbatim) {
    WifiStatus s;
    s.freq = 5;
    parser.parseStatusCmdData("ssid=a=b\nfreq=2412", s);
    EXPECT_EQ(s.ssid, "a");
    EXPECT_EQ(s.freq, 5);
    EXPECT_TRUE(logged(0, "Ignoring key: b\nfreq "));

    parser.parseStatusCmdData("freq=70000\nssid=caf\\xc3\\xa9 \\\"x\\\"\nwpa_state", s);
    EXPECT_EQ(s.freq, 4464);
    EXPECT_EQ(s.ssid, "caf\\xc3\\xa9 \\\"x\\\"");
    EXPECT_TRUE(logged(1, "Value is null for key: wpa_state"));
}

TEST_F(WifiParserTest, SignalPollLogsItsPreambleAndReadsRssiAndFrequency) {
    WifiStatus s;
    parser.parseSignalPollCmdData("", s);
    const std::vector<std::string> preamble = {"parseSignalPollCmdData sizeof: 4",
                                               "signalPollData: "};
    EXPECT_EQ(logTexts(kFile), preamble);

    const std::string reply = fixture("sta5-signal-poll.txt");
    parser.parseSignalPollCmdData(reply.c_str(), s);
    EXPECT_EQ(s.rssi, -27);
    EXPECT_EQ(s.freq, 5180);
    EXPECT_TRUE(logged(1, "signalPollData: " + reply));
    EXPECT_TRUE(logged(1, "Ignoring key: LINKSPEED"));
    parser.parseSignalPollCmdData("RSSI=-67\nNOISE", s);
    EXPECT_EQ(s.rssi, -67);
    EXPECT_TRUE(logged(1, "Value is null for key: NOISE"));
}

TEST_F(WifiParserTest, AccessPointAndP2pRepliesDifferInTheirBssidKey) {
    const std::string ap = fixture("hostapd-status.txt");
    WifiStatus s;
    parser.parseApStatusCmdData(ap.c_str(), s);
    EXPECT_EQ(s.ssid, "testbed-2g");
    EXPECT_EQ(s.bssid, "02:00:00:00:03:00");
    EXPECT_EQ(s.freq, 2437);

    const WifiStatus h = parser.hostapdStatus((ap + "ssid[0]\n").c_str());
    EXPECT_EQ(h.ssid, "testbed-2g");
    EXPECT_EQ(h.address, "02:00:00:00:03:00");  // the AP's own BSSID is its address
    EXPECT_EQ(h.bssid, "");
    EXPECT_EQ(h.freq, 2437);

    WifiStatus p;
    parser.parseP2pStatusCmdData(fixture("p2p-status.txt").c_str(), p);
    EXPECT_EQ(p.bssid, "06:00:00:00:00:00");
    EXPECT_EQ(p.freq, 2437);
    EXPECT_EQ(p.ssid, "");  // the group status names it "ssid", not "ssid[0]"
    parser.parseP2pStatusCmdData("ssid[0]=DIRECT-4m\nbssid[0]=x\nfreq", p);
    EXPECT_EQ(p.ssid, "DIRECT-4m");
    EXPECT_EQ(p.bssid, "06:00:00:00:00:00");
    EXPECT_TRUE(logTexts(kFile).empty());  // these three are silent
}

TEST_F(WifiParserTest, NullRepliesLeaveTheRecordAlone) {
    WifiStatus s;
    s.ssid = "kept";
    BssLoad load{};
    load.channelUtilization = 7;
    const std::vector<std::function<void()>> calls = {
        [&] { parser.parseStatusCmdData(nullptr, s); },
        [&] { parser.parseSignalPollCmdData(nullptr, s); },
        [&] { parser.parseApStatusCmdData(nullptr, s); },
        [&] { parser.parseP2pStatusCmdData(nullptr, s); },
        [&] { parser.parseBssCmdWifiInfo(nullptr, s); },
        [&] { parser.parseBssLoadCmdData(nullptr, load); }};
    for (const auto& call : calls) {
        call();
    }
    EXPECT_EQ(countLog("rspData is NULL"), calls.size());
    EXPECT_TRUE(logged(4, "rspData is NULL"));
    EXPECT_EQ(s.ssid, "kept");
    EXPECT_EQ(load.channelUtilization, 7);
    EXPECT_EQ(parser.hostapdStatus(nullptr).ssid, "");
    EXPECT_TRUE(parser.parseScanData(nullptr).byBssid.empty());
    EXPECT_EQ(countLog("a_tag_list is NULL"), 2u);
}

TEST_F(WifiParserTest, BssRepliesGiveModeHessidCountryAndLoad) {
    struct Case {
        const char* file;
        uint16_t freq;
        int mode;
        const char* hessid;
        const char* country;
        uint16_t utilisation;
    };
    // The APs' HT Operation octet 2 is 0, so every width reads 20 MHz, VHT80 included.
    for (const Case& c : {Case{"sta-bss-ap5g.txt", 5180, 7, "02:00:00:00:04:00", "US", 30},
                          Case{"sta-bss-ap2g.txt", 2437, 5, "02:00:00:00:03:00", "US", 0},
                          Case{"sta-he-bss-aphe.txt", 5745, 7, "", "US", 0},
                          Case{"sta5-bss-p2p-go.txt", 2437, 5, "", "", 65535}}) {
        const std::string reply = fixture(c.file);
        WifiStatus s;
        s.freq = c.freq;
        parser.parseBssCmdWifiInfo(reply.c_str(), s);
        EXPECT_EQ(s.wifiMode, c.mode) << c.file;
        EXPECT_EQ(s.hessid, c.hessid) << c.file;
        EXPECT_EQ(s.countryCode, c.country) << c.file;
        BssLoad load{};
        parser.parseBssLoadCmdData(reply.c_str(), load);
        EXPECT_EQ(load.channelUtilization, c.utilisation) << c.file;
        EXPECT_EQ(load.channelWidth, 20000) << c.file;
        EXPECT_EQ(load.vhtSegment1, 0) << c.file;
    }
    EXPECT_TRUE(logged(1, "Ignoring key: beacon_ie"));
    EXPECT_TRUE(logged(1, "Parsed ie channel Utilization : 30"));
    EXPECT_TRUE(logged(1, "getHESSIDInfo: Returned HESSID: 02:00:00:00:04:00"));
    EXPECT_TRUE(logged(1, "getCountryCode: Returned countryCode: US"));
}

TEST_F(WifiParserTest, BssRepliesWithoutKnownElements) {
    // 2.4 GHz HT40 (secondary channel above): octet 2 = 0x05.
    const std::string ht40 = "3d16060005" + std::string(38, '0');
    struct Case {
        std::string reply;
        int mode;
        uint16_t width;
    };
    for (const Case& c :
         {Case{"id=1\nbssid=02:00:00:00:03:00\n", -1, 0}, Case{"ie=dd050050f20201\n", -1, 20000},
          Case{"ie=0000010882848b96\n", -1, 20000},  // hidden SSID ends the walk
          Case{"ie=" + ht40 + "\nflags", 5, 40000},
          Case{"ie=0b050000140000\nie=" + ht40 + "\n", 5, 40000}}) {
        WifiStatus s;
        s.hessid = s.countryCode = "old";
        parser.parseBssCmdWifiInfo(c.reply.c_str(), s);
        EXPECT_EQ(s.wifiMode, c.mode) << c.reply;
        EXPECT_EQ(s.hessid, "") << c.reply;
        EXPECT_EQ(s.countryCode, "") << c.reply;
        BssLoad load{3, 5, 4, 7, 9};
        parser.parseBssLoadCmdData(c.reply.c_str(), load);
        EXPECT_EQ(load.channelWidth, c.width) << c.reply;
        EXPECT_EQ(load.reservedA, 3);
        EXPECT_EQ(load.reservedB, 4);
    }
    BssLoad load{};
    parser.parseBssLoadCmdData("ie=0b050000140000\nie=0b050000280000\n", load);
    EXPECT_EQ(load.channelUtilization, 40);
    EXPECT_TRUE(logged(1, "Value is null for key: flags"));
}

TEST_F(WifiParserTest, WifiModeFromElements) {
    auto rates = [](std::vector<int> r, bool extended = false) {
        auto* e = extended ? new P::ExtendedSupportedRateElement() : new P::SupportedRateElement();
        e->rates = std::move(r);
        return static_cast<P::InformationElement*>(e);
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
    EXPECT_EQ(parser.getHESSIDInfo({}), "");
    EXPECT_TRUE(logged(1, "getHESSIDInfo: Returned HESSID: "));
}

TEST_F(WifiParserTest, ScanTableRowsAndTheEmptySsidShift) {
    WifiScanResult r = parser.parseScanData(fixture("sta5-scan-results-with-p2p.txt").c_str());
    EXPECT_EQ(r.byFreqBssidSsid.size(), 4u);
    const BssidInfo& go = r.byBssid.at("06:00:00:00:00:00&24ghtz");
    EXPECT_EQ(go.ssid, "DIRECT-4m");
    EXPECT_EQ(go.level, -20);
    EXPECT_EQ(r.byFreqOrBand.at("5ghtz&02:00:00:00:04:00").ssid, "testbed-5g");
    EXPECT_TRUE(parser.parseScanData("bssid / frequency / signal level / flags / ssid\n")
                    .byFreqBssidSsid.empty());

    // A hidden network's empty SSID column takes the next row's BSSID, and that row is read
    // one column to the left.
    const char* hidden =
        "bssid / frequency / signal level / flags / ssid\n"
        "02:00:00:00:0a:00\t2412\t-50\t[ESS]\t\n"
        "02:00:00:00:0b:00\t2437\t-60\t[WPA2-PSK-CCMP][ESS]\tNet\\x00\n";
    r = parser.parseScanData(hidden);
    std::vector<std::string> keys;
    for (const auto& e : r.byFreqBssidSsid) {
        keys.push_back(e.first);
        EXPECT_EQ(e.second.ssid, "02:00:00:00:0b:00");
    }
    EXPECT_EQ(keys, (std::vector<std::string>{"-60&2437&02:00:00:00:0b:00",
                                              "2412&02:00:00:00:0a:00&02:00:00:00:0b:00"}));
    EXPECT_EQ(r.byBssid.at("2437&-60").level, 0);  // "[WPA2-PSK-CCMP][ESS]" read as the level
}

TEST_F(WifiParserTest, MacAndOctetText) {
    unsigned char mac[6] = {0x02, 0x00, 0x00, 0x00, 0x0a, 0xff};
    char* text = WifiParser::MacAddressToString(mac);
    EXPECT_STREQ(text, "02:00:00:00:0a:ff");
    EXPECT_EQ(WifiParser::MacAddressToString(nullptr), text);  // one shared buffer
    EXPECT_STREQ(text, "");

    parser.StringToMac(mac, "6:00:0:00:4:A00");
    EXPECT_EQ(std::vector<int>(mac, mac + 6), (std::vector<int>{6, 0, 0, 0, 4, 0}));
    for (const char* bad :
         {"02:00:00:00:04", "zz:00:00:00:00:00", "", static_cast<const char*>(nullptr)}) {
        parser.StringToMac(mac, bad);
    }
    EXPECT_EQ(mac[0], 6);
    EXPECT_EQ(countLog("Malformed mac address!"), 4u);

    unsigned char bssid[6] = {0x77, 0x77, 0x77, 0x77, 0x77, 0x77};
    parser.getBSSID(bssid, "02:00::00:00:04");  // five fields
    EXPECT_EQ(std::vector<int>(bssid, bssid + 6), (std::vector<int>{2, 0, 0, 0, 4, 0x77}));
    EXPECT_TRUE(logged(4, "extract failed"));
    EXPECT_TRUE(logged(4, "BSSID conversion failed"));
    EXPECT_TRUE(logged(1, "bssid extractOctetStr p: 02:00::00:00:04 index:5 length:6"));
    parser.getBSSID(bssid, "0-:11:22:33:AB:cdef");
    EXPECT_EQ(std::vector<int>(bssid, bssid + 6),
              (std::vector<int>{0, 0x11, 0x22, 0x33, 0xab, 0xcd}));
    EXPECT_TRUE(logged(4, "Malformed octet data!"));
    EXPECT_TRUE(logged(1, "bssid octet 4 = 0xab"));
    parser.getBSSID(bssid, nullptr);
    EXPECT_TRUE(logged(4, "Invalid parameter"));

    unsigned char out[3] = {'x', 'x', 'x'};
    EXPECT_TRUE(parser.extractOctetStr("abc", 0, 6, ':', out));
    EXPECT_STREQ(reinterpret_cast<char*>(out), "ab");
    EXPECT_TRUE(parser.extractOctetStr("aa:", 1, 6, ':', out));  // never reads past the end
    EXPECT_STREQ(reinterpret_cast<char*>(out), "");
    EXPECT_FALSE(parser.extractOctetStr("", 0, 6, ':', out));
    EXPECT_FALSE(parser.extractOctetStr("aa", 1, 6, ':', out));
    EXPECT_FALSE(parser.extractOctetStr("aa", 6, 6, ':', out));

    struct Case {
        const char* text;
        int value;
    };
    for (const Case& c : {Case{"", 0}, Case{"0a", 10}, Case{"A0", 160}, Case{"fF", 255},
                          Case{"7", 0x70}, Case{"zz", 83}, Case{"abc", 0xc0}, Case{"1 ", 0}}) {
        EXPECT_EQ(parser.genNumericOctet(c.text), c.value) << c.text;
    }
}

TEST_F(WifiParserTest, BcdDigitsLowNibbleFirst) {
    unsigned char octets[10] = {0x21, 0x43, 0xA5, 0x1B, 0x99, 0x99, 0x99, 0x99, 0x99, 0x99};
    char* text = WifiParser::BCDToString(octets, 2);
    EXPECT_STREQ(text, "1234");
    EXPECT_STREQ(WifiParser::BCDToString(octets, 4), "12345001");
    EXPECT_TRUE(logged(4, "Invalid upper nibble in octet 10"));
    EXPECT_TRUE(logged(4, "Invalid lower nibble in octet 11"));
    EXPECT_STREQ(WifiParser::BCDToString(octets, 0), "");
    EXPECT_EQ(WifiParser::BCDToString(octets, 255), text);
    EXPECT_STREQ(text, "12345001999999999999");
    EXPECT_TRUE(logged(4, "BCD octet count 255 clamped to 10"));
}

}  // namespace
