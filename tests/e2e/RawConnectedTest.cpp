// Connected-mode measurements end to end: sampled, smoothed RSSI of the associated access point.
#include <algorithm>

#include "RawTestSupport.h"

namespace {

using emu::SupplicantEvent;
using ylmtest::expectReport;
using ylmtest::fixture;
using ylmtest::indication;
using ylmtest::mac;
using ylmtest::report;

class RawConnectedTest : public ylmtest::RawEndToEnd {
  protected:
    // Connected mode: the first SSID entry is all zero bytes.
    static dsd_start_wifi_meas_ind_msg_v01 connectedIndication(int32_t id, uint64_t mask,
                                                               uint32_t sampling,
                                                               uint32_t reporting) {
        auto ind = indication(id, mask, {{"", {}}});
        ylmtest::setTiming(ind, sampling, reporting);
        return ind;
    }
    void setPoll(int rssi) {
        engine().scriptedSupplicant().setReply("SIGNAL_POLL",
                                               "RSSI=" + std::to_string(rssi) + "\n");
    }
};

TEST_F(RawConnectedTest, SmoothedRssiOfTheAssociatedAccessPointEachPeriod) {
    auto& s = engine().scriptedSupplicant();
    s.setReply("SIGNAL_POLL", fixture("sta-signal-poll.txt"));
    s.setReply("STATUS", fixture("sta-status.txt"));
    s.setReply("BSS 02:00:00:00:03:00", fixture("sta-bss-ap2g.txt"));
    auto ind = connectedIndication(7, 5, 2, 5);
    ind.alpha_valid = 1;
    ind.alpha = 0.75F;
    ASSERT_TRUE(start(ind));
    ASSERT_EQ(engine().timers.size(), 2U);
    EXPECT_EQ(engine().timers[0].period, 2);  // sampling
    EXPECT_EQ(engine().timers[1].period, 5);  // reporting
    EXPECT_TRUE(engine().commands().empty());

    engine().advance(2);  // -20 from the genuine poll reply
    setPoll(-40);
    engine().advance(3);  // t=4: 0.75 x -20 + 0.25 x -40; t=5: report
    EXPECT_EQ(engine().commands(),
              (std::vector<std::string>{"0:SIGNAL_POLL", "0:SIGNAL_POLL", "0:SIGNAL_POLL",
                                        "0:STATUS", "0:BSS 02:00:00:00:03:00"}));
    EXPECT_EQ(engine().supplicantEvents[1].kind, SupplicantEvent::CommandNoReply);
    ASSERT_EQ(engine().messages.size(), 1U);
    // The smoothed value, not the -40 of the status query's own poll; RSSI only, though BSS load
    // was asked for.
    expectReport(engine().messages[0],
                 report(7, 1, true, "testbed-2g", {{mac(3), 2437, 1, -25, 0}}));
    EXPECT_EQ(engine().messages[0].time, 5);
    const auto entry = std::find_if(engine().logs.begin(), engine().logs.end(), [](const auto& l) {
        return l.level == 0 && l.text.rfind("sendAndsfReport:", 0) == 0;
    });
    EXPECT_NE(entry, engine().logs.end());

    // Polls fail from now on: the average holds, and the status query fails at its first step,
    // so the record goes out with empty texts.
    s.setFailure("SIGNAL_POLL");
    engine().advance(5);
    ASSERT_EQ(engine().messages.size(), 2U);
    expectReport(engine().messages[1],
                 report(7, 2, true, "", {{{0, 0, 0, 0, 0, 0}, 0, 1, -25, 0}}));
    EXPECT_NE(findLog("Signal Poll command returned error"), nullptr);

    stop(7);
    EXPECT_EQ(engine().removedTimerIds, (std::vector<int32_t>{1, 2}));
    const size_t commands = engine().commands().size();
    engine().advance(50);
    EXPECT_EQ(engine().messages.size(), 2U);
    EXPECT_EQ(engine().commands().size(), commands);
}

TEST_F(RawConnectedTest, ReportBeforeTheFirstSampleCarriesZero) {
    auto& s = engine().scriptedSupplicant();
    s.setReply("SIGNAL_POLL", fixture("sta5-signal-poll.txt"));
    s.setReply("STATUS", fixture("sta5-status.txt"));
    s.setReply("BSS 02:00:00:00:04:00", fixture("sta5-bss-ap5g.txt"));
    ASSERT_TRUE(start(connectedIndication(8, 1, 10, 3)));
    engine().advance(3);
    ASSERT_EQ(engine().messages.size(), 1U);
    expectReport(engine().messages[0], report(8, 1, true, "testbed-5g", {{mac(4), 5180, 1, 0, 0}}));
    engine().advance(7);  // t=6 report (still 0), t=9 report, t=10 first sample
    engine().advance(2);  // t=12 report with the sample
    ASSERT_EQ(engine().messages.size(), 4U);
    expectReport(engine().messages[3],
                 report(8, 4, true, "testbed-5g", {{mac(4), 5180, 1, -27, 0}}));
    stop(8);
}

TEST_F(RawConnectedTest, SameIdIsRefusedWhileLiveAndFreeAgainAfterStop) {
    ASSERT_TRUE(start(connectedIndication(4, 1, 2, 5)));
    EXPECT_FALSE(start(connectedIndication(4, 1, 1, 1)));
    EXPECT_EQ(engine().timers.size(), 2U);
    setPoll(-50);
    engine().advance(5);
    ASSERT_EQ(engine().messages.size(), 1U);
    EXPECT_EQ(engine().messages[0].as<dsd_wifi_meas_report_req_msg_v01>().bssid_list[0].rssi, -50);
    stop(4);
    // A new measurement under the same id starts over: sequence 1, no average.
    ASSERT_TRUE(start(connectedIndication(4, 1, 100, 1)));
    engine().advance(1);
    ASSERT_EQ(engine().messages.size(), 2U);
    const auto again = engine().messages[1].as<dsd_wifi_meas_report_req_msg_v01>();
    EXPECT_EQ(again.report_seq, 1U);
    EXPECT_EQ(again.bssid_list[0].rssi, 0);
    stop(4);
}

}  // namespace
