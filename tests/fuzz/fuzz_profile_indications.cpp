// Sequences of profile init and mask indications from two modem clients, default-profile
// requests and verdicts from the quality service, run through the manager.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "TpxWifiClientMgr.h"
#include "emu/Engine.h"

namespace {

TpxWifiClientMgr* manager() {
    static TpxWifiClientMgr* mgr = [] {
        emu::Engine& e = emu::Engine::instance();
        e.operators = {{"", "Empty"}, {"00", "OpZero"}, {"1234", "OpA"}};
        TpxWifiClientMgr* m = TpxWifiClientMgr::getInstance();
        m->initializeLinks(e.com(), e.timer(), e.supplicant());
        return m;
    }();
    return mgr;
}

template <class T>
T takeRecord(const uint8_t*& data, size_t& size) {
    T rec;
    std::memset(&rec, 0, sizeof(rec));
    const size_t n = size < sizeof(T) ? size : sizeof(T);
    std::memcpy(&rec, data, n);
    data += n;
    size -= n;
    return rec;
}

void deliverVerdict(uint8_t pass, uint8_t reason) {
    CasWlanNetConfigType result;
    std::memset(&result, 0, sizeof(result));
    result.isActive = pass;
    result.reason = reason;
    for (const auto& r : emu::Engine::instance().liveNotificationRegistrations()) {
        if (!r.nameNull) {
            r.cb(&result, r.ctx);
        }
    }
}

// Keeps the engine's records bounded across inputs: the Wi-Fi state registrations (each holds a
// proxy the plug-in keeps for good) and one copy of each live registration stay, the rest goes.
void trimEngine() {
    emu::Engine& e = emu::Engine::instance();
    std::vector<emu::CasCall> keep;
    for (const auto& c : e.casCalls) {
        if (c.kind == emu::CasCall::RegisterWifiState) {
            keep.push_back(c);
        }
    }
    for (const auto& c : e.liveNotificationRegistrations()) {
        // A default profile asked for again registers again with the same record.
        if (std::none_of(keep.begin(), keep.end(), [&](const emu::CasCall& k) {
                return k.kind == c.kind && k.ctx == c.ctx && k.nameNull == c.nameNull &&
                       k.name == c.name;
            })) {
            keep.push_back(c);
        }
    }
    e.casCalls = keep;
    e.logs.clear();
    e.messages.clear();
    e.operatorLookups.clear();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    TpxWifiClientMgr* mgr = manager();
    emu::Engine& e = emu::Engine::instance();
    while (size > 0) {
        const uint8_t op = data[0];
        ++data;
        --size;
        VorTpxDsd* dsd = e.dsd((op >> 7) & 1U);
        switch (op & 7U) {
            case 0:
            case 1:
            case 2: {
                auto ind = takeRecord<dsd_wqe_profile_init_ind_msg_v01>(data, size);
                mgr->wqeProfileInit(dsd, ind);
                break;
            }
            case 3:
            case 4:
            case 5: {
                auto ind = takeRecord<dsd_wqe_profile_type_ind_msg_v01>(data, size);
                mgr->setWqeProfile(dsd, ind);
                break;
            }
            case 6:
                mgr->createDefaultProfile(dsd);
                break;
            default:
                deliverVerdict((op >> 3) & 1U, (op >> 3) & 0xfU);
                break;
        }
    }
    mgr->stopAllRequests(e.dsd(0));
    mgr->stopAllRequests(e.dsd(1));
    trimEngine();
    return 0;
}
