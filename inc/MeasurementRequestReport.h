// The filter records that travel with a scan.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>

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

// One scanned access point.
struct BssidInfo {
    std::string ssid;
    std::string bssid;
    std::string frequency;
    int16_t level = 0;
    uint8_t isBssLoadValid = 0;
    BssLoad bssLoad;
};
