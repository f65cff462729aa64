// Quality-profile tests: a manager linked to the emulated engine, and compact views of what it
// kept, registered, logged and sent.
#pragma once

#include <algorithm>
#include <cstring>

#include "CasProxy.h"
#include "EmuFixture.h"
#include "TpxWifiClientMgr.h"

namespace ylmtest {

using Lines = Strings;
using Sent = std::vector<std::pair<emu::DsdOp, std::vector<uint8_t>>>;
using Proxy = WifiMeasurementRequest::CasProxy;

template <class T>
T zeroed() {
    T t;
    std::memset(&t, 0, sizeof(t));
    return t;
}

template <class T>
std::vector<uint8_t> bytes(const T& t) {
    const auto* b = reinterpret_cast<const uint8_t*>(&t);
    return {b, b + sizeof(T)};
}

// A quality status message; a negative code leaves the status code out, id 0 the measurement id.
inline Sent::value_type quality(int32_t p, int32_t q, int32_t code = -1, uint64_t measId = 0) {
    // profile, valid, pad, quality, valid, pad, code, valid, pad, id: no hidden padding
    const dsd_set_wqe_profile_quality_status_req_msg_v01 m{
        p, 1, {}, q, code >= 0, {}, std::max(code, 0), measId != 0, {}, measId};
    return {emu::DsdOp::WqeProfileStatus, bytes(m)};
}

// A call to the quality service as "<kind> <name or -> <operator> <high>/<low> <callback>", kinds
// S(tate), R(egister), W(lan configuration deregister), D(eregister); a '!' after the kind when
// the client record (first word 2, zero reserved words, same callback and context) is wrong.
inline std::string describe(const emu::CasCall& c) {
    const uint32_t* r = c.client.reserved;
    const bool ok = c.kind == emu::CasCall::RegisterWifiState
                        ? c.stateCb == Proxy::updateWifiStateChangeCb
                        : c.client.type == 2 && c.client.cb == c.cb && c.client.ctx == c.ctx &&
                              std::all_of(r, r + 4, [](uint32_t w) { return w == 0; });
    const char* cb = c.cb == Proxy::updateWifiStatus         ? " wifi"
                     : c.cb == Proxy::updateWqeProfileStatus ? " wqe"
                                                             : "";
    return std::string(1, "SRWD"[c.kind]) + (ok ? " " : "! ") + (c.nameNull ? "-" : c.name) + " " +
           c.operatorName + " " + std::to_string(c.overrides.rssiHigh) + "/" +
           std::to_string(c.overrides.rssiLow) + cb;
}

class ProfileTest : public EmuTest {
  protected:
    void SetUp() override {
        EmuTest::SetUp();
        mgr->initializeLinks(engine().com(), engine().timer(), engine().supplicant());
        engine().logs.clear();
    }

    static dsd_wqe_profile_init_ind_msg_v01 initInd(int32_t p, uint64_t measId = 7,
                                                    bool measValid = true) {
        auto ind = zeroed<dsd_wqe_profile_init_ind_msg_v01>();
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
        auto ind = zeroed<dsd_wqe_profile_type_ind_msg_v01>();
        ind.profile_type_mask = bits;
        std::memset(ind.reserved8, 0xa5, sizeof(ind.reserved8));  // never read
        ind.meas_id_valid = measValid ? 1 : 0;
        ind.meas_id = measId;
        mgr->setWqeProfile(engine().dsd(client), ind);
    }

    // Every entry of the manager as "client/measId/profile=state", sorted.
    Lines entries() {
        Lines out;
        for (const auto& [k, info] : mgr->requests()) {
            out.push_back(std::to_string(k.dsd == engine().dsd(0) ? 0 : 1) + "/" +
                          std::to_string(k.measId) + "/" + std::to_string(k.profileType) + "=" +
                          std::to_string(info.state));
        }
        std::sort(out.begin(), out.end());
        return out;
    }
    Lines calls(size_t from = 0) {
        Lines out;
        for (size_t i = from; i < engine().casCalls.size(); ++i) {
            out.push_back(describe(engine().casCalls[i]));
        }
        return out;
    }
    // The messages sent (all to the first client) since the last look.
    Sent sent() {
        Sent out;
        for (const auto& m : engine().messages) {
            EXPECT_EQ(m.dsd, engine().dsd());
            out.emplace_back(m.op, m.bytes);
        }
        engine().messages.clear();
        return out;
    }

    TpxWifiClientMgr* mgr = TpxWifiClientMgr::getInstance();
};

}  // namespace ylmtest
