// Quality profiles end to end: the modem's init and mask indications, the service's verdicts as
// DSD records, and the profiles going away again.
#include <cstring>

#include "CasProxy.h"
#include "EmuFixture.h"
#include "TpxWifiClientMgr.h"

namespace {

using emu::CasCall;
using Proxy = WifiMeasurementRequest::CasProxy;

class ProfileFlowTest : public ylmtest::EmuTest {
  protected:
    void SetUp() override {
        EmuTest::SetUp();
        mgr = TpxWifiClientMgr::getInstance();
        mgr->initializeLinks(engine().com(), engine().timer(), engine().supplicant());
        engine().operators["89014103123456789012"] = "OpB";
    }
    void init(int32_t p, uint64_t measId, bool measValid) {
        dsd_wqe_profile_init_ind_msg_v01 ind{};
        ind.profile_type = p;
        ind.rssi_high_valid = 1;
        ind.rssi_high = -55;
        ind.iccid_valid = 1;
        ind.iccid_len = 10;
        const uint8_t iccid[10] = {0x98, 0x10, 0x14, 0x30, 0x21, 0x43, 0x65, 0x87, 0x09, 0x21};
        std::memcpy(ind.iccid, iccid, sizeof(iccid));
        ind.meas_id_valid = measValid ? 1 : 0;
        ind.meas_id = measId;
        mgr->wqeProfileInit(engine().dsd(), ind);
    }
    void mask(uint64_t bits, uint64_t measId, bool measValid) {
        dsd_wqe_profile_type_ind_msg_v01 ind{};
        ind.profile_type_mask = bits;
        ind.meas_id_valid = measValid ? 1 : 0;
        ind.meas_id = measId;
        std::memset(ind.reserved8, 0xa5, sizeof(ind.reserved8));  // never read
        mgr->setWqeProfile(engine().dsd(), ind);
    }
    static dsd_set_wqe_profile_quality_status_req_msg_v01 status(int32_t p, int32_t quality,
                                                                 int32_t code, uint64_t measId) {
        dsd_set_wqe_profile_quality_status_req_msg_v01 m;
        std::memset(&m, 0, sizeof(m));
        m.profile_type = p;
        m.quality_status_valid = 1;
        m.quality_status = quality;
        m.status_code_valid = 1;
        m.status_code = code;
        m.meas_id_valid = measId != 0 ? 1 : 0;
        m.meas_id = measId;
        return m;
    }
    template <class T>
    static std::vector<uint8_t> bytes(const T& t) {
        const auto* b = reinterpret_cast<const uint8_t*>(&t);
        return {b, b + sizeof(T)};
    }

    TpxWifiClientMgr* mgr = nullptr;
};

TEST_F(ProfileFlowTest, NumberedProfileForwardsEveryVerdict) {
    init(35, 0x0102030405060708ULL, true);
    mask(1ULL << 63, 0x0102030405060708ULL, true);

    const auto regs = engine().liveNotificationRegistrations();
    ASSERT_EQ(regs.size(), 1U);
    const auto& info = mgr->requests().at({engine().dsd(), 0x0102030405060708ULL, 35});
    EXPECT_EQ(info.state, 2);
    EXPECT_EQ(regs[0].name, "profile35");
    EXPECT_EQ(regs[0].operatorName, "OpB");
    EXPECT_EQ(regs[0].overrides.rssiHigh, -55);
    EXPECT_EQ(regs[0].overrides.rssiLow, 1);
    EXPECT_EQ(regs[0].cb, Proxy::updateWqeProfileStatus);
    EXPECT_EQ(regs[0].ctx, info.request->getStrategy());
    const CasClientCb client = regs[0].client;
    EXPECT_EQ(client.type, 2U);
    EXPECT_EQ(client.cb, Proxy::updateWqeProfileStatus);
    EXPECT_EQ(client.ctx, regs[0].ctx);
    EXPECT_EQ(std::vector<uint32_t>(client.reserved, client.reserved + 4),
              std::vector<uint32_t>(4, 0));

    // A pass, then every failure reason the service gives.
    const std::pair<int32_t, int32_t> verdicts[] = {{0, 0},  {9, 0},  {10, 1}, {11, 2}, {12, 3},
                                                    {13, 5}, {14, 4}, {15, 4}, {16, 0}};
    for (const auto& [reason, code] : verdicts) {
        CasWlanNetConfigType result{};
        result.isActive = reason == 0 ? 1 : 0;
        result.reason = reason == 0 ? 13 : reason;  // a pass ignores the reason
        result.state = 1;
        engine().messages.clear();
        ASSERT_EQ(engine().deliverNotification("profile35", &result), 1U);
        ASSERT_EQ(engine().messages.size(), 1U);
        EXPECT_EQ(engine().messages[0].op, emu::DsdOp::WqeProfileStatus);
        EXPECT_EQ(engine().messages[0].dsd, engine().dsd());
        EXPECT_EQ(engine().messages[0].bytes,
                  bytes(status(35, reason == 0 ? 0 : 1, code, 0x0102030405060708ULL)))
            << reason;
    }

    mask(0, 0x0102030405060708ULL, true);
    EXPECT_TRUE(mgr->requests().empty());
    EXPECT_TRUE(engine().liveNotificationRegistrations().empty());
    const CasCall& dereg = engine().casCalls.back();
    EXPECT_EQ(dereg.kind, CasCall::DeregisterNoninternet);
    EXPECT_EQ(dereg.name, "profile35");
    EXPECT_EQ(dereg.operatorName, "OpB");
    EXPECT_EQ(dereg.overrides.rssiHigh, -55);
    EXPECT_EQ(dereg.client.type, 2U);
    EXPECT_EQ(dereg.client.cb, client.cb);
    EXPECT_EQ(dereg.client.ctx, client.ctx);
    CasWlanNetConfigType result{};
    EXPECT_EQ(engine().deliverNotification("profile35", &result), 0U);
}

TEST_F(ProfileFlowTest, DynamicProfilesShareOneNameAndReportWithoutId) {
    init(36, 0, false);
    init(42, 0, false);
    mask((1ULL << 3) | (1ULL << 9), 0, false);
    EXPECT_EQ(engine().operatorLookups,
              (std::vector<std::string>{"89014103123456789012", "89014103123456789012"}));

    CasWlanNetConfigType result{};
    result.reason = 14;
    ASSERT_EQ(engine().deliverNotification("dynamic", &result), 2U);
    ASSERT_EQ(engine().messages.size(), 2U);
    EXPECT_EQ(engine().messages[0].bytes, bytes(status(36, 1, 4, 0)));
    EXPECT_EQ(engine().messages[1].bytes, bytes(status(42, 1, 4, 0)));

    mask(1ULL << 9, 0, false);  // 36 goes, 42 stays
    ASSERT_EQ(engine().liveNotificationRegistrations().size(), 1U);
    engine().messages.clear();
    engine().deliverNotification("dynamic", &result);
    ASSERT_EQ(engine().messages.size(), 1U);
    EXPECT_EQ(engine().messages[0].bytes, bytes(status(42, 1, 4, 0)));
}

}  // namespace
