// The plug-in as the engine uses it: loaded with dlopen, the manager from the exported init, every
// operation reached through the manager's virtual table by slot number, without the library's own
// headers. Passing here on a target means the engine's slot order holds there.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <string>
#include <vector>

#include "EmuFixture.h"
#include "ManagerSlots.h"

namespace {

using namespace ylmsim;  // the slot numbers and what they hold

class LoadTest : public ylmtest::EmuTest {
  protected:
    void SetUp() override {
        EmuTest::SetUp();
        // Never closed: the engine keeps the plug-in for the life of the process.
        handle = dlopen(YLM_LIBRARY_PATH, RTLD_NOW);
        ASSERT_NE(handle, nullptr) << dlerror();
        init = reinterpret_cast<InitFn>(dlsym(handle, "init"));
        ASSERT_NE(init, nullptr) << dlerror();
        manager = init();
        ASSERT_NE(manager, nullptr);
        managerSlot<InitializeLinksFn>(manager, kInitializeLinks)(
            manager, engine().com(), engine().timer(), engine().supplicant());
    }

    // A scan-mode start under id 7: RSSI requested, no SSID list, a 30 s reporting period.
    bool startScanMeasurement(size_t client = 0) {
        dsd_start_wifi_meas_ind_msg_v01 ind{};
        ind.meas_id = 7;
        ind.meas_param_mask = 1;
        ind.reporting_interval_valid = 1;
        ind.reporting_interval = 30;
        return managerSlot<StartWifiMeasurementFn>(manager, kStartWifiMeasurement)(
            manager, engine().dsd(client), ind);
    }

    // Profile 4 under measurement id 9, then started by its mask bit (32).
    void startProfile4() {
        dsd_wqe_profile_init_ind_msg_v01 profile{};
        profile.profile_type = 4;
        profile.meas_id_valid = 1;
        profile.meas_id = 9;
        managerSlot<WqeProfileInitFn>(manager, kWqeProfileInit)(manager, engine().dsd(), profile);
        dsd_wqe_profile_type_ind_msg_v01 mask{};
        mask.profile_type_mask = uint64_t{1} << 32;
        mask.meas_id_valid = 1;
        mask.meas_id = 9;
        managerSlot<SetWqeProfileFn>(manager, kSetWqeProfile)(manager, engine().dsd(), mask);
    }

    void client(ManagerSlot slot) { managerSlot<ClientFn>(manager, slot)(manager, engine().dsd()); }

    // The manager's entry trace of an operation: "src/TpxWifiClientMgr:<line>:<operation>".
    bool entered(const std::string& operation) {
        const std::regex trace("src/TpxWifiClientMgr:[0-9]+:" + operation);
        return std::any_of(engine().logs.begin(), engine().logs.end(),
                           [&](const emu::LogLine& l) { return std::regex_match(l.text, trace); });
    }

    // Live quality registrations under this name ("" for the unnamed default profile).
    size_t liveRegistrations(const std::string& name) {
        const auto live = engine().liveNotificationRegistrations();
        return static_cast<size_t>(std::count_if(live.begin(), live.end(), [&](const auto& c) {
            return name.empty() ? c.nameNull : (!c.nameNull && c.name == name);
        }));
    }

    void* handle = nullptr;
    InitFn init = nullptr;
    TpxWifiClientMgr* manager = nullptr;
};

TEST_F(LoadTest, InitReturnsOneManagerAndOnlyTheEngineInterfaceIsExported) {
    EXPECT_EQ(init(), manager);
    for (const char* name :
         {"_ZN14HostapdWrapper14deleteInstanceEv", "_ZN11WifiUtility10loadDriverEv",
          "_ZN11WifiUtility12unloadDriverEv"}) {
        EXPECT_NE(dlsym(handle, name), nullptr) << name;
    }
    for (const char* name :
         {"_ZN10WifiParser11getInstanceEv", "_ZN16TpxWifiClientMgr11getInstanceEv",
          "_ZN16TpxWifiClientMgr7instPtrE", "_ZN16WifiInfoProvider11getInstanceEv",
          "_ZN14HostapdWrapper11getInstanceEv", "_ZTV16TpxWifiClientMgr"}) {
        EXPECT_EQ(dlsym(handle, name), nullptr) << name << " must stay inside the library";
    }
    // Slot 6, called by SetUp.
    EXPECT_NE(findLog("TpxWifiClientMgr::initializeLinks"), nullptr);
    EXPECT_NE(engine().scanReadyCb, nullptr);
    EXPECT_NE(engine().scanReadyCtx, nullptr);
}

TEST_F(LoadTest, Slots2And5StartAndStopAScanMeasurement) {
    ASSERT_TRUE(startScanMeasurement());
    EXPECT_TRUE(entered("startWifiMeasurement"));
    const auto commands = engine().commands();
    EXPECT_NE(std::find(commands.begin(), commands.end(), "0:SCAN"), commands.end());
    ASSERT_EQ(engine().timers.size(), 1u) << "scan mode arms the reporting timer only";
    const emu::TimerEntry timer = engine().timers[0];
    EXPECT_TRUE(timer.active);
    EXPECT_EQ(timer.period, 30);

    EXPECT_FALSE(startScanMeasurement());
    EXPECT_NE(findLog("Measurement ID: 7 already exists"), nullptr);

    dsd_stop_wifi_meas_ind_msg_v01 stop{7};
    managerSlot<StopWifiMeasurementFn>(manager, kStopWifiMeasurement)(manager, engine().dsd(),
                                                                      stop);
    EXPECT_TRUE(entered("stopWifiMeasurement"));
    EXPECT_EQ(engine().activeTimerCount(), 0u);
    EXPECT_EQ(engine().removedTimerIds, std::vector<int32_t>{timer.id});
}

// Slot 8 ends one client's raw measurements and profiles; the default profile and the other
// client's measurement stay.
TEST_F(LoadTest, Slots3To8ProfilesAndStopAll) {
    client(kCreateDefaultProfile);
    EXPECT_EQ(liveRegistrations(""), 1u);
    ASSERT_TRUE(startScanMeasurement(0));
    ASSERT_TRUE(startScanMeasurement(1));
    startProfile4();
    EXPECT_NE(findLog("wqeProfileInit: Profile ID 4 for meas_id 9"), nullptr);
    EXPECT_NE(findLog("Profile 4 started for meas_id 9 "), nullptr);
    ASSERT_EQ(liveRegistrations("profile4"), 1u);
    const auto reg = engine().liveNotificationRegistrations().back();
    EXPECT_EQ(reg.name, "profile4");
    EXPECT_EQ(reg.operatorName, "ROW");
    EXPECT_EQ(reg.overrides.rssiHigh, 1);
    EXPECT_EQ(reg.overrides.rssiLow, 1);

    ASSERT_EQ(engine().activeTimerCount(), 2u);
    client(kStopAllRequests);
    EXPECT_EQ(engine().activeTimerCount(), 1u);
    EXPECT_TRUE(engine().timers.at(1).active) << "the other client's measurement stays";
    EXPECT_EQ(liveRegistrations("profile4"), 0u);
    EXPECT_EQ(liveRegistrations(""), 1u) << "the default profile survives";
}

}  // namespace
