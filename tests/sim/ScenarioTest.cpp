// Loading scenarios: the records they build, and the errors of malformed ones.
#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "SimSupport.h"
#include "run/SimSupplicant.h"
#include "scenario/Scenario.h"

namespace {

ylmsim::Scenario load(const std::string& yaml) {
    return ylmsim::loadScenarioText(yaml, "t.yaml", "");
}

std::string errorOf(const std::string& yaml) {
    try {
        load(yaml);
    } catch (const ylmsim::ScenarioError& e) {
        return e.what();
    }
    return "(loaded)";
}

template <class T, size_t N>
std::string bytes(const T (&array)[N]) {
    return std::string(reinterpret_cast<const char*>(array), sizeof array);
}

TEST(ScenarioLoad, StartMeasurementBecomesTheWireRecord) {
    const auto sc = load(R"(steps:
  - start_measurement: {dsd: 2, meas_id: -1, meas_param_mask: 0x5, sampling_interval: 3,
      reporting_interval: 4294967295, alpha: 0.25, ssid_list: [
        {any: true, bssid_list: [{bssid: 02:00:00:00:03:0A, channel_list: [1, 2437, 65535]},
                                 {bssid: ff:ff:ff:ff:ff:ff}]},
        {ssid: home}, {connected: true}]}
)");
    ASSERT_EQ(sc.steps.size(), 1U);
    const auto& ind = sc.steps[0].start;
    EXPECT_EQ(std::tie(sc.dsdCount, sc.steps[0].dsd, ind.meas_id, ind.meas_param_mask,
                       ind.sampling_interval_valid, ind.sampling_interval, ind.reporting_interval,
                       ind.alpha_valid, ind.alpha, ind.ssid_list_valid, ind.ssid_list_len),
              std::make_tuple(3U, 2U, -1, 5U, 1, 3U, 4294967295U, 1, 0.25F, 1, 3U));
    const auto& any = ind.ssid_list[0];
    EXPECT_EQ(bytes(any.ssid), std::string(32, '\xff') + '\0');
    const auto& bssid = any.bssid_list[0];
    EXPECT_EQ(bytes(bssid.bssid), std::string("\x02\0\0\0\x03\x0a", 6));
    EXPECT_EQ(std::tie(any.bssid_list_len, bssid.channel_list_len, bssid.channel_list[1],
                       bssid.channel_list[2], any.bssid_list[1].channel_list_len),
              std::make_tuple(2U, 3U, 2437, 65535, 0U));
    EXPECT_EQ(bytes(ind.ssid_list[1].ssid), std::string("home") + std::string(29, '\0'));
    EXPECT_EQ(bytes(ind.ssid_list[2].ssid), std::string(33, '\0'));
}

TEST(ScenarioLoad, ProfileAndQualityServiceRecords) {
    const auto sc = load(R"(steps:
  - profile_init: {profile_type: 36, rssi_high: -60, iccid: "98101430121181157002", meas_id: 7}
  - profile_init: {profile_type: 4}
  - profile_mask: {profiles: [36, 4, 35], meas_id: 7}
  - profile_mask: {profile_type_mask: 0xff}
  - cas_verdict: {name: dynamic, pass: no, reason: 13}
  - net_config: {net_type: station, state: 1, ssid: home, bssid: 02:00:00:00:03:00,
      ipv4_addr: 192.168.1.2, dns_ipv4: [8.8.8.8, 1.1.1.1], dns_ipv6: ["2001:db8::1"],
      net_flag: true, station_flag: 1, country_code: US}
  - net_config: {net_type: 254}
)");
    const auto& init = sc.steps[0].init;
    EXPECT_EQ(std::tie(init.profile_type, init.rssi_low_valid, init.rssi_high_valid, init.rssi_high,
                       init.iccid_valid, init.iccid_len, init.meas_id_valid, init.meas_id),
              std::make_tuple(36, 0, 1, -60, 1, 10U, 1, 7U));
    EXPECT_EQ(bytes(init.iccid), "\x98\x10\x14\x30\x12\x11\x81\x15\x70\x02");
    EXPECT_EQ(std::tie(sc.steps[1].init.iccid_valid, sc.steps[1].init.meas_id_valid),
              std::make_tuple(0, 0));
    // Dynamic profiles sit on bits 3-9, numbered ones on bits 32-63.
    EXPECT_EQ(sc.steps[2].mask.profile_type_mask, (1ULL << 3) | (1ULL << 32) | (1ULL << 63));
    EXPECT_EQ(std::tie(sc.steps[3].mask.profile_type_mask, sc.steps[3].mask.meas_id_valid),
              std::make_tuple(0xffU, 0));
    const auto& verdict = sc.steps[4];
    EXPECT_EQ(std::tie(verdict.nameNull, verdict.text, verdict.cas.isActive, verdict.cas.reason),
              std::make_tuple(false, "dynamic", 0, 13));
    const auto& net = sc.steps[5];
    EXPECT_EQ(std::tie(net.nameNull, net.cas.netType, net.cas.state, net.cas.netFlag,
                       net.cas.stationFlag),
              std::make_tuple(true, 1, 1, 1, 1));
    EXPECT_STREQ(net.cas.ssid, "home");
    EXPECT_STREQ(net.cas.bssid, "02:00:00:00:03:00");
    // Addresses in network byte order, as the service keeps them.
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&net.cas.ipv4Addr), 4), "\xc0\xa8\x01\x02");
    EXPECT_EQ(bytes(net.cas.dnsIpv4), "\x08\x08\x08\x08\x01\x01\x01\x01");
    EXPECT_EQ(bytes(net.cas.dnsIpv6[0]),
              std::string("\x20\x01\x0d\xb8", 4) + std::string(11, '\0') + '\x01');
    EXPECT_EQ(bytes(net.cas.countryCode), "US");
    EXPECT_EQ(sc.steps[6].cas.netType, 254);
}

TEST(ScenarioLoad, DaemonRepliesComeFromFilesAsTheyAre) {
    simtest::TempDir dir;
    dir.write("poll.txt", "RSSI=-61\n");
    const std::string path = dir.write("s.yaml", R"(daemon:
  scan_delay: 3
  connect_failure: {p2p: true}
  replies:
    - {command: SCAN_RESULTS, reply: {file: )" YLM_FIXTURES_DIR R"(/sta-scan-results.txt}}
    - {command: SIGNAL_POLL, replies: ["RSSI=-50\n", {file: poll.txt}, {fail: true}]}
    - {command: STATUS, iface: p2p, fail: true}
steps: []
)");
    const auto sc = ylmsim::loadScenarioFile(path);
    ASSERT_EQ(sc.daemon.rules.size(), 3U);
    EXPECT_EQ(sc.daemon.rules[0].replies[0].text, simtest::fixture("sta-scan-results.txt"));

    emu::Engine::instance().reset();
    ylmsim::SimSupplicant daemon;
    daemon.apply(sc.daemon);
    // Each SIGNAL_POLL takes the next reply; the last one stays.
    for (const char* want : {"RSSI=-50\n", "RSSI=-61\n", "(failed)", "(failed)"}) {
        std::string reply;
        const bool answered = daemon.command(0, "SIGNAL_POLL", reply);
        EXPECT_EQ(answered ? reply : "(failed)", want);
    }
    std::string reply;
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

// One case for each kind of mistake.
TEST(ScenarioLoad, MalformedScenariosNameFileLineAndField) {
    const std::string start =
        "steps:\n  - start_measurement:\n      meas_id: 1\n      meas_param_mask: 1\n";
    const std::pair<std::string, const char*> cases[] = {
        {"", "t.yaml:1: (top level): the scenario is empty"},
        {"steps: []\ncolour: red\n",
         "t.yaml:2: colour: unknown field (allowed: name, description, engine, daemon, forkexec, "
         "live, steps)"},
        {"steps: [\n", "t.yaml:2: syntax: did not find expected node content"},
        {"steps: &s [*s]\n",
         "t.yaml:1: syntax: alias *s names no complete node anchored before it"},
        {"steps: " + std::string(101, '['), "t.yaml:1: syntax: nested deeper than 100 levels"},
        {"steps: [{wifi_state: ~}]\n",
         "t.yaml:1: steps[0].wifi_state: expected true or false, got nothing"},
        {"steps: [{wifi_state: \"~\"}]\n",
         "t.yaml:1: steps[0].wifi_state: expected true or false, got \"~\""},
        {"steps:\n  - start_measurement:\n      meas_param_mask: 1\n",
         "t.yaml:2: steps[0].start_measurement.meas_id: required field is missing"},
        {"steps:\n  - start_measurement: {meas_id: x1, meas_param_mask: 1}\n",
         "t.yaml:2: steps[0].start_measurement.meas_id: expected an integer, got \"x1\""},
        {"steps:\n  - advance: -1\n",
         "t.yaml:2: steps[0].advance: out of range: -1 (allowed 0 to 1000000000)"},
        {"steps:\n  - advance: 1\n    at: 2\n",
         "t.yaml:2: steps[0]: expected a step: a map with exactly one action, such as advance: 5"},
        {"steps: [&five {at: 5}, *five, {at: 3}]\n",
         "t.yaml:1: steps[2].at: time 3 is before the current time 5"},
        {"steps:\n  - stop_measurement: {meas_id: 1, meas_id: 2}\n",
         "t.yaml:2: steps[0].stop_measurement.meas_id: given twice"},
        {start + "      ssid_list:\n        - ssid: abcdefghijklmnopqrstuvwxyz0123456\n",
         "t.yaml:6: steps[0].start_measurement.ssid_list[0].ssid: longer than 32 bytes"},
        {start + "      ssid_list: [{any: true}, {ssid: a, connected: true}]\n",
         "t.yaml:5: steps[0].start_measurement.ssid_list[1].connected: give only one of ssid, any, "
         "connected"},
        {start + "      ssid_list: [{bssid_list: [{bssid: 02:00:00:00:03}]}]\n",
         "t.yaml:5: steps[0].start_measurement.ssid_list[0]: needs one of ssid, any, connected"},
        {start + "      ssid_list: [{any: 1}, {}, {}, {}, {}, {}, {}, {}, {}]\n",
         "t.yaml:5: steps[0].start_measurement.ssid_list: at most 8 entries, got 9"},
        {"steps:\n  - net_config: {net_type: station, ipv4_addr: 300.1.1.1}\n",
         "t.yaml:2: steps[0].net_config.ipv4_addr: expected an IPv4 address like 192.168.1.2, got "
         "\"300.1.1.1\""},
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

// A bad scenario or command line exits 2 with the reason, a plug-in that cannot load 1.
TEST(ScenarioLoad, MalformedFileAndUsageExitStatus) {
    simtest::TempDir dir;
    const std::string bad = dir.write("bad.yaml", "steps:\n  - stop_measurement: {}\n");
    const std::string missing = dir.path() + "/missing.yaml", lib = dir.path() + "/libnone.so";
    std::string all;
    for (const auto& args :
         {std::vector<std::string>{bad}, {missing}, {"--log-level"}, {"--lib", lib}}) {
        const auto run = simtest::runSim(args);
        all += std::to_string(run.rc) + " " + run.err.substr(0, run.err.find('\n') + 1);
        EXPECT_TRUE(run.out.empty() || args[0] == "--lib") << run.out;
    }
    EXPECT_EQ(all, "2 " + bad +
                       ":2: steps[0].stop_measurement.meas_id: required field is missing\n" + "2 " +
                       missing + ":1: file: cannot read: No such file or directory\n" +
                       "2 ylm-sim: --log-level needs a level number (0 to 4)\n1 ylm-sim: cannot " +
                       "load the plug-in " + lib + ": " + lib +
                       ": cannot open shared object file: No such file or directory\n");
}

}  // namespace
