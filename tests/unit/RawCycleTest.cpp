// The measurement cycle: mode choice, timers, smoothing, stop, and the callbacks' guards.
#include <memory>

#include "EmuFixture.h"
#include "RawMeasurement.h"
#include "RawTestSupport.h"
#include "WifiInfoProvider.h"
#include "WifiScanResult.h"

namespace {

using Raw = WifiMeasurementRequest::RawMeasurement;
using ylmtest::indication;
constexpr const char* kFile = "src/RawMeasurement";

class RawCycleTest : public ylmtest::EmuTest {
  protected:
    void SetUp() override {
        EmuTest::SetUp();
        provider = WifiInfoProvider::getInstance();
        provider->initializeLinks(engine().supplicant());
        engine().supplicantEvents.clear();
    }
    std::unique_ptr<Raw> make(const dsd_start_wifi_meas_ind_msg_v01& ind) {
        return std::make_unique<Raw>(*engine().dsd(), *engine().com(), *engine().timer(),
                                     *engine().supplicant(), *provider, ind, nullptr);
    }
    // A started measurement, with alpha set when given.
    std::unique_ptr<Raw> connected(float alpha = 0) {
        auto ind = indication(1, 1, {{"", {}}});
        ind.alpha_valid = alpha > 0 ? 1 : 0;
        ind.alpha = alpha;
        auto raw = make(ind);
        EXPECT_TRUE(raw->startMeasurement());
        return raw;
    }
    std::vector<int64_t> periods() const {
        std::vector<int64_t> out;
        for (const auto& t : emu::Engine::instance().timers) {
            out.push_back(t.period);
        }
        return out;
    }
    WifiInfoProvider* provider = nullptr;
};

TEST_F(RawCycleTest, SmoothingRoundsEachProductToSingleAndTruncatesTowardZero) {
    const struct {
        float alpha;
        std::vector<int16_t> samples;
        int16_t average;
    } cases[] = {
        {0.9F, {-70}, -70},       // the first sample is taken as it is
        {0.5F, {-60, -71}, -65},  // -65.5 truncates toward zero
        {0.75F, {-50, -90}, -60},
        {0.5F, {-1, -2}, -1},
        // 0.1F x -97 and 0.9F x -97 each rounded to single add up to just above -97; evaluated
        // in double, or fused, the same sum gives -97.
        {0.1F, {-97, -97}, -96},
        {0.1F, {-98, -58}, -61},
    };
    for (const auto& c : cases) {
        auto raw = connected(c.alpha);
        for (const int16_t s : c.samples) {
            raw->computeAvgRSSI(s);
        }
        EXPECT_EQ(raw->getAvgRssi(), c.average) << c.alpha << " " << c.samples.back();
        EXPECT_EQ(raw->getRssi(), c.average);
        raw->stopMeasurement();
    }
}

TEST_F(RawCycleTest, SamplingPollsAndReadsTheChannelsRssi) {
    auto raw = connected(0.5F);
    engine().scriptedSupplicant().setReply("SIGNAL_POLL", ylmtest::fixture("sta-signal-poll.txt"));
    raw->getMeasurementData();
    ASSERT_EQ(engine().supplicantEvents.size(), 1U);
    EXPECT_EQ(engine().supplicantEvents[0].kind, emu::SupplicantEvent::CommandNoReply);
    EXPECT_EQ(engine().supplicantEvents[0].text, "SIGNAL_POLL");
    EXPECT_EQ(raw->getAvgRssi(), -20);

    // A failed poll changes nothing, even though the channel holds another value by now.
    engine().supplicant()->rssi = -90;
    engine().scriptedSupplicant().setFailure("SIGNAL_POLL");
    raw->getMeasurementData();
    EXPECT_EQ(raw->getAvgRssi(), -20);

    engine().scriptedSupplicant().setFailure("SIGNAL_POLL", false);
    engine().scriptedSupplicant().setReply("SIGNAL_POLL", "RSSI=-40\n");
    raw->getMeasurementData();
    EXPECT_EQ(raw->getAvgRssi(), -30);
}

TEST_F(RawCycleTest, FailedPollBeforeAnySampleLeavesFirstSampleUnseen) {
    auto raw = connected(0.5F);
    raw->getMeasurementData();  // no reply scripted: the poll fails
    EXPECT_FALSE(raw->getFirstSampleSeen());
    EXPECT_EQ(raw->getAvgRssi(), 0);
    engine().scriptedSupplicant().setReply("SIGNAL_POLL", "RSSI=-80\n");
    raw->getMeasurementData();
    EXPECT_EQ(raw->getAvgRssi(), -80);
}

TEST_F(RawCycleTest, FirstEntryDecidesTheMode) {
    // The first entry decides even when the list claims no entries.
    auto zeroLength = indication(1, 1, {{"", {}}});
    zeroLength.ssid_list_len = 0;
    const struct {
        dsd_start_wifi_meas_ind_msg_v01 ind;
        bool scan;
        const char* ssidLog;
    } cases[] = {
        {indication(1, 1, {}, false), true, "startMeasurement  tpx ssid "},
        {indication(1, 1, {{"", {}}}), false, "startMeasurement  tpx ssid "},
        {indication(1, 1, {{"", {}}, {"other", {}}}), false, "startMeasurement  tpx ssid "},
        {indication(1, 1, {{"home", {}}}), true, "startMeasurement  tpx ssid home"},
        {indication(1, 1, {{std::string(31, '\0') + "x", {}}}), true,
         "startMeasurement  tpx ssid "},
        {zeroLength, false, "startMeasurement  tpx ssid "},
    };
    for (const auto& c : cases) {
        engine().reset();
        auto raw = make(c.ind);
        ASSERT_TRUE(raw->startMeasurement());
        EXPECT_EQ(raw->getIsScanReport(), c.scan);
        EXPECT_TRUE(logged(1, 10357, kFile, c.ssidLog));
        EXPECT_TRUE(logged(
            1, 10357, kFile,
            std::string("RawMeasurement::startMeasurement isScanReport: ") + (c.scan ? "1" : "0")));
        // Scan mode scans at once and keeps one timer; connected mode samples and reports.
        EXPECT_EQ(engine().commands(),
                  c.scan ? std::vector<std::string>{"0:SCAN"} : std::vector<std::string>{});
        EXPECT_EQ(periods(), (c.scan ? std::vector<int64_t>{5} : std::vector<int64_t>{2, 5}));
        raw->stopMeasurement();
    }
}

TEST_F(RawCycleTest, PeriodsAreSignExtended) {
    auto ind = indication(1, 1, {{"", {}}});
    ylmtest::setTiming(ind, 0x80000000U, 0xFFFFFFFFU);
    auto raw = make(ind);
    ASSERT_TRUE(raw->startMeasurement());
    EXPECT_EQ(periods(), (std::vector<int64_t>{-2147483648LL, -1}));
    engine().advance(1000);
    EXPECT_TRUE(engine().messages.empty());
    raw->stopMeasurement();
}

TEST_F(RawCycleTest, StopRemovesTheModesTimersAndForgetsTheScan) {
    auto scan = make(indication(1, 1, {}, false));
    scan->startMeasurement();
    EXPECT_EQ(provider->getScanCallbackContext(), scan.get());
    scan->setReportSeqForTest(9);
    scan->stopMeasurement();
    EXPECT_EQ(engine().removedTimerIds, (std::vector<int32_t>{1}));
    EXPECT_EQ(provider->getScanCallbackContext(), nullptr);
    EXPECT_EQ(scan->getReportSeq(), 1U);

    auto conn = connected();
    conn->stopMeasurement();
    EXPECT_EQ(engine().removedTimerIds, (std::vector<int32_t>{1, 2, 3}));
    EXPECT_EQ(engine().activeTimerCount(), 0U);
}

TEST_F(RawCycleTest, CallbacksRefuseANullContext) {
    EXPECT_EQ(Raw::samplingTimerExprCb(nullptr), -1);
    EXPECT_EQ(Raw::reportingTimerExprCb(nullptr), -1);
    EXPECT_EQ(countLog("arg is null"), 2U);
    EXPECT_TRUE(logged(3, 10357, kFile, "arg is null"));
    Raw::scanResultsCb(nullptr, nullptr);
    EXPECT_TRUE(logged(1, 10357, kFile, "LTEU callback RawMeasurement scanResultsCb called "));
    EXPECT_TRUE(logged(4, 10357, kFile, "RawMeasurement self is null"));
    EXPECT_TRUE(engine().messages.empty());
}

TEST_F(RawCycleTest, ScanBatchSharesOneSequenceNumberAndWrapsPastZero) {
    auto raw = make(indication(11, 1, {}, false));
    raw->startMeasurement();
    BssidInfo a;
    a.bssid = "02:00:00:00:03:00";
    a.frequency = "2437";
    a.level = -40;
    a.bssLoad.channelUtilization = 77;  // copied even without the valid flag
    BssidInfo b;
    b.bssid = "not a mac";
    b.frequency = "x";
    b.level = -60;
    b.isBssLoadValid = 1;
    b.bssLoad.channelUtilization = 12;
    WifiScanResult result;
    result.reportBySsid["a"] = {a};
    result.reportBySsid["b"] = {b};
    result.reportBySsid["c"] = {};
    raw->setReportSeqForTest(0xFFFFFFFFU);
    Raw::scanResultsCb(&result, raw.get());
    Raw::scanResultsCb(&result, raw.get());
    ASSERT_EQ(engine().messages.size(), 6U);
    const uint32_t top = 0xFFFFFFFFU;
    using ylmtest::report;
    const dsd_wifi_meas_report_req_msg_v01 want[] = {
        report(11, top, false, "a", {{ylmtest::mac(3), 2437, 1, -40, 77}}),
        report(11, top, false, "b", {{{0, 0, 0, 0, 0, 0}, 0, 5, -60, 12}}),
        report(11, top, true, "c", {}),
        report(11, 1, false, "a", {{ylmtest::mac(3), 2437, 1, -40, 77}}),
    };
    for (size_t i = 0; i < 4; ++i) {
        ylmtest::expectReport(engine().messages[i], want[i]);
    }
    EXPECT_EQ(raw->getReportSeq(), 2U);

    raw->sendReport();  // the result is gone with its callback: nothing to send again
    EXPECT_EQ(engine().messages.size(), 6U);
    WifiScanResult empty;
    Raw::scanResultsCb(&empty, raw.get());
    EXPECT_EQ(engine().messages.size(), 6U);
    EXPECT_EQ(raw->getReportSeq(), 2U);
    raw->stopMeasurement();
}

TEST_F(RawCycleTest, ConnectedReportCarriesThePollsOwnRssiAndKeepsTheSequence) {
    auto& s = engine().scriptedSupplicant();
    s.setReply("SIGNAL_POLL", ylmtest::fixture("sta-signal-poll.txt"));
    s.setReply("STATUS", ylmtest::fixture("sta-status.txt"));
    auto raw = connected();
    raw->computeAvgRSSI(-70);
    raw->sendConnectedReport();
    ASSERT_EQ(engine().messages.size(), 1U);
    ylmtest::expectReport(
        engine().messages[0],
        ylmtest::report(1, 1, false, "testbed-2g", {{ylmtest::mac(3), 2437, 1, -20, 0}}));
    EXPECT_EQ(raw->getReportSeq(), 1U);
    EXPECT_TRUE(logged(1, 10357, kFile, "sendConnectedReport ssid called testbed-2g"));
    EXPECT_TRUE(logged(1, 10357, kFile, "sendConnectedReport channel :2437  signal :-20"));
    EXPECT_TRUE(logged(1, 10357, kFile, "sendConnectedReport bssid 2:0:0:0:3:0"));
    raw->stopMeasurement();
}

}  // namespace
