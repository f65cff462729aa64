// The engine's DSD client: the plug-in's only way to talk to the modem.
#pragma once

#include "dsd_wifi_v01.h"

class VorTpxDsd {
  public:
    // Each returns true when the engine accepted the message; the plug-in ignores the result.
    bool sendWifiMeasurementReport(dsd_wifi_meas_report_req_msg_v01& msg);
    bool sendWifiAvailableStatus(dsd_wlan_available_req_msg_v01& msg);
    bool sendWqeProfileStatus(dsd_set_wqe_profile_quality_status_req_msg_v01& msg);
    bool sendNotifyDataSettings(dsd_notify_data_settings_req_msg_v01& msg);
};
