// Lifetimes of raw measurements: stops from inside a send, two measurements on one provider, one
// freed without a stop, and a heap that stays flat over many start/stop cycles.
#include <malloc.h>

#include "RawTestSupport.h"
#include "VorMsg.h"

// Present only in sanitizer builds, whose allocator mallinfo2 does not see.
extern "C" size_t __sanitizer_get_current_allocated_bytes() __attribute__((weak));

namespace {

using ylmtest::Report;

class RawLifetimeTest : public ylmtest::RawTest {
  protected:
    void SetUp() override {
        RawTest::SetUp();
        replies({{"SCAN_RESULTS", "sta-scan-results.txt"},
                 {"SIGNAL_POLL", "sta-signal-poll.txt"},
                 {"STATUS", "sta-status.txt"}});
    }
    std::vector<uint32_t> reportedIds() {
        std::vector<uint32_t> ids;
        for (const auto& m : engine().messages) {
            ids.push_back(m.as<Report>().meas_id);
        }
        return ids;
    }
};

TEST_F(RawLifetimeTest, StopFromInsideASendEndsTheBatchAndTouchesNothingAfter) {
    ASSERT_TRUE(start(anyScan(1)));
    ASSERT_TRUE(start(connected(2, 1, 3)));
    engine().onDsd = [this](const emu::DsdMessage& m) { stop(m.as<Report>().meas_id); };
    engine().fireScanReady();  // the other two groups are not sent
    engine().advance(10);      // the connected report at 3 is the last
    engine().fireScanReady();
    EXPECT_EQ(reportedIds(), (std::vector<uint32_t>{1, 2}));
    EXPECT_TRUE(mgr->requests().empty());
    EXPECT_EQ(engine().activeTimerCount(), 0U);
}

TEST_F(RawLifetimeTest, TwoScanningMeasurementsShareOneProviderCallback) {
    ASSERT_TRUE(start(anyScan(1)));
    ASSERT_TRUE(start(anyScan(2)));  // the later scan takes the provider's callback
    engine().fireScanReady();
    // Stopping the first clears the provider: the second misses results until its own next
    // scan, and nothing reaches the stopped one.
    stop(1);
    engine().fireScanReady();
    EXPECT_EQ(engine().messages.size(), 3U);
    engine().advance(5);
    engine().fireScanReady();
    stop(2);
    engine().fireScanReady();
    engine().advance(50);
    EXPECT_EQ(reportedIds(), (std::vector<uint32_t>{2, 2, 2, 2, 2, 2}));
    // One freed without a stop unhooks itself from the provider.
    auto raw = make(anyScan(3));
    ASSERT_TRUE(raw->startMeasurement());
    ASSERT_EQ(provider->getScanCallbackContext(), raw.get());
    raw.reset();
    EXPECT_EQ(provider->getScanCallbackContext(), nullptr);
    engine().fireScanReady();
    EXPECT_EQ(engine().messages.size(), 6U);
}

TEST_F(RawLifetimeTest, HeapStaysFlatOverOneHundredThousandCycles) {
    // Logging is switched off for the loop: the emulator keeps every line it is given.
    VorMsg* const logger = VorMsg::vor_log_class_ptr;
    VorMsg::vor_log_class_ptr = nullptr;
    const auto heapInUse = [] {
        return __sanitizer_get_current_allocated_bytes != nullptr
                   ? __sanitizer_get_current_allocated_bytes()
                   : mallinfo2().uordblks;
    };
    size_t before = 0;
    for (int32_t i = 0; i < 100000; ++i) {
        before = i == 1000 ? heapInUse() : before;
        ASSERT_TRUE(start(i % 2 == 0 ? anyScan(i) : connected(i, 1, 2)));
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
    const size_t after = heapInUse();
    VorMsg::vor_log_class_ptr = logger;
    EXPECT_TRUE(mgr->requests().empty());
    // One leaked measurement is over 6 KB; a tenth of them leaking would be 60 MB.
    EXPECT_LT(after, before + 64 * 1024) << before << " -> " << after;
}

}  // namespace
