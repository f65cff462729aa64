// Heap growth under a modem that repeats itself for days: each kind of indication sequence runs
// 100 000 times against the emulated engine, and the heap in use before and after (mallinfo2)
// gives the bytes kept per 1000 operations. The engine's own records (logs, messages, timers,
// quality-service calls) are dropped as they come, so only what the plug-in keeps is counted.
// Usage: ylm_soak [operations per kind]
#include <malloc.h>

#include <cstdio>
#include <cstdlib>
#include <functional>

#include "TpxWifiClientMgr.h"
#include "VorMsg.h"
#include "emu/Engine.h"

namespace {

emu::Engine& engine() {
    return emu::Engine::instance();
}

// Whatever the emulator remembers of the engine's side; a real engine keeps none of it.
void dropEngineRecords() {
    emu::Engine& e = engine();
    e.timers.clear();
    e.removedTimerIds.clear();
    e.supplicantEvents.clear();
    e.messages.clear();
    e.casCalls.clear();
    e.operatorLookups.clear();
    e.forkCalls.clear();
}

dsd_start_wifi_meas_ind_msg_v01 rawStart(int32_t id, uint32_t paramMask, bool connected) {
    dsd_start_wifi_meas_ind_msg_v01 ind{};
    ind.meas_id = id;
    ind.meas_param_mask = paramMask;
    // An all-zero first SSID asks for the associated access point; no list scans.
    ind.ssid_list_valid = connected ? 1 : 0;
    ind.ssid_list_len = connected ? 1 : 0;
    return ind;
}

void startRaw(int32_t id, uint32_t paramMask, bool connected) {
    auto ind = rawStart(id, paramMask, connected);
    TpxWifiClientMgr::getInstance()->startWifiMeasurement(engine().dsd(), ind);
}

void stopRaw(int32_t id) {
    dsd_stop_wifi_meas_ind_msg_v01 ind{id};
    TpxWifiClientMgr::getInstance()->stopWifiMeasurement(engine().dsd(), ind);
}

void profileInit(int32_t p, uint64_t measId) {
    dsd_wqe_profile_init_ind_msg_v01 ind{};
    ind.profile_type = p;
    ind.meas_id_valid = 1;
    ind.meas_id = measId;
    TpxWifiClientMgr::getInstance()->wqeProfileInit(engine().dsd(), ind);
}

void profileMask(uint64_t mask, uint64_t measId) {
    dsd_wqe_profile_type_ind_msg_v01 ind{};
    ind.profile_type_mask = mask;
    ind.meas_id_valid = 1;
    ind.meas_id = measId;
    TpxWifiClientMgr::getInstance()->setWqeProfile(engine().dsd(), ind);
}

uint64_t bitOf(int32_t p) {
    return p >= 36 ? 1ULL << (p - 33) : 1ULL << (p + 28);
}

struct Kind {
    const char* name;
    std::function<void(int32_t)> op;
};

size_t heapInUse() {
    return mallinfo2().uordblks;
}

}  // namespace

int main(int argc, char** argv) {
    const long count = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 100000;
    if (count < 1000) {
        std::fprintf(stderr, "usage: ylm_soak [operations per kind, at least 1000]\n");
        return 2;
    }
    engine().reset();
    VorMsg::vor_log_class_ptr = nullptr;  // the emulator would keep every line
    TpxWifiClientMgr* mgr = init();
    mgr->initializeLinks(engine().com(), engine().timer(), engine().supplicant());

    const Kind kinds[] = {
        {"refused raw start", [](int32_t i) { startRaw(i, 4, false); }},
        {"scan start/stop",
         [](int32_t i) {
             startRaw(i, 5, false);
             stopRaw(i);
         }},
        {"connected start/stop",
         [](int32_t i) {
             startRaw(i, 1, true);
             stopRaw(i);
         }},
        {"profile init/start/stop",
         [](int32_t i) {
             const int32_t p = 4 + i % 39;
             profileInit(p, static_cast<uint64_t>(i));
             profileMask(bitOf(p), static_cast<uint64_t>(i));
             profileMask(0, static_cast<uint64_t>(i));
         }},
        {"init + stopAllRequests",
         [](int32_t i) {
             profileInit(4 + i % 39, static_cast<uint64_t>(i));
             startRaw(i, 1, false);
             TpxWifiClientMgr::getInstance()->stopAllRequests(engine().dsd());
         }},
        {"repeated createDefaultProfile",
         [](int32_t) { TpxWifiClientMgr::getInstance()->createDefaultProfile(engine().dsd()); }},
    };
    std::printf("%-30s %14s\n", "operation", "bytes/1000 ops");
    for (const Kind& kind : kinds) {
        // The first rounds settle what is built once (singletons, buffers, a first map node).
        for (int32_t i = 0; i < 1000; ++i) {
            kind.op(i);
            dropEngineRecords();
        }
        const size_t before = heapInUse();
        for (int32_t i = 1000; i < 1000 + count; ++i) {
            kind.op(i);
            dropEngineRecords();
        }
        const double grown = static_cast<double>(heapInUse()) - static_cast<double>(before);
        std::printf("%-30s %14.0f\n", kind.name, grown * 1000.0 / static_cast<double>(count));
    }
    return 0;
}
