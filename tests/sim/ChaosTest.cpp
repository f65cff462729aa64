// The chaos driver: a fault planted in the plug-in is caught and written as a short scenario that
// ylm-sim --check plays back to the same failure, which the real plug-in does not have.
#include <gtest/gtest.h>

#include <filesystem>

#include "scenario/Scenario.h"
#include "SimSupport.h"

namespace {

TEST(Chaos, PlantedFaultBecomesAShortScenarioThatFailsAgain) {
    simtest::TempDir dir;
    const auto run = simtest::runSim(
        {"--chaos", "1", "--steps", "3000", "--lib", YLM_PLANTED_LIB, "--out", dir.path()});
    EXPECT_EQ(run.rc, 1) << run.out << run.err;
    EXPECT_NE(run.out.find("invariant stop-timers broken"), std::string::npos) << run.out;
    std::string file;
    for (const auto& f : std::filesystem::directory_iterator(dir.path())) {
        file = f.path().string();
    }
    ASSERT_FALSE(file.empty()) << run.out;
    // A start and its stop are all it takes.
    EXPECT_EQ(ylmsim::loadScenarioFile(file).steps.size(), 2U);
    const auto again = simtest::runSim({file, "--check", "--lib", YLM_PLANTED_LIB});
    EXPECT_EQ(again.rc, 3);
    EXPECT_NE(again.err.find("invariant broken at step 2 (line "), std::string::npos) << again.err;
    EXPECT_NE(again.err.find(": stop-timers: "), std::string::npos) << again.err;
    EXPECT_EQ(simtest::runSim({file, "--check"}).rc, 0);
}

TEST(Chaos, RealPluginKeepsEveryInvariant) {
    simtest::TempDir dir;
    const auto run = simtest::runSim({"--chaos", "7", "--steps", "4000", "--out", dir.path()});
    EXPECT_EQ(run.rc, 0) << run.out << run.err;
    EXPECT_NE(run.out.find("every invariant held over 4000 steps"), std::string::npos) << run.out;
}

}  // namespace
