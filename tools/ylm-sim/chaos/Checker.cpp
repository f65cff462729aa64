#include "chaos/Checker.h"

#include <algorithm>

#include "chaos/ProfileModel.h"
#include "chaos/RawModel.h"
#include "emu/DsdDecoder.h"

namespace ylmsim::chaos {

size_t StepView::count(emu::SupplicantEvent::Kind kind, const std::string& text) const {
    return static_cast<size_t>(std::count_if(events.begin(), events.end(), [&](const auto* e) {
        return e->kind == kind && e->type == 0 && e->text == text;
    }));
}

Checker::Checker()
    : raw(std::make_unique<RawModel>()), profiles(std::make_unique<ProfileModel>()) {}

Checker::~Checker() = default;

size_t Checker::keptProxies() const {
    return profiles->stateRegistrations();
}

StepView Checker::look() {
    emu::Engine& e = emu::Engine::instance();
    StepView v;
    for (size_t i = messagesSeen; i < e.messages.size(); ++i) {
        const VorTpxDsd* d = e.messages[i].dsd;
        auto it = clients.find(d);
        for (size_t k = 0; it == clients.end() && k < 16; ++k) {
            if (e.dsd(k) == d) {
                it = clients.emplace(d, k).first;
            }
        }
        v.messages.push_back(&e.messages[i]);
        v.messageClients.push_back(it == clients.end() ? 99 : it->second);
    }
    for (size_t i = eventsSeen; i < e.supplicantEvents.size(); ++i) {
        v.events.push_back(&e.supplicantEvents[i]);
    }
    for (size_t i = casSeen; i < e.casCalls.size(); ++i) {
        v.cas.push_back(&e.casCalls[i]);
    }
    v.lookups.assign(e.operatorLookups.begin() + static_cast<long>(lookupsSeen),
                     e.operatorLookups.end());
    v.removed.assign(e.removedTimerIds.begin() + static_cast<long>(removedSeen),
                     e.removedTimerIds.end());
    std::map<int32_t, Due> now;
    for (const auto& t : e.timers) {
        if (t.id > lastTimerId) {
            v.added.push_back(&t);
        }
        const auto before = dues.find(t.id);
        if (before != dues.end() && t.period > 0 && t.due > before->second.due) {
            v.fired[t.id] = (t.due - before->second.due) / t.period;
            v.lastFired[t.id] = t.due - t.period;
        }
        if (t.active) {
            now[t.id] = {t.due, t.period};
        }
    }
    dues.swap(now);
    if (!e.timers.empty()) {
        lastTimerId = std::max(lastTimerId, e.timers.back().id);
    }
    recordsDropped();
    return v;
}

void Checker::recordsDropped() {
    emu::Engine& e = emu::Engine::instance();
    messagesSeen = e.messages.size();
    eventsSeen = e.supplicantEvents.size();
    casSeen = e.casCalls.size();
    lookupsSeen = e.operatorLookups.size();
    removedSeen = e.removedTimerIds.size();
}

std::optional<Violation> Checker::afterStep(const Step& step, bool started) {
    const StepView v = look();
    for (const auto* msg : v.messages) {
        if (auto bad = checkMessage(*msg)) {
            return bad;
        }
    }
    if (auto bad = raw->step(step, started, v)) {
        return bad;
    }
    return profiles->step(step, v);
}

std::optional<Violation> checkMessage(const emu::DsdMessage& msg) {
    static const std::map<emu::DsdOp, size_t> kSizes = {
        {emu::DsdOp::WifiMeasurementReport, sizeof(dsd_wifi_meas_report_req_msg_v01)},
        {emu::DsdOp::WifiAvailableStatus, sizeof(dsd_wlan_available_req_msg_v01)},
        {emu::DsdOp::WqeProfileStatus, sizeof(dsd_set_wqe_profile_quality_status_req_msg_v01)},
        {emu::DsdOp::NotifyDataSettings, sizeof(dsd_notify_data_settings_req_msg_v01)}};
    const std::string op = emu::dsdOpName(msg.op);
    if (msg.bytes.size() != kSizes.at(msg.op)) {
        return Violation{"message-size", op + " of " + std::to_string(msg.bytes.size()) + " bytes"};
    }
    bool reservedZero = false;
    for (const auto& [name, value] : emu::decodeDsd(msg.op, msg.bytes)) {
        reservedZero = reservedZero || (name == "reserved_zero" && value == "true");
    }
    bool ok = reservedZero;
    switch (msg.op) {
        case emu::DsdOp::WifiMeasurementReport: {
            const auto m = msg.as<dsd_wifi_meas_report_req_msg_v01>();
            ok = ok && m.ssid_len <= sizeof m.ssid && m.last_report <= 1 && m.report_seq != 0 &&
                 m.bssid_list_len <= DSD_WIFI_MEAS_REPORT_BSSID_MAX_V01 &&
                 m.bssid_list_valid == (m.bssid_list_len > 0 ? 1 : 0);
            for (uint32_t i = 0; ok && i < m.bssid_list_len; ++i) {
                ok = m.bssid_list[i].param_mask == 1 || m.bssid_list[i].param_mask == 5;
            }
            break;
        }
        case emu::DsdOp::WifiAvailableStatus: {
            const auto m = msg.as<dsd_wlan_available_req_msg_v01>();
            ok = ok && m.ssid_len <= sizeof m.ssid && m.ssid_valid <= 1 && m.wlan_type_valid == 1 &&
                 m.wlan_type <= 3 && m.conn_status <= 2 &&
                 (m.ipv6_prefix_len == 0 || m.ipv6_prefix_len == 64) && m.country_code_valid <= 1;
            break;
        }
        case emu::DsdOp::WqeProfileStatus: {
            const auto m = msg.as<dsd_set_wqe_profile_quality_status_req_msg_v01>();
            ok = ok && m.quality_status_valid == 1 && m.quality_status <= 1 &&
                 m.quality_status >= 0 && m.status_code >= 0 && m.status_code <= 5 &&
                 m.status_code_valid <= 1 && m.meas_id_valid == (m.meas_id != 0 ? 1 : 0);
            break;
        }
        case emu::DsdOp::NotifyDataSettings: {
            const auto m = msg.as<dsd_notify_data_settings_req_msg_v01>();
            ok = ok && m.wifi_state_valid == 1 && m.wifi_state <= 1;
            break;
        }
    }
    if (!ok) {
        return Violation{"message-fields", op + " with a field out of its bounds: " +
                                               emu::toJson(msg, 0).substr(0, 400)};
    }
    return std::nullopt;
}

}  // namespace ylmsim::chaos
