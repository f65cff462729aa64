// The plug-in as the engine uses it: loaded with dlopen, the manager obtained from the exported
// init, and every operation reached through the manager's virtual table by slot number, without
// the library's own headers. Passing here on a target means the slot order the engine was built
// against holds there.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "VorCom.h"
#include "VorSupplicantWrapper.h"
#include "VorTimer.h"
#include "VorTpxDsd.h"
#include "dsd_wifi_v01.h"
#include "emu/Engine.h"

// Known to the engine by name only.
class TpxWifiClientMgr;

namespace {

// The manager's table as the engine indexes it; slots 0 and 1 are the two destructors.
enum Slot : size_t {
    kStartWifiMeasurement = 2,
    kWqeProfileInit = 3,
    kSetWqeProfile = 4,
    kStopWifiMeasurement = 5,
    kInitializeLinks = 6,
    kCreateDefaultProfile = 7,
    kStopAllRequests = 8,
};

using Manager = TpxWifiClientMgr;
using InitFn = Manager* (*)();
// Each slot takes the object first, as a member function does on these targets.
using StartFn = bool (*)(Manager*, VorTpxDsd*, dsd_start_wifi_meas_ind_msg_v01&);
using ProfileInitFn = void (*)(Manager*, VorTpxDsd*, dsd_wqe_profile_init_ind_msg_v01&);
using SetProfileFn = void (*)(Manager*, VorTpxDsd*, dsd_wqe_profile_type_ind_msg_v01&);
using StopFn = void (*)(Manager*, VorTpxDsd*, dsd_stop_wifi_meas_ind_msg_v01&);
using LinksFn = void (*)(Manager*, VorCom*, VorTimer*, VorSupplicantWrapper*);
using ClientFn = void (*)(Manager*, VorTpxDsd*);

constexpr int32_t kMeasId = 7;
constexpr uint32_t kReportingInterval = 30;
constexpr uint64_t kProfileMeasId = 9;

class LoadTest : public ::testing::Test {
  protected:
    void SetUp() override {
        engine().reset();
        // Never closed: the engine keeps the plug-in for the life of the process.
        handle = dlopen(YLM_LIBRARY_PATH, RTLD_NOW);
        ASSERT_NE(handle, nullptr) << dlerror();
        init = reinterpret_cast<InitFn>(dlsym(handle, "init"));
        ASSERT_NE(init, nullptr) << dlerror();
        manager = init();
        ASSERT_NE(manager, nullptr);
    }

    static emu::Engine& engine() { return emu::Engine::instance(); }
    VorTpxDsd* dsd() { return engine().dsd(0); }

    template <class Fn>
    Fn slot(Slot n) const {
        void* const* table = *reinterpret_cast<void* const* const*>(manager);
        return reinterpret_cast<Fn>(table[n]);
    }

    void initializeLinks() {
        slot<LinksFn>(kInitializeLinks)(manager, engine().com(), engine().timer(),
                                        engine().supplicant());
    }

    // A scan-mode start: RSSI requested, no SSID list, an explicit reporting period.
    bool startScanMeasurement(size_t client = 0) {
        dsd_start_wifi_meas_ind_msg_v01 ind{};
        ind.meas_id = kMeasId;
        ind.meas_param_mask = 1;
        ind.reporting_interval_valid = 1;
        ind.reporting_interval = kReportingInterval;
        return slot<StartFn>(kStartWifiMeasurement)(manager, engine().dsd(client), ind);
    }

    // Profile 4 under measurement id 9, then started by its mask bit (32).
    void startProfile4() {
        dsd_wqe_profile_init_ind_msg_v01 init{};
        init.profile_type = 4;
        init.meas_id_valid = 1;
        init.meas_id = kProfileMeasId;
        slot<ProfileInitFn>(kWqeProfileInit)(manager, dsd(), init);
        dsd_wqe_profile_type_ind_msg_v01 mask{};
        mask.profile_type_mask = uint64_t{1} << 32;
        mask.meas_id_valid = 1;
        mask.meas_id = kProfileMeasId;
        slot<SetProfileFn>(kSetWqeProfile)(manager, dsd(), mask);
    }

    bool logged(const std::string& text) const {
        const auto& logs = engine().logs;
        return std::any_of(logs.begin(), logs.end(),
                           [&](const emu::LogLine& l) { return l.text == text; });
    }

    // The manager's entry trace of an operation: "src/TpxWifiClientMgr:<line>:<operation>".
    bool entered(const std::string& operation) const {
        const std::string prefix = "src/TpxWifiClientMgr:";
        const std::string suffix = ":" + operation;
        const auto& logs = engine().logs;
        return std::any_of(logs.begin(), logs.end(), [&](const emu::LogLine& l) {
            return l.text.size() > prefix.size() + suffix.size() &&
                   l.text.compare(0, prefix.size(), prefix) == 0 &&
                   l.text.compare(l.text.size() - suffix.size(), suffix.size(), suffix) == 0;
        });
    }

    bool commandSent(const std::string& cmd) const {
        const auto cmds = engine().commands();
        return std::find(cmds.begin(), cmds.end(), cmd) != cmds.end();
    }

    // Live quality registrations under this name ("" for the unnamed default profile).
    size_t liveRegistrations(const std::string& name) const {
        const auto live = engine().liveNotificationRegistrations();
        return static_cast<size_t>(std::count_if(live.begin(), live.end(), [&](const auto& c) {
            return name.empty() ? c.nameNull : (!c.nameNull && c.name == name);
        }));
    }

    std::vector<emu::TimerEntry> activeTimers() const {
        std::vector<emu::TimerEntry> out;
        for (const auto& t : engine().timers) {
            if (t.active) {
                out.push_back(t);
            }
        }
        return out;
    }

    void* handle = nullptr;
    InitFn init = nullptr;
    Manager* manager = nullptr;
};

TEST_F(LoadTest, InitReturnsOneManagerAndOnlyTheEngineInterfaceIsExported) {
    EXPECT_EQ(init(), manager);
    EXPECT_NE(*reinterpret_cast<void**>(manager), nullptr) << "no virtual table";
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
}

TEST_F(LoadTest, Slot6InitializeLinksRegistersForScanResults) {
    initializeLinks();
    EXPECT_TRUE(logged("TpxWifiClientMgr::initializeLinks"));
    EXPECT_NE(engine().scanReadyCb, nullptr);
    EXPECT_NE(engine().scanReadyCtx, nullptr);
}

TEST_F(LoadTest, Slots2And5StartAndStopAScanMeasurement) {
    initializeLinks();
    ASSERT_TRUE(startScanMeasurement());
    EXPECT_TRUE(entered("startWifiMeasurement"));
    EXPECT_TRUE(commandSent("0:SCAN"));
    auto timers = activeTimers();
    ASSERT_EQ(timers.size(), 1u) << "scan mode arms the reporting timer only";
    EXPECT_EQ(timers[0].period, kReportingInterval);

    EXPECT_FALSE(startScanMeasurement());
    EXPECT_TRUE(logged("Measurement ID: 7 already exists"));

    dsd_stop_wifi_meas_ind_msg_v01 stop{};
    stop.meas_id = kMeasId;
    slot<StopFn>(kStopWifiMeasurement)(manager, dsd(), stop);
    EXPECT_TRUE(entered("stopWifiMeasurement"));
    EXPECT_TRUE(activeTimers().empty());
    EXPECT_EQ(engine().removedTimerIds, std::vector<int32_t>{timers[0].id});
}

TEST_F(LoadTest, Slot8StopsTheRawMeasurementsOfOneClient) {
    initializeLinks();
    ASSERT_TRUE(startScanMeasurement(0));
    ASSERT_TRUE(startScanMeasurement(1));
    ASSERT_EQ(activeTimers().size(), 2u);
    slot<ClientFn>(kStopAllRequests)(manager, engine().dsd(0));
    const auto left = activeTimers();
    ASSERT_EQ(left.size(), 1u);
    EXPECT_EQ(engine().timers[1].id, left[0].id) << "the other client's measurement stays";
}

// The profile slots are exercised once the profile commands are on main (they were checked
// against them before they landed); until then the manager's profile operations are empty.
TEST_F(LoadTest, Slots3And4InitialiseAndStartAProfile) {
    initializeLinks();
    startProfile4();
    EXPECT_TRUE(logged("wqeProfileInit: Profile ID 4 for meas_id 9"));
    EXPECT_TRUE(logged("Profile 4 started for meas_id 9 "));
    ASSERT_EQ(liveRegistrations("profile4"), 1u);
    const auto reg = engine().liveNotificationRegistrations().front();
    EXPECT_EQ(reg.operatorName, "ROW");
    EXPECT_EQ(reg.overrides.rssiHigh, 1);
    EXPECT_EQ(reg.overrides.rssiLow, 1);
}

TEST_F(LoadTest, Slot7CreatesTheDefaultProfileThatSlot8Keeps) {
    initializeLinks();
    slot<ClientFn>(kCreateDefaultProfile)(manager, dsd());
    EXPECT_EQ(liveRegistrations(""), 1u);
    ASSERT_TRUE(startScanMeasurement());
    startProfile4();
    ASSERT_EQ(liveRegistrations("profile4"), 1u);

    slot<ClientFn>(kStopAllRequests)(manager, dsd());
    EXPECT_TRUE(activeTimers().empty());
    EXPECT_EQ(liveRegistrations("profile4"), 0u);
    EXPECT_EQ(liveRegistrations(""), 1u) << "the default profile survives";
}

}  // namespace
