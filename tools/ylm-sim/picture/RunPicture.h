// What the picture of a run shows, gathered from the DSD messages (decoded as --json decodes
// them) and the RSSI samples of the signal-poll tap.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "picture/SignalPollTap.h"
#include "picture/SvgCanvas.h"
#include "emu/Engine.h"

namespace ylmsim {

// One BSSID record of a measurement report; data holds every field the point is labelled with.
struct ReportPoint {
    int64_t time;
    std::string bssid;
    std::string ssid;
    double rssi;
    double channelUtilization;
    bool bssLoad;  // the record carries the BSS load (param_mask bit 4)
    SvgCanvas::Data data;
};

struct MeasurementTrace {
    bool connected = false;
    std::vector<RssiSample> samples;
    std::vector<ReportPoint> reports;
};

// A change on a lane: what the message said, and its fields for the point's data attributes.
struct LaneEvent {
    int64_t time;
    std::string label;
    int state;  // picks the colour: the quality status, connection status or Wi-Fi state
    SvgCanvas::Data data;
};

enum class LaneKind { Quality, Availability, WifiState };

struct Lane {
    std::string name;
    LaneKind kind;
    std::vector<LaneEvent> events;
};

struct RunPicture {
    std::map<MeasurementKey, MeasurementTrace> measurements;
    // Ordered by client, then quality lanes by profile, availability lanes by WLAN type, and
    // the Wi-Fi state.
    std::map<std::tuple<size_t, LaneKind, long long>, Lane> lanes;
    int64_t end = 0;  // the last second the picture covers
};

// messages: as the engine recorded them; clients: the DSD clients in use.
RunPicture collectRunPicture(const std::vector<emu::DsdMessage>& messages, const SignalPollTap& tap,
                             size_t clients, int64_t end);

}  // namespace ylmsim
