// PLACEHOLDER: replaced by the quality-profile work.
#include "CasProxy.h"

WifiMeasurementRequest::CasProxy::CasProxy(VorTpxDsd& d, VorCom&, VorTimer&,
                                           VorSupplicantWrapper&, WifiInfoProvider& i,
                                           unsigned long long id, ProfileInfoType profile,
                                           DeleteCb)
    : dsd(&d), infoProvider(&i), profileNumber(profile.profileNumber),
      overrides(profile.overrides), operatorName(profile.operatorName), measId(id) {}
WifiMeasurementRequest::CasProxy::~CasProxy() = default;
bool WifiMeasurementRequest::CasProxy::startMeasurement() { return false; }
bool WifiMeasurementRequest::CasProxy::stopMeasurement() { return true; }
