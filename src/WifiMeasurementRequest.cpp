#include "WifiMeasurementRequest.h"

#include <utility>

#include "CasProxy.h"
#include "RawMeasurement.h"
#include "YlmLog.h"

namespace {
constexpr const char* kLogFile = "src/WifiMeasurementRequest";
constexpr int kLogModule = ylm::kModuleYlm;
}  // namespace

WifiMeasurementRequest::WifiMeasurementRequest(VorTpxDsd& dsdRef, VorCom& com, VorTimer& timerRef,
                                               VorSupplicantWrapper& supplicantRef,
                                               WifiInfoProvider& info,
                                               dsd_start_wifi_meas_ind_msg_v01& ind,
                                               DeleteCb deleteCb)
    : dsd(&dsdRef),
      timer(&timerRef),
      supplicant(&supplicantRef),
      strategy(nullptr),
      strategyOutlivesEnvelope(false) {
    YLM_LOG(2, "WifiMeasurementRequest Xtor Raw");
    strategy = new RawMeasurement(dsdRef, com, timerRef, supplicantRef, info, ind, deleteCb);
}

WifiMeasurementRequest::WifiMeasurementRequest(VorTpxDsd& dsdRef, VorCom& com, VorTimer& timerRef,
                                               VorSupplicantWrapper& supplicantRef,
                                               WifiInfoProvider& info, unsigned long long measId,
                                               ProfileInfoType profile, DeleteCb deleteCb)
    : dsd(&dsdRef),
      timer(&timerRef),
      supplicant(&supplicantRef),
      strategy(nullptr),
      strategyOutlivesEnvelope(false) {
    YLM_LOG(2, "WifiMeasurementRequest Xtor Quality");
    auto* proxy = new CasProxy(dsdRef, com, timerRef, supplicantRef, info, measId,
                               std::move(profile), deleteCb);
    strategyOutlivesEnvelope = proxy->registeredForWifiState();
    strategy = proxy;
}

WifiMeasurementRequest::~WifiMeasurementRequest() {
    YLM_LOG(2, "WifiMeasurementRequest D-Xtor");
    // The strategy has been stopped by the owner. A proxy that the quality service can still
    // call back for Wi-Fi state changes is left alive for the life of the process.
    if (!strategyOutlivesEnvelope) {
        delete strategy;
    }
}

bool WifiMeasurementRequest::startMeasurement() {
    YLM_LOG(0, "%s:%d", "startMeasurement", __LINE__);
    return strategy->startMeasurement();
}

bool WifiMeasurementRequest::stopMeasurement() {
    YLM_LOG(0, "%s:%d", "stopMeasurement", __LINE__);
    return strategy->stopMeasurement();
}
