// The one place that asks the radio: station, P2P and soft-AP status, BSS load, filtered scans.
#pragma once

#include <cstdint>
#include <list>
#include <string>
#include <string_view>

#include "MeasurementRequestReport.h"
#include "WifiScanResult.h"
#include "WifiStatus.h"

class VorSupplicantWrapper;
class WifiParser;
class HostapdWrapper;

class WifiInfoProvider {
  public:
    using ScanCallback = void (*)(void* result, void* ctx);

    static WifiInfoProvider* getInstance();

    void initializeLinks(VorSupplicantWrapper* supplicant);
    WifiStatus getSTAStatus();
    WifiStatus getP2pStatus();
    WifiStatus getAPStatus();
    BssLoad getBssLoadInfo(std::string_view bssid);
    void startScan(std::list<MeasurementRequestReport>& reports, std::string frequencyFilter,
                   std::string bssidFilter, uint32_t measId, ScanCallback cb, void* ctx);
    static void scanResultsReadyCb(void* hostContext, void* provider);
    static void addBssLoadInfoToFilterData(WifiInfoProvider* provider, WifiScanResult& result);
    void cleanUp();

    ~WifiInfoProvider();

    // Who the next scan result goes to (null after cleanUp); also read by the tests.
    void* getScanCallbackContext() const { return scanCallbackContext; }
    ScanCallback getScanCallback() const { return scanCallback; }
    const std::list<MeasurementRequestReport>& getReports() const { return reports; }

  private:
    WifiInfoProvider() = default;
    static WifiInfoProvider* instance;

    WifiParser* parser = nullptr;
    VorSupplicantWrapper* supplicant = nullptr;
    HostapdWrapper* hostapd = nullptr;
    ScanCallback scanCallback = nullptr;
    void* scanCallbackContext = nullptr;
    std::list<MeasurementRequestReport> reports;
    // The "BSS <bssid>" text, kept so that a query of the BSS load costs no allocation.
    std::string bssCommand;
};
