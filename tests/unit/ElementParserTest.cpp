// Information elements: element bodies, the hex TLV walk, BSS load facts and the element map.
#include "EmuFixture.h"
#include "WifiInformationElementParser.h"

namespace {

using P = WifiInformationElementParser;
using Bytes = std::vector<unsigned char>;
constexpr const char* kFile = "src/WifiInformationElementParser";
constexpr int kIe = 10355;

// HT Operation (22 octets) with the given octet 2; VHT Operation (5 octets) width and segment.
std::string ht(const char* octet2) {
    return std::string("3d1606") + "00" + octet2 + std::string(38, '0');
}
std::string vht(const char* width, const char* seg) {
    return std::string("c005") + width + "00" + seg + "0000";
}

class ElementParserTest : public ylmtest::EmuTest {
  protected:
    void TearDown() override {
        for (auto& e : map) {
            delete e.second;
        }
    }
    BssLoad load(std::string hex) {
        BssLoad l{};
        l.channelUtilization = 65535;
        parser.parse(hex.data(), l);
        return l;
    }
    void elements(std::string hex) { parser.parse(hex.data(), map); }
    bool logged(int level, const std::string& text) const {
        return EmuTest::logged(level, kIe, kFile, text);
    }
    P parser;
    P::ElementMap map;
};

TEST_F(ElementParserTest, RatesKeepElementOrderAndRejectUnknownOrLongLists) {
    P::SupportedRateElement rates;
    EXPECT_TRUE(rates.parse({0x82, 0x84, 0x8B, 0x96}));
    EXPECT_EQ(rates.rates, (std::vector<int>{1000000, 2000000, 5500000, 11000000}));

    P::SupportedRateElement bad;
    EXPECT_FALSE(bad.parse({0x82, 0xFF, 0x84}));
    EXPECT_EQ(bad.rates, std::vector<int>{1000000});  // rates before the bad octet stay
    EXPECT_TRUE(logged(1, "Invalid rate present"));

    P::ExtendedSupportedRateElement ext;
    EXPECT_FALSE(ext.parse(Bytes(9, 0x0c)));  // same 8-octet limit as the basic list
    EXPECT_FALSE(ext.parse({}));
    EXPECT_TRUE(ext.rates.empty());
    EXPECT_EQ(countLog("Invalid length of rate"), 2u);

    const std::map<int, int> known = {
        {2, 1000000},   {4, 2000000},   {11, 5500000},  {12, 6000000},  {18, 9000000},
        {22, 11000000}, {24, 12000000}, {36, 18000000}, {44, 22000000}, {48, 24000000},
        {66, 33000000}, {72, 36000000}, {96, 48000000}, {108, 54000000}};
    for (int octet = 0; octet < 256; ++octet) {
        auto it = known.find(octet & 0x7F);
        EXPECT_EQ(P::SupportedRateElement::getRateFromByte(octet),
                  it == known.end() ? -1 : it->second)
            << octet;
    }
}

TEST_F(ElementParserTest, InterworkingCountryAndFixedLengthBodies) {
    struct Case {
        Bytes body;
        bool ok;
        const char* hessid;
    };
    for (const Case& c :
         {Case{{0x01, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55}, true, "00:11:22:33:44:55"},
          Case{{0x10, 0x02, 0x08, 0x02, 0xAB, 0, 0, 4, 0}, true, "02:ab:00:00:04:00"},
          Case{{0x01}, true, ""}, Case{{1, 2, 3}, true, ""}, Case{{1, 2, 3, 4, 5}, false, ""}}) {
        P::InterworkingElement e;
        EXPECT_EQ(e.parse(c.body), c.ok);
        EXPECT_EQ(e.hessid, c.hessid);
    }
    EXPECT_EQ(countLog("HESSID not present"), 2u);
    EXPECT_TRUE(logged(1, "Invalid Interworking element length"));

    P::CountryElement country;
    EXPECT_FALSE(country.parse({'U', 'S', 0x20}));
    EXPECT_TRUE(logged(1, "Country Code not present"));
    EXPECT_TRUE(country.parse({'U', 'S', 0x04, 0x24, 0x04}));
    EXPECT_EQ(country.countryCode, "US");
    EXPECT_TRUE(logged(1, "Valid country code value is present"));
    EXPECT_TRUE(logged(1, "WifiInformationElementParser: CountryCode US"));

    P::BSSLoadElement bssLoad;
    EXPECT_FALSE(bssLoad.parse({1, 0, 9, 0}));
    EXPECT_EQ(bssLoad.mChannelUtilization, 0);
    P::ERPElement erp;
    EXPECT_FALSE(erp.parse({}));
    EXPECT_TRUE(erp.parse({0x04}));
}

TEST_F(ElementParserTest, TextForms) {
    P::BSSLoadElement half, full;
    half.parse({0, 0, 128, 0, 0});
    full.parse({0, 0, 255, 0, 0});
    P::HTOperationElement h;
    h.parse(Bytes{36, 5, 7, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    P::VHTOperationElement v;
    v.parse({1, 42, 50, 0, 0});
    P::CountryElement c;
    EXPECT_EQ(half.to_string(), "BSSLoadElement mChannelUtilization=128 (0%)");
    EXPECT_EQ(full.to_string(), "BSSLoadElement mChannelUtilization=255 (1%)");
    EXPECT_EQ(h.to_string(), "HTOperationElement mPrimaryChannel=36 mChannelWidth=7");
    EXPECT_EQ(v.to_string(), "VHTOperationElement mChannelWidth=1 mSeg1CenterFreq=50");
    EXPECT_EQ(c.to_string(), "ERR");
}

TEST_F(ElementParserTest, TlvWalkReadsHeaderAndBodyAndStopsAtZeroLengthOrEnd) {
    const std::string digits = "0123456789abcdefABCDEFgz-";
    const int want[] = {0,  1,  2,  3,  4,  5,  6,  7,  8,  9, 10, 11, 12,
                        13, 14, 15, 10, 11, 12, 13, 14, 15, 0, 0,  0};
    for (size_t i = 0; i < digits.size(); ++i) {
        EXPECT_EQ(parser.hex_to_dec(digits[i]), want[i]) << digits[i];
    }
    unsigned char id = 0;
    Bytes value;
    std::string text = "0102aAbB0700";
    EXPECT_EQ(parser.parse_next_tlv(text.data(), &id, &value), text.data() + 8);
    EXPECT_EQ(id, 1);
    EXPECT_EQ(value, (Bytes{0xaa, 0xbb}));
    EXPECT_EQ(parser.parse_next_tlv(text.data() + 8, &id, &value), nullptr);  // empty body
    EXPECT_EQ(id, 7);
    std::string truncated = "0b03aabbc";
    EXPECT_EQ(parser.parse_next_tlv(truncated.data(), &id, &value), nullptr);
    EXPECT_EQ(value, (Bytes{0xaa, 0xbb}));
    std::string shortHeader = "0b0";
    EXPECT_EQ(parser.parse_next_tlv(shortHeader.data(), &id, &value), nullptr);
    EXPECT_EQ(parser.parse_next_tlv(nullptr, &id, &value), nullptr);
    EXPECT_EQ(parser.parse_next_tlv(text.data(), nullptr, &value), nullptr);
    EXPECT_EQ(parser.parse_next_tlv(text.data(), &id, nullptr), nullptr);
}

TEST_F(ElementParserTest, BssLoadChannelWidthWrapsIn16Bits) {
    struct Case {
        std::string hex;
        uint16_t width;
    };
    for (const Case& c :
         {Case{"", 20000}, Case{"0000" + ht("05") + vht("01", "00"), 20000},
          Case{ht("00") + vht("01", "00"), 20000}, Case{vht("02", "00"), 20000},
          Case{ht("05"), 40000}, Case{ht("05") + vht("00", "00"), 40000},
          Case{ht("80") + vht("01", "00"), 14464},  // any bit of octet 2 counts
          Case{vht("02", "00") + ht("01"), 28928}, Case{ht("01") + vht("03", "00"), 0},
          Case{ht("01") + vht("05", "00"), 20000}}) {
        EXPECT_EQ(load(c.hex).channelWidth, c.width) << c.hex;
    }
    EXPECT_TRUE(logged(1, "ERR Bad Frequency Value\n"));
    EXPECT_EQ(load(vht("01", "2a")).vhtSegment1, 36);
    EXPECT_EQ(load(vht("01", "06")).vhtSegment1, 0);
    EXPECT_EQ(load("0b0401001e00").channelUtilization, 65535);
    EXPECT_EQ(load("0b0601001e000000").channelUtilization, 65535);
    EXPECT_EQ(load("0b0501001e0000" + ht("00") + "0b0501002a000").channelUtilization, 30);
    EXPECT_EQ(load("0b0501001e00000b0501002a0000").channelUtilization, 42);  // later one wins

    engine().logs.clear();
    load("0b0501001E0000");
    std::string lines;
    for (const auto& l : engine().logs) {
        EXPECT_TRUE(l.level == 1 && l.module == kIe && l.file == kFile);
        lines += l.text + ";";
    }
    EXPECT_EQ(
        lines,
        "Parsed TLV: id=11 len=5 ;1;0;30;0;0;--- BSSLoadElement mChannelUtilization=30 (0%);");
}

TEST_F(ElementParserTest, ElementMapKeepsFirstOfEachKnownId) {
    // SSID, Country US, rates with a bad octet, BSS Load (not mapped), Country DE, vendor, ERP,
    // Extended Rates, HT and VHT Operation, Interworking, then a lone digit.
    const std::string head = "00036162630704555320040102ff820b05010000000007044445";
    elements(head + "2004dd030011222A01043201ff" + ht("00") + vht("00", "00") + "6b01010f");
    std::string names;
    for (const auto& [id, e] : map) {
        names += std::to_string(id) + ":" + e->get_name() + "/" + std::to_string(e->get_id()) + " ";
    }
    EXPECT_EQ(names,
              "1:SupportedRateElement/1 7:CountryElement/7 42:ERPElement/42 "
              "50:ExtendedSupportedRateElement/50 61:HTOperationElement/61 "
              "107:InterworkingElement/107 192:VHTOperationElement/192 ");
    EXPECT_EQ(static_cast<P::CountryElement*>(map.at(7))->countryCode, "US");
    EXPECT_TRUE(static_cast<P::SupportedRateElement*>(map.at(1))->rates.empty());

    P::ElementMap hidden;
    std::string text = "00000102ff82";  // a hidden SSID ends the walk at once
    parser.parse(text.data(), hidden);
    EXPECT_TRUE(hidden.empty());
}

}  // namespace
