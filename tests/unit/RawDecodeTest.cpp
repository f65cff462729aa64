// Decoding of the start indication: parameter checks, timing take-over, filter texts and maps,
// the trace, and the bounds on the wire's list lengths.
#include <cmath>

#include "RawTestSupport.h"

namespace {

using ylmtest::Ind;
using ylmtest::Strings;

class RawDecodeTest : public ylmtest::RawTest {
  protected:
    // The filter texts, then each decoded request as "ssid{bssid=channels...}" and its
    // RSSI/load/reserved flags; BSSIDs show their last two bytes.
    std::string decode(const Ind& ind) {
        auto raw = make(ind);
        raw->parseMeasurementRequestTpxMessage();
        std::string out = raw->getBssidFilter() + " | " + raw->getChannelFilter() + " |";
        for (const auto& r : raw->getRequestList()) {
            out += " " + r.ssid + "{";
            for (const auto& b : r.bssidChannels) {
                out += " " + b.first.substr(12) + "=";
                for (const uint16_t ch : b.second) {
                    out += std::to_string(ch) + ",";
                }
            }
            out += "}" + std::to_string(r.isRssiMask) + std::to_string(r.isBssLoadMask) +
                   std::to_string(r.reservedMask);
        }
        return out;
    }
};

TEST_F(RawDecodeTest, ParameterMaskTimingAndAlpha) {
    // {mask, alpha valid, alpha, refusal, alpha taken}: alpha only strictly between 0 and 1.
    const std::vector<std::tuple<uint64_t, uint8_t, float, std::string, std::string>> cases = {
        {0, 1, 0.25F, "No params specified for measurement", "0.250000"},
        {4, 1, 0.999F, "Measurement parameters does not include RSSI", "0.999000"},
        {1ULL << 32, 1, 1.0F, "Measurement parameters does not include RSSI", "0.500000"},
        {1, 1, 0.0F, "", "0.500000"},
        {5, 1, -0.5F, "", "0.500000"},
        {~0ULL, 1, 1.5F, "", "0.500000"},
        {1, 1, NAN, "", "0.500000"},
        {1, 0, 0.25F, "", "0.500000"}};
    for (const auto& [mask, alphaValid, alpha, refusal, taken] : cases) {
        engine().reset();
        // Timing is taken even when refused; odd masks carry an interval that is not marked valid.
        const bool timed = mask % 2 == 0;
        Ind ind = indication(1, mask, {}, true, timed ? 7 : 0, 0);
        ind.sampling_interval = timed ? 7 : 9;
        ind.alpha_valid = alphaValid;
        ind.alpha = alpha;
        auto raw = make(ind);
        EXPECT_EQ(raw->isConfigParamOk(), refusal.empty()) << mask;
        EXPECT_EQ(raw->getAlpha(), std::stof(taken));
        Strings logs = {"2 10357 RawMeasurement Xtor",
                        timed ? "0 10357 samplingInterval  : 7" : "0 10357 samplingInterval  : 2",
                        timed ? "0 10357 reportingInterval : 0" : "0 10357 reportingInterval : 5",
                        "0 10357 alpha             : " + taken};
        if (!refusal.empty()) {
            logs.insert(logs.begin() + 1, "1 10357 " + refusal);
        }
        EXPECT_EQ(logsOf("src/RawMeasurement", false), logs);
    }
}

TEST_F(RawDecodeTest, FilterTextsComeFromTheLastEntryWhileEveryEntryKeepsItsMap) {
    const std::string almostAny = std::string(31, '\xff') + "x", a32(32, 'a');
    const std::vector<std::pair<std::vector<ylmtest::SsidSpec>, std::string>> cases = {
        {{{"a", {{mac(3), {1, 6}}, {mac(4), {11}}}}, {"b", {{mac(5), {36}}}}},
         "02:00:00:00:05:00 | 36 | a{ 03:00=1,6, 04:00=11,}110 b{ 05:00=36,}110"},
        // Duplicates stay in the text and collapse in the set.
        {{{"n", {{mac(3), {1, 6}}, {mac(4), {6, 11}}}}},
         "02:00:00:00:03:00,02:00:00:00:04:00 | 1,6,6,11 | n{ 03:00=1,6, 04:00=6,11,}110"},
        // No leading separator while the text is empty, a trailing one before a BSSID without.
        {{{"n", {{mac(3), {}}, {mac(4), {3}}}}},
         "02:00:00:00:03:00,02:00:00:00:04:00 | 3 | n{ 03:00= 04:00=3,}110"},
        {{{"n", {{mac(3), {7}}, {mac(4), {}}}}},
         "02:00:00:00:03:00,02:00:00:00:04:00 | 7, | n{ 03:00=7, 04:00=}110"},
        // The same BSSID twice: the first channel set stays.
        {{{"n", {{mac(3), {1}}, {mac(3), {2}}}}},
         "02:00:00:00:03:00,02:00:00:00:03:00 | 1,2 | n{ 03:00=1,}110"},
        {{{"n", {{kBroadcast, {65535, 0}}}}},
         "ff:ff:ff:ff:ff:ff | 65535,0 | n{ ff:ff=0,65535,}110"},
        // 32 text bytes and no terminator: the byte after the field is not text.
        {{{std::string(32, '\xff'), {}}, {almostAny, {}}, {a32 + "b", {}}},
         " |  | AnySSID{}110 " + almostAny + "{}110 " + a32 + "{}110"}};
    for (const auto& [ssids, decoded] : cases) {
        EXPECT_EQ(decode(indication(1, 5, ssids)), decoded);
    }
    EXPECT_EQ(countLog("Any SSID found "), 1U);
    engine().logs.clear();
    EXPECT_EQ(decode(indication(1, 5, {{"x", {{mac(3), {1}}}}}, false)), " |  |");  // no list
    EXPECT_EQ(logTexts("src/RawMeasurement"),
              (Strings{"RawMeasurement Xtor", "RawMeasurement D-Xtor"}));
}

TEST_F(RawDecodeTest, TraceListsEveryRecordAfterDecoding) {
    decode(indication(1, 1, {{"a", {{mac(4), {11, 1}}}}, {"b", {}}}));
    const std::string rssi = "Measurement parameters includes RSSI",
                      noLoad = "Measurement parameters does not include BSS Load";
    EXPECT_EQ(
        logTexts("src/RawMeasurement"),
        (Strings{"RawMeasurement Xtor", rssi, noLoad, rssi, noLoad, "RawMeasurement bssidfilter:  ",
                 "RawMeasurement channelfilter:  ", "RawMeasurement ssid: a ",
                 "RawMeasurement bssid: 02:00:00:00:04:00 ", "RawMeasurement channel: 1 ",
                 "RawMeasurement channel: 11 ", "RawMeasurement bssidfilter:  ",
                 "RawMeasurement channelfilter:  ", "RawMeasurement ssid: b ",
                 "bssids   : ", "channels : ", "RawMeasurement D-Xtor"}));
}

TEST_F(RawDecodeTest, ListLengthsBeyondCapacityAreClamped) {
    Ind ind = indication(1, 1, {{"a", {{mac(3), {1}}}}});
    ind.ssid_list_len = 1000;
    ind.ssid_list[0].bssid_list_len = 17;
    ind.ssid_list[0].bssid_list[0].channel_list_len = 0xFFFFFFFFU;
    // Eight entries; sixteen BSSIDs (one, then fifteen zeros) and sixteen channels (1, then zeros).
    EXPECT_EQ(decode(ind),
              " |  | a{ 00:00= 03:00=0,1,}100 {}100 {}100 {}100 {}100 {}100 {}100 {}100");
    for (const char* clamp :
         {"ssid_list_len 1000 is above its capacity 8: only 8 entries read",
          "bssid_list_len 17 is above its capacity 16: only 16 entries read",
          "channel_list_len 4294967295 is above its capacity 16: only 16 entries read"}) {
        EXPECT_TRUE(rawLogged(3, clamp));
    }
}

}  // namespace
