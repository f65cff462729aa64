#include "picture/SvgTimeline.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>

namespace ylmsim {
namespace {

using Marker = SvgCanvas::Marker;

constexpr int kWidth = 1200;
constexpr double kLeft = 220;    // plots start here; lane and axis labels go to the left
constexpr double kRight = 1165;  // plots end here
constexpr double kFrameLeft = 12;
constexpr double kFrameWidth = kWidth - 2 * kFrameLeft;

constexpr const char* kStyle =
    "text { font-family: 'DejaVu Sans', 'Liberation Sans', Arial, sans-serif; fill: #222222; }\n"
    ".title { font-size: 22px; font-weight: bold; }\n"
    ".subtitle { font-size: 14px; fill: #555555; }\n"
    ".heading { font-size: 16px; font-weight: bold; }\n"
    ".label { font-size: 13px; }\n"
    ".tick { font-size: 12px; fill: #444444; }\n"
    ".value { font-size: 12px; fill: #b45309; }\n"
    ".code { font-size: 12px; paint-order: stroke; stroke: #ffffff; stroke-width: 3px; }\n"
    ".frame { fill: #f8f8f8; stroke: #cccccc; }\n"
    ".plot { fill: #ffffff; stroke: #999999; }\n"
    ".grid { stroke: #e5e5e5; }\n"
    ".series { fill: none; stroke-width: 1.5; }\n"
    ".samples { fill: none; stroke: #2563eb; stroke-width: 1.5; }\n"
    ".average { fill: none; stroke: #d97706; stroke-width: 2; stroke-dasharray: 6 4; }\n"
    ".sample { fill: #2563eb; }\n"
    ".failed { fill: none; stroke: #777777; stroke-width: 2; }\n"
    ".report { fill: #d97706; stroke: #ffffff; }\n"
    ".point { stroke: #ffffff; stroke-width: 1; }\n"
    ".segment { stroke: #ffffff; stroke-width: 1; }\n"
    ".event { fill: #333333; }\n";

constexpr const char* kPalette[] = {"#1f77b4", "#d62728", "#2ca02c", "#9467bd", "#ff7f0e",
                                    "#17becf", "#8c564b", "#e377c2", "#7f7f7f", "#bcbd22"};

std::string laneColour(LaneKind kind, int state) {
    switch (kind) {
        case LaneKind::Quality:
            return state == 0 ? "#a7dfb4" : state == 1 ? "#f4a9a0" : "#dddddd";
        case LaneKind::Availability:
            return state == 2 ? "#7eb0ea" : state == 1 ? "#bcd6f5" : "#dddddd";
        case LaneKind::WifiState:
            return state != 0 ? "#a7dfb4" : "#dddddd";
    }
    return "#dddddd";
}

std::string number(double v) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%g", v);
    return buf;
}

// Lane labels are written to the right of their event, at about this many pixels a character.
constexpr double kCharWidth = 7.0;

// The seconds the time axis spans: the run, and past its end as far as the last lane labels need
// to be read in full (unless a label would need half the width).
double timeSpan(const RunPicture& pic) {
    const double plotWidth = kRight - kLeft;
    double span = static_cast<double>(pic.end);
    for (const auto& entry : pic.lanes) {
        for (const auto& ev : entry.second.events) {
            const double room = plotWidth - 10 - kCharWidth * static_cast<double>(ev.label.size());
            if (room > plotWidth / 2) {
                span = std::max(span, static_cast<double>(ev.time) * plotWidth / room);
            }
        }
    }
    return span;
}

class Drawer {
  public:
    Drawer(const RunPicture& p, const PictureHeading& h)
        : pic(p), heading(h), time{0, timeSpan(p), kLeft, kRight} {}

    std::string draw() {
        header();
        for (const auto& [key, trace] : pic.measurements) {
            if (trace.connected) {
                connected(key, trace);
            } else {
                scan(key, trace);
            }
        }
        lanes();
        if (pic.measurements.empty() && pic.lanes.empty()) {
            canvas.text(kFrameLeft, y + 20, "No DSD message and no RSSI sample in this run.",
                        "label");
            y += 40;
        }
        return canvas.document(kWidth, static_cast<int>(y + 10), "ylm-sim: " + heading.title,
                               kStyle);
    }

  private:
    void header() {
        canvas.text(kFrameLeft, 32, "ylm-sim: " + heading.title, "title");
        canvas.text(kFrameLeft, 54, heading.mode, "subtitle");
        double x = kFrameLeft + 8;
        const double row = 80;
        auto entry = [&](Marker m, const char* cls, const std::string& paint,
                         const std::string& what) {
            canvas.marker(m, x, row - 4, cls, paint, {});
            canvas.text(x + 12, row, what, "label");
            x += 26 + 7.2 * static_cast<double>(what.size());
        };
        entry(Marker::Circle, "sample", "", "RSSI sample (signal poll)");
        entry(Marker::Cross, "failed", "", "failed signal poll");
        canvas.polyline({{x - 6, row - 4}, {x + 6, row - 4}}, "average");
        canvas.text(x + 12, row, "smoothed average", "label");
        x += 40 + 7.2 * 16;
        entry(Marker::Diamond, "report", "", "RSSI a report carried");
        entry(Marker::Circle, "point", "#1f77b4", "scan RSSI per BSSID");
        entry(Marker::Square, "point", "#1f77b4", "channel utilisation");
        x = kFrameLeft + 8;
        const double lanesRow = 104;
        auto swatch = [&](const std::string& colour, const std::string& what) {
            canvas.rect(x, lanesRow - 12, 22, 14, "segment", colour);
            canvas.text(x + 28, lanesRow, what, "label");
            x += 40 + 7.2 * static_cast<double>(what.size());
        };
        canvas.text(x, lanesRow, "lanes:", "label");
        x += 52;
        swatch(laneColour(LaneKind::Quality, 0), "quality pass");
        swatch(laneColour(LaneKind::Quality, 1), "quality fail");
        swatch(laneColour(LaneKind::Availability, 2), "conn 2");
        swatch(laneColour(LaneKind::Availability, 1), "conn 1");
        swatch(laneColour(LaneKind::Availability, 0), "conn 0 / Wi-Fi off");
        swatch(laneColour(LaneKind::WifiState, 1), "Wi-Fi on");
        y = 120;
    }

    // A panel's frame and heading; returns the top of its content.
    double panel(double height, const std::string& title) {
        canvas.rect(kFrameLeft, y, kFrameWidth, height, "frame");
        canvas.text(kFrameLeft + 10, y + 22, title, "heading");
        const double top = y + 34;
        y += height + 12;
        return top;
    }

    // A plot area with value grid lines and labels on the left.
    Scale plot(double top, double height, double lo, double hi, const std::string& unit) {
        const Scale s{lo, hi, top + height, top};
        canvas.rect(kLeft, top, kRight - kLeft, height, "plot");
        for (const double v : niceTicks(lo, hi, 6)) {
            canvas.line(kLeft, s(v), kRight, s(v), "grid");
            canvas.text(kLeft - 8, s(v) + 4, number(v), "tick", "end");
        }
        for (const double t : niceTicks(time.lo, time.hi, 16)) {
            canvas.line(time(t), top, time(t), top + height, "grid");
        }
        canvas.text(kLeft - 52, top + height / 2, unit, "label", "middle", -90);
        return s;
    }

    void timeAxis(double bottom) {
        for (const double t : niceTicks(time.lo, time.hi, 16)) {
            canvas.line(time(t), bottom, time(t), bottom + 5, "grid");
            canvas.text(time(t), bottom + 18, number(t), "tick", "middle");
        }
        canvas.text(kRight, bottom + 34, "time (s)", "label", "end");
    }

    static std::string measurementTitle(const MeasurementKey& key, const char* what) {
        return "measurement " + std::to_string(key.second) + " (dsd " + std::to_string(key.first) +
               ") · " + what;
    }

    static std::pair<double, double> rssiRange(std::vector<double> values) {
        if (values.empty()) {
            return {-100, 0};
        }
        const auto [lo, hi] = std::minmax_element(values.begin(), values.end());
        return {*lo - 5, *hi + 5};
    }

    void connected(const MeasurementKey& key, const MeasurementTrace& trace) {
        const double height = 180;
        const double top =
            panel(height + 80, measurementTitle(key,
                                                "connected mode: RSSI samples, their "
                                                "smoothed average, the RSSI each report "
                                                "carried"));
        std::vector<double> values;
        for (const auto& s : trace.samples) {
            if (s.ok) {
                values.push_back(s.rssi);
            }
        }
        for (const auto& r : trace.reports) {
            values.push_back(r.rssi);
        }
        const auto [lo, hi] = rssiRange(values);
        const Scale rssi = plot(top + 6, height, lo, hi, "RSSI (dBm)");
        SvgCanvas::Points line;
        for (const auto& s : trace.samples) {
            if (s.ok) {
                line.emplace_back(time(static_cast<double>(s.time)), rssi(s.rssi));
            }
        }
        canvas.polyline(line, "samples");
        SvgCanvas::Points average;
        for (const auto& s : trace.samples) {
            if (s.ok) {
                average.emplace_back(time(static_cast<double>(s.time)), rssi(s.average));
            }
        }
        canvas.polyline(average, "average");
        for (const auto& s : trace.samples) {
            SvgCanvas::Data data = {{"kind", "sample"},
                                    {"t", std::to_string(s.time)},
                                    {"dsd", std::to_string(key.first)},
                                    {"meas-id", std::to_string(key.second)}};
            const double x = time(static_cast<double>(s.time));
            if (s.ok) {
                data.emplace_back("rssi", std::to_string(s.rssi));
                data.emplace_back("avg", std::to_string(s.average));
                canvas.marker(Marker::Circle, x, rssi(s.rssi), "sample", "", data);
            } else {
                data.emplace_back("failed", "1");
                canvas.marker(Marker::Cross, x, top + 6 + height - 10, "failed", "", data);
            }
        }
        for (const auto& r : trace.reports) {
            const double x = time(static_cast<double>(r.time));
            canvas.marker(Marker::Diamond, x, rssi(r.rssi), "report", "", r.data);
            canvas.text(x, rssi(r.rssi) - 11, number(r.rssi), "value", "middle");
        }
        if (values.empty()) {
            canvas.text(kLeft + 10, top + 30, "no sample and no report", "label");
        }
        timeAxis(top + 6 + height);
    }

    void scan(const MeasurementKey& key, const MeasurementTrace& trace) {
        std::vector<std::string> bssids;
        std::map<std::string, std::string> ssidOf;
        std::vector<double> values;
        double cuHi = 255;
        for (const auto& r : trace.reports) {
            if (ssidOf.emplace(r.bssid, r.ssid).second) {
                bssids.push_back(r.bssid);
            }
            values.push_back(r.rssi);
            if (r.bssLoad) {
                cuHi = std::max(cuHi, r.channelUtilization);
            }
        }
        const size_t perRow = 3;
        const size_t rows = (bssids.size() + perRow - 1) / perRow;
        const double legendRows = static_cast<double>(rows);
        const double rssiHeight = 160;
        const double cuHeight = 110;
        const double top = panel(legendRows * 20 + rssiHeight + cuHeight + 100,
                                 measurementTitle(key,
                                                  "scan mode: RSSI and channel utilisation "
                                                  "per BSSID of each report"));
        auto colour = [&](const std::string& bssid) {
            const auto at = std::find(bssids.begin(), bssids.end(), bssid) - bssids.begin();
            return std::string(kPalette[static_cast<size_t>(at) % std::size(kPalette)]);
        };
        for (size_t i = 0; i < bssids.size(); ++i) {
            const double x = kLeft + static_cast<double>(i % perRow) * 320;
            const size_t rowIndex = i / perRow;
            const double row = top + 8 + static_cast<double>(rowIndex) * 20;
            canvas.marker(Marker::Circle, x, row - 4, "point", colour(bssids[i]), {});
            canvas.text(x + 10, row, bssids[i] + "  " + ssidOf[bssids[i]], "label");
        }
        const double rssiTop = top + 10 + legendRows * 20;
        const auto [lo, hi] = rssiRange(values);
        const Scale rssi = plot(rssiTop, rssiHeight, lo, hi, "RSSI (dBm)");
        const double cuTop = rssiTop + rssiHeight + 16;
        const Scale cu = plot(cuTop, cuHeight, 0, cuHi, "chan. util.");
        // Access points often share a value: each BSSID is drawn smaller than the one before, on
        // top of it, so that every one stays in sight.
        for (size_t i = 0; i < bssids.size(); ++i) {
            const double size = std::max(3.0, 7.5 - 1.5 * static_cast<double>(i));
            const std::string paint = colour(bssids[i]);
            SvgCanvas::Points rssiLine;
            SvgCanvas::Points cuLine;
            for (const auto& r : trace.reports) {
                if (r.bssid != bssids[i]) {
                    continue;
                }
                rssiLine.emplace_back(time(static_cast<double>(r.time)), rssi(r.rssi));
                if (r.bssLoad) {
                    cuLine.emplace_back(time(static_cast<double>(r.time)),
                                        cu(r.channelUtilization));
                }
            }
            canvas.polyline(rssiLine, "series", paint, size - 1.5);
            canvas.polyline(cuLine, "series", paint, size - 1.5);
            for (const auto& r : trace.reports) {
                if (r.bssid != bssids[i]) {
                    continue;
                }
                const double x = time(static_cast<double>(r.time));
                canvas.marker(Marker::Circle, x, rssi(r.rssi), "point", paint, r.data, size);
                if (r.bssLoad) {
                    canvas.marker(Marker::Square, x, cu(r.channelUtilization), "point", paint,
                                  {{"kind", "cu"},
                                   {"t", std::to_string(r.time)},
                                   {"dsd", std::to_string(key.first)},
                                   {"meas-id", std::to_string(key.second)},
                                   {"bssid", r.bssid},
                                   {"cu", number(r.channelUtilization)}},
                                  size);
                }
            }
        }
        if (trace.reports.empty()) {
            canvas.text(kLeft + 10, rssiTop + 30, "no report", "label");
        }
        timeAxis(cuTop + cuHeight);
    }

    void lanes() {
        if (pic.lanes.empty()) {
            return;
        }
        const double laneHeight = 34;
        const double pitch = 42;
        const double top =
            panel(static_cast<double>(pic.lanes.size()) * pitch + 84,
                  "profiles: quality verdicts, availability changes and Wi-Fi state");
        double laneTop = top + 8;
        for (const auto& entry : pic.lanes) {
            const Lane& lane = entry.second;
            canvas.rect(kLeft, laneTop, kRight - kLeft, laneHeight, "plot");
            canvas.text(kLeft - 10, laneTop + laneHeight / 2 + 4, lane.name, "label", "end");
            for (size_t i = 0; i < lane.events.size(); ++i) {
                const LaneEvent& ev = lane.events[i];
                const double x = time(static_cast<double>(ev.time));
                const double next = i + 1 < lane.events.size()
                                        ? time(static_cast<double>(lane.events[i + 1].time))
                                        : kRight;
                canvas.rect(x, laneTop, next - x, laneHeight, "segment",
                            laneColour(lane.kind, ev.state));
            }
            // A label goes on the upper text row when it ends before the next event, else on
            // the lower one if that is free there; one that would run past the plot ends at
            // its edge.
            for (const auto& ev : lane.events) {
                canvas.marker(Marker::Tick, time(static_cast<double>(ev.time)),
                              laneTop + laneHeight / 2, "event", "", ev.data, laneHeight / 2);
            }
            double rowEnd[2] = {0, 0};
            for (size_t i = 0; i < lane.events.size(); ++i) {
                const LaneEvent& ev = lane.events[i];
                const double x = time(static_cast<double>(ev.time));
                const double width = kCharWidth * static_cast<double>(ev.label.size());
                const double start = std::min(x + 6, kRight - 4 - width);
                const bool fits =
                    i + 1 == lane.events.size() ||
                    start + width <= time(static_cast<double>(lane.events[i + 1].time));
                int row = start >= rowEnd[0] && fits ? 0 : start >= rowEnd[1] ? 1 : 0;
                if (start < rowEnd[row] && rowEnd[1 - row] < rowEnd[row]) {
                    row = 1 - row;
                }
                canvas.text(start, laneTop + (row == 0 ? 14 : 29), ev.label, "code");
                rowEnd[row] = start + width + 8;
            }
            laneTop += pitch;
        }
        timeAxis(laneTop - pitch + laneHeight + 4);
    }

    const RunPicture& pic;
    const PictureHeading& heading;
    Scale time;
    SvgCanvas canvas;
    double y = 0;
};

}  // namespace

std::string drawRunPicture(const RunPicture& picture, const PictureHeading& heading) {
    return Drawer(picture, heading).draw();
}

bool writeRunPicture(const std::string& path, const PictureHeading& heading,
                     const SignalPollTap& tap, size_t clients, std::string& error) {
    const emu::Engine& e = emu::Engine::instance();
    const std::string text =
        drawRunPicture(collectRunPicture(e.messages, tap, clients, e.now()), heading);
    FILE* f = std::fopen(path.c_str(), "wb");
    if (f == nullptr) {
        error = "cannot write " + path + ": " + std::strerror(errno);
        return false;
    }
    const bool ok = std::fwrite(text.data(), 1, text.size(), f) == text.size();
    if (std::fclose(f) != 0 || !ok) {
        error = "cannot write " + path + ": " + std::strerror(errno);
        return false;
    }
    return true;
}

}  // namespace ylmsim
