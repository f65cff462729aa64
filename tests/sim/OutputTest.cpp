// What ylm-sim prints: the built-in scenario against its expected output, the JSON lines, and
// the example scenarios.
#include <gtest/gtest.h>

#include <dirent.h>

#include <nlohmann/json.hpp>

#include <sstream>

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
