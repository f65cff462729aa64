// Decoding of the start indication: parameter checks, timing take-over, filter texts and maps,
// and the bounds on the wire's list lengths.
#include <cmath>
#include <memory>

#include "EmuFixture.h"
#include "RawMeasurement.h"
#include "RawTestSupport.h"
#include "WifiInfoProvider.h"

namespace {

using Raw = WifiMeasurementRequest::RawMeasurement;
using ylmtest::BssidSpec;
using ylmtest::indication;
using ylmtest::mac;
using ChannelMap = std::map<std::string, std::set<uint16_t>>;
constexpr const char* kFile = "src/RawMeasurement";

class RawDecodeTest : public ylmtest::EmuTest {
  protected:
    std::unique_ptr<Raw> make(const dsd_start_wifi_meas_ind_msg_v01& ind) {
        return std::make_unique<Raw>(*engine().dsd(), *engine().com(), *engine().timer(),
                                     *engine().supplicant(), *WifiInfoProvider::getInstance(), ind,
                                     nullptr);
    }
    std::unique_ptr<Raw> decode(const dsd_start_wifi_meas_ind_msg_v01& ind) {
        auto raw = make(ind);
        raw->parseMeasurementRequestTpxMessage();
        return raw;
    }
    static std::vector<std::string> decodeLogs() {
        std::vector<std::string> out;
        for (const auto& l : emu::Engine::instance().logs) {
            if (l.file == kFile && l.level <= 1) {
                out.push_back(l.text);
            }
        }
        return out;
    }
};

TEST_F(RawDecodeTest, ParameterMaskMustIncludeRssi) {
    const struct {
        uint64_t mask;
        bool ok;
        const char* refusal;
    } cases[] = {{0, false, "No params specified for measurement"},
                 {4, false, "Measurement parameters does not include RSSI"},
                 {1ULL << 32, false, "Measurement parameters does not include RSSI"},
                 {1, true, nullptr},
                 {5, true, nullptr},
                 {~0ULL, true, nullptr}};
    for (const auto& c : cases) {
        engine().reset();
        EXPECT_EQ(make(indication(1, c.mask, {}))->isConfigParamOk(), c.ok) << c.mask;
        if (c.refusal != nullptr) {
            EXPECT_TRUE(logged(1, 10357, kFile, c.refusal)) << c.mask;
        } else {
            EXPECT_EQ(countLog("Measurement parameters does not include RSSI"), 0U) << c.mask;
        }
    }
}

TEST_F(RawDecodeTest, TimingIsTakenOverEvenWhenRefused) {
    auto ind = indication(1, 0, {});
    ylmtest::setTiming(ind, 7, 0);
    auto raw = make(ind);
    EXPECT_FALSE(raw->isConfigParamOk());
    EXPECT_EQ(raw->getSamplingInterval(), 7U);
    EXPECT_EQ(raw->getReportingInterval(), 0U);
    EXPECT_TRUE(logged(0, 10357, kFile, "samplingInterval  : 7"));
    EXPECT_TRUE(logged(0, 10357, kFile, "reportingInterval : 0"));
    EXPECT_TRUE(logged(0, 10357, kFile, "alpha             : 0.500000"));

    auto invalid = indication(1, 1, {});
    invalid.sampling_interval = 9;  // present but not marked valid
    auto defaults = make(invalid);
    EXPECT_TRUE(defaults->isConfigParamOk());
    EXPECT_EQ(defaults->getSamplingInterval(), 2U);
    EXPECT_EQ(defaults->getReportingInterval(), 5U);
}

TEST_F(RawDecodeTest, AlphaIsTakenOnlyStrictlyBetweenZeroAndOne) {
    const struct {
        uint8_t valid;
        float value;
        float expected;
    } cases[] = {{1, 0.25F, 0.25F}, {1, 0.999F, 0.999F}, {1, 1.0F, 0.5F}, {1, 0.0F, 0.5F},
                 {1, -0.5F, 0.5F},  {1, 1.5F, 0.5F},     {1, NAN, 0.5F},  {0, 0.25F, 0.5F}};
    for (const auto& c : cases) {
        auto ind = indication(1, 1, {});
        ind.alpha_valid = c.valid;
        ind.alpha = c.value;
        auto raw = make(ind);
        raw->isConfigParamOk();
        EXPECT_EQ(raw->getAlpha(), c.expected) << c.value;
    }
}

TEST_F(RawDecodeTest, LastEntrysListsFilterTheScanWhileEveryEntryKeepsItsMap) {
    const auto a = mac(3), b = mac(4), c = mac(5);
    auto raw =
        decode(indication(1, 5, {{"first", {{a, {1, 6}}, {b, {11}}}}, {"second", {{c, {36}}}}}));
    EXPECT_EQ(raw->getBssidFilter(), "02:00:00:00:05:00");
    EXPECT_EQ(raw->getChannelFilter(), "36");
    const auto& list = raw->getRequestList();
    ASSERT_EQ(list.size(), 2U);
    EXPECT_EQ(list.front().ssid, "first");
    EXPECT_EQ(list.front().bssidChannels,
              (ChannelMap{{"02:00:00:00:03:00", {1, 6}}, {"02:00:00:00:04:00", {11}}}));
    EXPECT_EQ(list.back().ssid, "second");
    EXPECT_EQ(list.back().bssidChannels, (ChannelMap{{"02:00:00:00:05:00", {36}}}));
    for (const auto& r : list) {
        EXPECT_EQ(r.isRssiMask, 1);
        EXPECT_EQ(r.isBssLoadMask, 1);
        EXPECT_EQ(r.reservedMask, 0);
    }
}

TEST_F(RawDecodeTest, FilterTextsOfOneEntry) {
    const auto a = mac(3), b = mac(4);
    const struct {
        std::vector<BssidSpec> bssids;
        const char* bssidText;
        const char* channelText;
        ChannelMap map;
    } cases[] = {
        // Duplicates stay in the text and collapse in the set.
        {{{a, {1, 6}}, {b, {6, 11}}},
         "02:00:00:00:03:00,02:00:00:00:04:00",
         "1,6,6,11",
         {{"02:00:00:00:03:00", {1, 6}}, {"02:00:00:00:04:00", {6, 11}}}},
        // No leading separator when the text was still empty.
        {{{a, {}}, {b, {3}}},
         "02:00:00:00:03:00,02:00:00:00:04:00",
         "3",
         {{"02:00:00:00:03:00", {}}, {"02:00:00:00:04:00", {3}}}},
        {{{a, {7}}, {b, {}}},
         "02:00:00:00:03:00,02:00:00:00:04:00",
         "7,",
         {{"02:00:00:00:03:00", {7}}, {"02:00:00:00:04:00", {}}}},
        // The same BSSID twice: the first channel set stays.
        {{{a, {1}}, {a, {2}}},
         "02:00:00:00:03:00,02:00:00:00:03:00",
         "1,2",
         {{"02:00:00:00:03:00", {1}}}},
        {{{ylmtest::kBroadcast, {65535, 0}}},
         "ff:ff:ff:ff:ff:ff",
         "65535,0",
         {{"ff:ff:ff:ff:ff:ff", {0, 65535}}}},
    };
    for (const auto& c : cases) {
        auto raw = decode(indication(1, 1, {{"net", c.bssids}}));
        EXPECT_EQ(raw->getBssidFilter(), c.bssidText);
        EXPECT_EQ(raw->getChannelFilter(), c.channelText);
        ASSERT_EQ(raw->getRequestList().size(), 1U);
        EXPECT_EQ(raw->getRequestList().front().bssidChannels, c.map) << c.channelText;
    }
}

TEST_F(RawDecodeTest, SsidTexts) {
    std::string almostAny = ylmtest::anySsid();
    almostAny[31] = 'x';
    const struct {
        std::string wire;
        std::string ssid;
    } cases[] = {{ylmtest::anySsid(), "AnySSID"},
                 {almostAny, almostAny},
                 {"home", "home"},
                 // 32 text bytes and no terminator: the byte after the field is not text.
                 {std::string(32, 'a') + "b", std::string(32, 'a')}};
    for (const auto& c : cases) {
        engine().reset();
        auto ind = indication(1, 1, {{c.wire, {}}});
        ind.ssid_list[0].pad37[0] = 'z';
        auto raw = decode(ind);
        ASSERT_EQ(raw->getRequestList().size(), 1U);
        EXPECT_EQ(raw->getRequestList().front().ssid, c.ssid);
        EXPECT_EQ(raw->isAnySsid(ind.ssid_list[0]), c.ssid == "AnySSID");
        EXPECT_EQ(countLog("Any SSID found "), c.ssid == "AnySSID" ? 1U : 0U);
    }
}

TEST_F(RawDecodeTest, NoSsidListDecodesNothing) {
    auto ind = indication(1, 5, {{"x", {{mac(3), {1}}}}}, false);
    auto raw = decode(ind);
    EXPECT_TRUE(raw->getRequestList().empty());
    EXPECT_EQ(raw->getBssidFilter(), "");
    EXPECT_EQ(raw->getChannelFilter(), "");
    EXPECT_TRUE(decodeLogs().empty());
}

TEST_F(RawDecodeTest, TraceListsEveryRecordAfterDecoding) {
    decode(indication(1, 1, {{"a", {{mac(4), {11, 1}}}}, {"b", {}}}));
    EXPECT_EQ(decodeLogs(), (std::vector<std::string>{
                                "Measurement parameters includes RSSI",
                                "Measurement parameters does not include BSS Load",
                                "Measurement parameters includes RSSI",
                                "Measurement parameters does not include BSS Load",
                                "RawMeasurement bssidfilter:  ",
                                "RawMeasurement channelfilter:  ",
                                "RawMeasurement ssid: a ",
                                "RawMeasurement bssid: 02:00:00:00:04:00 ",
                                "RawMeasurement channel: 1 ",
                                "RawMeasurement channel: 11 ",
                                "RawMeasurement bssidfilter:  ",
                                "RawMeasurement channelfilter:  ",
                                "RawMeasurement ssid: b ",
                                "bssids   : ",
                                "channels : ",
                            }));
}

TEST_F(RawDecodeTest, ListLengthsBeyondCapacityAreClamped) {
    auto ind = indication(1, 1, {{"a", {{mac(3), {1}}}}});
    ind.ssid_list_len = 1000;
    ind.ssid_list[0].bssid_list_len = 17;
    ind.ssid_list[0].bssid_list[0].channel_list_len = 0xFFFFFFFFU;
    auto raw = decode(ind);
    EXPECT_EQ(raw->getRequestList().size(), 8U);
    const auto& first = raw->getRequestList().front();
    EXPECT_EQ(first.bssidChannels.size(), 2U);  // sixteen entries: one BSSID and fifteen zeros
    EXPECT_EQ(first.bssidChannels.at("02:00:00:00:03:00"), (std::set<uint16_t>{0, 1}));
    size_t clamps = 0;
    for (const auto& l : engine().logs) {
        if (l.level == 3 && l.file == kFile) {
            ++clamps;
        }
    }
    EXPECT_EQ(clamps, 3U);
    EXPECT_NE(findLog("ssid_list_len 1000 is above its capacity 8: only 8 entries read"), nullptr);
}

}  // namespace
