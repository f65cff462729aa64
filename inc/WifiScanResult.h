// The access points of one scan, indexed by text keys, and what the request filters picked.
#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <set>
#include <string>

#include "MeasurementRequestReport.h"

class WifiScanResult {
  public:
    WifiScanResult() = default;
    WifiScanResult(const WifiScanResult&) = delete;
    WifiScanResult& operator=(const WifiScanResult&) = delete;
    WifiScanResult(WifiScanResult&& other) noexcept;
    WifiScanResult& operator=(WifiScanResult&& other) noexcept;
    ~WifiScanResult() = default;

    void addData(std::string bssid, std::string frequency, int16_t level, std::string ssid);

    void filterData(std::list<MeasurementRequestReport>& reports);
    void findPartialKey(std::string ssid, std::string bssid, uint16_t code);
    void filterFreqAndBssid(std::string& bssid, uint16_t code, std::string& channelKey,
                            std::map<std::string, BssidInfo>& hits);
    void filterSsid(std::string& ssid, std::map<std::string, BssidInfo> hits);
    void dumpReport();

    std::map<std::string, BssidInfo> byFreqBssidSsid;
    std::map<std::string, BssidInfo> byBssid;
    std::map<std::string, BssidInfo> byFreqOrBand;
    std::list<BssidInfo> matches;
    std::map<std::string, std::list<BssidInfo>> reportBySsid;
    std::map<std::string, std::set<std::string>> ssidBssids;
};
