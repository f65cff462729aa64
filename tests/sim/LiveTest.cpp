// Live mode against a stand-in wpa_supplicant control interface served by the test itself.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "Live.h"
#include "SimSupport.h"

namespace {

using simtest::FakeDaemon;
using simtest::TempDir;

bool contains(const std::vector<std::string>& v, const std::string& s) {
    return std::find(v.begin(), v.end(), s) != v.end();
}

ylmsim::LiveOptions options(const TempDir& dir, double timeout = 2.0) {
    ylmsim::LiveOptions o;
    o.ctrlDir = dir.path();
    o.timeout = timeout;
    return o;
}

TEST(LiveFilters, ScanParametersFromTheFilterTexts) {
    const std::pair<const char*, const char*> freqs[] = {
        {"", ""},
        {"2437", "2437"},
        {"2437,5180,2437", "2437,5180"},
        {"1", "2412,2417,2422,2427,2432,2437,2442,2447,2452,2457,2462,2467,2472,2484"},
        {"2", "3660,3665,3670,3675,3680,3685,3690"},
        {"3,2437",
         "5180,5200,5220,5240,5260,5280,5300,5320,5500,5520,5540,5560,5580,5600,5620,"
         "5640,5660,5680,5700,5720,5745,5765,5785,5805,5825,2437"},
        {"2437,65535", ""},
        {"x,,2412", "2412"},
    };
    for (const auto& [filter, expected] : freqs) {
        EXPECT_EQ(ylmsim::scanFrequencies(filter), expected) << filter;
    }
    const std::pair<const char*, const char*> bssids[] = {
        {"", ""},
        {"02:00:00:00:03:00", "02:00:00:00:03:00"},
        {"02:00:00:00:03:00,02:00:00:00:04:00", "02:00:00:00:03:00 02:00:00:00:04:00"},
        {"02:00:00:00:03:00,ff:ff:ff:ff:ff:ff", ""},
    };
    for (const auto& [filter, expected] : bssids) {
        EXPECT_EQ(ylmsim::bssidFilterValue(filter), expected) << filter;
    }
}

TEST(LiveSupplicant, CommandsFiltersAndScanEvents) {
    TempDir dir;
    FakeDaemon sta(dir.path(), "wlan0");
    FakeDaemon p2p(dir.path(), "p2p-dev-wlan0");
    sta.reply("STATUS", simtest::fixture("sta-status.txt"));
    sta.interleave("<3>CTRL-EVENT-BSS-ADDED 0 02:00:00:00:03:00");
    p2p.reply("STATUS", simtest::fixture("p2p-status.txt"));
    ylmsim::LiveSupplicant live(options(dir));
    std::string error;
    ASSERT_TRUE(live.start(error)) << error;

    std::string reply;
    ASSERT_TRUE(live.command(0, "STATUS", reply));  // the interleaved event is not the reply
    EXPECT_EQ(reply, simtest::fixture("sta-status.txt"));
    ASSERT_TRUE(live.connect(1));
    ASSERT_TRUE(live.command(1, "STATUS", reply));
    EXPECT_EQ(reply, simtest::fixture("p2p-status.txt"));
    EXPECT_TRUE(live.disconnect(1));

    EXPECT_TRUE(live.setBssidFilter("02:00:00:00:03:00,02:00:00:00:04:00"));
    EXPECT_TRUE(live.setFrequencyFilter("2437,5180"));
    ASSERT_TRUE(live.command(0, "SCAN", reply));
    EXPECT_EQ(reply, "OK\n");
    size_t events = 0;
    for (int i = 0; i < 100 && events == 0; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        events = live.readEvents();
    }
    EXPECT_EQ(events, 1U);
    live.finish();

    const auto seen = sta.received();
    EXPECT_TRUE(contains(seen, "ATTACH"));
    EXPECT_TRUE(contains(seen, "SET bssid_filter 02:00:00:00:03:00 02:00:00:00:04:00"));
    EXPECT_TRUE(contains(seen, "SCAN freq=2437,5180"));
    EXPECT_EQ(seen.back(), "DETACH");
    // The filter the run set is taken back before it leaves.
    EXPECT_TRUE(contains(seen, "SET bssid_filter "));
    EXPECT_TRUE(contains(p2p.received(), "PING"));
    EXPECT_TRUE(contains(live.takeNotices(), "sent SCAN freq=2437,5180"));
}

TEST(LiveSupplicant, SlowOrAbsentDaemon) {
    TempDir dir;
    ylmsim::LiveSupplicant absent(options(dir));
    std::string error;
    EXPECT_FALSE(absent.start(error));
    EXPECT_EQ(error,
              "cannot reach wpa_supplicant at " + dir.path() + "/wlan0: No such file or directory");

    FakeDaemon sta(dir.path(), "wlan0");
    sta.reply("STATUS", "wpa_state=COMPLETED\n");
    sta.reply("SIGNAL_POLL", "RSSI=-40\n");
    sta.delay("STATUS", 700);
    ylmsim::LiveSupplicant live(options(dir, 0.3));
    ASSERT_TRUE(live.start(error)) << error;
    std::string reply;
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_FALSE(live.command(0, "STATUS", reply));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(650));
    EXPECT_TRUE(contains(live.takeNotices(), "no reply to \"STATUS\" within 0.3 s"));
    std::this_thread::sleep_for(std::chrono::milliseconds(600));
    // The late STATUS reply is not taken for the next command's.
    ASSERT_TRUE(live.command(0, "SIGNAL_POLL", reply));
    EXPECT_EQ(reply, "RSSI=-40\n");
    EXPECT_FALSE(live.connect(1));
    EXPECT_EQ(live.takeNotices().at(0), "cannot reach wpa_supplicant at " + dir.path() +
                                            "/p2p-dev-wlan0: No such file or directory");
}

TEST(LiveForkExec, RunsTheShellAndCapturesOutput) {
    ylmsim::LiveForkExec fork(0.5);
    std::string out;
    EXPECT_EQ(fork.run("printf 'state=ENABLED\\n'; echo on-stderr >&2", out), 0);
    EXPECT_EQ(out, "state=ENABLED\n");
    out.clear();
    EXPECT_EQ(fork.run("exit 3", out), 3);
    EXPECT_EQ(fork.run("sleep 5", out), 124);
}

TEST(LiveMode, SimulatorRunsAgainstTheDaemon) {
    TempDir dir;
    FakeDaemon sta(dir.path(), "wlan0");
    sta.reply("SCAN_RESULTS", simtest::fixture("sta-scan-results.txt"));
    sta.reply("STATUS", simtest::fixture("sta-status.txt"));
    sta.reply("SIGNAL_POLL", simtest::fixture("sta-signal-poll.txt"));
    for (const auto& [bssid, file] : {std::pair<const char*, const char*>{"03", "sta-bss-ap2g.txt"},
                                      {"04", "sta-bss-ap5g.txt"},
                                      {"05", "sta-bss-aphe.txt"}}) {
        sta.reply(std::string("BSS 02:00:00:00:") + bssid + ":00", simtest::fixture(file));
    }
    const std::string scenario = dir.write("live.yaml", R"(live: {timeout: 2}
steps:
  - start_measurement:
      meas_id: 1
      meas_param_mask: 5
      reporting_interval: 30
      ssid_list: [{any: true, bssid_list: [{bssid: ff:ff:ff:ff:ff:ff, channel_list: [1, 3]}]}]
  - scan_ready: {timeout: 3}
  - advance: 1
  - stop_measurement: {meas_id: 1}
)");
    const auto run = simtest::runSim({scenario, "--live", "--ctrl-dir", dir.path()});
    ASSERT_EQ(run.rc, 0) << run.err << run.out;
    EXPECT_NE(run.out.find("mode: live: wpa_supplicant at " + dir.path() + "/wlan0"),
              std::string::npos);
    // The band codes became the scan's frequencies; the real event brought the reports.
    const std::string freqs = ylmsim::scanFrequencies("1,3");
    EXPECT_NE(run.out.find("sent SCAN freq=" + freqs), std::string::npos);
    EXPECT_NE(run.out.find("-> scanResultsReady           CTRL-EVENT-SCAN-RESULTS"),
              std::string::npos);
    for (const char* report :
         {"last_report=0 ssid=\"testbed-2g\"", "last_report=0 ssid=\"testbed-5g\"",
          "last_report=1 ssid=\"testbed-he\""}) {
        EXPECT_NE(run.out.find(std::string("meas_id=1 report_seq=1 ") + report), std::string::npos)
            << report;
    }
    const std::vector<std::string> expected = {
        "PING",
        "ATTACH",
        "SCAN freq=" + freqs,
        "SCAN_RESULTS",
        "BSS 02:00:00:00:03:00",
        "BSS 02:00:00:00:04:00",
        "BSS 02:00:00:00:05:00",
        "DETACH",
    };
    EXPECT_EQ(sta.received(), expected);

    const auto absent = simtest::runSim({scenario, "--live", "--ctrl-dir", dir.path() + "/none"});
    EXPECT_EQ(absent.rc, 1);
    EXPECT_EQ(absent.err, "ylm-sim: cannot reach wpa_supplicant at " + dir.path() +
                              "/none/wlan0: No such file or directory\n");
}

}  // namespace
