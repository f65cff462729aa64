// The registry's envelope around one strategy: a raw measurement or a quality profile.
#pragma once

#include <cstdint>
#include <string>

#include "../host/VorCde.h"
#include "../host/dsd_wifi_v01.h"

class VorTpxDsd;
class VorCom;
class VorTimer;
class VorSupplicantWrapper;
class WifiInfoProvider;

using DeleteCb = void (*)(void*, void*);

class MeasurementStrategy {
  public:
    virtual bool startMeasurement() = 0;
    virtual bool stopMeasurement() = 0;
    virtual ~MeasurementStrategy() = default;

    // Frees a strategy whose destruction the engine never sees: its envelope has let go of it,
    // and as far as the engine can tell it lives on. Its destructor writes no line.
    static void discard(MeasurementStrategy* strategy);

  protected:
    bool discarded() const { return isDiscarded; }

  private:
    bool isDiscarded = false;
};

struct ProfileInfoType {
    int32_t profileNumber = 0;
    _CQEClientOverrides overrides{1, 1};
    std::string operatorName;
};

class WifiMeasurementRequest {
  public:
    class RawMeasurement;
    class CasProxy;

    WifiMeasurementRequest(VorTpxDsd& dsd, VorCom& com, VorTimer& timer,
                           VorSupplicantWrapper& supplicant, WifiInfoProvider& info,
                           dsd_start_wifi_meas_ind_msg_v01& ind, DeleteCb deleteCb);
    WifiMeasurementRequest(VorTpxDsd& dsd, VorCom& com, VorTimer& timer,
                           VorSupplicantWrapper& supplicant, WifiInfoProvider& info,
                           unsigned long long measId, ProfileInfoType profile, DeleteCb deleteCb);
    WifiMeasurementRequest(const WifiMeasurementRequest&) = delete;
    WifiMeasurementRequest& operator=(const WifiMeasurementRequest&) = delete;
    ~WifiMeasurementRequest();

    // Frees a request that the engine is never told about again (a refused start, a duplicate
    // that the registry did not take): no destructor line, from it or from its strategy.
    static void discard(WifiMeasurementRequest* request);

    bool startMeasurement();
    bool stopMeasurement();

    MeasurementStrategy* getStrategy() const { return strategy; }

  private:
    VorTpxDsd* dsd;
    VorTimer* timer;
    VorSupplicantWrapper* supplicant;
    MeasurementStrategy* strategy;
    // A default-profile proxy stays registered for Wi-Fi state changes, which the service
    // cannot take back; such a strategy is never freed with its envelope.
    bool strategyOutlivesEnvelope;
    bool isDiscarded = false;
};
