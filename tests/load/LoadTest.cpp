// The plug-in as the engine uses it: loaded with dlopen, the manager from the exported init, every
// operation reached through the manager's virtual table by slot number, without the library's own
// headers. Passing here on a target means the engine's slot order holds there.
#include <dlfcn.h>

#include <algorithm>

#include "EmuFixture.h"
#include "run/ManagerSlots.h"

namespace {

using namespace ylmsim;  // the slot numbers and what they hold
using ::testing::MatchesRegex;
using ylmtest::Contains;
using ylmtest::Strings;
constexpr const char* kMgr = "src/TpxWifiClientMgr";

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
        managerSlot<InitializeLinksFn>(manager, kInitializeLinks)(
            manager, engine().com(), engine().timer(), engine().supplicant());
    }
    // A scan-mode start under id 7: RSSI requested, no SSID list, a 30 s reporting period.
    bool startScan(size_t client = 0) {
        dsd_start_wifi_meas_ind_msg_v01 ind{};
        ind.meas_id = 7;
        ind.meas_param_mask = 1;
        ind.reporting_interval_valid = 1;
        ind.reporting_interval = 30;
        return managerSlot<StartWifiMeasurementFn>(manager, kStartWifiMeasurement)(
            manager, engine().dsd(client), ind);
    }
    // Live quality registrations under this name ("" for the unnamed default profile).
    size_t registrations(const std::string& name) {
        const auto live = engine().liveNotificationRegistrations();
        return static_cast<size_t>(std::count_if(live.begin(), live.end(), [&](const auto& c) {
            return name.empty() ? c.nameNull : (!c.nameNull && c.name == name);
        }));
    }
    void* handle = nullptr;
    InitFn init = nullptr;
    TpxWifiClientMgr* manager = nullptr;
};

TEST_F(LoadTest, InitAndSlots2To6AndOnlyTheEngineInterfaceIsExported) {
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
    EXPECT_THAT(logs(kMgr), Contains("1 TpxWifiClientMgr::initializeLinks"));  // slot 6
    EXPECT_TRUE(engine().scanReadyCb != nullptr && engine().scanReadyCtx != nullptr);

    ASSERT_TRUE(startScan());
    EXPECT_FALSE(startScan());
    ASSERT_EQ(engine().timers.size(), 1u) << "scan mode arms the reporting timer only";
    EXPECT_EQ(engine().timers[0].period, 30);
    EXPECT_THAT(engine().commands(), Contains("0:SCAN"));
    dsd_stop_wifi_meas_ind_msg_v01 stop{7};
    managerSlot<StopWifiMeasurementFn>(manager, kStopWifiMeasurement)(manager, engine().dsd(),
                                                                      stop);
    EXPECT_EQ(engine().removedTimerIds, std::vector<int32_t>{engine().timers[0].id});
    const Strings lines = logs(kMgr);
    for (const char* op : {"startWifiMeasurement", "stopWifiMeasurement"}) {
        EXPECT_THAT(lines,
                    Contains(MatchesRegex(std::string("1 src/TpxWifiClientMgr:[0-9]+:") + op)));
    }
    EXPECT_THAT(lines, Contains("3 Measurement ID: 7 already exists"));
}

// Slot 8 ends one client's raw measurements and profiles; the default profile and the other
// client's measurement stay.
TEST_F(LoadTest, Slots3To8ProfilesAndStopAll) {
    managerSlot<ClientFn>(manager, kCreateDefaultProfile)(manager, engine().dsd());
    ASSERT_TRUE(startScan(0) && startScan(1));
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
    EXPECT_THAT(logs(kMgr), Contains("2 Profile 4 started for meas_id 9 "));
    ASSERT_TRUE(registrations("profile4") == 1 && registrations("") == 1);
    const auto reg = engine().liveNotificationRegistrations().back();
    EXPECT_EQ(reg.operatorName + " " + std::to_string(reg.overrides.rssiHigh) + "/" +
                  std::to_string(reg.overrides.rssiLow),
              "ROW 1/1");

    managerSlot<ClientFn>(manager, kStopAllRequests)(manager, engine().dsd());
    EXPECT_EQ(engine().activeTimerCount(), 1u);
    EXPECT_TRUE(engine().timers.at(1).active) << "the other client's measurement stays";
    EXPECT_EQ(registrations("profile4"), 0u);
    EXPECT_EQ(registrations(""), 1u) << "the default profile survives";
}

}  // namespace
