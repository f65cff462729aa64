// libylm.so with one fault planted, for the chaos driver's test: it loads the real plug-in and
// hands the engine its manager with a table whose stopWifiMeasurement stops nothing.
#include <dlfcn.h>

#include "run/ManagerSlots.h"

namespace {

void stopNothing(TpxWifiClientMgr* /*manager*/, VorTpxDsd* /*dsd*/,
                 dsd_stop_wifi_meas_ind_msg_v01& /*ind*/) {}

void* table[ylmsim::kStopAllRequests + 1];

}  // namespace

extern "C" __attribute__((visibility("default"))) TpxWifiClientMgr* init() {
    void* lib = dlopen(YLM_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
    auto realInit = lib != nullptr ? reinterpret_cast<ylmsim::InitFn>(dlsym(lib, "init")) : nullptr;
    TpxWifiClientMgr* manager = realInit != nullptr ? realInit() : nullptr;
    if (manager == nullptr) {
        return nullptr;
    }
    auto** vptr = reinterpret_cast<void**>(manager);
    const auto* real = static_cast<void* const*>(*vptr);
    for (size_t i = 0; i <= ylmsim::kStopAllRequests; ++i) {
        table[i] = real[i];
    }
    table[ylmsim::kStopWifiMeasurement] = reinterpret_cast<void*>(&stopNothing);
    *vptr = table;
    return manager;
}
