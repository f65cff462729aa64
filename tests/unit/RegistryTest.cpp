// The manager's registry: keys, ordering, refusal of duplicates, stop paths and their log lines.
#include <regex>

#include "EmuFixture.h"
#include "TpxWifiClientMgr.h"

namespace {

using Key = TpxWifiClientMgr::WifiMeasurementRequestKey;
constexpr const char* kMgrFile = "src/TpxWifiClientMgr";
constexpr const char* kReqFile = "src/WifiMeasurementRequest";

// A scan-mode request for RSSI: no SSID list, so it scans at once and arms one reporting timer.
dsd_start_wifi_meas_ind_msg_v01 scanRequest(int32_t id) {
    dsd_start_wifi_meas_ind_msg_v01 ind{};
    ind.meas_id = id;
    ind.meas_param_mask = 1;
    return ind;
}

class RegistryTest : public ylmtest::EmuTest {
  protected:
    void SetUp() override {
        EmuTest::SetUp();
        mgr = TpxWifiClientMgr::getInstance();
        mgr->initializeLinks(engine().com(), engine().timer(), engine().supplicant());
    }
    bool start(int32_t id, size_t client = 0) {
        auto ind = scanRequest(id);
        return mgr->startWifiMeasurement(engine().dsd(client), ind);
    }
    void stop(int32_t id, size_t client = 0) {
        dsd_stop_wifi_meas_ind_msg_v01 ind{id};
        mgr->stopWifiMeasurement(engine().dsd(client), ind);
    }
    bool live(int32_t id, size_t client = 0) const {
        const Key key{emu::Engine::instance().dsd(client),
                      static_cast<uint64_t>(static_cast<int64_t>(id)),
                      TpxWifiClientMgr::kRawProfileType};
        return mgr->requests().count(key) == 1;
    }
    TpxWifiClientMgr* mgr = nullptr;
};

TEST(RegistryKey, OrdersByClientThenUnsignedIdThenSignedProfile) {
    auto* a = reinterpret_cast<VorTpxDsd*>(0x1000);
    auto* b = reinterpret_cast<VorTpxDsd*>(0x2000);
    EXPECT_TRUE((Key{a, 99, 5} < Key{b, 0, 0}));
    EXPECT_FALSE((Key{b, 0, 0} < Key{a, 99, 5}));
    // A negative id, sign-extended, sorts after every non-negative id of the same client.
    EXPECT_TRUE((Key{a, 5, 0} < Key{a, 0xFFFFFFFFFFFFFFFFULL, 0}));
    EXPECT_TRUE((Key{a, 7, -1} < Key{a, 7, 0}));
    EXPECT_TRUE((Key{a, 7, 0} < Key{a, 7, TpxWifiClientMgr::kRawProfileType}));
    EXPECT_FALSE((Key{a, 7, 4} < Key{a, 7, 4}));
}

TEST_F(RegistryTest, InitAndGetInstanceAreOneSingleton) {
    EXPECT_EQ(init(), mgr);
    EXPECT_EQ(init(), TpxWifiClientMgr::getInstance());
    EXPECT_TRUE(logged(1, 10357, kMgrFile, "TpxWifiClientMgr::initializeLinks"));
}

TEST_F(RegistryTest, DuplicateStartIsRefusedAndKeepsTheFirst) {
    ASSERT_TRUE(start(7));
    const size_t timers = engine().activeTimerCount();
    engine().logs.clear();
    EXPECT_FALSE(start(7));
    EXPECT_TRUE(logged(3, 10357, kMgrFile, "Measurement ID: 7 already exists"));
    EXPECT_EQ(engine().activeTimerCount(), timers);
    EXPECT_TRUE(live(7));
    // The same id from another client, or as a different request kind, is a different key.
    EXPECT_TRUE(start(7, 1));
    EXPECT_TRUE(live(7, 1));
}

TEST_F(RegistryTest, NegativeIdIsSignExtendedOnStartAndStop) {
    ASSERT_TRUE(start(-1));
    const Key key{engine().dsd(0), 0xFFFFFFFFFFFFFFFFULL, TpxWifiClientMgr::kRawProfileType};
    ASSERT_EQ(mgr->requests().count(key), 1U);
    EXPECT_EQ(mgr->requests().at(key).state, 0);
    stop(-1);
    EXPECT_TRUE(mgr->requests().empty());
    EXPECT_EQ(engine().activeTimerCount(), 0U);
}

TEST_F(RegistryTest, StopOfUnknownIdLogsOnlyItsEntryLine) {
    ASSERT_TRUE(start(3));
    engine().logs.clear();
    stop(4);
    ASSERT_EQ(engine().logs.size(), 1U);
    const auto& l = engine().logs[0];
    EXPECT_EQ(l.level, 1);
    EXPECT_EQ(l.file, kMgrFile);
    EXPECT_EQ(l.text,
              std::string(kMgrFile) + ":" + std::to_string(l.line) + ":stopWifiMeasurement");
    EXPECT_TRUE(live(3));
}

TEST_F(RegistryTest, EnvelopeLogsAroundItsStrategy) {
    ASSERT_TRUE(start(11));
    stop(11);
    std::vector<std::string> env = logTexts(kReqFile);
    ASSERT_EQ(env.size(), 4U);
    EXPECT_EQ(env[0], "WifiMeasurementRequest Xtor Raw");
    EXPECT_TRUE(std::regex_match(env[1], std::regex("startMeasurement:[0-9]+")));
    EXPECT_TRUE(std::regex_match(env[2], std::regex("stopMeasurement:[0-9]+")));
    EXPECT_EQ(env[3], "WifiMeasurementRequest D-Xtor");
    EXPECT_EQ(countLog("RawMeasurement D-Xtor"), 0U);  // the strategy outlives its envelope
    EXPECT_TRUE(logged(2, 10357, kReqFile, "WifiMeasurementRequest Xtor Raw"));
    EXPECT_NE(findLog(env[1]), nullptr);
    EXPECT_EQ(findLog(env[1])->level, 0);
    // The level-0 trace carries its own source line.
    EXPECT_EQ(env[1], "startMeasurement:" + std::to_string(findLog(env[1])->line));
}

TEST_F(RegistryTest, StopAllRequestsStopsOnlyThatClient) {
    ASSERT_TRUE(start(1));
    ASSERT_TRUE(start(2));
    ASSERT_TRUE(start(1, 1));
    mgr->stopAllRequests(engine().dsd(0));
    EXPECT_FALSE(live(1));
    EXPECT_FALSE(live(2));
    EXPECT_TRUE(live(1, 1));
    EXPECT_EQ(mgr->requests().size(), 1U);
}

TEST_F(RegistryTest, RefusedStartLeavesNoEntry) {
    auto ind = scanRequest(9);
    ind.meas_param_mask = 4;  // BSS load without RSSI is refused by the measurement itself
    EXPECT_FALSE(mgr->startWifiMeasurement(engine().dsd(0), ind));
    EXPECT_FALSE(live(9));
    EXPECT_EQ(engine().activeTimerCount(), 0U);
    // Abandoned: neither stopped nor destroyed, as far as the engine can tell.
    EXPECT_EQ(logTexts(kReqFile).size(), 2U);
    EXPECT_EQ(countLog("RawMeasurement D-Xtor"), 0U);
    // The id is free again.
    EXPECT_TRUE(start(9));
}

TEST(RegistryBeforeLinks, IndicationsBeforeInitializeLinksAreRefused) {
    emu::Engine::instance().reset();
    TpxWifiClientMgr* mgr = init();
    auto ind = scanRequest(1);
    EXPECT_FALSE(mgr->startWifiMeasurement(emu::Engine::instance().dsd(0), ind));
    dsd_stop_wifi_meas_ind_msg_v01 stopInd{1};
    mgr->stopWifiMeasurement(emu::Engine::instance().dsd(0), stopInd);
    mgr->stopAllRequests(emu::Engine::instance().dsd(0));
    EXPECT_TRUE(mgr->requests().empty());
    EXPECT_TRUE(emu::Engine::instance().timers.empty());
}

}  // namespace
