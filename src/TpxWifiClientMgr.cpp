#include "TpxWifiClientMgr.h"

#include <algorithm>
#include <string>
#include <utility>

#include "../host/OperatorLookup.h"
#include "WifiInfoProvider.h"
#include "WifiMeasurementRequest.h"
#include "WifiParser.h"
#include "YlmLog.h"

namespace {
constexpr const char* kLogFile = "src/TpxWifiClientMgr";
constexpr int kLogModule = ylm::kModuleYlm;

// The operator look-up's failure marker, built when the library is loaded.
const std::string kOperatorError = "ERROR";
}  // namespace

TpxWifiClientMgr* TpxWifiClientMgr::instPtr = nullptr;

extern "C" TpxWifiClientMgr* init() {
    return TpxWifiClientMgr::getInstance();
}

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
    const WifiMeasurementRequestKey key{
        dsd, static_cast<uint64_t>(static_cast<int64_t>(ind.meas_id)), kRawProfileType};
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
    // Abandoned: neither stopped nor destroyed as far as the engine can tell. It armed nothing,
    // so its memory goes back quietly; a modem repeating a refused request must not grow the heap.
    requestMap.erase(key);
    WifiMeasurementRequest::discard(request);
    return false;
}

void TpxWifiClientMgr::stopWifiMeasurement(VorTpxDsd* dsd, dsd_stop_wifi_meas_ind_msg_v01& ind) {
    YLM_LOG(1, "src/TpxWifiClientMgr:%d:%s", __LINE__, "stopWifiMeasurement");
    const WifiMeasurementRequestKey key{
        dsd, static_cast<uint64_t>(static_cast<int64_t>(ind.meas_id)), kRawProfileType};
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

namespace {
constexpr int32_t kFirstProfile = 4;
constexpr int32_t kLastNumberedProfile = 35;
constexpr int32_t kFirstDynamicProfile = 36;
constexpr int32_t kLastProfile = 42;
constexpr int kDynamicBitOffset = 33;   // dynamic profile p is switched by mask bit p - 33
constexpr int kNumberedBitOffset = 28;  // numbered profile p is switched by mask bit p + 28
constexpr size_t kMaxIccidOctets = 10;

dsd_wqe_profile_type_enum_v01 asProfile(int32_t p) {
    return static_cast<dsd_wqe_profile_type_enum_v01>(p);
}
}  // namespace

void TpxWifiClientMgr::wqeProfileInit(VorTpxDsd* dsd, dsd_wqe_profile_init_ind_msg_v01& ind) {
    const int32_t p = ind.profile_type;
    if (static_cast<uint32_t>(p) - static_cast<uint32_t>(kFirstProfile) >=
        static_cast<uint32_t>(kLastProfile - kFirstProfile + 1)) {
        YLM_LOG(4, "Invalid profile number %d", p);
        return;
    }
    YLM_LOG(2, "wqeProfileInit: Profile ID %d for meas_id %llu", p,
            static_cast<unsigned long long>(ind.meas_id));
    const uint64_t id = ind.meas_id_valid != 0 ? ind.meas_id : 0;
    if (requestMap.count({dsd, id, p}) != 0) {
        YLM_LOG(3, "Profile %llu already initialized/started", static_cast<unsigned long long>(p));
        return;
    }
    if (dsd == nullptr || !linksReady("wqeProfileInit")) {
        return;
    }
    ProfileInfoType profile;
    profile.profileNumber = p;
    profile.overrides.rssiHigh = ind.rssi_high_valid != 0 ? ind.rssi_high : 1;
    profile.overrides.rssiLow = ind.rssi_low_valid != 0 ? ind.rssi_low : 1;
    if (ind.iccid_valid == 0) {
        profile.operatorName = "ROW";
    } else {
        // Only the low byte of the length counts, and the record holds ten octets at most.
        const auto count =
            static_cast<unsigned char>(std::min<size_t>(ind.iccid_len & 0xffU, kMaxIccidOctets));
        const std::string iccid = WifiParser::BCDToString(ind.iccid, count);
        std::string op = OperatorLookup::lookupOperator(iccid);
        if (op == kOperatorError) {
            YLM_LOG(4, "Invalid Naming Convention for operator");
            return;
        }
        YLM_LOG(1, "String ICCID %s, String operator %s", iccid.c_str(), op.c_str());
        profile.operatorName = std::move(op);
    }
    // Created under the id field as it stands; the look-up above used 0 for an absent id.
    createWqeProfile(dsd, std::move(profile), ind.meas_id);
}

void TpxWifiClientMgr::setWqeProfile(VorTpxDsd* dsd, dsd_wqe_profile_type_ind_msg_v01& ind) {
    const uint64_t mask = ind.profile_type_mask;
    YLM_LOG(2, "setWqeProfile %llu ", static_cast<unsigned long long>(mask));
    if (dsd == nullptr || !linksReady("setWqeProfile")) {
        return;
    }
    // The look-up uses id (0 when the modem gave none) while the start and the stop use the id
    // field as it stands. A false result abandons the rest of the mask.
    const uint64_t id = ind.meas_id_valid != 0 ? ind.meas_id : 0;
    const auto measId = static_cast<unsigned long long>(ind.meas_id);
    auto switchProfile = [&](int32_t p, int bit, bool dynamic) {
        const auto it = requestMap.find({dsd, id, p});
        if (((mask >> bit) & 1U) == 0) {
            if (it != requestMap.end()) {
                if (dynamic) {
                    YLM_LOG(2, "Dynamic Profile %d stopped for meas_id %llu ", p, measId);
                } else {
                    YLM_LOG(2, "Profile %d stopped for meas_id %llu ", p, measId);
                }
                destroyWqeProfile(dsd, measId, asProfile(p));
            }
            return true;
        }
        if (it == requestMap.end()) {
            YLM_LOG(4, "Profile %llu not yet initialized", static_cast<unsigned long long>(p));
            return false;
        }
        if (it->second.state == 1) {
            if (dynamic) {
                YLM_LOG(2, "Dynamic Profile %d started for meas_id %llu ", p, measId);
            } else {
                YLM_LOG(2, "Profile %d started for meas_id %llu ", p, measId);
            }
            startWqeProfile(dsd, measId, asProfile(p));
        }
        return true;
    };
    for (int32_t p = kFirstDynamicProfile; p <= kLastProfile; ++p) {
        if (!switchProfile(p, p - kDynamicBitOffset, true)) {
            return;
        }
    }
    for (int32_t p = kFirstProfile; p <= kLastNumberedProfile; ++p) {
        if (!switchProfile(p, p + kNumberedBitOffset, false)) {
            return;
        }
    }
}

void TpxWifiClientMgr::createDefaultProfile(VorTpxDsd* dsd) {
    if (dsd == nullptr || !linksReady("createDefaultProfile")) {
        return;
    }
    // Called again for a live default profile (an engine re-registering after its quality
    // service restarted), the registry keeps its entry and the live request registers again.
    ProfileInfoType profile;
    profile.profileNumber = DSD_WQE_PROFILE_DEFAULT_V01;
    profile.overrides = {1, 1};
    profile.operatorName = "ROW";
    createWqeProfile(dsd, std::move(profile), 0);
    startWqeProfile(dsd, 0, DSD_WQE_PROFILE_DEFAULT_V01);
}

bool TpxWifiClientMgr::createWqeProfile(VorTpxDsd* dsd, ProfileInfoType profile,
                                        unsigned long long measId) {
    const WifiMeasurementRequestKey key{dsd, measId, profile.profileNumber};
    if (dsd == nullptr || timer == nullptr || supplicant == nullptr || com == nullptr ||
        infoProvider == nullptr) {
        return true;
    }
    auto* request = new WifiMeasurementRequest(*dsd, *com, *timer, *supplicant, *infoProvider,
                                               measId, std::move(profile), deleteClient);
    // An existing entry is never replaced. The request built for nothing is dropped unseen; a
    // default-profile proxy among it has registered for Wi-Fi state and stays alive.
    if (!requestMap.emplace(key, WifiMeasurementRequestInfo{1, request}).second) {
        WifiMeasurementRequest::discard(request);
    }
    return true;
}

bool TpxWifiClientMgr::startWqeProfile(VorTpxDsd* dsd, unsigned long long measId,
                                       dsd_wqe_profile_type_enum_v01 profile) {
    const WifiMeasurementRequestKey key{dsd, measId, profile};
    WifiMeasurementRequestInfo& info = requestMap[key];
    WifiMeasurementRequest* request = info.request;
    if (request == nullptr) {
        YLM_LOG(4, "Unable to start the request for profile %llu",
                static_cast<unsigned long long>(profile));
        requestMap.erase(key);
        return false;
    }
    // The mask's look-up and its start may name different entries, so a started numbered or
    // dynamic profile can come back here. Its one stop deregisters once and frees the proxy, so
    // a second registration would outlive it. The default profile is never stopped: it takes
    // every registration it is asked for.
    if (info.state == 2 && profile != DSD_WQE_PROFILE_DEFAULT_V01) {
        return true;
    }
    if (request->startMeasurement()) {
        info.state = 2;
        return true;
    }
    YLM_LOG(4, "Unable to start the request for profile %llu",
            static_cast<unsigned long long>(profile));
    requestMap.erase(key);
    delete request;
    return false;
}

void TpxWifiClientMgr::destroyWqeProfile(VorTpxDsd* dsd, unsigned long long measId,
                                         dsd_wqe_profile_type_enum_v01 profile) {
    const WifiMeasurementRequestKey key{dsd, measId, profile};
    WifiMeasurementRequest* request = requestMap[key].request;
    requestMap.erase(key);
    if (request != nullptr) {
        request->stopMeasurement();
        delete request;
    }
}
