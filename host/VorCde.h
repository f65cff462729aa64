// The engine's decision engine and its connectivity-quality service.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

struct _CQEClientOverrides {
    int16_t rssiHigh;
    int16_t rssiLow;
};
static_assert(sizeof(_CQEClientOverrides) == 4, "_CQEClientOverrides size");
static_assert(offsetof(_CQEClientOverrides, rssiLow) == 2, "_CQEClientOverrides::rssiLow");

// Why a quality test failed; the service reports values 9 to 16.
enum VorWQEResultReason : int32_t {
    VOR_WQE_RESULT_REASON_NONE = 0,
    VOR_WQE_RESULT_REASON_MAX = 2147483647,
};

using CasNotifyCb = void (*)(void* result, void* ctx);
using CasWifiStateCb = void (*)(bool wifiOn, void* ctx);

// A client's registration record.
struct CasClientCb {
    uint32_t type;
    CasNotifyCb cb;
    void* ctx;
    uint32_t reserved[4];
};

// The service's result record: quality verdicts of a profile, and the network configuration
// reported to the default profile. Only the members below are read by the plug-in.
struct CasWlanNetConfigType {
    uint8_t reserved0[24];
    int32_t netType;  // 1 or 254 station, 100 soft AP, 101 P2P
    uint8_t reserved28[16];
    uint32_t ipv4Addr;  // network byte order
    uint8_t ipv6Addr[16];
    uint8_t reserved64[4];
    uint8_t netFlag;
    uint8_t reserved69[11];
    uint8_t isActive;  // quality passed (profiles); soft AP / P2P active (default profile)
    uint8_t reserved81[7];
    char bssid[25];
    char ssid[35];
    uint32_t dnsIpv4[2];  // network byte order
    uint8_t dnsIpv6[2][16];
    int32_t state;
    uint8_t reserved192[4];
    int32_t reason;  // VorWQEResultReason
    uint8_t stationFlag;
    char countryCode[2];
    uint8_t reserved203;
};

#define CAS_PIN(f, off) \
    static_assert(offsetof(CasWlanNetConfigType, f) == (off), "CasWlanNetConfigType::" #f)
CAS_PIN(netType, 24);
CAS_PIN(ipv4Addr, 44);
CAS_PIN(ipv6Addr, 48);
CAS_PIN(netFlag, 68);
CAS_PIN(isActive, 80);
CAS_PIN(bssid, 88);
CAS_PIN(ssid, 113);
CAS_PIN(dnsIpv4, 148);
CAS_PIN(dnsIpv6, 156);
CAS_PIN(state, 188);
CAS_PIN(reason, 196);
CAS_PIN(stationFlag, 200);
CAS_PIN(countryCode, 201);
static_assert(sizeof(CasWlanNetConfigType) == 204, "CasWlanNetConfigType size");
#undef CAS_PIN

class VorCdeCas {
  public:
    void registerForWifiStateChangeNotification(CasWifiStateCb cb, void* ctx);
    bool registerForWifiNotification(CasClientCb& client, const char* name,
                                     _CQEClientOverrides& overrides, const std::string& opName,
                                     CasNotifyCb cb, void* ctx);
    void deregisterForWlanNetConfigChange(const CasClientCb& client);
    void deregisterForNoninternetService(const CasClientCb& client, const void* name,
                                         const std::string& opName, _CQEClientOverrides overrides);
};

class VorCde {
  public:
    // Null when the engine runs without a decision engine.
    static VorCde* getInstance();
    VorCdeCas* getCasInstance();
};
