// Decoding of the start indication: parameter checks, timing take-over, filter texts and maps,
// and the bounds on the wire's list lengths.
#include <cmath>

#include "RawTestSupport.h"

namespace {

using namespace ylmtest;

class RawDecodeTest : public RawTest {
  protected:
    // The filter texts, then each request as "ssid<RSSI, load, reserved flags>{bssid=channels}";
    // BSSIDs show their last two bytes.
    std::string decode(const Ind& ind) {
        auto raw = make(ind);
        raw->parseMeasurementRequestTpxMessage();
        std::string out = raw->getBssidFilter() + " | " + raw->getChannelFilter() + " |";
        for (const auto& r : raw->getRequestList()) {
            out += " " + r.ssid +
                   std::to_string(r.isRssiMask * 100 + r.isBssLoadMask * 10 + r.reservedMask) + "{";
            for (const auto& [bssid, channels] : r.bssidChannels) {
                out += " " + bssid.substr(12) + "=";
                for (const uint16_t ch : channels) {
                    out += std::to_string(ch) + ",";
                }
            }
            out += "}";
        }
        return out;
    }
};

TEST_F(RawDecodeTest, ParameterMaskTimingAndAlpha) {
    // {mask, alpha valid, alpha, refusal, alpha taken}: alpha only strictly between 0 and 1.
    const std::vector<std::tuple<uint64_t, uint8_t, float, std::string, std::string>> cases = {
        {0, 1, 0.25F, "1 No params specified for measurement", "0.250000"},
        {4, 1, 0.999F, "1 Measurement parameters does not include RSSI", "0.999000"},
        {1ULL << 32, 1, 1.0F, "1 Measurement parameters does not include RSSI", "0.500000"},
        {1, 1, 0.0F, "", "0.500000"},
        {1, 1, NAN, "", "0.500000"},
        {1, 0, 0.25F, "", "0.500000"}};
    for (const auto& [mask, alphaValid, alpha, refusal, taken] : cases) {
        engine().reset();
        const bool timed = mask % 2 == 0;  // timing is taken even when refused
        Ind ind = indication(1, mask, {}, true, timed ? 7 : 0, 0);
        ind.sampling_interval = timed ? 7 : 9;  // odd masks: present but not marked valid
        ind.alpha_valid = alphaValid;
        ind.alpha = alpha;
        EXPECT_EQ(make(ind)->isConfigParamOk(), refusal.empty()) << mask;
        Strings want = {"2 RawMeasurement Xtor",
                        refusal,
                        std::string("0 samplingInterval  : ") + (timed ? "7" : "2"),
                        std::string("0 reportingInterval : ") + (timed ? "0" : "5"),
                        "0 alpha             : " + taken,
                        "2 RawMeasurement D-Xtor"};
        want.erase(std::remove(want.begin(), want.end(), ""), want.end());
        EXPECT_EQ(logs(kRawFile), want);
    }
}

TEST_F(RawDecodeTest, FilterTextsComeFromTheLastEntryWhileEveryEntryKeepsItsMap) {
    const std::string almostAny = std::string(31, '\xff') + "x", a32(32, 'a');
    const Mac any{0xff, 0xff, 0xff, 0xff, 0xff, 0xff};
    const std::vector<std::pair<std::vector<SsidEntry>, std::string>> cases = {
        {{{"a", {{mac(3), {1, 6}}, {mac(4), {11}}}}, {"b", {{mac(5), {36}}}}},
         "02:00:00:00:05:00 | 36 | a110{ 03:00=1,6, 04:00=11,} b110{ 05:00=36,}"},
        {{{"n", {{mac(3), {1, 6}}, {mac(4), {6, 11}}}}},  // duplicates: kept in text, not in set
         "02:00:00:00:03:00,02:00:00:00:04:00 | 1,6,6,11 | n110{ 03:00=1,6, 04:00=6,11,}"},
        {{{"n", {{mac(3), {}}, {mac(4), {3}}}}},  // no leading separator while the text is empty
         "02:00:00:00:03:00,02:00:00:00:04:00 | 3 | n110{ 03:00= 04:00=3,}"},
        {{{"n", {{mac(3), {7}}, {mac(4), {}}}}},
         "02:00:00:00:03:00,02:00:00:00:04:00 | 7, | n110{ 03:00=7, 04:00=}"},
        {{{"n", {{mac(3), {1}}, {mac(3), {2}}}}},  // the same BSSID twice: the first set stays
         "02:00:00:00:03:00,02:00:00:00:03:00 | 1,2 | n110{ 03:00=1,}"},
        {{{"n", {{any, {65535, 0}}}}}, "ff:ff:ff:ff:ff:ff | 65535,0 | n110{ ff:ff=0,65535,}"},
        // 32 text bytes and no terminator: the byte after the field is not text.
        {{{std::string(32, '\xff'), {}}, {almostAny, {}}, {a32 + "b", {}}},
         " |  | AnySSID110{} " + almostAny + "110{} " + a32 + "110{}"}};
    for (const auto& [ssids, decoded] : cases) {
        EXPECT_EQ(decode(indication(1, 5, ssids)), decoded);
    }
    EXPECT_THAT(logs(kRawFile), Contains("1 Any SSID found ").Times(1));
    for (const char* trace :
         {"0 bssids   : 02:00:00:00:05:00", "0 channels : 36",
          "1 RawMeasurement bssid: 02:00:00:00:05:00 ", "1 RawMeasurement channel: 36 "}) {
        EXPECT_THAT(logs(kRawFile), Contains(trace));
    }
    engine().logs.clear();
    EXPECT_EQ(decode(indication(1, 5, {{"x", {{mac(3), {1}}}}}, false)), " |  |");  // no list
    EXPECT_EQ(logs(kRawFile), (Strings{"2 RawMeasurement Xtor", "2 RawMeasurement D-Xtor"}));
}

TEST_F(RawDecodeTest, ListLengthsBeyondCapacityAreClamped) {
    Ind ind = indication(1, 1, {{"a", {{mac(3), {1}}}}});
    ind.ssid_list_len = 1000;
    ind.ssid_list[0].bssid_list_len = 17;
    ind.ssid_list[0].bssid_list[0].channel_list_len = 0xFFFFFFFFU;
    // Eight entries; sixteen BSSIDs (one, then zeros) and sixteen channels (1, then zeros).
    EXPECT_EQ(decode(ind),
              " |  | a100{ 00:00= 03:00=0,1,} 100{} 100{} 100{} 100{} 100{} 100{} 100{}");
    for (const char* clamp :
         {"ssid_list_len 1000 is above its capacity 8: only 8 entries read",
          "bssid_list_len 17 is above its capacity 16: only 16 entries read",
          "channel_list_len 4294967295 is above its capacity 16: only 16 entries read"}) {
        EXPECT_THAT(logs(kRawFile, 3), Contains(std::string("3 ") + clamp));
    }
    engine().logs.clear();  // lists exactly at capacity are read whole, without a word
    ind.ssid_list_len = 8;
    ind.ssid_list[0].bssid_list_len = ind.ssid_list[0].bssid_list[0].channel_list_len = 16;
    decode(ind);
    EXPECT_TRUE(logs(kRawFile, 3).empty());
}

}  // namespace
