#include "picture/RunPicture.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <utility>

#include "timeline/Printer.h"
#include "emu/DsdDecoder.h"

namespace ylmsim {
namespace {

using nlohmann::json;

// The value as --json writes it: numbers as their digits, strings as they decode.
std::string text(const json& v) {
    return v.is_string() ? v.get<std::string>() : v.dump();
}

bool isSet(const json& j, const char* key) {
    return j.contains(key) && j[key] != 0;
}

std::string availabilityName(long long wlanType) {
    switch (wlanType) {
        case 0:
            return "availability: P2P GO";
        case 1:
            return "availability: P2P client";
        case 2:
            return "availability: station";
        case 3:
            return "availability: soft AP";
        default:
            return "availability: type " + std::to_string(wlanType);
    }
}

class Collector {
  public:
    Collector(RunPicture& p, size_t n) : pic(p), clients(n) {}

    void message(const emu::DsdMessage& m) {
        json j;
        try {
            j = json::parse(emu::toJson(m, Printer::clientIndex(m.dsd, clients)));
        } catch (const json::exception&) {
            return;  // the timeline shows it as undecodable
        }
        if (j.contains("error")) {
            return;
        }
        const auto dsd = j["dsd"].get<long long>();
        const size_t client = dsd < 0 ? clients : static_cast<size_t>(dsd);
        const SvgCanvas::Data head = {{"t", text(j["time"])}, {"dsd", text(j["dsd"])}};
        switch (m.op) {
            case emu::DsdOp::WifiMeasurementReport:
                report(j, client, head);
                break;
            case emu::DsdOp::WqeProfileStatus:
                quality(j, client, head);
                break;
            case emu::DsdOp::WifiAvailableStatus:
                availability(j, client, head);
                break;
            case emu::DsdOp::NotifyDataSettings:
                wifiState(j, client, head);
                break;
        }
    }

  private:
    void report(const json& j, size_t client, const SvgCanvas::Data& head) {
        auto& trace = pic.measurements[{client, j["meas_id"].get<uint32_t>()}];
        for (const auto& r : j["bssid_list"]) {
            SvgCanvas::Data data = head;
            data.insert(data.begin(), {"kind", "report"});
            data.insert(data.end(), {{"meas-id", text(j["meas_id"])},
                                     {"report-seq", text(j["report_seq"])},
                                     {"ssid", text(j["ssid"])},
                                     {"bssid", text(r["bssid"])},
                                     {"rssi", text(r["rssi"])},
                                     {"cu", text(r["channel_utilization"])},
                                     {"param-mask", text(r["param_mask"])}});
            trace.reports.push_back({j["time"].get<int64_t>(), text(r["bssid"]), text(j["ssid"]),
                                     r["rssi"].get<double>(),
                                     r["channel_utilization"].get<double>(),
                                     (r["param_mask"].get<uint64_t>() & 4U) != 0, data});
        }
    }

    void quality(const json& j, size_t client, const SvgCanvas::Data& head) {
        const auto profile = j["profile_type"].get<long long>();
        const auto status = j["quality_status"].get<long long>();
        std::string label = status == 0   ? "pass (0)"
                            : status == 1 ? "fail (1)"
                                          : "status " + std::to_string(status);
        SvgCanvas::Data data = head;
        data.insert(data.begin(), {"kind", "quality"});
        data.insert(data.end(),
                    {{"profile", text(j["profile_type"])}, {"quality", text(j["quality_status"])}});
        if (isSet(j, "status_code_valid")) {
            label += ", code " + text(j["status_code"]);
            data.emplace_back("code", text(j["status_code"]));
        }
        if (isSet(j, "meas_id_valid")) {
            data.emplace_back("meas-id", text(j["meas_id"]));
        }
        add({client, LaneKind::Quality, profile}, "profile " + std::to_string(profile) + " quality",
            {j["time"].get<int64_t>(), label, static_cast<int>(status), data});
    }

    void availability(const json& j, size_t client, const SvgCanvas::Data& head) {
        const auto type = j["wlan_type"].get<long long>();
        const auto conn = j["conn_status"].get<long long>();
        std::string label = "conn " + text(j["conn_status"]);
        SvgCanvas::Data data = head;
        data.insert(data.begin(), {"kind", "availability"});
        data.insert(data.end(), {{"wlan-type", text(j["wlan_type"])},
                                 {"conn", text(j["conn_status"])},
                                 {"bssid", text(j["bssid"])}});
        if (isSet(j, "ssid_valid")) {
            label += " " + text(j["ssid"]);
            data.emplace_back("ssid", text(j["ssid"]));
        }
        add({client, LaneKind::Availability, type}, availabilityName(type),
            {j["time"].get<int64_t>(), label, static_cast<int>(conn), data});
    }

    void wifiState(const json& j, size_t client, const SvgCanvas::Data& head) {
        const auto state = j["wifi_state"].get<long long>();
        SvgCanvas::Data data = head;
        data.insert(data.begin(), {"kind", "wifi-state"});
        data.emplace_back("state", text(j["wifi_state"]));
        add({client, LaneKind::WifiState, 0}, "Wi-Fi state",
            {j["time"].get<int64_t>(),
             (state != 0 ? "on (" : "off (") + text(j["wifi_state"]) + ")", static_cast<int>(state),
             data});
    }

    void add(const std::tuple<size_t, LaneKind, long long>& key, const std::string& name,
             LaneEvent event) {
        Lane& lane = pic.lanes[key];
        if (lane.name.empty()) {
            const size_t client = std::get<0>(key);
            lane.name = clients > 1 ? "dsd " + std::to_string(client) + ": " + name : name;
            lane.kind = std::get<1>(key);
        }
        lane.events.push_back(std::move(event));
    }

    RunPicture& pic;
    size_t clients;
};

}  // namespace

RunPicture collectRunPicture(const std::vector<emu::DsdMessage>& messages, const SignalPollTap& tap,
                             size_t clients, int64_t end) {
    RunPicture pic;
    pic.end = end;
    for (const auto& [key, connected] : tap.modes()) {
        pic.measurements[key].connected = connected;
    }
    for (const auto& s : tap.samples()) {
        auto& trace = pic.measurements[s.measurement];
        trace.connected = true;
        trace.samples.push_back(s);
        pic.end = std::max(pic.end, s.time);
    }
    Collector collect(pic, clients);
    for (const auto& m : messages) {
        collect.message(m);
        pic.end = std::max(pic.end, m.time);
    }
    pic.end = std::max<int64_t>(pic.end, 1);
    return pic;
}

}  // namespace ylmsim
