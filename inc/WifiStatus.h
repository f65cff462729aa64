// Parsed link state of one Wi-Fi role, and the load facts of one BSS.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

struct WifiStatus {
    std::string ssid;
    std::string bssid;
    std::string address;
    int16_t rssi = 0;
    uint16_t freq = 0;
    std::string ipAddress;
    std::string extraText;  // IPv6 address text of a P2P group
    int32_t extraValue = 0;
    std::string mode;
    std::string wpaState;
    int32_t extraValue2 = 0;
    int32_t wifiMode = 0;
    std::string hessid;
    std::string countryCode;
};

struct BssLoad {
    uint16_t reservedA = 0;
    uint16_t channelUtilization = 0;  // 0-255; 65535 when unknown
    uint16_t reservedB = 0;
    uint16_t channelWidth = 0;  // kHz, kept in 16 bits: 80000 reads 14464, 160000 reads 28928
    uint16_t vhtSegment1 = 0;
};
static_assert(sizeof(BssLoad) == 10, "BssLoad is a 10-byte record");
static_assert(offsetof(BssLoad, channelUtilization) == 2 && offsetof(BssLoad, channelWidth) == 6 &&
                  offsetof(BssLoad, vhtSegment1) == 8,
              "BssLoad members");
