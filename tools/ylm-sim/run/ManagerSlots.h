// The plug-in manager's virtual table as the engine indexes it. The engine knows the manager's
// class by name only and reaches every operation by slot number; the simulator and the load
// tests reach them the same way, so a plug-in whose slot order differs shows it as on a handset.
#pragma once

#include <cstddef>

#include "VorCom.h"
#include "VorSupplicantWrapper.h"
#include "VorTimer.h"
#include "VorTpxDsd.h"
#include "dsd_wifi_v01.h"

// Known to the engine by name only.
class TpxWifiClientMgr;

namespace ylmsim {

// The library's exported init, which hands out the manager.
using InitFn = TpxWifiClientMgr* (*)();

// Slots 0 and 1 hold the two destructors.
enum ManagerSlot : size_t {
    kStartWifiMeasurement = 2,
    kWqeProfileInit = 3,
    kSetWqeProfile = 4,
    kStopWifiMeasurement = 5,
    kInitializeLinks = 6,
    kCreateDefaultProfile = 7,
    kStopAllRequests = 8,
};

// What the slots hold. Each takes the manager first, as a member function does on these targets.
using StartWifiMeasurementFn = bool (*)(TpxWifiClientMgr*, VorTpxDsd*,
                                        dsd_start_wifi_meas_ind_msg_v01&);
using WqeProfileInitFn = void (*)(TpxWifiClientMgr*, VorTpxDsd*, dsd_wqe_profile_init_ind_msg_v01&);
using SetWqeProfileFn = void (*)(TpxWifiClientMgr*, VorTpxDsd*, dsd_wqe_profile_type_ind_msg_v01&);
using StopWifiMeasurementFn = void (*)(TpxWifiClientMgr*, VorTpxDsd*,
                                       dsd_stop_wifi_meas_ind_msg_v01&);
using InitializeLinksFn = void (*)(TpxWifiClientMgr*, VorCom*, VorTimer*, VorSupplicantWrapper*);
// createDefaultProfile and stopAllRequests.
using ClientFn = void (*)(TpxWifiClientMgr*, VorTpxDsd*);

// The function in slot n.
template <class Fn>
Fn managerSlot(TpxWifiClientMgr* manager, ManagerSlot n) {
    void* const* table = *reinterpret_cast<void* const* const*>(manager);
    return reinterpret_cast<Fn>(table[n]);
}

}  // namespace ylmsim
