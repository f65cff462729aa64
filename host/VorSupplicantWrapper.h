// The engine's command channel to wpa_supplicant (station interface, and the P2P interface when a
// supplicantType_t of 1 is given).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

enum supplicantType_t : int32_t {
    SUPPLICANT_TYPE_STA = 0,
    SUPPLICANT_TYPE_P2P = 1,
};

class VorSupplicantWrapper {
  public:
    using ScanReadyCb = void (*)(void* hostCtx, void* ctx);

    // RSSI (dBm) of the last successful signal poll. It must stay the first data member: the
    // plug-in reads it in place after sending signalPollCmd.
    int16_t rssi;

    static const char* const statusCmd;
    static const char* const signalPollCmd;
    static const char* const scanCmd;
    static const char* const scanResultCmd;

    // Fire-and-forget form: the reply is consumed by the engine.
    bool sendCommandToSupplicant(const char* cmd);
    // replyLen: in, room for text in reply; out, length of the text written (NUL not counted).
    bool sendCommandToSupplicant(const char* cmd, char* reply, size_t* replyLen);
    bool sendCommandToSupplicant(const char* cmd, char* reply, size_t* replyLen,
                                 supplicantType_t type);
    bool connectToSupplicant(supplicantType_t type);
    bool disconnectFromSupplicant(supplicantType_t type);
    void registerForScanReadyCb(ScanReadyCb cb, void* ctx);
    bool setFrequencyFilterForScan(const std::string& freqs);
    bool setBssidFileterForScan(const std::string& bssids);
};

static_assert(offsetof(VorSupplicantWrapper, rssi) == 0, "rssi is the first member");
