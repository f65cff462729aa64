// The manager's quality-profile commands (init, mask, default profile, stop all) and the verdicts
// of the profiles they register.
#include <climits>

#include "ProfileTestSupport.h"

namespace {

using namespace ylmtest;
constexpr const char* kMgr = "src/TpxWifiClientMgr";

TEST_F(ProfileTest, InitTakesProfilesFourToFortyTwoOnceWithOverridesAndOperator) {
    for (int32_t p : {INT_MIN, -1, 0, 3, 43, INT_MAX, 42, 42}) {
        init(p);
    }
    EXPECT_EQ(logs(kMgr),
              (Lines{"4 Invalid profile number -2147483648", "4 Invalid profile number -1",
                     "4 Invalid profile number 0", "4 Invalid profile number 3",
                     "4 Invalid profile number 43", "4 Invalid profile number 2147483647",
                     "2 wqeProfileInit: Profile ID 42 for meas_id 7",
                     "2 wqeProfileInit: Profile ID 42 for meas_id 7",
                     "3 Profile 42 already initialized/started"}));
    engine().logs.clear();
    engine().operators = {{"1234", "OpA"}, {"5678", ""}};
    const struct {
        int32_t p;
        bool rssi;
        uint32_t iccidLen;  // 0: no ICCID
        std::string iccid;
    } cases[] = {
        {4, false, 0, ""},
        {5, true, 2, "\x21\x43"},
        {6, false, 0x302, "\x21\x43"},            // only the low byte of the length counts
        {7, false, 2, "\x65\x87"},                // an empty operator name is still a name
        {8, false, 1, "\x21\x43"},                // "12" is unknown: refused
        {9, false, 200, std::string(10, '\x99')}  // ten octets at most
    };
    for (const auto& c : cases) {
        auto ind = initInd(c.p);
        ind.rssi_high_valid = ind.rssi_low_valid = c.rssi ? 1 : 0;
        ind.rssi_high = -60;
        ind.rssi_low = -80;
        ind.iccid_valid = c.iccidLen != 0 ? 1 : 0;
        ind.iccid_len = c.iccidLen;
        std::memcpy(ind.iccid, c.iccid.data(), c.iccid.size());
        mgr->wqeProfileInit(engine().dsd(), ind);
    }
    EXPECT_EQ(engine().operatorLookups,
              (Lines{"1234", "1234", "5678", "12", std::string(20, '9')}));
    EXPECT_THAT(logs(kMgr), Contains("1 String ICCID 1234, String operator OpA"));
    EXPECT_EQ(logs(kMgr, 4), Lines(2, "4 Invalid Naming Convention for operator"));
    EXPECT_TRUE(logs("src/WifiParser", 4).empty());  // the octets are bounded before
    EXPECT_EQ(entries(), (Lines{"0/7/42=1", "0/7/4=1", "0/7/5=1", "0/7/6=1", "0/7/7=1"}));
    mask(0xfULL << 32 | 1ULL << 9);  // profiles 4 to 7 and 42: registered only now
    EXPECT_EQ(calls(), (Lines{"R dynamic ROW 1/1 wqe", "R profile4 ROW 1/1 wqe",
                              "R profile5 OpA -60/-80 wqe", "R profile6 OpA 1/1 wqe",
                              "R profile7  1/1 wqe"}));
}

// Dynamic profiles are switched first; a set bit of an uninitialised profile abandons the rest.
TEST_F(ProfileTest, MaskSwitchesDynamicProfilesFirstAndStopsAtAnUnknownBit) {
    auto line = [](int32_t p, const char* what) {
        return std::string("2 ") + (p > 35 ? "Dynamic " : "") + "Profile " + std::to_string(p) +
               what + " for meas_id 7 ";
    };
    for (int32_t p : {5, 4, 37, 36}) {
        init(p);
    }
    engine().logs.clear();
    const uint64_t started = (1ULL << 3) | (1ULL << 4) | (1ULL << 32) | (1ULL << 33);
    mask(started);
    mask(started);  // already started: nothing more
    EXPECT_EQ(logs(kMgr),
              (Lines{"2 setWqeProfile 12884901912 ", line(36, " started"), line(37, " started"),
                     line(4, " started"), line(5, " started"), "2 setWqeProfile 12884901912 "}));
    init(6);
    mask((1ULL << 3) | (1ULL << 4) | (1ULL << 5) | (1ULL << 34));  // 38 unknown: 4 to 6 untouched
    EXPECT_EQ(logs(kMgr, 4), Lines{"4 Profile 38 not yet initialized"});
    EXPECT_EQ(entries(), (Lines{"0/7/36=2", "0/7/37=2", "0/7/4=2", "0/7/5=2", "0/7/6=1"}));
    EXPECT_EQ(calls(), (Lines{"R dynamic ROW 1/1 wqe", "R dynamic ROW 1/1 wqe",
                              "R profile4 ROW 1/1 wqe", "R profile5 ROW 1/1 wqe"}));

    init(42);
    engine().logs.clear();
    mask(1ULL << 40);  // profile 12, never initialised: everything before it is stopped
    Lines mgrLines{"2 setWqeProfile 1099511627776 "}, proxyLines, stops;
    for (int32_t p : {36, 37, 42, 4, 5, 6}) {  // 42 and 6 never started: taken back all the same
        mgrLines.push_back(line(p, " stopped"));
        proxyLines.push_back("2 Request deregistered for profile: " + std::to_string(p));
        stops.push_back(p > 35 ? "D dynamic ROW 1/1 wqe"
                               : "D profile" + std::to_string(p) + " ROW 1/1 wqe");
    }
    mgrLines.emplace_back("4 Profile 12 not yet initialized");
    EXPECT_EQ(logs(kMgr), mgrLines);
    EXPECT_EQ(logs("src/CasProxy"), proxyLines);
    EXPECT_EQ(calls(4), stops);
    EXPECT_TRUE(entries().empty());
    EXPECT_TRUE(engine().liveNotificationRegistrations().empty());
}

TEST_F(ProfileTest, LookUpUsesZeroForAnAbsentIdButStartAndStopUseTheField) {
    init(4, 0, false);
    mask(1ULL << 32, 9, true);   // looks under 9
    init(6, 5, false);           // the duplicate test looks under 0, the entry goes under 5
    mask(1ULL << 34, 5, false);  // looks under 0: not found
    init(7, 0, false);
    mask(1ULL << 35, 3, false);  // found under 0, started under 3: nothing there; 4 stopped under 3
    // Found under 0 while started under 5 already: that entry is not registered a second time.
    mask(1ULL << 34, 5, true);
    init(6, 0, false);
    mask(1ULL << 34, 5, false);
    EXPECT_EQ(logs(kMgr, 4),
              (Lines{"4 Profile 4 not yet initialized", "4 Profile 6 not yet initialized",
                     "4 Unable to start the request for profile 7"}));
    EXPECT_EQ(entries(), (Lines{"0/0/4=1", "0/0/6=1", "0/0/7=1", "0/5/6=2"}));
    EXPECT_EQ(calls(), Lines{"R profile6 ROW 1/1 wqe"});

    // Looked up under 0 but created under 5, where an entry is: a request is built and dropped.
    init(8, 5, true);
    const WifiMeasurementRequest* kept = mgr->requests().at({engine().dsd(), 5, 8}).request;
    engine().logs.clear();
    init(8, 5, false);
    EXPECT_EQ(logs("src/WifiMeasurementRequest"), Lines{"2 WifiMeasurementRequest Xtor Quality"});
    EXPECT_EQ(logs("src/CasProxy"),
              Lines{"2 CasProxy Xtor for profile 8 RSSI high override 1 RSSI Low override 1"});
    EXPECT_EQ(mgr->requests().at({engine().dsd(), 5, 8}).request, kept);
    EXPECT_EQ(calls(1), Lines{});
}

TEST_F(ProfileTest, WithoutQualityServiceRequestsAreFreed) {
    engine().decisionEnginePresent = false;
    init(4);
    init(5);
    mask(1ULL << 32);  // 4 fails to start, 5 is stopped unstarted
    mgr->createDefaultProfile(engine().dsd());
    EXPECT_EQ(logs(kMgr, 4), (Lines{"4 Unable to start the request for profile 4",
                                    "4 Unable to start the request for profile 0"}));
    EXPECT_THAT(logs("src/CasProxy"), Contains("1 CAS is NULL").Times(3));  // two starts, one stop
    EXPECT_THAT(logs("src/WifiMeasurementRequest"),
                Contains("2 WifiMeasurementRequest D-Xtor").Times(3));
    // To the engine the proxies live on.
    EXPECT_THAT(logs("src/CasProxy"), Not(Contains("2 CasProxy D-Xtor")));
    EXPECT_TRUE(entries().empty());
    EXPECT_TRUE(engine().casCalls.empty());
}

// Each call builds a request (its proxy registers for Wi-Fi state), the registry keeps the entry
// it has, and the live default profile registers with the quality service again.
TEST_F(ProfileTest, DefaultProfileRegistersAgainOnEachCall) {
    for (size_t client : {0U, 0U, 1U}) {
        mgr->createDefaultProfile(engine().dsd(client));
    }
    EXPECT_TRUE(logs(kMgr).empty());
    EXPECT_EQ(logs("src/WifiMeasurementRequest", 1),
              Lines(3, "2 WifiMeasurementRequest Xtor Quality"));
    EXPECT_EQ(logs("src/CasProxy"),
              Lines(3, "2 CasProxy Xtor for profile 0 RSSI high override 1 RSSI Low override 1"));
    EXPECT_EQ(entries(), (Lines{"0/0/0=2", "1/0/0=2"}));
    const auto& cas = engine().casCalls;
    ASSERT_EQ(calls(), (Lines{"S -  0/0", "R - ROW 1/1 wifi", "S -  0/0", "R - ROW 1/1 wifi",
                              "S -  0/0", "R - ROW 1/1 wifi"}));
    EXPECT_NE(cas[2].ctx, cas[0].ctx);  // a second proxy follows Wi-Fi state...
    EXPECT_EQ(cas[3].ctx, cas[1].ctx);  // ...while the live one registers again
    mgr->requests().at({engine().dsd(), 0, 0}).request->stopMeasurement();
    EXPECT_EQ(calls(6), Lines{"W -  0/0 wifi"});
    // All three proxies, the one built for nothing included, still follow Wi-Fi state.
    EXPECT_EQ(engine().deliverWifiState(true), 3U);
    EXPECT_EQ(engine().messages.size(), 3U);
}

class UnlinkedProfileTest : public ProfileTest {
  protected:
    void SetUp() override { EmuTest::SetUp(); }
};

TEST_F(UnlinkedProfileTest, IndicationsAreRefused) {
    init(4);
    mask(~0ULL);
    mgr->createDefaultProfile(engine().dsd());
    dsd_start_wifi_meas_ind_msg_v01 start{};
    start.meas_param_mask = 1;
    EXPECT_FALSE(mgr->startWifiMeasurement(engine().dsd(), start));
    dsd_stop_wifi_meas_ind_msg_v01 stop{0};
    mgr->stopWifiMeasurement(engine().dsd(), stop);
    mgr->stopAllRequests(engine().dsd());
    EXPECT_TRUE(entries().empty() && engine().timers.empty());
    EXPECT_EQ(logs(kMgr, 3), (Lines{"3 wqeProfileInit before initializeLinks: ignored",
                                    "3 setWqeProfile before initializeLinks: ignored",
                                    "3 createDefaultProfile before initializeLinks: ignored",
                                    "3 startWifiMeasurement before initializeLinks: ignored"}));
}

// A pass ignores the reason; failure reasons 13 and 14 map crosswise, 14 and 15 share a code.
TEST_F(ProfileTest, VerdictsBecomeQualityStatusCodes) {
    const uint64_t id = 0x0102030405060708ULL;
    engine().operators["1234"] = "OpB";
    auto ind = initInd(35, id);
    ind.rssi_high_valid = ind.iccid_valid = 1;
    ind.rssi_high = -55;
    ind.iccid_len = 2;
    std::memcpy(ind.iccid, "\x21\x43", 2);
    mgr->wqeProfileInit(engine().dsd(), ind);
    mask(1ULL << 63, id);
    CasWlanNetConfigType result{};
    for (const auto& [reason, code] :
         {std::pair{0, 0}, {9, 0}, {10, 1}, {11, 2}, {12, 3}, {13, 5}, {14, 4}, {15, 4}, {16, 0}}) {
        result.isActive = reason == 0 ? 1 : 0;
        result.reason = reason == 0 ? 13 : reason;
        ASSERT_EQ(engine().deliverNotification("profile35", &result), 1U);
        EXPECT_EQ(sent(), Sent{quality(35, reason == 0 ? 0 : 1, code, id)}) << reason;
    }
    mask(0, id);
    EXPECT_EQ(calls(), (Lines{"R profile35 OpB -55/1 wqe", "D profile35 OpB -55/1 wqe"}));
    EXPECT_EQ(engine().deliverNotification("profile35", &result), 0U);

    // Dynamic profiles share one name and, without an id, report none.
    init(36, 0, false);
    init(42, 0, false);
    mask((1ULL << 3) | (1ULL << 9), 0, false);
    mask(1ULL << 9, 0, false);                                        // 36 goes, 42 stays
    ASSERT_EQ(engine().deliverNotification("dynamic", &result), 1U);  // reason 16
    EXPECT_EQ(sent(), Sent{quality(42, 1, 0)});
}

}  // namespace
