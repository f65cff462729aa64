// Lifetimes of raw measurements: stops from inside a send, two measurements on one provider, one
// freed without a stop, and a heap that stays flat over many start/stop cycles.
#include <malloc.h>

#include "RawTestSupport.h"
#include "VorMsg.h"

// Only sanitizer builds have it; their allocator is not the one mallinfo2 sees.
extern "C" size_t __sanitizer_get_current_allocated_bytes() __attribute__((weak));

namespace {

class RawLifetimeTest : public ylmtest::RawTest {
  protected:
    void SetUp() override {
        RawTest::SetUp();
        replies({{"SCAN_RESULTS", "sta-scan-results.txt"}, {"SIGNAL_POLL", "sta-signal-poll.txt"}});
    }
};

TEST_F(RawLifetimeTest, StopFromInsideASendEndsTheBatchAndTouchesNothingAfter) {
    ASSERT_TRUE(start(anyScan(1)));
    ASSERT_TRUE(start(connected(2, 1, 3)));
    engine().onDsd = [this](const emu::DsdMessage& m) {
        stop(static_cast<int32_t>(m.as<ylmtest::Report>().meas_id));
    };
    engine().fireScanReady();  // the other two groups are not sent
    engine().advance(10);      // the connected report at 3 is the last
    engine().fireScanReady();
    EXPECT_EQ(engine().messages.size(), 2U);
    EXPECT_TRUE(mgr->requests().empty() && engine().activeTimerCount() == 0);
}

TEST_F(RawLifetimeTest, TwoScanningMeasurementsShareOneProviderCallback) {
    ASSERT_TRUE(start(anyScan(1)));
    ASSERT_TRUE(start(anyScan(2)));  // the later scan takes the provider's callback
    engine().fireScanReady();
    stop(1);  // clears the provider: the second misses results until its own next scan
    engine().fireScanReady();
    EXPECT_EQ(engine().messages.size(), 3U);
    engine().advance(5);
    engine().fireScanReady();
    stop(2);
    engine().fireScanReady();
    engine().advance(50);
    auto raw = make(anyScan(3));  // one freed without a stop unhooks itself too
    ASSERT_TRUE(raw->startMeasurement());
    raw.reset();
    engine().fireScanReady();
    ASSERT_EQ(engine().messages.size(), 6U);
    for (const auto& m : engine().messages) {
        EXPECT_EQ(m.as<ylmtest::Report>().meas_id, 2U);
    }
}

TEST_F(RawLifetimeTest, HeapStaysFlatOverOneHundredThousandCycles) {
    VorMsg* const logger = VorMsg::vor_log_class_ptr;
    VorMsg::vor_log_class_ptr = nullptr;  // the emulator would keep every line
    const auto heap = [] {
        return __sanitizer_get_current_allocated_bytes != nullptr
                   ? __sanitizer_get_current_allocated_bytes()
                   : mallinfo2().uordblks;
    };
    size_t before = 0;
    for (int32_t i = 0; i < 100000; ++i) {
        before = i == 1000 ? heap() : before;
        ASSERT_TRUE(start(i % 2 == 0 ? anyScan(i) : connected(i, 1, 2)));
        ASSERT_FALSE(start(anyScan(-1 - i, 4)));  // BSS load without RSSI: refused, maybe often
        if (i % 100 < 2) {  // now and then a full period with reports, in both modes
            engine().advance(2);
            engine().fireScanReady();
        }
        stop(i);
        engine().timers.clear();
        engine().removedTimerIds.clear();
        engine().supplicantEvents.clear();
        engine().messages.clear();
    }
    const size_t after = heap();
    VorMsg::vor_log_class_ptr = logger;
    EXPECT_TRUE(mgr->requests().empty());
    // One leaked measurement is over 6 KB; a tenth of them, started or refused, would be 60 MB.
    EXPECT_LT(after, before + 64 * 1024) << before << " -> " << after;
}

}  // namespace
