// PLACEHOLDER: replaced by the raw-measurement work.
#include "RawMeasurement.h"

WifiMeasurementRequest::RawMeasurement::RawMeasurement(VorTpxDsd& d, VorCom&, VorTimer& t,
                                                       VorSupplicantWrapper& s,
                                                       WifiInfoProvider& i,
                                                       dsd_start_wifi_meas_ind_msg_v01 ind,
                                                       DeleteCb)
    : dsd(d), timer(t), supplicant(s), infoProvider(i), request(ind) {}
WifiMeasurementRequest::RawMeasurement::~RawMeasurement() = default;
bool WifiMeasurementRequest::RawMeasurement::startMeasurement() { return false; }
bool WifiMeasurementRequest::RawMeasurement::stopMeasurement() { return true; }
