// Daemon replies into records (status, signal poll, AP/P2P/hostapd and BSS replies) and the MAC,
// octet and BCD text helpers.
#include "EmuFixture.h"
#include "WifiParser.h"

namespace {

using ylmtest::Contains;
using ylmtest::Strings;
using Parse = void (WifiParser::*)(const char*, WifiStatus&);
const Parse kStatus = &WifiParser::parseStatusCmdData, kPoll = &WifiParser::parseSignalPollCmdData,
            kAp = &WifiParser::parseApStatusCmdData, kP2p = &WifiParser::parseP2pStatusCmdData,
            kBss = &WifiParser::parseBssCmdWifiInfo;

// A genuine reply when the name holds no '=', else the reply as written.
std::string reply(const std::string& r) {
    return r.find('=') == std::string::npos ? ylmtest::fixture(r + ".txt") : r;
}
// The text fields and numbers of a record in one line.
std::string str(const WifiStatus& s) {
    return s.ssid + "|" + s.bssid + "|" + s.address + "|" + s.mode + "|" + s.wpaState + "|" +
           std::to_string(s.freq) + "|" + std::to_string(s.rssi) + "|" + s.ipAddress;
}
std::string str(const BssLoad& l) {
    return std::to_string(l.reservedA) + " " + std::to_string(l.channelUtilization) + " " +
           std::to_string(l.reservedB) + " " + std::to_string(l.channelWidth) + " " +
           std::to_string(l.vhtSegment1);
}

class WifiParserTest : public ylmtest::EmuTest {
  protected:
    // Each text was logged at this level.
    void expectLogged(int level, std::initializer_list<const char*> texts) {
        for (const char* text : texts) {
            EXPECT_THAT(logs("src/WifiParser"), Contains(std::to_string(level) + " " + text));
        }
    }
    WifiParser& parser = *WifiParser::getInstance();
};

TEST_F(WifiParserTest, KeyTablesFillTheirFieldsOnly) {
    const char* sta = "testbed-2g|02:00:00:00:03:00|02:00:00:00:00:00|station|COMPLETED|2437|-4|o";
    const std::tuple<Parse, const char*, const char*> cases[] = {
        {kStatus, "sta-status", sta},
        {kStatus, "p2p-status",
         "DIRECT-4m|06:00:00:00:00:00|06:00:00:00:00:00|P2P GO|COMPLETED|2437|-4|o"},
        {kStatus, "p2p-dev-status", "o|o|42:00:00:00:00:00|o|DISCONNECTED|1|-4|o"},
        // A value ends at '=' or a newline ("b\nfreq" is one key); stored verbatim, cut to 16 bits.
        {kStatus, "ip_address=10.0.0.9\nssid=a=b\nfreq=2412", "a|o|o|o|o|1|-4|10.0.0.9"},
        {kStatus, "freq=70000\nssid=caf\\xc3\\xa9 \\\"x\\\"",
         "caf\\xc3\\xa9 \\\"x\\\"|o|o|o|o|4464|-4|o"},
        {kPoll, "sta-signal-poll", "o|o|o|o|o|2437|-20|o"},
        {kPoll, "RSSI=-67", "o|o|o|o|o|1|-67|o"},
        {kAp, "hostapd-status", "testbed-2g|02:00:00:00:03:00|o|o|o|2437|-4|o"},
        {kP2p, "p2p-status", "o|06:00:00:00:00:00|o|o|o|2437|-4|o"},  // its SSID key is "ssid"
        {kP2p, "ssid[0]=DIRECT-4m\nbssid[0]=x", "DIRECT-4m|o|o|o|o|1|-4|o"}};
    for (const auto& [parse, text, want] : cases) {
        WifiStatus s;
        s.ssid = s.bssid = s.address = s.mode = s.wpaState = s.ipAddress = "o";
        s.freq = 1;
        s.rssi = -4;
        (parser.*parse)(reply(text).c_str(), s);
        EXPECT_EQ(str(s), want) << text;
    }
    // A new record each time; the soft AP's own BSSID is its address.
    EXPECT_EQ(str(parser.hostapdStatus(reply("hostapd-5g-status").c_str())),
              "testbed-5g||02:00:00:00:04:00|||5180|0|");
}

TEST_F(WifiParserTest, WhatEachReplyParserLogs) {
    // Records after each reply: station parsers, BSS load, hostapd, scan rows. None for no reply.
    const char* none = nullptr;
    using R = std::pair<const char*, const char*>;
    for (const auto& [text, want] :
         {R{"ie=dd0100\nssid[0]=a=b\nbare", "a|||||0|0| / 1 65535 3 20000 0 / a|||||0|0| / 1"},
          R{"", "kept|||||0|0| / 1 65535 3 0 0 / |||||0|0| / 0"},
          R{none, "kept|||||0|0| / 1 2 3 4 5 / |||||0|0| / 0"}}) {
        WifiStatus s;
        s.ssid = "kept";
        BssLoad load{1, 2, 3, 4, 5};
        for (Parse parse : {kStatus, kPoll, kAp, kP2p, kBss}) {
            (parser.*parse)(text, s);
        }
        parser.parseBssLoadCmdData(text, load);
        EXPECT_EQ(str(s) + " / " + str(load) + " / " + str(parser.hostapdStatus(text)) + " / " +
                      std::to_string(parser.parseScanData(text).byBssid.size()),
                  want);
    }
    EXPECT_EQ(transcript("src/WifiParser"),
              "0 Ignoring key: ie ; 0 Ignoring key: ssid[0] ; 1 Value is null for key: b\nbare; "
              "1 parseSignalPollCmdData sizeof: 4; 1 signalPollData: ie=dd0100\nssid[0]=a=b\nbare; "
              "1 Ignoring key: ie; 1 Ignoring key: ssid[0]; 1 Value is null for key: b\nbare; "
              "1 ie found: dd0100 \n; 1 Ignoring key: ssid[0]; 1 Value is null for key: b\nbare; "
              "1 ie found: dd0100; 1 Parsed ie channel Utilization : 65535; "
              "1 Ignoring key: ssid[0]; 1 Value is null for key: b\nbare; "
              "1 parseSignalPollCmdData sizeof: 4; 1 signalPollData: ; 4 rspData is NULL; "
              "4 rspData is NULL; 4 rspData is NULL; 4 rspData is NULL; 4 rspData is NULL; "
              "4 rspData is NULL; 4 a_tag_list is NULL; 4 a_tag_list is NULL; ");
}

TEST_F(WifiParserTest, BssRepliesGiveModeHessidCountryAndLoad) {
    const std::tuple<std::string, uint16_t, const char*, const char*> cases[] = {
        // These APs' HT Operation octet 2 is 0, so every width reads 20 MHz, VHT80 included.
        {"sta-bss-ap5g", 5180, "7 02:00:00:00:04:00 US", "0 30 0 20000 0"},
        {"sta5-bss-ap5g", 5180, "7 02:00:00:00:04:00 US", "0 0 0 20000 0"},
        {"sta-bss-ap2g", 2437, "5 02:00:00:00:03:00 US", "0 0 0 20000 0"},
        {"sta-bss-aphe", 5745, "7  US", "0 30 0 20000 0"},
        {"sta-he-bss-aphe", 5745, "7  US", "0 0 0 20000 0"},
        {"sta5-bss-p2p-go", 2437, "5  ", "0 65535 0 20000 0"},
        // No "ie", only a vendor element, a hidden SSID first, 2.4 GHz HT40 with the BSS load.
        {"id=1\nbssid=02:00:00:00:03:00\n", 0, "-1  ", "0 65535 0 0 0"},
        {"ie=dd050050f20201\n", 0, "-1  ", "0 65535 0 20000 0"},
        {"ie=0000010882848b96\n", 0, "-1  ", "0 65535 0 20000 0"},
        {"ie=0b050000140000\nie=3d16060005" + std::string(38, '0') + "\nflags", 2437, "5  ",
         "0 20 0 40000 0"},
        // VHT wins even on 2.4 GHz, then HT, ERP, from 3000 MHz; then the last rate of each list.
        {"ie=c005000000000001016c", 2412, "7  ", "0 65535 0 20000 0"},
        {"ie=2a01043d16" + std::string(44, '0'), 2412, "5  ", "0 65535 0 20000 0"},
        {"ie=2a0104010102", 5180, "3  ", "0 65535 0 20000 0"},
        {"ie=010102", 3000, "1  ", "0 65535 0 20000 0"},
        {"ie=01020c6c", 2412, "3  ", "0 65535 0 20000 0"},
        {"ie=01026c16", 2412, "2  ", "0 65535 0 20000 0"},  // the last, not the largest
        {"ie=010116320130", 2412, "3  ", "0 65535 0 20000 0"},
        {"ie=0101ff320118", 2412, "2  ", "0 65535 0 20000 0"},  // a rejected list counts as empty
        {"ie=32016c", 2412, "-1  ", "0 65535 0 20000 0"}};
    for (const auto& [text, freq, info, load] : cases) {
        WifiStatus s;
        s.freq = freq;
        s.hessid = s.countryCode = "old";
        parser.parseBssCmdWifiInfo(reply(text).c_str(), s);
        EXPECT_EQ(std::to_string(s.wifiMode) + " " + s.hessid + " " + s.countryCode, info) << text;
        BssLoad l{0, 1, 0, 2, 3};
        parser.parseBssLoadCmdData(reply(text).c_str(), l);
        EXPECT_EQ(str(l), load) << text;
    }
    expectLogged(
        1, {"Ignoring key: beacon_ie", "Value is null for key: flags",
            "Parsed ie channel Utilization : 30", "Found VHTOperation Element in wifiInfoMap",
            "Found HTOperation Element in wifiInfoMap", "Found ERP Element in wifiInfoMap",
            " Frequency is greater than 3000", "Found SupportedRate Element in wifiInfoMap",
            "Found ExtendedSupportedRate Element in wifiInfoMap",
            "Found Interworking Element in wifiInfoMap",
            "getHESSIDInfo: Returned HESSID: 02:00:00:00:04:00",
            "Found Country Element in wifiInfoMap", "getCountryCode: Returned countryCode: US"});
}

// The element map's readers know an element's class from the id the element gives, not from the
// key it is stored under: a caller's map with elements under each other's ids reads as empty.
TEST_F(WifiParserTest, ElementReadersGoByTheElementsOwnId) {
    using Ie = WifiInformationElementParser;
    Ie::CountryElement country;
    country.countryCode = "US";
    Ie::InterworkingElement interworking;
    interworking.hessid = "02:00:00:00:04:00";
    Ie::ExtendedSupportedRateElement extended;  // a rates element too, wherever it is kept
    extended.rates = {54000000};
    Ie::ERPElement erp;
    const WifiParser::ElementMap swapped{{7, &interworking}, {107, &country}, {1, &extended}};
    EXPECT_EQ(parser.getHESSIDInfo(swapped) + "|" + parser.getCountryCode(swapped), "|");
    EXPECT_EQ(parser.getWifiMode(swapped, 2412), 3);
    EXPECT_EQ(parser.getWifiMode({{1, &erp}, {50, &country}}, 2412), 2);  // no rates at all
}

TEST_F(WifiParserTest, MacAndOctetText) {
    unsigned char mac[6] = {0x02, 0x00, 0x00, 0x00, 0x0a, 0xff};
    char* text = WifiParser::MacAddressToString(mac);
    EXPECT_STREQ(text, "02:00:00:00:0a:ff");
    EXPECT_EQ(WifiParser::MacAddressToString(nullptr), text);  // one shared buffer
    EXPECT_STREQ(text, "");
    // Only the first text reads; the others leave the array as it is.
    const char* none = nullptr;
    for (const char* t : {"6:00:0:00:4:A00", "02:00:00:00:04", "zz:00:00:00:00:00", "", none}) {
        parser.StringToMac(mac, t);
    }
    EXPECT_STREQ(WifiParser::MacAddressToString(mac), "06:00:00:00:04:00");
    EXPECT_THAT(logs("src/WifiParser"), Contains("4 Malformed mac address!").Times(4));

    parser.getBSSID(mac, "02:00::00:00:04");  // five fields: octet 5 stays
    EXPECT_STREQ(WifiParser::MacAddressToString(mac), "02:00:00:00:04:00");
    parser.getBSSID(mac, "0-:11:22:33:AB:cdef");
    EXPECT_STREQ(WifiParser::MacAddressToString(mac), "00:11:22:33:ab:cd");
    parser.getBSSID(mac, nullptr);
    expectLogged(4, {"extract failed", "BSSID conversion failed", "Malformed octet data!",
                     "Invalid parameter"});
    expectLogged(
        1, {"bssid extractOctetStr p: 02:00::00:00:04 index:5 length:6", "bssid octet 4 = 0xab"});

    unsigned char out[3] = {'x', 'x', 'x'};
    EXPECT_TRUE(parser.extractOctetStr("aa:\0z", 1, 6, ':', out));  // stops at the terminator
    EXPECT_EQ(out[0] + out[1] + out[2], 0);
    for (const auto& [p, index] : {std::pair{"", 0}, std::pair{"aa", 1}, std::pair{"aa", 6}}) {
        EXPECT_FALSE(parser.extractOctetStr(p, index, 6, ':', out)) << p << index;
    }
    using O = std::pair<const char*, int>;
    for (const auto& [octet, value] :
         {O{"", 0}, O{"A0", 160}, O{"fF", 255}, O{"7", 0x70}, O{"zz", 83}, O{"abc", 0xc0},
          O{"9F", 0x9f}, O{"1_", 0}, O{"@1", 0}}) {
        EXPECT_EQ(parser.genNumericOctet(octet), value) << octet;
    }
}

TEST_F(WifiParserTest, BcdDigitsLowNibbleFirst) {
    unsigned char octets[10] = {0x21, 0x43, 0xA5, 0x1B, 0x99, 0x99, 0x99, 0x99, 0x99, 0x99};
    char* text = WifiParser::BCDToString(octets, 2);
    EXPECT_STREQ(text, "1234");
    EXPECT_STREQ(WifiParser::BCDToString(octets, 4), "12345001");
    EXPECT_STREQ(WifiParser::BCDToString(octets, 0), "");
    EXPECT_EQ(WifiParser::BCDToString(octets, 255), text);
    EXPECT_STREQ(text, "12345001999999999999");
    // The messages give the nibble, not the octet's index.
    expectLogged(4, {"Invalid upper nibble in octet 10", "Invalid lower nibble in octet 11",
                     "BCD octet count 255 clamped to 10"});
}

}  // namespace
