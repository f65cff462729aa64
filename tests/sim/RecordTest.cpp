// --record: a run kept as a scenario plays back scripted to the same DSD messages, live runs and
// scripted ones alike, texts that are no UTF-8 and records the fields cannot give included.
#include <gtest/gtest.h>

#include <filesystem>

#include "SimSupport.h"

namespace {

using simtest::fixture;

// Plays the scenario with the options and --record, then the recording alone; both must print
// the same messages.
void expectSamePlayback(const simtest::TempDir& dir, std::vector<std::string> args) {
    const std::string kept = dir.path() + "/kept.yaml";
    args.insert(args.end(), {"--json", "--record", kept});
    const auto run = simtest::runSim(args);
    ASSERT_EQ(run.rc, 0) << args.front() << "\n" << run.err;
    const auto replay = simtest::runSim({kept, "--json"});
    ASSERT_EQ(replay.rc, 0) << replay.err;
    EXPECT_FALSE(run.out.empty());
    EXPECT_EQ(replay.out, run.out) << args.front() << "\n" << simtest::readFile(kept);
}

TEST(Record, ExampleScenariosPlayBackToTheSameMessages) {
    simtest::TempDir dir;
    expectSamePlayback(dir, {});
    for (const auto& f : std::filesystem::directory_iterator(YLM_SCENARIOS_DIR)) {
        if (f.path().extension() == ".yaml") {  // recorded/ holds recordings already
            expectSamePlayback(dir, {f.path().string()});
        }
    }
}

TEST(Record, LiveRunPlaysBackScripted) {
    simtest::TempDir dir;
    simtest::FakeDaemon sta(dir.path(), "wlan0");
    sta.reply("SCAN_RESULTS", fixture("sta-scan-results.txt"));
    sta.reply("BSS 02:00:00:00:03:00", fixture("sta-bss-ap2g.txt"));
    sta.reply("BSS 02:00:00:00:04:00", "id=2\nie=0b05\xff\x01\n");  // no UTF-8: kept as hex
    sta.reply("STATUS", fixture("sta-status.txt"));
    sta.reply("SIGNAL_POLL", fixture("sta-signal-poll.txt"));
    // A start whose SSID list is longer than the record holds can only be given as bytes; the
    // P2P daemon is absent and hostapd_cli is not installed here, as on a bare machine.
    const std::string scenario = dir.write("live.yaml", R"(live: {timeout: 2}
steps:
  - start_measurement: {meas_id: 1, meas_param_mask: 5, reporting_interval: 30, ssid_list: [
      {any: true, bssid_list: [{bssid: ff:ff:ff:ff:ff:ff, channel_list: [65535]}]}]}
  - scan_ready: {timeout: 3}
  - start_measurement: {meas_id: 2, meas_param_mask: 1, sampling_interval: 1,
      reporting_interval: 2, ssid_list: [{connected: true}]}
  - start_measurement: {dsd: 1, hex: "03000000000000000100000000000000000000000000000000000000000000000000000000000000000000000000010009"}
  - advance: 3
  - default_profile:
  - net_config: {net_type: station, state: 1, ssid: testbed-2g, bssid: 02:00:00:00:03:00}
  - net_config: {net_type: p2p, is_active: true}
  - net_config: {net_type: softap, is_active: true}
  - stop_measurement: {meas_id: 2}
)");
    expectSamePlayback(dir, {scenario, "--live", "--ctrl-dir", dir.path()});
}

}  // namespace
