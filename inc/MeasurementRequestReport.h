// The filter records that travel with a scan.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>

#include "WifiStatus.h"

constexpr uint16_t ANY_CHANNEL = 65535;

// One requested scan filter of a raw measurement.
struct MeasurementRequestReport {
    std::string ssid;  // or "AnySSID"
    uint8_t reservedMask = 0;
    uint8_t isRssiMask = 0;
    uint8_t isBssLoadMask = 0;
    std::map<std::string, std::set<uint16_t>> bssidChannels;
};

// One scanned access point. Its texts are held by the scan's store (WifiScanResult), which keeps
// a zero byte after each, so that C functions can read them; a copy is valid while the store is.
struct BssidInfo {
    std::string_view ssid;
    std::string_view bssid;
    std::string_view frequency;
    int16_t level = 0;
    uint8_t isBssLoadValid = 0;
    BssLoad bssLoad;
};
