// The manager's quality-profile commands: init, mask, default profile, and their registry entries.
#include <algorithm>
#include <climits>
#include <memory>

#include "CasProxy.h"
#include "EmuFixture.h"
#include "TpxWifiClientMgr.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#include <sanitizer/lsan_interface.h>
#define YLM_TEST_LSAN 1
#endif
#endif

namespace {

using emu::CasCall;
constexpr const char* kMgr = "src/TpxWifiClientMgr";
constexpr int kYlm = 10357;

class ProfileCommandsTest : public ylmtest::EmuTest {
  protected:
    void SetUp() override {
        EmuTest::SetUp();
        mgr = TpxWifiClientMgr::getInstance();
        mgr->initializeLinks(engine().com(), engine().timer(), engine().supplicant());
    }

    static dsd_wqe_profile_init_ind_msg_v01 initInd(int32_t p, uint64_t measId = 7,
                                                    bool measValid = true) {
        dsd_wqe_profile_init_ind_msg_v01 ind{};
        ind.profile_type = p;
        ind.meas_id_valid = measValid ? 1 : 0;
        ind.meas_id = measId;
        return ind;
    }
    void init(int32_t p, uint64_t measId = 7, bool measValid = true, size_t client = 0) {
        auto ind = initInd(p, measId, measValid);
        mgr->wqeProfileInit(engine().dsd(client), ind);
    }
    void mask(uint64_t bits, uint64_t measId = 7, bool measValid = true, size_t client = 0) {
        dsd_wqe_profile_type_ind_msg_v01 ind{};
        ind.profile_type_mask = bits;
        ind.meas_id_valid = measValid ? 1 : 0;
        ind.meas_id = measId;
        mgr->setWqeProfile(engine().dsd(client), ind);
    }
    bool startRaw(int32_t measId, size_t client) {
        auto ind = std::make_unique<dsd_start_wifi_meas_ind_msg_v01>();
        ind->meas_id = measId;
        ind->meas_param_mask = 1;  // RSSI, no SSID list: a scan measurement
        return mgr->startWifiMeasurement(engine().dsd(client), *ind);
    }
    // -1 when absent, else the entry's state.
    int state(int32_t p, uint64_t measId = 7) const {
        auto it = mgr->requests().find({emu::Engine::instance().dsd(), measId, p});
        return it == mgr->requests().end() ? -1 : it->second.state;
    }
    std::vector<std::string> names(CasCall::Kind kind) const {
        std::vector<std::string> out;
        for (const auto& c : emu::Engine::instance().casCalls) {
            if (c.kind == kind) {
                out.push_back(c.nameNull ? "<null>" : c.name);
            }
        }
        return out;
    }

    TpxWifiClientMgr* mgr = nullptr;
};

TEST_F(ProfileCommandsTest, InitAcceptsOnlyProfilesFourToFortyTwo) {
    for (int32_t p : {INT_MIN, -1, 0, 3, 43, INT_MAX}) {
        init(p);
        EXPECT_TRUE(logged(4, kYlm, kMgr, "Invalid profile number " + std::to_string(p))) << p;
    }
    EXPECT_TRUE(mgr->requests().empty());
    init(4);
    init(42);
    EXPECT_EQ(state(4), 1);
    EXPECT_EQ(state(42), 1);
    EXPECT_TRUE(logged(2, kYlm, kMgr, "wqeProfileInit: Profile ID 42 for meas_id 7"));
    init(4);
    EXPECT_TRUE(logged(3, kYlm, kMgr, "Profile 4 already initialized/started"));
    EXPECT_EQ(mgr->requests().size(), 2U);
    EXPECT_TRUE(engine().casCalls.empty());  // created, not yet registered
}

TEST_F(ProfileCommandsTest, InitTakesOverridesAndOperator) {
    engine().operators = {{"1234", "OpA"}, {"5678", ""}};
    struct Case {
        int32_t p;
        bool rssi;
        bool iccid;
        uint32_t iccidLen;
        uint8_t o0, o1;
        _CQEClientOverrides overrides;
        const char* op;  // null: refused
    } cases[] = {
        {4, false, false, 2, 0x21, 0x43, {1, 1}, "ROW"},
        {5, true, true, 2, 0x21, 0x43, {-60, -80}, "OpA"},
        {6, false, true, 0x302, 0x21, 0x43, {1, 1}, "OpA"},  // only the low byte of the length
        {7, false, true, 2, 0x65, 0x87, {1, 1}, ""},         // an empty name is still a name
        {8, false, true, 1, 0x21, 0x43, {1, 1}, nullptr},    // "12" is unknown
    };
    for (const auto& c : cases) {
        auto ind = initInd(c.p);
        ind.rssi_high_valid = ind.rssi_low_valid = c.rssi ? 1 : 0;
        ind.rssi_high = -60;
        ind.rssi_low = -80;
        ind.iccid_valid = c.iccid ? 1 : 0;
        ind.iccid_len = c.iccidLen;
        ind.iccid[0] = c.o0;
        ind.iccid[1] = c.o1;
        mgr->wqeProfileInit(engine().dsd(), ind);
        EXPECT_EQ(state(c.p), c.op != nullptr ? 1 : -1) << c.p;
    }
    EXPECT_TRUE(logged(1, kYlm, kMgr, "String ICCID 1234, String operator OpA"));
    EXPECT_TRUE(logged(4, kYlm, kMgr, "Invalid Naming Convention for operator"));
    EXPECT_EQ(engine().operatorLookups, (std::vector<std::string>{"1234", "1234", "5678", "12"}));

    mask(0xfULL << 32);  // profiles 4 to 7
    const auto& regs = engine().casCalls;
    ASSERT_EQ(regs.size(), 4U);
    for (size_t i = 0; i < regs.size(); ++i) {
        EXPECT_EQ(regs[i].overrides.rssiHigh, cases[i].overrides.rssiHigh);
        EXPECT_EQ(regs[i].overrides.rssiLow, cases[i].overrides.rssiLow);
        EXPECT_EQ(regs[i].operatorName, cases[i].op);
    }
}

TEST_F(ProfileCommandsTest, OverlongIccidIsReadAsTenOctets) {
    auto ind = initInd(4);
    ind.iccid_valid = 1;
    ind.iccid_len = 200;
    for (auto& o : ind.iccid) {
        o = 0x99;
    }
    mgr->wqeProfileInit(engine().dsd(), ind);
    EXPECT_EQ(engine().operatorLookups, std::vector<std::string>{std::string(20, '9')});
}

TEST_F(ProfileCommandsTest, MaskStartsDynamicProfilesFirstAndStopsInOrder) {
    for (int32_t p : {5, 4, 37, 36}) {
        init(p);
    }
    mask((1ULL << 3) | (1ULL << 4) | (1ULL << 32) | (1ULL << 33));
    EXPECT_EQ(names(CasCall::RegisterWifiNotification),
              (std::vector<std::string>{"dynamic", "dynamic", "profile4", "profile5"}));
    EXPECT_EQ(state(36), 2);
    EXPECT_TRUE(logged(2, kYlm, kMgr, "Dynamic Profile 36 started for meas_id 7 "));
    EXPECT_TRUE(logged(2, kYlm, kMgr, "Profile 5 started for meas_id 7 "));

    mask((1ULL << 3) | (1ULL << 4) | (1ULL << 32) | (1ULL << 33));  // already started
    EXPECT_EQ(engine().casCalls.size(), 4U);

    init(42);
    mask(1ULL << 40);  // bits 0-2 and 10-31 mean nothing; 40 is profile 12, never initialised
    EXPECT_TRUE(logged(4, kYlm, kMgr, "Profile 12 not yet initialized"));
    EXPECT_EQ(mgr->requests().size(), 0U);  // stopped on the way to the uninitialised bit
    EXPECT_EQ(logTexts(kMgr).back(), "Profile 12 not yet initialized");
    const std::vector<std::string> stops = {
        "Dynamic Profile 36 stopped for meas_id 7 ", "Dynamic Profile 37 stopped for meas_id 7 ",
        "Dynamic Profile 42 stopped for meas_id 7 ", "Profile 4 stopped for meas_id 7 ",
        "Profile 5 stopped for meas_id 7 "};
    std::vector<std::string> seen;
    for (const auto& t : logTexts(kMgr)) {
        if (t.find("stopped") != std::string::npos) {
            seen.push_back(t);
        }
    }
    EXPECT_EQ(seen, stops);
    EXPECT_EQ(engine().liveNotificationRegistrations().size(), 0U);
    // 42 was created, never started: it is taken back from the service all the same.
    EXPECT_EQ(names(CasCall::DeregisterNoninternet),
              (std::vector<std::string>{"dynamic", "dynamic", "dynamic", "profile4", "profile5"}));
    EXPECT_TRUE(logged(2, kYlm, "src/CasProxy", "Request deregistered for profile: 42"));
    EXPECT_EQ(countLog("CasProxy D-Xtor"), 5U);
}

TEST_F(ProfileCommandsTest, UninitialisedDynamicBitAbandonsTheWholeMask) {
    init(4);
    mask(1ULL << 32);  // profile 4 started
    init(5);
    mask((1ULL << 5) | (1ULL << 33));  // dynamic 38 unknown: 4 not stopped, 5 not started
    EXPECT_TRUE(logged(4, kYlm, kMgr, "Profile 38 not yet initialized"));
    EXPECT_EQ(state(4), 2);
    EXPECT_EQ(state(5), 1);
    EXPECT_EQ(names(CasCall::RegisterWifiNotification), std::vector<std::string>{"profile4"});
}

TEST_F(ProfileCommandsTest, LookUpUsesZeroForAnAbsentIdButStartUsesTheField) {
    init(4, 0, false);
    mask(1ULL << 32, 9, true);
    EXPECT_TRUE(logged(4, kYlm, kMgr, "Profile 4 not yet initialized"));

    init(6, 5, false);  // duplicate test under 0, entry under 5
    EXPECT_EQ(state(6, 5), 1);
    mask(1ULL << 34, 5, false);  // looks under 0: not found
    EXPECT_TRUE(logged(4, kYlm, kMgr, "Profile 6 not yet initialized"));
    init(7, 0, false);
    mask(1ULL << 35, 3, false);  // found under 0, started under 3: nothing there
    EXPECT_TRUE(logged(4, kYlm, kMgr, "Unable to start the request for profile 7"));
    EXPECT_EQ(state(7, 0), 1);
    EXPECT_EQ(state(7, 3), -1);

    // Found under 0 while started under 5 already: that entry is not registered a second time.
    mask(1ULL << 34, 5, true);
    init(6, 0, false);
    mask(1ULL << 34, 5, false);
    EXPECT_EQ(state(6, 5), 2);
    EXPECT_EQ(names(CasCall::RegisterWifiNotification), std::vector<std::string>{"profile6"});
}

TEST_F(ProfileCommandsTest, FailedStartFreesTheRequest) {
    engine().decisionEnginePresent = false;
    init(4);
    mask(1ULL << 32);
    EXPECT_TRUE(logged(1, kYlm, "src/CasProxy", "CAS is NULL"));
    EXPECT_TRUE(logged(4, kYlm, kMgr, "Unable to start the request for profile 4"));
    EXPECT_EQ(state(4), -1);
    EXPECT_EQ(countLog("CasProxy D-Xtor"), 1U);
    mgr->createDefaultProfile(engine().dsd());
    EXPECT_TRUE(logged(4, kYlm, kMgr, "Unable to start the request for profile 0"));
    EXPECT_TRUE(mgr->requests().empty());
}

TEST_F(ProfileCommandsTest, DefaultProfileIsCreatedOncePerClient) {
    mgr->createDefaultProfile(engine().dsd(0));
    mgr->createDefaultProfile(engine().dsd(0));
    mgr->createDefaultProfile(engine().dsd(1));
    EXPECT_TRUE(
        logged(3, kYlm, kMgr, "createDefaultProfile: default profile already live: ignored"));
    const auto regs = engine().liveNotificationRegistrations();
    ASSERT_EQ(regs.size(), 2U);
    std::vector<void*> stateCtx;
    for (const auto& c : engine().casCalls) {
        if (c.kind == CasCall::RegisterWifiState) {
            stateCtx.push_back(c.ctx);
        }
    }
    for (size_t i = 0; i < 2; ++i) {
        const auto& info = mgr->requests().at({engine().dsd(i), 0, 0});
        EXPECT_EQ(info.state, 2);
        EXPECT_TRUE(regs[i].nameNull);
        EXPECT_EQ(regs[i].operatorName, "ROW");
        EXPECT_EQ(regs[i].overrides.rssiHigh, 1);
        EXPECT_EQ(regs[i].overrides.rssiLow, 1);
        EXPECT_EQ(regs[i].ctx, info.request->getStrategy());
        EXPECT_EQ(regs[i].cb, &WifiMeasurementRequest::CasProxy::updateWifiStatus);
    }
    EXPECT_EQ(stateCtx, (std::vector<void*>{regs[0].ctx, regs[1].ctx}));
}

TEST_F(ProfileCommandsTest, StopAllKeepsTheDefaultProfileAndOtherClients) {
    for (size_t client : {0U, 1U}) {
        ASSERT_TRUE(startRaw(7, client));
        init(4, 7, true, client);
        init(36, 7, true, client);
        mask(1ULL << 32, 7, true, client);  // 4 started, 36 stopped again
        init(36, 7, true, client);          // and created anew
        mgr->createDefaultProfile(engine().dsd(client));
    }
    ASSERT_TRUE(startRaw(-1, 0));
    ASSERT_EQ(mgr->requests().size(), 9U);
    const size_t callsBefore = engine().casCalls.size();

    mgr->stopAllRequests(engine().dsd(0));
    std::vector<std::pair<size_t, int32_t>> left;
    for (const auto& [key, info] : mgr->requests()) {
        left.emplace_back(key.dsd == engine().dsd(0) ? 0 : 1, key.profileType);
    }
    std::sort(left.begin(), left.end());
    EXPECT_EQ(left, (std::vector<std::pair<size_t, int32_t>>{
                        {0, 0}, {1, 0}, {1, 4}, {1, 36}, {1, TpxWifiClientMgr::kRawProfileType}}));
    // Client 0's two profiles were taken back from the service, nothing else.
    std::vector<std::string> dereg;
    for (size_t i = callsBefore; i < engine().casCalls.size(); ++i) {
        dereg.push_back(engine().casCalls[i].name);
        EXPECT_EQ(engine().casCalls[i].kind, CasCall::DeregisterNoninternet);
    }
    EXPECT_EQ(dereg, (std::vector<std::string>{"profile4", "dynamic"}));
    EXPECT_EQ(engine().liveNotificationRegistrations().size(), 3U);
}

TEST(ProfileCommandsBeforeLinks, IndicationsAreRefused) {
    emu::Engine::instance().reset();
    TpxWifiClientMgr* mgr = TpxWifiClientMgr::getInstance();
    dsd_wqe_profile_init_ind_msg_v01 init{};
    init.profile_type = 4;
    dsd_wqe_profile_type_ind_msg_v01 mask{};
    mask.profile_type_mask = ~0ULL;
    mgr->wqeProfileInit(emu::Engine::instance().dsd(), init);
    mgr->setWqeProfile(emu::Engine::instance().dsd(), mask);
    mgr->createDefaultProfile(emu::Engine::instance().dsd());
    EXPECT_TRUE(mgr->requests().empty());
    std::vector<std::string> refusals;
    for (const auto& l : emu::Engine::instance().logs) {
        if (l.level == 3) {
            refusals.push_back(l.text);
        }
    }
    EXPECT_EQ(refusals, (std::vector<std::string>{"wqeProfileInit before initializeLinks: ignored",
                                                  "setWqeProfile before initializeLinks: ignored",
                                                  "createDefaultProfile before initializeLinks: "
                                                  "ignored"}));
}

// Numbered and dynamic profiles must leave nothing behind, however often they come and go.
TEST_F(ProfileCommandsTest, ManyProfileCyclesLeaveNothingBehind) {
    constexpr int kCycles = 10000;
    size_t freed = 0;
    for (int i = 0; i < kCycles; ++i) {
        const int32_t p = 4 + i % 39;
        init(p, i);
        mask(p >= 36 ? 1ULL << (p - 33) : 1ULL << (p + 28), i);
        mask(0, i);
        if (i % 1000 == 999) {
            freed += countLog("CasProxy D-Xtor");
            engine().logs.clear();
        }
    }
    EXPECT_EQ(freed, static_cast<size_t>(kCycles));
    EXPECT_TRUE(mgr->requests().empty());
    EXPECT_TRUE(engine().liveNotificationRegistrations().empty());
    EXPECT_EQ(engine().casCalls.size(), 2U * kCycles);
#ifdef YLM_TEST_LSAN
    EXPECT_EQ(__lsan_do_recoverable_leak_check(), 0);
#endif
}

}  // namespace
