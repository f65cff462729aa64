// What ylm-sim prints: the built-in scenario against its expected output, the JSON lines, and
// the example scenarios.
#include <gtest/gtest.h>

#include <dirent.h>

#include <nlohmann/json.hpp>

#include <sstream>
#include <tuple>

#include "SimSupport.h"

namespace {

const std::string kExpected = YLM_SIM_EXPECTED_DIR;
constexpr const char* kRegenerate = "regenerate with scripts/update-sim-expected.sh BUILD_DIR";

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        out.push_back(line);
    }
    return out;
}

TEST(DefaultScenario, TimelineMatchesTheExpectedOutput) {
    const auto run = simtest::runSim({});
    ASSERT_EQ(run.rc, 0) << run.err;
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.out, simtest::readFile(kExpected + "/default.txt")) << kRegenerate;
}

TEST(DefaultScenario, JsonLinesMatchTheExpectedOutputAndStayPure) {
    const auto run = simtest::runSim({"--json", "--log-level", "0"});
    ASSERT_EQ(run.rc, 0) << run.err;
    EXPECT_EQ(run.out, simtest::readFile(kExpected + "/default.jsonl")) << kRegenerate;
    // The log lines asked for go to stderr, so stdout holds only the messages.
    for (const auto& line : lines(run.out)) {
        const auto j = nlohmann::json::parse(line);
        EXPECT_TRUE(j.contains("op") && j.contains("time") && j.contains("dsd")) << line;
        EXPECT_EQ(j["reserved_zero"], true) << line;
    }
    ASSERT_FALSE(run.err.empty());
    for (const auto& line : lines(run.err)) {
        EXPECT_EQ(line.substr(0, 1), "[") << line;
    }

    const auto hex = simtest::runSim({"--json", "--hex"});
    const auto hexLines = lines(hex.out);
    ASSERT_EQ(hexLines.size(), lines(run.out).size());
    for (const auto& line : hexLines) {
        const auto j = nlohmann::json::parse(line);
        EXPECT_EQ(j["hex"].get<std::string>().size() % 2, 0U);
        EXPECT_GE(j["hex"].get<std::string>().size(), 32U);
    }
}

std::vector<nlohmann::json> messages(const std::string& op) {
    std::vector<nlohmann::json> out;
    for (const auto& line : lines(simtest::readFile(kExpected + "/default.jsonl"))) {
        auto j = nlohmann::json::parse(line);
        if (j["op"] == op) {
            out.push_back(j);
        }
    }
    return out;
}

// The expected output is regenerated, never hand-edited; these facts of the captures and of the
// scenario hold it to what the plug-in must report.
TEST(DefaultScenario, ReportsCarryTheCapturedValues) {
    const auto reports = messages("sendWifiMeasurementReport");
    ASSERT_EQ(reports.size(), 9U);
    // Scan mode: one batch per scan, SSIDs in order, BSS load from each access point's element.
    const std::tuple<int, int, int, const char*, int, int, int> scan[] = {
        {2, 1, 0, "testbed-2g", -20, 5, 0},   {2, 1, 0, "testbed-5g", -27, 5, 30},
        {2, 1, 1, "testbed-he", -20, 5, 30},  {12, 2, 0, "DIRECT-4m", -20, 1, 65535},
        {12, 2, 0, "testbed-2g", -20, 5, 0},  {12, 2, 0, "testbed-5g", -27, 5, 30},
        {12, 2, 1, "testbed-he", -20, 5, 30},
    };
    for (size_t i = 0; i < std::size(scan); ++i) {
        const auto& [time, seq, last, ssid, rssi, mask, load] = scan[i];
        const auto& r = reports[i];
        EXPECT_EQ(r["meas_id"], 1);
        EXPECT_EQ(r["time"], time);
        EXPECT_EQ(r["report_seq"], seq);
        EXPECT_EQ(r["last_report"], last);
        EXPECT_EQ(r["ssid"], ssid);
        ASSERT_EQ(r["bssid_list"].size(), 1U);
        EXPECT_EQ(r["bssid_list"][0]["rssi"], rssi);
        EXPECT_EQ(r["bssid_list"][0]["param_mask"], mask);
        EXPECT_EQ(r["bssid_list"][0]["channel_utilization"], load);
    }
    // Connected mode, alpha 0.5: samples -52, -58, -71 average to -63, then -66, -75, -73 to -71.
    EXPECT_EQ(reports[7]["time"], 21);
    EXPECT_EQ(reports[7]["bssid_list"][0]["rssi"], -63);
    EXPECT_EQ(reports[8]["time"], 27);
    EXPECT_EQ(reports[8]["bssid_list"][0]["rssi"], -71);
    EXPECT_EQ(reports[8]["report_seq"], 2);
    EXPECT_EQ(reports[8]["bssid_list"][0]["bssid"], "02:00:00:00:03:00");
}

TEST(DefaultScenario, ProfileMessagesFollowTheQualityService) {
    const auto status = messages("sendWqeProfileStatus");
    ASSERT_EQ(status.size(), 4U);
    // Profile 4: reason 13 travels as status code 5; a pass as 0/0. Profile 0: the station's state.
    const std::tuple<int, int, int, int, int> expected[] = {
        {33, 4, 1, 1, 5}, {36, 4, 0, 1, 0}, {41, 0, 0, 0, 0}, {55, 0, 1, 0, 0}};
    for (size_t i = 0; i < std::size(expected); ++i) {
        const auto& [time, profile, quality, codeValid, code] = expected[i];
        EXPECT_EQ(status[i]["time"], time);
        EXPECT_EQ(status[i]["profile_type"], profile);
        EXPECT_EQ(status[i]["quality_status"], quality);
        EXPECT_EQ(status[i]["status_code_valid"], codeValid);
        EXPECT_EQ(status[i]["status_code"], code);
        EXPECT_EQ(status[i]["meas_id"], profile == 4 ? 7 : 0);
    }
    const auto wifi = messages("sendNotifyDataSettings");
    ASSERT_EQ(wifi.size(), 2U);
    EXPECT_EQ(wifi[0]["wifi_state"], 1);
    EXPECT_EQ(wifi[1]["wifi_state"], 0);

    const auto wlan = messages("sendWifiAvailableStatus");
    ASSERT_EQ(wlan.size(), 4U);
    const auto& sta = wlan[0];  // station up: the record's addresses, the daemons' link facts
    EXPECT_EQ(sta["wlan_type"], 2);
    EXPECT_EQ(sta["conn_status"], 2);
    EXPECT_EQ(sta["ssid"], "testbed-2g");
    EXPECT_EQ(sta["bssid"], "02:00:00:00:03:00");
    EXPECT_EQ(sta["ipv4_addr"], 0xC0A80417U);
    EXPECT_EQ(sta["dns_ipv4_1"], 0xC0A80401U);
    EXPECT_EQ(sta["freq"], 2437);
    EXPECT_EQ(sta["wifi_mode"], 5);
    EXPECT_EQ(sta["hessid"], "02:00:00:00:03:00");
    EXPECT_EQ(sta["country_code"], "US");
    const std::tuple<int, int, const char*, const char*> others[] = {
        {3, 1, "testbed-2g", "02:00:00:00:03:00"},  // soft AP, from hostapd_cli's status
        {0, 2, "DIRECT-4m", "06:00:00:00:00:00"},   // P2P group owner, completed
        {2, 0, "testbed-2g", "02:00:00:00:03:00"},  // station gone: the SSID it had
    };
    for (size_t i = 0; i < std::size(others); ++i) {
        const auto& [type, conn, ssid, bssid] = others[i];
        EXPECT_EQ(wlan[i + 1]["wlan_type"], type);
        EXPECT_EQ(wlan[i + 1]["conn_status"], conn);
        EXPECT_EQ(wlan[i + 1]["ssid"], ssid);
        EXPECT_EQ(wlan[i + 1]["bssid"], bssid);
    }
}

TEST(DefaultScenario, ShowsTheLibraryLogWhenAsked) {
    const auto quiet = simtest::runSim({});
    const auto verbose = simtest::runSim({"--log-level", "0"});
    ASSERT_EQ(verbose.rc, 0);
    EXPECT_NE(verbose.out.find("log 1 src/TpxWifiClientMgr:"), std::string::npos);
    EXPECT_GT(lines(verbose.out).size(), lines(quiet.out).size());
}

TEST(ExampleScenarios, AllRunToTheirEnd) {
    DIR* dir = opendir(YLM_SCENARIOS_DIR);
    ASSERT_NE(dir, nullptr);
    size_t count = 0;
    while (const dirent* e = readdir(dir)) {
        const std::string name = e->d_name;
        if (name.size() < 5 || name.substr(name.size() - 5) != ".yaml") {
            continue;
        }
        ++count;
        const auto run = simtest::runSim({std::string(YLM_SCENARIOS_DIR) + "/" + name});
        EXPECT_EQ(run.rc, 0) << name << ": " << run.err;
        EXPECT_NE(run.out.find("\nsummary\n"), std::string::npos) << name;
    }
    closedir(dir);
    EXPECT_GE(count, 2U);
}

}  // namespace
