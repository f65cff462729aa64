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

void MeasurementStrategy::discard(MeasurementStrategy* strategy) {
    if (strategy != nullptr) {
        strategy->isDiscarded = true;
        delete strategy;
    }
}

WifiMeasurementRequest::~WifiMeasurementRequest() {
    if (!isDiscarded) {
        YLM_LOG(2, "WifiMeasurementRequest D-Xtor");
    }
    // To the engine the strategy outlives its envelope, so it goes without a line. It has been
    // stopped by the owner, or never started. A proxy that the quality service can still call
    // back for Wi-Fi state changes is left alive for the life of the process.
    if (!strategyOutlivesEnvelope) {
        MeasurementStrategy::discard(strategy);
    }
}

void WifiMeasurementRequest::discard(WifiMeasurementRequest* request) {
    if (request != nullptr) {
        request->isDiscarded = true;
        delete request;
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
