// The measurement cycle: mode choice, timers, smoothing, stop, the callbacks' guards and reports.
#include "RawTestSupport.h"
#include "WifiScanResult.h"

namespace {

using namespace ylmtest;

class RawCycleTest : public ylmtest::RawTest {};

TEST_F(RawCycleTest, SmoothingRoundsEachProductToSingleAndTruncatesTowardZero) {
    // {alpha, {samples..., average}}. The first sample is taken as it is. 0.1F x -97 and 0.9F x
    // -97, each rounded to single, add up to just above -97; in double, or fused, they give -97.
    const std::vector<std::pair<float, std::vector<int16_t>>> cases = {
        {0.9F, {-70, -70}},   {0.5F, {-60, -71, -65}}, {0.75F, {-50, -90, -60}},
        {0.5F, {-1, -2, -1}}, {0.1F, {-97, -97, -96}}, {0.1F, {-98, -58, -61}}};
    for (const auto& [alpha, samples] : cases) {
        Ind ind = connected(1);
        ind.alpha_valid = 1;
        ind.alpha = alpha;
        auto raw = make(ind);
        raw->isConfigParamOk();
        for (size_t i = 0; i + 1 < samples.size(); ++i) {
            raw->computeAvgRSSI(samples[i]);
        }
        EXPECT_EQ(raw->getAvgRssi(), samples.back()) << alpha << " " << samples[0];
        EXPECT_EQ(raw->getRssi(), samples.back());
    }
}

TEST_F(RawCycleTest, ScanBatchSharesOneSequenceNumberWrapsPastZeroAndIsSentOnce) {
    auto raw = make(indication(11, 1, {}, false));
    raw->startMeasurement();
    WifiScanResult result;
    // Load is copied even without its valid flag; texts that are no MAC or number give zeros.
    result.reportBySsid["a"] = {{"", "02:11:22:33:44:5f", "2437", -40, 0, {0, 77}}};
    result.reportBySsid["b"] = {{"", "not a mac", "x", -60, 1, {0, 12}}};
    result.reportBySsid["c"] = {};
    raw->setReportSeqForTest(0xFFFFFFFFU);
    Raw::scanResultsCb(&result, raw.get());
    Raw::scanResultsCb(&result, raw.get());
    raw->sendReport();  // the result went with its callback: nothing to send again
    WifiScanResult empty;
    Raw::scanResultsCb(&empty, raw.get());
    std::vector<Report> want;
    const Mac bssid{0x02, 0x11, 0x22, 0x33, 0x44, 0x5f};  // every octet its own
    for (const uint32_t seq : {0xFFFFFFFFU, 1U}) {
        want.push_back(report(11, seq, false, "a", {rec(bssid, 2437, 1, -40, 77)}));
        want.push_back(report(11, seq, false, "b", {rec({}, 0, 5, -60, 12)}));
        want.push_back(report(11, seq, true, "c", {}));
    }
    expectReports(0, want);
    EXPECT_EQ(raw->getReportSeq(), 2U);
    EXPECT_THAT(logs(kRawFile), Contains("1 sendScanReport bssid 2:11:22:33:44:5f"));
}

TEST_F(RawCycleTest, ConnectedReportCarriesThePollsOwnRssiAndKeepsTheSequence) {
    replies({{"SIGNAL_POLL", "sta-signal-poll.txt"}, {"STATUS", "sta-status.txt"}});
    auto raw = make(connected(1, 0x80000000U, 0xFFFFFFFFU));
    raw->startMeasurement();
    // The timer service takes signed 64-bit periods: 2^31 and more arrive negative.
    EXPECT_EQ(timers(), "added -2147483648 -1, removed");
    EXPECT_EQ(logs(kRawFile, 1).back(), "1 RawMeasurement::startMeasurement isScanReport: 0");
    EXPECT_THAT(logs(kRawFile, 1), Contains("1 startMeasurement  tpx ssid "));
    raw->computeAvgRSSI(-70);
    raw->sendConnectedReport();
    expectReports(0, {report(1, 1, false, "testbed-2g", {rec(mac(3), 2437, 1, -20, 0)})});
    EXPECT_EQ(raw->getReportSeq(), 1U);
    EXPECT_EQ(logs(kRawFile).back(), "1 sendConnectedReport bssid 2:0:0:0:3:0");
    EXPECT_THAT(logs(kRawFile), Contains("1 sendConnectedReport ssid called testbed-2g"));
    EXPECT_THAT(logs(kRawFile), Contains("1 sendConnectedReport channel :2437  signal :-20"));
}

TEST_F(RawCycleTest, CallbacksWithoutTheirObjectDoNothing) {
    EXPECT_EQ(Raw::samplingTimerExprCb(nullptr) + Raw::reportingTimerExprCb(nullptr), -2);
    Raw::scanResultsCb(nullptr, nullptr);
    EXPECT_EQ(logs(kRawFile), (Strings{"3 arg is null", "3 arg is null",
                                       "1 LTEU callback RawMeasurement scanResultsCb called ",
                                       "4 RawMeasurement self is null"}));
    EXPECT_TRUE(engine().messages.empty() && engine().supplicantEvents.empty());
}

}  // namespace
