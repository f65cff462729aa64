// Live mode against a stand-in wpa_supplicant control interface served by the test itself.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <thread>

#include "SimSupport.h"
#include "live/Live.h"

namespace {

using simtest::FakeDaemon;
using simtest::fixture;

ylmsim::LiveOptions options(const simtest::TempDir& dir, double timeout = 2.0) {
    return {dir.path(), "wlan0", "p2p-dev-wlan0", timeout};
}

// The scan-results events the monitor brings within the tries (20 ms apart), stopping at the
// first.
size_t scanEvents(ylmsim::LiveSupplicant& live, int tries = 100) {
    size_t events = 0;
    for (int i = 0; i < tries && events == 0; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        events = live.readEvents();
    }
    return events;
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

TEST(LiveSupplicant, TalksToTheDaemonsAsTheEngineWould) {
    simtest::TempDir dir;
    std::string error, reply;
    ylmsim::LiveSupplicant absent(options(dir));
    EXPECT_FALSE(absent.start(error));
    EXPECT_EQ(error,
              "cannot reach wpa_supplicant at " + dir.path() + "/wlan0: No such file or directory");

    FakeDaemon sta(dir.path(), "wlan0");
    sta.reply("STATUS", "wpa_state=COMPLETED\n", 700);
    sta.reply("SIGNAL_POLL", fixture("sta-signal-poll.txt"));
    sta.interleave("<3>CTRL-EVENT-BSS-ADDED 0 02:00:00:00:03:00");
    ylmsim::LiveSupplicant live(options(dir, 0.3));
    ASSERT_TRUE(live.start(error)) << error;
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_FALSE(live.command(0, "STATUS", reply));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(650));
    const std::string gone = "wpa_supplicant at " + dir.path() + "/wlan0 is gone (";
    EXPECT_EQ(live.takeNotices(),
              (std::vector<std::string>{"no reply to \"STATUS\" within 0.3 s",
                                        gone + "no reply within 0.3 s): its commands fail until "
                                               "it is back"}));
    std::this_thread::sleep_for(std::chrono::milliseconds(600));
    // Neither the late STATUS reply nor the interleaved events are taken for the next reply.
    ASSERT_TRUE(live.command(0, "SIGNAL_POLL", reply));
    EXPECT_EQ(reply, fixture("sta-signal-poll.txt"));
    EXPECT_EQ(live.takeNotices(), std::vector<std::string>{"wpa_supplicant at " + dir.path() +
                                                           "/wlan0 is back: reconnected"});

    EXPECT_FALSE(live.connect(1));
    EXPECT_EQ(live.takeNotices(),
              std::vector<std::string>{"cannot reach wpa_supplicant at " + dir.path() +
                                       "/p2p-dev-wlan0: No such file or directory"});
    FakeDaemon p2p(dir.path(), "p2p-dev-wlan0");
    p2p.reply("STATUS", fixture("p2p-status.txt"));
    ASSERT_TRUE(live.connect(1));
    ASSERT_TRUE(live.command(1, "STATUS", reply));
    EXPECT_EQ(reply, fixture("p2p-status.txt"));
    EXPECT_TRUE(live.disconnect(1));

    EXPECT_TRUE(live.setBssidFilter("02:00:00:00:03:00,02:00:00:00:04:00"));
    EXPECT_TRUE(live.setFrequencyFilter("2437,5180"));  // both go out with the next scan
    ASSERT_TRUE(live.command(0, "SCAN", reply));
    EXPECT_EQ(reply, "OK\n");
    EXPECT_EQ(scanEvents(live), 1U);
    live.finish();
    // The filter the run set is taken back before it leaves.
    EXPECT_EQ(sta.received(),
              (std::vector<std::string>{"PING", "ATTACH", "STATUS", "PING", "SIGNAL_POLL",
                                        "SET bssid_filter 02:00:00:00:03:00 02:00:00:00:04:00",
                                        "SCAN freq=2437,5180", "SET bssid_filter ", "DETACH"}));
    EXPECT_EQ(p2p.received(), (std::vector<std::string>{"PING", "STATUS"}));
}

// The framework restarts wpa_supplicant: while it is gone its commands fail as the engine's would,
// and the new daemon at the same path gets the commands and sends the scan results.
TEST(LiveSupplicant, OutlivesItsDaemon) {
    simtest::TempDir dir;
    std::string error, reply;
    auto first = std::make_unique<FakeDaemon>(dir.path(), "wlan0");
    ylmsim::LiveSupplicant live(options(dir, 0.3));
    ASSERT_TRUE(live.start(error)) << error;
    first.reset();
    EXPECT_EQ(scanEvents(live, 1), 0U);
    EXPECT_FALSE(live.command(0, "SCAN", reply));
    EXPECT_FALSE(live.command(0, "SCAN", reply));
    const std::string path = dir.path() + "/wlan0";
    EXPECT_EQ(live.takeNotices(),
              (std::vector<std::string>{
                  "wpa_supplicant at " + path +
                      " is gone (its socket file was removed or replaced): its commands fail "
                      "until it is back",
                  "cannot reach wpa_supplicant at " + path + ": No such file or directory",
                  "cannot reach wpa_supplicant at " + path + ": No such file or directory"}));

    FakeDaemon second(dir.path(), "wlan0");
    EXPECT_EQ(scanEvents(live, 1), 0U);  // attaches to the new daemon
    ASSERT_TRUE(live.command(0, "SCAN", reply));
    EXPECT_EQ(scanEvents(live), 1U);
    EXPECT_EQ(live.takeNotices(),
              (std::vector<std::string>{
                  "wpa_supplicant at " + path + " is back: scan-results events attached again",
                  "wpa_supplicant at " + path + " is back: reconnected"}));
    live.finish();
    EXPECT_EQ(second.received(), (std::vector<std::string>{"ATTACH", "PING", "SCAN", "DETACH"}));
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
    simtest::TempDir dir;
    FakeDaemon sta(dir.path(), "wlan0");
    sta.reply("SCAN_RESULTS", fixture("sta-scan-results.txt"));
    sta.reply("BSS 02:00:00:00:03:00", fixture("sta-bss-ap2g.txt"));
    sta.reply("BSS 02:00:00:00:04:00", fixture("sta-bss-ap5g.txt"));
    // This one's elements begin with an empty SSID element, as a hidden network's would.
    std::string hidden = fixture("sta-bss-aphe.txt");
    hidden.replace(hidden.find("ie=000a746573746265642d6865"), 27, "ie=0000");
    sta.reply("BSS 02:00:00:00:05:00", hidden);
    sta.reply("SIGNAL_POLL", fixture("sta-signal-poll.txt"));
    const std::string scenario = dir.write("live.yaml", R"(live: {timeout: 2}
steps:
  - start_measurement: {meas_id: 1, meas_param_mask: 5, reporting_interval: 30, ssid_list: [
      {any: true, bssid_list: [{bssid: ff:ff:ff:ff:ff:ff, channel_list: [1, 3]}]}]}
  - scan_ready: {timeout: 3}
  - start_measurement: {meas_id: 2, meas_param_mask: 1, sampling_interval: 1,
      reporting_interval: 30, ssid_list: [{connected: true}]}
  - advance: 1
  - stop_measurement: {meas_id: 1}
)");
    const std::string svg = dir.path() + "/run.svg";
    const auto run = simtest::runSim({scenario, "--live", "--ctrl-dir", dir.path(), "--svg", svg});
    ASSERT_EQ(run.rc, 0) << run.err << run.out;
    // The band codes became the scan's frequencies; the real event brought the reports.
    const std::string freqs = ylmsim::scanFrequencies("1,3");
    for (const std::string& text : std::vector<std::string>{
             "mode: live: wpa_supplicant at " + dir.path() + "/wlan0", "sent SCAN freq=" + freqs,
             "-> scanResultsReady           CTRL-EVENT-SCAN-RESULTS",
             R"(meas_id=1 report_seq=1 last_report=0 ssid="testbed-2g")",
             R"(meas_id=1 report_seq=1 last_report=0 ssid="testbed-5g")",
             R"(meas_id=1 report_seq=1 last_report=1 ssid="testbed-he")",
             "!! BSS 02:00:00:00:05:00      the elements of 02:00:00:00:05:00 begin with an "
             "SSID"}) {
        EXPECT_NE(run.out.find(text), std::string::npos) << text;
    }
    EXPECT_EQ(sta.received(),
              (std::vector<std::string>{"PING", "ATTACH", "SCAN freq=" + freqs, "SCAN_RESULTS",
                                        "BSS 02:00:00:00:03:00", "BSS 02:00:00:00:04:00",
                                        "BSS 02:00:00:00:05:00", "SIGNAL_POLL", "DETACH"}));
    // The picture holds the real daemon's reports and its signal-poll RSSI as the sample.
    const std::string picture = simtest::readFile(svg);
    EXPECT_NE(picture.find(R"(data-meas-id="1" data-report-seq="1" data-ssid="testbed-he")"),
              std::string::npos);
    EXPECT_NE(picture.find(R"(data-meas-id="2" data-rssi="-20")"), std::string::npos);

    const auto absent = simtest::runSim({scenario, "--live", "--ctrl-dir", dir.path() + "/none"});
    EXPECT_EQ(absent.rc, 1);
    EXPECT_EQ(absent.err, "ylm-sim: cannot reach wpa_supplicant at " + dir.path() +
                              "/none/wlan0: No such file or directory\n");
}

}  // namespace
