// The object the engine talks to: the registry of live raw measurements and quality profiles.
#pragma once

#include <cstdint>
#include <map>

#include "../host/dsd_wifi_v01.h"
#include "WifiMeasurementRequest.h"

#define YLM_EXPORT __attribute__((visibility("default")))

class VorTpxDsd;
class VorCom;
class VorTimer;
class VorSupplicantWrapper;
class WifiInfoProvider;

class TpxWifiClientMgr {
  public:
    struct WifiMeasurementRequestKey {
        VorTpxDsd* dsd;
        uint64_t measId;
        int32_t profileType;
        bool operator<(const WifiMeasurementRequestKey& other) const;
    };

    struct WifiMeasurementRequestInfo {
        int32_t state;  // 0 raw measurement, 1 profile created, 2 profile started
        WifiMeasurementRequest* request;
    };

    using RequestMap = std::map<WifiMeasurementRequestKey, WifiMeasurementRequestInfo>;

    static constexpr int32_t kRawProfileType = 2147483647;

    static TpxWifiClientMgr* getInstance();

    // The engine calls through this table: the slot order is part of the interface.
    virtual ~TpxWifiClientMgr();
    virtual bool startWifiMeasurement(VorTpxDsd* dsd, dsd_start_wifi_meas_ind_msg_v01& ind);
    virtual void wqeProfileInit(VorTpxDsd* dsd, dsd_wqe_profile_init_ind_msg_v01& ind);
    virtual void setWqeProfile(VorTpxDsd* dsd, dsd_wqe_profile_type_ind_msg_v01& ind);
    virtual void stopWifiMeasurement(VorTpxDsd* dsd, dsd_stop_wifi_meas_ind_msg_v01& ind);
    virtual void initializeLinks(VorCom* com, VorTimer* timer, VorSupplicantWrapper* supplicant);
    virtual void createDefaultProfile(VorTpxDsd* dsd);
    virtual void stopAllRequests(VorTpxDsd* dsd);

    static void deleteClient(void* client, void* ctx);

    bool createWqeProfile(VorTpxDsd* dsd, ProfileInfoType profile, unsigned long long measId);
    bool startWqeProfile(VorTpxDsd* dsd, unsigned long long measId,
                         dsd_wqe_profile_type_enum_v01 profile);
    void destroyWqeProfile(VorTpxDsd* dsd, unsigned long long measId,
                           dsd_wqe_profile_type_enum_v01 profile);

    const RequestMap& requests() const { return requestMap; }

  private:
    TpxWifiClientMgr() = default;
    bool linksReady(const char* what) const;

    RequestMap requestMap;
    VorCom* com = nullptr;
    VorTimer* timer = nullptr;
    VorSupplicantWrapper* supplicant = nullptr;
    WifiInfoProvider* infoProvider = nullptr;

    static TpxWifiClientMgr* instPtr;
};

extern "C" YLM_EXPORT TpxWifiClientMgr* init();
