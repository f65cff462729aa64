// Information elements: element bodies and the BSS load facts of an element walk.
#include "EmuFixture.h"
#include "WifiInformationElementParser.h"

namespace {

using P = WifiInformationElementParser;
using Bytes = std::vector<unsigned char>;
using ylmtest::Contains;
using ylmtest::Strings;
constexpr const char* kIe = "src/WifiInformationElementParser";

class ElementParserTest : public ylmtest::EmuTest {
  protected:
    // HT Operation (22 octets) with this octet 2; VHT Operation (5 octets) width and segment.
    static std::string ht(std::string octet2) { return "3d160600" + octet2 + std::string(38, '0'); }
    static std::string vht(std::string w, std::string seg) {
        return "c005" + w + "00" + seg + "0000";
    }
    // What a read leaves in an element besides its text form.
    static std::string data(P::InformationElement&) { return ""; }
    static std::string data(P::InterworkingElement& e) { return " " + e.hessid; }
    static std::string data(P::CountryElement& e) { return " " + e.countryCode; }
    static std::string data(P::SupportedRateElement& e) {
        std::string out;
        for (int rate : e.rates) {
            out += " " + std::to_string(rate);
        }
        return out;
    }
    // Each body (hex) read by a fresh element: 1 or 0 for the result, its text form, its data.
    template <class Element>
    static std::string read(std::initializer_list<std::string> bodies) {
        std::string out;
        for (const std::string& hex : bodies) {
            Bytes body;
            for (size_t i = 0; i + 1 < hex.size(); i += 2) {
                body.push_back(
                    static_cast<unsigned char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
            }
            Element e;
            out += e.parse(body) ? "1 " : "0 ";
            out += e.to_string() + data(e) + ";";
        }
        return out;
    }
    BssLoad load(std::string hex) {
        BssLoad l{};
        l.channelUtilization = 65535;
        parser.parse(hex.data(), l);
        return l;
    }
    P parser;
};

TEST_F(ElementParserTest, ElementBodies) {
    const std::string ht22 = "24000700" + std::string(36, '0');
    // Every known rate octet (the top bit only marks a basic rate); those before a bad one stay.
    EXPECT_EQ(read<P::SupportedRateElement>({"82848b96", "0c1218243048606c", "2cc2", "82ff84"}),
              "1 ERR 1000000 2000000 5500000 11000000;"
              "1 ERR 6000000 9000000 12000000 18000000 24000000 36000000 48000000 54000000;"
              "1 ERR 22000000 33000000;0 ERR 1000000;");
    EXPECT_EQ(read<P::ExtendedSupportedRateElement>({"0c0c0c0c0c0c0c0c0c", ""}), "0 ERR;0 ERR;");
    EXPECT_EQ(read<P::InterworkingElement>(
                  {"01001122334455", "10020802ab00000400", "01", "010203", "0102030405"}),
              "1 ERR 00:11:22:33:44:55;1 ERR 02:ab:00:00:04:00;1 ERR ;1 ERR ;0 ERR ;");
    EXPECT_EQ(read<P::CountryElement>({"555320", "5553042404"}), "0 ERR ;1 ERR US;");
    EXPECT_EQ(read<P::BSSLoadElement>({"01000900", "0000800000", "0000ff0000"}),
              "0 BSSLoadElement mChannelUtilization=0 (0%);"
              "1 BSSLoadElement mChannelUtilization=128 (0%);"
              "1 BSSLoadElement mChannelUtilization=255 (1%);");
    EXPECT_EQ(read<P::HTOperationElement>({ht22, ht22.substr(2)}),
              "1 HTOperationElement mPrimaryChannel=36 mChannelWidth=7;"
              "0 HTOperationElement mPrimaryChannel=0 mChannelWidth=0;");
    EXPECT_EQ(read<P::VHTOperationElement>({"012a320000", "012a3200"}),
              "1 VHTOperationElement mChannelWidth=1 mSeg1CenterFreq=50;"
              "0 VHTOperationElement mChannelWidth=0 mSeg1CenterFreq=0;");
    EXPECT_EQ(read<P::ERPElement>({"", "04"}), "0 ERR;1 ERR;");
    EXPECT_EQ(logs(kIe),
              (Strings{"1 Invalid rate present", "1 Invalid length of rate",
                       "1 Invalid length of rate", "1 HESSID not present", "1 HESSID not present",
                       "1 Invalid Interworking element length", "1 Country Code not present",
                       "1 Valid country code value is present",
                       "1 WifiInformationElementParser: CountryCode US"}));
}

TEST_F(ElementParserTest, BssLoadChannelWidthWrapsIn16Bits) {
    using W = std::pair<std::string, uint16_t>;
    for (const auto& [hex, width] :
         {W{"", 20000}, W{"0000" + ht("05") + vht("01", "00"), 20000},  // a hidden SSID ends it
          W{ht("00") + vht("01", "00"), 20000}, W{vht("02", "00"), 20000}, W{ht("05"), 40000},
          W{ht("05") + vht("00", "00"), 40000}, W{ht("80") + vht("01", "00"), 14464},  // any bit
          W{vht("02", "00") + ht("01"), 28928}, W{ht("01") + vht("03", "00"), 0},
          W{ht("01") + vht("04", "00"), 20000}, W{ht("01") + vht("05", "00"), 20000}}) {
        EXPECT_EQ(load(hex).channelWidth, width) << hex;
    }
    EXPECT_THAT(logs(kIe), Contains("1 ERR Bad Frequency Value\n").Times(2));
    EXPECT_EQ(load(vht("01", "2a")).vhtSegment1, 36);
    EXPECT_EQ(load(vht("01", "06")).vhtSegment1, 0);
    EXPECT_EQ(load("0b0401001e00").channelUtilization, 65535);
    EXPECT_EQ(load("0b0601001e000000").channelUtilization, 65535);
    EXPECT_EQ(load("0b0501001e0000" + ht("00") + "0b0501002a000").channelUtilization, 30);
    EXPECT_EQ(load("0b0501001e00000b0501002a0000").channelUtilization, 42);  // later one wins
    EXPECT_EQ(load("0b050100fe0000").channelUtilization, 254);

    engine().logs.clear();
    load("0b0501001E0000");
    EXPECT_EQ(logs(kIe), (Strings{"1 Parsed TLV: id=11 len=5 ", "1 1", "1 0", "1 30", "1 0", "1 0",
                                  "1 --- BSSLoadElement mChannelUtilization=30 (0%)"}));
}

}  // namespace
