// Lifetimes of raw measurements: late results, stops from inside a send, two measurements on one
// provider, and a heap that stays flat over many start/stop cycles.
#include <malloc.h>

#include "RawMeasurement.h"
#include "RawTestSupport.h"
#include "VorMsg.h"
#include "WifiInfoProvider.h"

#if defined(__SANITIZE_ADDRESS__)
#define YLM_TEST_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define YLM_TEST_ASAN 1
#endif
#endif
#ifdef YLM_TEST_ASAN
#include <sanitizer/allocator_interface.h>
#endif

namespace {

using ylmtest::fixture;
using ylmtest::indication;
using ylmtest::kBroadcast;

size_t heapInUse() {
#ifdef YLM_TEST_ASAN
    return __sanitizer_get_current_allocated_bytes();
#else
    return mallinfo2().uordblks;
#endif
}

dsd_start_wifi_meas_ind_msg_v01 anyScan(int32_t id) {
    return indication(id, 5, {{ylmtest::anySsid(), {{kBroadcast, {65535}}}}});
}

class RawLifetimeTest : public ylmtest::RawEndToEnd {
  protected:
    void SetUp() override {
        RawEndToEnd::SetUp();
        auto& s = engine().scriptedSupplicant();
        s.setReply("SCAN_RESULTS", fixture("sta-scan-results.txt"));
        s.setReply("SIGNAL_POLL", fixture("sta-signal-poll.txt"));
        s.setReply("STATUS", fixture("sta-status.txt"));
    }
    std::vector<uint32_t> reportedIds() {
        std::vector<uint32_t> ids;
        for (const auto& m : engine().messages) {
            ids.push_back(m.as<dsd_wifi_meas_report_req_msg_v01>().meas_id);
        }
        return ids;
    }
};

TEST_F(RawLifetimeTest, ResultsAfterTheStopReachNobody) {
    ASSERT_TRUE(start(anyScan(1)));
    stop(1);
    engine().fireScanReady();
    EXPECT_TRUE(engine().messages.empty());
    EXPECT_EQ(WifiInfoProvider::getInstance()->getScanCallbackContext(), nullptr);
}

TEST_F(RawLifetimeTest, StopFromInsideAScanReportSendEndsTheBatch) {
    ASSERT_TRUE(start(anyScan(1)));
    engine().onDsd = [this](const emu::DsdMessage&) {
        engine().onDsd = nullptr;
        stop(1);
    };
    engine().fireScanReady();
    EXPECT_EQ(engine().messages.size(), 1U);  // the other two groups are not sent
    EXPECT_TRUE(mgr->requests().empty());
    engine().fireScanReady();
    engine().advance(100);
    EXPECT_EQ(engine().messages.size(), 1U);
}

TEST_F(RawLifetimeTest, StopFromInsideAConnectedReportSend) {
    auto ind = indication(2, 1, {{"", {}}});
    ylmtest::setTiming(ind, 1, 3);
    ASSERT_TRUE(start(ind));
    engine().onDsd = [this](const emu::DsdMessage&) { stop(2); };
    engine().advance(10);
    EXPECT_EQ(engine().messages.size(), 1U);
    EXPECT_EQ(engine().activeTimerCount(), 0U);
}

TEST_F(RawLifetimeTest, TwoScanningMeasurementsShareOneProviderCallback) {
    ASSERT_TRUE(start(anyScan(1)));
    ASSERT_TRUE(start(anyScan(2)));  // the later scan takes the provider's callback
    engine().fireScanReady();
    EXPECT_EQ(reportedIds(), (std::vector<uint32_t>{2, 2, 2}));

    // Stopping the first clears the provider, so the second misses results until its own
    // next scan; nothing reaches the stopped one.
    stop(1);
    engine().fireScanReady();
    EXPECT_EQ(engine().messages.size(), 3U);
    engine().advance(5);  // the second's reporting timer scans again
    engine().fireScanReady();
    EXPECT_EQ(reportedIds(), (std::vector<uint32_t>{2, 2, 2, 2, 2, 2}));
    stop(2);
    engine().fireScanReady();
    engine().advance(50);
    EXPECT_EQ(engine().messages.size(), 6U);
}

TEST_F(RawLifetimeTest, MeasurementFreedWithoutStopUnhooksItselfFromTheProvider) {
    using Raw = WifiMeasurementRequest::RawMeasurement;
    WifiInfoProvider* provider = WifiInfoProvider::getInstance();
    auto* raw = new Raw(*engine().dsd(), *engine().com(), *engine().timer(), *engine().supplicant(),
                        *provider, anyScan(3), nullptr);
    ASSERT_TRUE(raw->startMeasurement());
    ASSERT_EQ(provider->getScanCallbackContext(), raw);
    delete raw;
    EXPECT_EQ(provider->getScanCallbackContext(), nullptr);
    engine().fireScanReady();
    EXPECT_TRUE(engine().messages.empty());
}

TEST_F(RawLifetimeTest, HeapStaysFlatOverOneHundredThousandCycles) {
    // Logging is switched off for the loop: the emulator keeps every line it is given.
    VorMsg* const logger = VorMsg::vor_log_class_ptr;
    VorMsg::vor_log_class_ptr = nullptr;
    auto connected = indication(0, 1, {{"", {}}});
    ylmtest::setTiming(connected, 1, 2);
    const auto cycle = [&](int32_t i) {
        const bool scan = i % 2 == 0;
        auto ind = scan ? anyScan(i) : connected;
        ind.meas_id = i;
        ASSERT_TRUE(start(ind));
        if (i % 100 < 2) {  // now and then a full period with reports, in both modes
            engine().advance(2);
            engine().fireScanReady();
        }
        stop(i);
        engine().timers.clear();
        engine().removedTimerIds.clear();
        engine().supplicantEvents.clear();
        engine().messages.clear();
    };
    for (int32_t i = 0; i < 1000; ++i) {
        cycle(i);
    }
    const size_t before = heapInUse();
    for (int32_t i = 1000; i < 100000; ++i) {
        cycle(i);
    }
    const size_t after = heapInUse();
    VorMsg::vor_log_class_ptr = logger;
    EXPECT_TRUE(mgr->requests().empty());
    // One leaked measurement is over 6 KB; a tenth of them leaking would be 60 MB.
    EXPECT_LT(after, before + 64 * 1024) << before << " -> " << after;
}

}  // namespace
