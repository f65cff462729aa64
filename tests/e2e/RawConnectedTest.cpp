// Connected-mode measurements end to end: sampled, smoothed RSSI of the associated access point.
#include "RawTestSupport.h"

namespace {

using namespace ylmtest;

class RawConnectedTest : public RawTest {};

TEST_F(RawConnectedTest, SmoothedRssiOfTheAssociatedAccessPointEachPeriod) {
    replies({{"STATUS", "sta-status.txt"}, {"BSS 02:00:00:00:03:00", "sta-bss-ap2g.txt"}});
    Ind ind = connected(7, 2, 5);
    ind.meas_param_mask = 5;  // the records carry RSSI only, though BSS load is asked for
    ind.alpha_valid = 1;
    ind.alpha = 0.75F;
    ASSERT_TRUE(start(ind));
    EXPECT_FALSE(start(connected(7, 1, 1)));  // the id is taken while live
    // Polls at 2 and 4 fail: the report at 5 carries 0, and its status query fails at its first
    // step, so the record has empty texts.
    engine().advance(5);
    replies({{"SIGNAL_POLL", "sta-signal-poll.txt"}});
    engine().advance(2);  // t=6: -20, the first sample
    engine().scriptedSupplicant().setReply("SIGNAL_POLL", "RSSI=-40\n");
    // t=8: 0.75 x -20 + 0.25 x -40 = -25; t=10: -28.75, reported as -28 rather than the -40 of
    // the status query's own poll.
    engine().advance(3);
    engine().scriptedSupplicant().setFailure("SIGNAL_POLL");
    engine().advance(5);  // failed polls keep the average
    stop(7);
    engine().advance(50);
    ASSERT_TRUE(start(connected(7, 100, 1)));  // the id again: sequence 1, no average
    engine().advance(1);
    const auto r = [](uint32_t seq, const char* ssid, Mac b, uint16_t f, int16_t rssi) {
        return report(7, seq, true, ssid, {rec(b, f, 1, rssi, 0)});
    };
    expectReports(0, {r(1, "", {}, 0, 0), r(2, "testbed-2g", mac(3), 2437, -28),
                      r(3, "", {}, 0, -28), r(1, "", {}, 0, 0)});
    EXPECT_EQ(engine().messages[1].time, 10);
    EXPECT_EQ(timers(), "added 2 5 100 1, removed 1 2");
    const std::string sample = "command-no-reply 0:SIGNAL_POLL; ", poll = "0:SIGNAL_POLL; ";
    EXPECT_EQ(events(), sample + sample + poll + sample + sample + sample + poll +
                            "0:STATUS; 0:BSS 02:00:00:00:03:00; " + sample + sample + poll + poll);
    EXPECT_THAT(logs(kRawFile), Contains(::testing::StartsWith("0 sendAndsfReport:")));
    EXPECT_THAT(logs(kRawFile), Contains("1 RawMeasurement::startMeasurement isScanReport: 0"));
    EXPECT_THAT(logs("src/WifiInfoProvider"), Contains("1 Signal Poll command returned error"));
}

}  // namespace
