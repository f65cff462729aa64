// Loading scenarios: the records they build, and the errors of malformed ones.
#include <gtest/gtest.h>

#include <cstring>

#include "Scenario.h"
#include "SimSupplicant.h"
#include "SimSupport.h"

using ylmsim::loadScenarioText;
using ylmsim::ScenarioError;

namespace {

ylmsim::Scenario load(const std::string& yaml) {
    return loadScenarioText(yaml, "t.yaml", "");
}

std::string errorOf(const std::string& yaml) {
    try {
        load(yaml);
    } catch (const ScenarioError& e) {
        return e.what();
    }
    return "(loaded)";
}

TEST(ScenarioLoad, StartMeasurementBecomesTheWireRecord) {
    const auto sc = load(R"(steps:
  - start_measurement:
      dsd: 2
      meas_id: -1
      meas_param_mask: 0x5
      sampling_interval: 3
      reporting_interval: 4294967295
      alpha: 0.25
      ssid_list:
        - any: true
          bssid_list: [{bssid: 02:00:00:00:03:0A, channel_list: [1, 2437, 65535]}, {bssid: ff:ff:ff:ff:ff:ff}]
        - ssid: home
        - connected: true
)");
    ASSERT_EQ(sc.steps.size(), 1U);
    EXPECT_EQ(sc.dsdCount, 3U);
    const auto& s = sc.steps[0];
    EXPECT_EQ(s.dsd, 2U);
    const auto& ind = s.start;
    EXPECT_EQ(ind.meas_id, -1);
    EXPECT_EQ(ind.meas_param_mask, 5U);
    EXPECT_EQ(ind.sampling_interval_valid, 1);
    EXPECT_EQ(ind.sampling_interval, 3U);
    EXPECT_EQ(ind.reporting_interval, 4294967295U);
    EXPECT_EQ(ind.alpha_valid, 1);
    EXPECT_FLOAT_EQ(ind.alpha, 0.25F);
    EXPECT_EQ(ind.ssid_list_valid, 1);
    ASSERT_EQ(ind.ssid_list_len, 3U);
    const auto& any = ind.ssid_list[0];
    for (int i = 0; i < 32; ++i) {
        EXPECT_EQ(static_cast<uint8_t>(any.ssid[i]), 0xff);
    }
    EXPECT_EQ(any.ssid[32], 0);
    ASSERT_EQ(any.bssid_list_len, 2U);
    const uint8_t mac[6] = {2, 0, 0, 0, 3, 0x0a};
    EXPECT_EQ(std::memcmp(any.bssid_list[0].bssid, mac, 6), 0);
    ASSERT_EQ(any.bssid_list[0].channel_list_len, 3U);
    EXPECT_EQ(any.bssid_list[0].channel_list[1], 2437);
    EXPECT_EQ(any.bssid_list[0].channel_list[2], 65535);
    EXPECT_EQ(any.bssid_list[1].channel_list_len, 0U);
    EXPECT_STREQ(ind.ssid_list[1].ssid, "home");
    const char zero[33] = {};
    EXPECT_EQ(std::memcmp(ind.ssid_list[2].ssid, zero, 33), 0);
}

TEST(ScenarioLoad, ProfileAndQualityServiceRecords) {
    const auto sc = load(R"(steps:
  - profile_init: {profile_type: 36, rssi_high: -60, iccid: "98101430121181157002", meas_id: 7}
  - profile_init: {profile_type: 4}
  - profile_mask: {profiles: [36, 4, 35], meas_id: 7}
  - profile_mask: {profile_type_mask: 0xff}
  - cas_verdict: {name: dynamic, pass: no, reason: 13}
  - net_config:
      net_type: station
      state: 1
      ssid: home
      bssid: 02:00:00:00:03:00
      ipv4_addr: 192.168.1.2
      dns_ipv4: [8.8.8.8, 1.1.1.1]
      dns_ipv6: ["2001:db8::1"]
      net_flag: true
      station_flag: 1
      country_code: US
  - net_config: {net_type: 254}
)");
    const auto& init = sc.steps[0].init;
    EXPECT_EQ(init.profile_type, 36);
    EXPECT_EQ(init.rssi_low_valid, 0);
    EXPECT_EQ(init.rssi_high_valid, 1);
    EXPECT_EQ(init.rssi_high, -60);
    EXPECT_EQ(init.iccid_valid, 1);
    EXPECT_EQ(init.iccid_len, 10U);
    EXPECT_EQ(init.iccid[0], 0x98);
    EXPECT_EQ(init.iccid[9], 0x02);
    EXPECT_EQ(init.meas_id_valid, 1);
    EXPECT_EQ(init.meas_id, 7U);
    EXPECT_EQ(sc.steps[1].init.iccid_valid, 0);
    EXPECT_EQ(sc.steps[1].init.meas_id_valid, 0);
    // Dynamic profiles sit on bits 3-9, numbered ones on bits 32-63.
    EXPECT_EQ(sc.steps[2].mask.profile_type_mask, (1ULL << 3) | (1ULL << 32) | (1ULL << 63));
    EXPECT_EQ(sc.steps[3].mask.profile_type_mask, 0xffU);
    EXPECT_EQ(sc.steps[3].mask.meas_id_valid, 0);
    const auto& verdict = sc.steps[4];
    EXPECT_FALSE(verdict.nameNull);
    EXPECT_EQ(verdict.text, "dynamic");
    EXPECT_EQ(verdict.cas.isActive, 0);
    EXPECT_EQ(verdict.cas.reason, 13);
    const auto& net = sc.steps[5];
    EXPECT_TRUE(net.nameNull);
    EXPECT_EQ(net.cas.netType, 1);
    EXPECT_EQ(net.cas.state, 1);
    EXPECT_STREQ(net.cas.ssid, "home");
    EXPECT_STREQ(net.cas.bssid, "02:00:00:00:03:00");
    const uint8_t ip[4] = {192, 168, 1, 2};  // network byte order, as the service keeps it
    EXPECT_EQ(std::memcmp(&net.cas.ipv4Addr, ip, 4), 0);
    EXPECT_NE(net.cas.dnsIpv4[1], 0U);
    EXPECT_EQ(net.cas.dnsIpv6[0][0], 0x20);
    EXPECT_EQ(net.cas.netFlag, 1);
    EXPECT_EQ(net.cas.stationFlag, 1);
    EXPECT_EQ(std::string(net.cas.countryCode, 2), "US");
    EXPECT_EQ(sc.steps[6].cas.netType, 254);
}

TEST(ScenarioLoad, DaemonRepliesComeFromFilesAsTheyAre) {
    simtest::TempDir dir;
    dir.write("poll.txt", "RSSI=-61\n");
    const std::string path = dir.write("s.yaml", R"(daemon:
  scan_delay: 3
  connect_failure: {p2p: true}
  replies:
    - command: SCAN_RESULTS
      reply: {file: )" + std::string(YLM_FIXTURES_DIR) +
                                                     R"(/sta-scan-results.txt}
    - command: SIGNAL_POLL
      replies: ["RSSI=-50\n", {file: poll.txt}, {fail: true}]
    - command: STATUS
      iface: p2p
      fail: true
steps: []
)");
    const auto sc = ylmsim::loadScenarioFile(path);
    ASSERT_EQ(sc.daemon.rules.size(), 3U);
    EXPECT_EQ(sc.daemon.rules[0].replies[0].text, simtest::fixture("sta-scan-results.txt"));

    emu::Engine::instance().reset();
    ylmsim::SimSupplicant daemon;
    daemon.apply(sc.daemon);
    std::string reply;
    EXPECT_TRUE(daemon.command(0, "SIGNAL_POLL", reply));
    EXPECT_EQ(reply, "RSSI=-50\n");
    EXPECT_TRUE(daemon.command(0, "SIGNAL_POLL", reply));
    EXPECT_EQ(reply, "RSSI=-61\n");
    EXPECT_FALSE(daemon.command(0, "SIGNAL_POLL", reply));
    EXPECT_FALSE(daemon.command(0, "SIGNAL_POLL", reply));  // the last reply stays
    EXPECT_FALSE(daemon.command(1, "STATUS", reply));
    EXPECT_FALSE(daemon.command(0, "STATUS", reply));
    EXPECT_FALSE(daemon.connect(1));
    EXPECT_TRUE(daemon.connect(0));
    EXPECT_EQ(daemon.unanswered().at("sta: STATUS"), 1U);
    ylmsim::DaemonConfig scan;
    scan.rules.push_back({0, "SCAN", {{false, "OK\n"}}});
    daemon.apply(scan);
    emu::Engine::instance().advance(4);
    EXPECT_TRUE(daemon.command(0, "SCAN", reply));
    EXPECT_EQ(daemon.nextScanResults(), 7);
}

TEST(ScenarioLoad, MalformedScenariosNameFileLineAndField) {
    const std::pair<const char*, const char*> cases[] = {
        {"name: x\n", "t.yaml:1: steps: required field is missing"},
        {"", "t.yaml:1: (top level): the scenario is empty"},
        {"steps: []\ncolour: red\n",
         "t.yaml:2: colour: unknown field (allowed: name, description, engine, daemon, forkexec, "
         "live, steps)"},
        {"steps: [\n", "t.yaml:2: syntax: end of sequence flow not found"},
        {"steps:\n  - start_measurement:\n      meas_param_mask: 1\n",
         "t.yaml:2: steps[0].start_measurement.meas_id: required field is missing"},
        {"steps:\n  - start_measurement: {meas_id: x1, meas_param_mask: 1}\n",
         "t.yaml:2: steps[0].start_measurement.meas_id: expected an integer, got \"x1\""},
        {"steps:\n  - advance: [1]\n",
         "t.yaml:2: steps[0].advance: expected an integer, got a list"},
        {"steps:\n  - advance: -1\n",
         "t.yaml:2: steps[0].advance: out of range: -1 (allowed 0 to 1000000000)"},
        {"steps:\n  - advance: 1\n    at: 2\n",
         "t.yaml:2: steps[0]: expected a step: a map with exactly one action, such as advance: 5"},
        {"steps: [{at: 5}, {at: 3}]\n",
         "t.yaml:1: steps[1].at: time 3 is before the current time 5"},
        {"steps:\n  - stop_measurement: {meas_id: 1, meas_id: 2}\n",
         "t.yaml:2: steps[0].stop_measurement.meas_id: given twice"},
        {"steps:\n  - start_measurement:\n      meas_id: 1\n      meas_param_mask: 1\n"
         "      ssid_list:\n        - ssid: abcdefghijklmnopqrstuvwxyz0123456\n",
         "t.yaml:6: steps[0].start_measurement.ssid_list[0].ssid: longer than 32 bytes"},
        {"steps:\n  - start_measurement:\n      meas_id: 1\n      meas_param_mask: 1\n"
         "      ssid_list: [{any: true}, {ssid: a, connected: true}]\n",
         "t.yaml:5: steps[0].start_measurement.ssid_list[1].connected: give only one of ssid, any, "
         "connected"},
        {"steps:\n  - start_measurement:\n      meas_id: 1\n      meas_param_mask: 1\n"
         "      ssid_list: [{bssid_list: [{bssid: 02:00:00:00:03}]}]\n",
         "t.yaml:5: steps[0].start_measurement.ssid_list[0]: needs one of ssid, any, connected"},
        {"steps:\n  - start_measurement:\n      meas_id: 1\n      meas_param_mask: 1\n"
         "      ssid_list: [{any: 1}, {}, {}, {}, {}, {}, {}, {}, {}]\n",
         "t.yaml:5: steps[0].start_measurement.ssid_list: at most 8 entries, got 9"},
        {"steps:\n  - profile_mask: {profiles: [3]}\n",
         "t.yaml:2: steps[0].profile_mask.profiles[0]: out of range: 3 (allowed 4 to 42)"},
        {"steps:\n  - profile_mask: {profiles: [4], profile_type_mask: 1}\n",
         "t.yaml:2: steps[0].profile_mask.profiles: give only one of profile_type_mask, profiles"},
        {"steps:\n  - profile_init: {profile_type: 4, iccid: \"981\"}\n",
         "t.yaml:2: steps[0].profile_init.iccid: expected the BCD octets in hex (an even number of "
         "hex digits)"},
        {"steps:\n  - net_config: {net_type: station, ipv4_addr: 300.1.1.1}\n",
         "t.yaml:2: steps[0].net_config.ipv4_addr: expected an IPv4 address like 192.168.1.2, got "
         "\"300.1.1.1\""},
        {"steps:\n  - net_config: {net_type: mesh}\n",
         "t.yaml:2: steps[0].net_config.net_type: expected station, softap, p2p or a number, got "
         "\"mesh\""},
        {"steps:\n  - wifi_state: maybe\n",
         "t.yaml:2: steps[0].wifi_state: expected true or false, got \"maybe\""},
        {"daemon:\n  replies:\n    - command: STATUS\n      iface: wlan9\n      reply: x\nsteps: "
         "[]\n",
         "t.yaml:4: daemon.replies[0].iface: expected sta or p2p, got \"wlan9\""},
        {"daemon:\n  replies:\n    - command: STATUS\n      reply: {file: /nonexistent/x}\nsteps: "
         "[]\n",
         "t.yaml:4: daemon.replies[0].reply.file: cannot read /nonexistent/x: No such file or "
         "directory"},
        {"steps:\n  - foo: 1\n",
         "t.yaml:2: steps[0].foo: unknown action (expected advance, at, note, start_measurement, "
         "stop_measurement, profile_init, profile_mask, default_profile, stop_all, scan_ready, "
         "cas_verdict, net_config, wifi_state, daemon, forkexec or engine)"},
    };
    for (const auto& [yaml, message] : cases) {
        EXPECT_EQ(errorOf(yaml), message) << yaml;
    }
}

TEST(ScenarioLoad, MalformedFileExitsWithStatusTwo) {
    simtest::TempDir dir;
    const std::string bad = dir.write("bad.yaml", "steps:\n  - stop_measurement: {}\n");
    auto run = simtest::runSim({bad});
    EXPECT_EQ(run.rc, 2);
    EXPECT_EQ(run.err, bad + ":2: steps[0].stop_measurement.meas_id: required field is missing\n");
    EXPECT_EQ(run.out, "");

    run = simtest::runSim({dir.path() + "/missing.yaml"});
    EXPECT_EQ(run.rc, 2);
    EXPECT_EQ(run.err,
              dir.path() + "/missing.yaml:1: file: cannot read: No such file or directory\n");

    run = simtest::runSim({"--log-level"});
    EXPECT_EQ(run.rc, 2);
    EXPECT_NE(run.err.find("usage: ylm-sim"), std::string::npos);

    run = simtest::runSim({"--lib", dir.path() + "/libnone.so"});
    EXPECT_EQ(run.rc, 1);
    EXPECT_NE(run.err.find("cannot load the plug-in " + dir.path() + "/libnone.so"),
              std::string::npos);
}

}  // namespace
