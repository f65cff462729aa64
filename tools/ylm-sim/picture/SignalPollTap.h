// Sits in front of the engine's supplicant backend and keeps the RSSI samples of the connected-mode
// measurements: the signal polls that the sampling timers send, with the RSSI their replies carry.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "run/SupplicantTap.h"
#include "dsd_wifi_v01.h"

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

    // The RSSI of a signal-poll reply: its RSSI= line, read into 16 bits as the engine keeps it.
    static bool replyRssi(const std::string& reply, int& rssi);

    bool command(int type, const std::string& cmd, std::string& reply) override;

  private:
    // The measurement's smoothing, folded sample by sample as the modem's filter does: the first
    // sample is the average, each later one weighs the history by alpha.
    struct Smoothing {
        MeasurementKey measurement;
        float alpha = 0.5F;
        bool seen = false;
        int16_t average = 0;
        int16_t fold(int16_t sample);
    };
    Smoothing* samplingMeasurement();

    std::map<int32_t, Smoothing> samplers;  // sampling timer id -> its measurement
    std::map<MeasurementKey, bool> started;
    std::vector<RssiSample> taken;
};

}  // namespace ylmsim
