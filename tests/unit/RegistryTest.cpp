// The manager's registry of requests: key order, sign-extended ids, the envelope's lines, refused
// starts.
#include "RawTestSupport.h"

namespace {

using Key = TpxWifiClientMgr::WifiMeasurementRequestKey;
using ylmtest::Contains;
using ylmtest::Not;
using ylmtest::Strings;

TEST(RegistryKey, OrdersByClientThenUnsignedIdThenSignedProfile) {
    auto* a = reinterpret_cast<VorTpxDsd*>(0x1000);
    auto* b = reinterpret_cast<VorTpxDsd*>(0x2000);
    const Key ordered[] = {{a, 5, 0}, {a, 7, -1}, {a, 7, 0}, {a, 7, 4}, {a, ~0ULL, 0}, {b, 0, 0}};
    for (const Key& x : ordered) {
        for (const Key& y : ordered) {
            EXPECT_EQ(x < y, &x < &y) << (&x - ordered) << " " << (&y - ordered);
        }
    }
}

class RegistryTest : public ylmtest::RawTest {};

TEST_F(RegistryTest, NegativeIdIsSignExtendedAndTheEnvelopeLogsAroundItsStrategy) {
    ASSERT_TRUE(start(anyScan(-1, 1)));
    const Key key{engine().dsd(), ~0ULL, TpxWifiClientMgr::kRawProfileType};
    ASSERT_EQ(mgr->requests().count(key), 1U);
    EXPECT_EQ(mgr->requests().at(key).state, 0);
    stop(-1);
    EXPECT_TRUE(mgr->requests().empty() && engine().activeTimerCount() == 0);
    const Strings env = logs("src/WifiMeasurementRequest");
    ASSERT_EQ(env.size(), 4U);
    EXPECT_EQ(env[0] + env[3], "2 WifiMeasurementRequest Xtor Raw2 WifiMeasurementRequest D-Xtor");
    EXPECT_EQ(env[1].substr(0, 19) + env[2].substr(0, 18), "0 startMeasurement:0 stopMeasurement:");
    EXPECT_THAT(logs(ylmtest::kRawFile), Not(Contains("2 RawMeasurement D-Xtor")));  // outlives it
}

// Abandoned: neither stopped nor destroyed, as far as the engine can tell; the id is free again.
TEST_F(RegistryTest, RefusedStartLeavesNoEntry) {
    EXPECT_FALSE(start(anyScan(9, 4)));  // BSS load without RSSI: refused by the measurement
    EXPECT_TRUE(mgr->requests().empty() && engine().activeTimerCount() == 0);
    EXPECT_EQ(logs("src/WifiMeasurementRequest").size(), 2U);
    EXPECT_THAT(logs(ylmtest::kRawFile), Not(Contains("2 RawMeasurement D-Xtor")));
    EXPECT_TRUE(start(anyScan(9)));
}

}  // namespace
