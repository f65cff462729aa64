#include "run/Plugin.h"

#include <dlfcn.h>

namespace ylmsim {

bool Plugin::load(const std::string& path, std::string& error) {
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        const char* why = dlerror();
        error = why != nullptr ? why : "dlopen failed";
        return false;
    }
    auto init = reinterpret_cast<InitFn>(dlsym(handle, "init"));
    if (init == nullptr) {
        error = path + " has no init function";
        return false;
    }
    manager = init();
    if (manager == nullptr) {
        error = "init returned no manager";
        return false;
    }
    return true;
}

bool Plugin::startWifiMeasurement(VorTpxDsd* dsd, dsd_start_wifi_meas_ind_msg_v01& ind) const {
    return managerSlot<StartWifiMeasurementFn>(manager, kStartWifiMeasurement)(manager, dsd, ind);
}

void Plugin::wqeProfileInit(VorTpxDsd* dsd, dsd_wqe_profile_init_ind_msg_v01& ind) const {
    managerSlot<WqeProfileInitFn>(manager, kWqeProfileInit)(manager, dsd, ind);
}

void Plugin::setWqeProfile(VorTpxDsd* dsd, dsd_wqe_profile_type_ind_msg_v01& ind) const {
    managerSlot<SetWqeProfileFn>(manager, kSetWqeProfile)(manager, dsd, ind);
}

void Plugin::stopWifiMeasurement(VorTpxDsd* dsd, dsd_stop_wifi_meas_ind_msg_v01& ind) const {
    managerSlot<StopWifiMeasurementFn>(manager, kStopWifiMeasurement)(manager, dsd, ind);
}

void Plugin::initializeLinks(VorCom* com, VorTimer* timer, VorSupplicantWrapper* supplicant) const {
    managerSlot<InitializeLinksFn>(manager, kInitializeLinks)(manager, com, timer, supplicant);
}

void Plugin::createDefaultProfile(VorTpxDsd* dsd) const {
    managerSlot<ClientFn>(manager, kCreateDefaultProfile)(manager, dsd);
}

void Plugin::stopAllRequests(VorTpxDsd* dsd) const {
    managerSlot<ClientFn>(manager, kStopAllRequests)(manager, dsd);
}

}  // namespace ylmsim
