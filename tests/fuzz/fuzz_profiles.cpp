// Quality profiles driven from both sides: a sequence of operations, each one byte followed by
// the record it needs. Bits 0-2 of the byte pick the operation: profile init and mask indications
// from one of two modem clients (bit 7), default-profile requests, verdicts to every live named
// profile, and network-configuration records or Wi-Fi on/off from the quality service, with the
// daemons answering or failing.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "TpxWifiClientMgr.h"
#include "emu/Engine.h"

namespace {

// The daemons answer with the test bed's genuine replies, read from the repository's captures. A
// missing capture stops the run: without it the target would fuzz daemons that never answer.
std::string fixture(const char* name) {
    std::string path = __FILE__;
    path.erase(path.rfind("tests/fuzz/"));
    path += "tests/fixtures/real-daemons/";
    path += name;
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "missing fixture %s\n", path.c_str());
        std::abort();
    }
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

TpxWifiClientMgr* manager() {
    static TpxWifiClientMgr* mgr = [] {
        emu::Engine& e = emu::Engine::instance();
        e.operators = {{"", "Empty"}, {"00", "OpZero"}, {"1234", "OpA"}};
        auto& s = e.scriptedSupplicant();
        s.setReply("STATUS", fixture("sta-status.txt"));
        s.setReply("SIGNAL_POLL", fixture("sta-signal-poll.txt"));
        s.setReply("BSS 02:00:00:00:03:00", fixture("sta-bss-ap2g.txt"));
        s.setReply("STATUS", fixture("p2p-status.txt"), 1);
        e.scriptedForkExec().setResult(
            "hostapd_cli -p /data/vendor/wifi/hostapd/ctrl -s /data/vendor/wifi/hostapd/ctrl -i "
            "wlan0 STATUS",
            fixture("hostapd-status.txt"));
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

// A network configuration or verdict record (bits 3-4: to the default profile, profile 4, the
// dynamic profiles, or Wi-Fi on/off by bit 5); bit 6 fails the status queries, bit 7 picks the
// other soft-AP interface.
void deliverConfig(uint8_t op, CasWlanNetConfigType record) {
    emu::Engine& e = emu::Engine::instance();
    e.scriptedSupplicant().setFailure("STATUS", (op & 0x40U) != 0);
    e.scriptedSupplicant().setConnectFailure(1, (op & 0x40U) != 0);
    e.chipsetType = (op & 0x80U) != 0 ? 4 : 0;
    static const char* const kNames[] = {nullptr, "profile4", "dynamic"};
    const unsigned target = (op >> 3) & 3U;
    if (target == 3) {
        e.deliverWifiState((op & 0x20U) != 0);
    } else {
        e.deliverNotification(kNames[target], &record);
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
    e.supplicantEvents.clear();
    e.forkCalls.clear();
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
            case 4: {
                auto ind = takeRecord<dsd_wqe_profile_type_ind_msg_v01>(data, size);
                mgr->setWqeProfile(dsd, ind);
                break;
            }
            case 5: {
                // Each call leaves a proxy that follows Wi-Fi state for good; a few show the
                // repeats, more would only make every later input slower.
                static int defaults = 0;
                if (defaults < 8) {
                    ++defaults;
                    mgr->createDefaultProfile(dsd);
                }
                break;
            }
            case 6: {
                CasWlanNetConfigType verdict;
                std::memset(&verdict, 0, sizeof(verdict));
                verdict.isActive = (op >> 3) & 1U;
                verdict.reason = (op >> 3) & 0xfU;
                for (const auto& r : e.liveNotificationRegistrations()) {
                    if (!r.nameNull) {
                        r.cb(&verdict, r.ctx);
                    }
                }
                break;
            }
            default:
                deliverConfig(op, takeRecord<CasWlanNetConfigType>(data, size));
                break;
        }
    }
    mgr->stopAllRequests(e.dsd(0));
    mgr->stopAllRequests(e.dsd(1));
    trimEngine();
    return 0;
}
