// libylm.so as the engine holds it: loaded with dlopen, the manager obtained from the exported
// init, and every operation reached through the manager's virtual table by slot number. The
// engine knows the manager's class by name only, and so does the simulator: a plug-in whose slot
// order differs from the engine's shows it here as on a handset.
#pragma once

#include <cstddef>
#include <string>

#include "VorCom.h"
#include "VorSupplicantWrapper.h"
#include "VorTimer.h"
#include "VorTpxDsd.h"
#include "dsd_wifi_v01.h"

// Known to the engine by name only.
class TpxWifiClientMgr;

namespace ylmsim {

class Plugin {
  public:
    // dlopen, then init; false with the reason in error when either fails. The library stays
    // loaded for the life of the process, as in the engine.
    bool load(const std::string& path, std::string& error);

    bool startWifiMeasurement(VorTpxDsd* dsd, dsd_start_wifi_meas_ind_msg_v01& ind) const;
    void wqeProfileInit(VorTpxDsd* dsd, dsd_wqe_profile_init_ind_msg_v01& ind) const;
    void setWqeProfile(VorTpxDsd* dsd, dsd_wqe_profile_type_ind_msg_v01& ind) const;
    void stopWifiMeasurement(VorTpxDsd* dsd, dsd_stop_wifi_meas_ind_msg_v01& ind) const;
    void initializeLinks(VorCom* com, VorTimer* timer, VorSupplicantWrapper* supplicant) const;
    void createDefaultProfile(VorTpxDsd* dsd) const;
    void stopAllRequests(VorTpxDsd* dsd) const;

  private:
    // Slots 0 and 1 hold the two destructors.
    enum Slot : size_t {
        kStartWifiMeasurement = 2,
        kWqeProfileInit = 3,
        kSetWqeProfile = 4,
        kStopWifiMeasurement = 5,
        kInitializeLinks = 6,
        kCreateDefaultProfile = 7,
        kStopAllRequests = 8,
    };

    // The function in slot n; it takes the manager as its first argument, as a member function
    // does on these targets.
    template <class Fn>
    Fn slot(Slot n) const {
        void* const* table = *reinterpret_cast<void* const* const*>(manager);
        return reinterpret_cast<Fn>(table[n]);
    }

    TpxWifiClientMgr* manager = nullptr;
};

}  // namespace ylmsim
