#include "TpxWifiClientMgr.h"

#include <string>

#include "WifiInfoProvider.h"
#include "WifiMeasurementRequest.h"
#include "YlmLog.h"

namespace {
constexpr const char* kLogFile = "src/TpxWifiClientMgr";
constexpr int kLogModule = ylm::kModuleYlm;

// The operator look-up's failure marker, built when the library is loaded.
const std::string kOperatorError = "ERROR";
}  // namespace

TpxWifiClientMgr* TpxWifiClientMgr::instPtr = nullptr;

extern "C" TpxWifiClientMgr* init() { return TpxWifiClientMgr::getInstance(); }

TpxWifiClientMgr* TpxWifiClientMgr::getInstance() {
    if (instPtr == nullptr) {
        instPtr = new TpxWifiClientMgr();
    }
    return instPtr;
}

bool TpxWifiClientMgr::WifiMeasurementRequestKey::operator<(
    const WifiMeasurementRequestKey& other) const {
    const auto a = reinterpret_cast<uintptr_t>(dsd);
    const auto b = reinterpret_cast<uintptr_t>(other.dsd);
    if (a != b) {
        return a < b;
    }
    if (measId != other.measId) {
        return measId < other.measId;
    }
    return profileType < other.profileType;
}

// The map nodes go; the requests they point to are the engine's to stop before it lets go of us.
TpxWifiClientMgr::~TpxWifiClientMgr() = default;

void TpxWifiClientMgr::deleteClient(void* /*client*/, void* /*ctx*/) {}

bool TpxWifiClientMgr::linksReady(const char* what) const {
    if (timer != nullptr && supplicant != nullptr && com != nullptr && infoProvider != nullptr) {
        return true;
    }
    YLM_LOG(3, "%s before initializeLinks: ignored", what);
    return false;
}

void TpxWifiClientMgr::initializeLinks(VorCom* comPtr, VorTimer* timerPtr,
                                       VorSupplicantWrapper* supplicantPtr) {
    com = comPtr;
    timer = timerPtr;
    supplicant = supplicantPtr;
    infoProvider = WifiInfoProvider::getInstance();
    if (infoProvider != nullptr) {
        infoProvider->initializeLinks(supplicant);
    }
    YLM_LOG(1, "TpxWifiClientMgr::initializeLinks");
}

bool TpxWifiClientMgr::startWifiMeasurement(VorTpxDsd* dsd, dsd_start_wifi_meas_ind_msg_v01& ind) {
    YLM_LOG(1, "src/TpxWifiClientMgr:%d:%s", __LINE__, "startWifiMeasurement");
    const WifiMeasurementRequestKey key{dsd, static_cast<uint64_t>(static_cast<int64_t>(ind.meas_id)),
                                        kRawProfileType};
    if (requestMap.count(key) != 0) {
        YLM_LOG(3, "Measurement ID: %d already exists", ind.meas_id);
        return false;
    }
    if (dsd == nullptr || !linksReady("startWifiMeasurement")) {
        return false;
    }
    auto* request = new WifiMeasurementRequest(*dsd, *com, *timer, *supplicant, *infoProvider, ind,
                                               deleteClient);
    requestMap[key] = {0, request};
    if (request->startMeasurement()) {
        return true;
    }
    requestMap.erase(key);
    abandoned.push_back(request);
    return false;
}

void TpxWifiClientMgr::stopWifiMeasurement(VorTpxDsd* dsd, dsd_stop_wifi_meas_ind_msg_v01& ind) {
    YLM_LOG(1, "src/TpxWifiClientMgr:%d:%s", __LINE__, "stopWifiMeasurement");
    const WifiMeasurementRequestKey key{dsd, static_cast<uint64_t>(static_cast<int64_t>(ind.meas_id)),
                                        kRawProfileType};
    auto it = requestMap.find(key);
    if (it == requestMap.end()) {
        return;
    }
    WifiMeasurementRequest* request = it->second.request;
    requestMap.erase(it);
    if (request != nullptr) {
        request->stopMeasurement();
        delete request;
    }
}

void TpxWifiClientMgr::stopAllRequests(VorTpxDsd* dsd) {
    for (auto it = requestMap.begin(); it != requestMap.end();) {
        if (it->first.dsd != dsd || it->first.profileType == 0) {
            ++it;
            continue;
        }
        WifiMeasurementRequest* request = it->second.request;
        if (request != nullptr) {
            request->stopMeasurement();
            delete request;
        }
        it = requestMap.erase(it);
    }
}

// ---- quality profiles ------------------------------------------------------------------------

void TpxWifiClientMgr::wqeProfileInit(VorTpxDsd* /*dsd*/, dsd_wqe_profile_init_ind_msg_v01& /*ind*/) {}

void TpxWifiClientMgr::setWqeProfile(VorTpxDsd* /*dsd*/, dsd_wqe_profile_type_ind_msg_v01& /*ind*/) {}

void TpxWifiClientMgr::createDefaultProfile(VorTpxDsd* /*dsd*/) {}

bool TpxWifiClientMgr::createWqeProfile(VorTpxDsd* /*dsd*/, ProfileInfoType /*profile*/,
                                        unsigned long long /*measId*/) {
    return true;
}

bool TpxWifiClientMgr::startWqeProfile(VorTpxDsd* /*dsd*/, unsigned long long /*measId*/,
                                       dsd_wqe_profile_type_enum_v01 /*profile*/) {
    return false;
}

void TpxWifiClientMgr::destroyWqeProfile(VorTpxDsd* /*dsd*/, unsigned long long /*measId*/,
                                         dsd_wqe_profile_type_enum_v01 /*profile*/) {}
