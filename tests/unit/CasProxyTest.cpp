// The profile proxy on its own: the default profile's registrations and verdict, a proxy without
// quality service, and the refusal of null callbacks.
#include <cstring>

#include "CasProxy.h"
#include "EmuFixture.h"
#include "TpxWifiClientMgr.h"
#include "WifiInfoProvider.h"

namespace {

using emu::CasCall;
using Proxy = WifiMeasurementRequest::CasProxy;

class CasProxyTest : public ylmtest::EmuTest {
  protected:
    std::unique_ptr<Proxy> make(int32_t p, uint64_t measId = 7) {
        ProfileInfoType profile;
        profile.profileNumber = p;
        profile.overrides = {-60, -80};
        profile.operatorName = "OpA";
        return std::make_unique<Proxy>(*engine().dsd(), *engine().com(), *engine().timer(),
                                       *engine().supplicant(), *WifiInfoProvider::getInstance(),
                                       measId, profile, TpxWifiClientMgr::deleteClient);
    }
    template <class T>
    static std::vector<uint8_t> bytes(const T& t) {
        const auto* b = reinterpret_cast<const uint8_t*>(&t);
        return {b, b + sizeof(T)};
    }
};

void expectClient(const CasCall& c, CasNotifyCb cb, void* ctx) {
    EXPECT_EQ(c.client.type, 2U);
    EXPECT_EQ(c.client.cb, cb);
    EXPECT_EQ(c.client.ctx, ctx);
    for (uint32_t w : c.client.reserved) {
        EXPECT_EQ(w, 0U);
    }
}

TEST_F(CasProxyTest, DefaultProfileFollowsWifiStateAndRegistersUnnamed) {
    auto proxy = make(0);
    EXPECT_TRUE(proxy->registeredForWifiState());
    proxy->startMeasurement();
    proxy->stopMeasurement();
    const auto& calls = engine().casCalls;
    ASSERT_EQ(calls.size(), 3U);
    EXPECT_EQ(calls[0].kind, CasCall::RegisterWifiState);
    EXPECT_EQ(calls[0].stateCb, Proxy::updateWifiStateChangeCb);
    EXPECT_EQ(calls[0].ctx, proxy.get());
    EXPECT_EQ(calls[1].kind, CasCall::RegisterWifiNotification);
    EXPECT_TRUE(calls[1].nameNull);
    EXPECT_EQ(calls[1].cb, Proxy::updateWifiStatus);
    expectClient(calls[1], Proxy::updateWifiStatus, proxy.get());
    EXPECT_EQ(calls[2].kind, CasCall::DeregisterWlanNetConfig);
    expectClient(calls[2], Proxy::updateWifiStatus, proxy.get());
}

TEST_F(CasProxyTest, WithoutDecisionEngineNothingIsRegistered) {
    engine().decisionEnginePresent = false;
    auto proxy = make(0);
    EXPECT_FALSE(proxy->registeredForWifiState());
    EXPECT_FALSE(proxy->startMeasurement());
    proxy->stopMeasurement();
    EXPECT_TRUE(engine().casCalls.empty());
    EXPECT_EQ(countLog("CAS is NULL"), 2U);
}

TEST_F(CasProxyTest, DefaultProfileVerdictNeedsConnectedStateAndBothFlags) {
    const struct {
        int32_t state;
        uint8_t f68, f200;
        int32_t quality;
    } cases[] = {{1, 1, 1, 0}, {1, 0, 1, 1}, {1, 1, 0, 1}, {0, 1, 1, 1}, {4, 1, 1, 1}};
    for (uint64_t measId : {0ULL, 0x1122334455667788ULL}) {
        auto proxy = make(0, measId);
        for (const auto& c : cases) {
            CasWlanNetConfigType rec{};
            rec.state = c.state;
            rec.netFlag = c.f68;
            rec.stationFlag = c.f200;
            engine().messages.clear();
            Proxy::sendDefaultWqeProfileStatus(proxy.get(), &rec);
            dsd_set_wqe_profile_quality_status_req_msg_v01 want;
            std::memset(&want, 0, sizeof(want));
            want.quality_status_valid = 1;
            want.quality_status = c.quality;
            want.meas_id_valid = measId != 0 ? 1 : 0;
            want.meas_id = measId;
            ASSERT_EQ(engine().messages.size(), 1U);
            EXPECT_EQ(engine().messages[0].op, emu::DsdOp::WqeProfileStatus);
            EXPECT_EQ(engine().messages[0].bytes, bytes(want)) << c.state;
        }
    }
}

TEST_F(CasProxyTest, NullCallbackArgumentsAreRefused) {
    auto proxy = make(0);
    CasWlanNetConfigType rec{};
    dsd_wlan_available_req_msg_v01 msg{};
    Proxy::updateWqeProfileStatus(nullptr, proxy.get());
    Proxy::updateWqeProfileStatus(&rec, nullptr);
    Proxy::sendDefaultWqeProfileStatus(nullptr, &rec);
    Proxy::sendDefaultWqeProfileStatus(proxy.get(), nullptr);
    Proxy::updateWifiStateChangeCb(true, nullptr);
    Proxy::updateWifiStatus(nullptr, proxy.get());
    Proxy::updateWifiStatus(&rec, nullptr);
    proxy->buildSTAInfo(nullptr, &msg);
    proxy->buildSoftAPInfo(&rec, nullptr);
    proxy->buildP2pInfo(nullptr, nullptr);
    EXPECT_TRUE(engine().messages.empty());
    EXPECT_EQ(bytes(msg), std::vector<uint8_t>(sizeof(msg), 0));
    std::vector<std::pair<int, std::string>> seen;
    for (const auto& l : engine().logs) {
        if (l.level >= 3) {
            seen.emplace_back(l.level, l.text);
        }
    }
    const std::string dsdNull = "dsd_wlan_available_req_msg_v01 or CasWlanNetConfigType is null";
    EXPECT_EQ(seen, (std::vector<std::pair<int, std::string>>{
                        {3, "CasProxy/CasWlanNetConfigType is null"},
                        {3, "CasProxy/CasWlanNetConfigType is null"},
                        {3, "self pointer or CasWlanNetConfigType is null"},
                        {3, "self pointer or CasWlanNetConfigType is null"},
                        {4, "CasProxy is null"},
                        {4, "CasProxy/CasWlanNetConfigType is null"},
                        {4, "CasProxy/CasWlanNetConfigType is null"},
                        {3, dsdNull},
                        {3, dsdNull},
                        {3, dsdNull}}));
}

}  // namespace
