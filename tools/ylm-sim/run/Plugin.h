// libylm.so as the engine holds it: loaded with dlopen, the manager obtained from the exported
// init, and every operation reached through the manager's virtual table by slot number. The
// engine knows the manager's class by name only, and so does the simulator: a plug-in whose slot
// order differs from the engine's shows it here as on a handset.
#pragma once

#include <string>

#include "run/ManagerSlots.h"

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
    TpxWifiClientMgr* manager = nullptr;
};

}  // namespace ylmsim
