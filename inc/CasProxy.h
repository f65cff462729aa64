// The strategy behind one Wi-Fi quality profile: registration with the connectivity-quality
// service and forwarding of its verdicts and Wi-Fi availability to the modem.
#pragma once

#include <cstdint>
#include <string>

#include "../host/VorCde.h"
#include "../host/dsd_wifi_v01.h"
#include "WifiMeasurementRequest.h"

class WifiMeasurementRequest::CasProxy : public MeasurementStrategy {
  public:
    CasProxy(VorTpxDsd& dsd, VorCom& com, VorTimer& timer, VorSupplicantWrapper& supplicant,
             WifiInfoProvider& info, unsigned long long measId, ProfileInfoType profile,
             DeleteCb deleteCb);
    CasProxy(const CasProxy&) = delete;
    CasProxy& operator=(const CasProxy&) = delete;
    ~CasProxy() override;

    bool startMeasurement() override;
    bool stopMeasurement() override;

    void sendReport();
    static void updateWqeProfileStatus(void* result, void* proxy);
    static void sendDefaultWqeProfileStatus(CasProxy* proxy, void* result);
    static void updateWifiStateChangeCb(bool wifiOn, void* proxy);
    static int getTpxStatusCode(VorWQEResultReason reason);

    static void updateWifiStatus(void* config, void* proxy);
    void buildSTAInfo(void* config, dsd_wlan_available_req_msg_v01* msg);
    void buildSoftAPInfo(void* config, dsd_wlan_available_req_msg_v01* msg);
    void buildP2pInfo(void* config, dsd_wlan_available_req_msg_v01* msg);

    int32_t getProfileNumber() const { return profileNumber; }
    bool registeredForWifiState() const { return wifiStateRegistered; }

  private:
    CasClientCb clientRecord();
    void clientName(char (&name)[10]) const;
    dsd_set_wqe_profile_quality_status_req_msg_v01 qualityStatus() const;

    VorTpxDsd* dsd;
    WifiInfoProvider* infoProvider;
    int32_t profileNumber;
    _CQEClientOverrides overrides;
    std::string operatorName;
    uint64_t measId;
    VorCdeCas* cas = nullptr;
    char rememberedSsid[33] = {};
    char rememberedP2pSsid[33] = {};
    bool wifiStateRegistered = false;
};
