// The access points of one scan, indexed by text keys, and what the request filters picked.
#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "MeasurementRequestReport.h"
#include "ScanArena.h"

class WifiScanResult {
  public:
    // The containers keep their texts, nodes and records in the scan's own arena; keys compare
    // bytewise, as texts do.
    using Store = std::map<std::string_view, BssidInfo, std::less<>,
                           ArenaAllocator<std::pair<const std::string_view, BssidInfo>>>;
    using Hits = Store;
    using BssidList = std::list<BssidInfo, ArenaAllocator<BssidInfo>>;
    using Groups = std::map<std::string_view, BssidList, std::less<>,
                            ArenaAllocator<std::pair<const std::string_view, BssidList>>>;

    WifiScanResult();
    WifiScanResult(const WifiScanResult&) = delete;
    WifiScanResult& operator=(const WifiScanResult&) = delete;
    WifiScanResult(WifiScanResult&& other) noexcept;
    WifiScanResult& operator=(WifiScanResult&& other) noexcept;
    ~WifiScanResult() = default;

    void addData(std::string_view bssid, std::string_view frequency, int16_t level,
                 std::string_view ssid);

    void filterData(std::list<MeasurementRequestReport>& reports);
    void findPartialKey(std::string ssid, std::string bssid, uint16_t code);
    void filterFreqAndBssid(std::string& bssid, uint16_t code, std::string& channelKey, Hits& hits);
    void filterSsid(std::string& ssid, Hits hits);
    void dumpReport();

  private:
    // Declared before the containers: built before them, gone after them. The store's arena holds
    // what the result keeps; the scratch arena the hits of one filter step.
    std::unique_ptr<ScanArena> arena;
    std::unique_ptr<ScanArena> scratch;

  public:
    Store byFreqBssidSsid;
    Store byBssid;
    Store byFreqOrBand;
    BssidList matches;
    Groups reportBySsid;
    std::map<std::string, std::set<std::string>> ssidBssids;
};
