// Sits in front of the engine's supplicant backend and keeps the RSSI samples of the connected-mode
// measurements: the signal polls that the sampling timers send, with the RSSI their replies carry.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "dsd_wifi_v01.h"
#include "reading/PluginReading.h"
#include "run/SupplicantTap.h"

namespace ylmsim {

// A measurement as the modem names it: DSD client index and meas_id.
using MeasurementKey = std::pair<size_t, uint32_t>;

struct RssiSample {
    int64_t time;
    MeasurementKey measurement;
    bool ok;      // false: the poll failed, the library skipped the sample
    int rssi;     // dBm, from the reply's RSSI= line; 0 when the poll failed
    int average;  // the smoothed RSSI after this sample (unchanged by a failed poll)
};

class SignalPollTap : public SupplicantTap {
  public:
    // Puts the tap in front of whatever backend the engine uses now.
    void attach();
    // After a startWifiMeasurement call: the timers the call armed tell the measurement's mode
    // (a connected-mode one arms a sampling timer before its reporting timer, both with the same
    // context) and which timer samples.
    void measurementStarted(size_t dsd, const dsd_start_wifi_meas_ind_msg_v01& ind,
                            size_t timersBefore);

    const std::vector<RssiSample>& samples() const { return taken; }
    // Every measurement whose start armed timers: true for connected mode, false for scan mode.
    const std::map<MeasurementKey, bool>& modes() const { return started; }

    bool command(int type, const std::string& cmd, std::string& reply) override;

  private:
    // A measurement's samples folded into the average by the plug-in's own smoothing.
    struct Sampler {
        MeasurementKey measurement;
        reading::Smoothing smoothing;
    };
    Sampler* samplingMeasurement();

    std::map<int32_t, Sampler> samplers;  // sampling timer id -> its measurement
    std::map<MeasurementKey, bool> started;
    std::vector<RssiSample> taken;
};

}  // namespace ylmsim
