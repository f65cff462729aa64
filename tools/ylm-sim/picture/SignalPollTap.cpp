#include "picture/SignalPollTap.h"

#include <cstdlib>

#include "VorSupplicantWrapper.h"

namespace ylmsim {

void SignalPollTap::attach() {
    emu::Engine& e = emu::Engine::instance();
    wrap(&e.supplicantBackend());
    e.setSupplicantBackend(this);
}

void SignalPollTap::measurementStarted(size_t dsd, const dsd_start_wifi_meas_ind_msg_v01& ind,
                                       size_t timersBefore) {
    const auto& timers = emu::Engine::instance().timers;
    if (timers.size() <= timersBefore) {
        return;  // refused: no timer, no report
    }
    const MeasurementKey key{dsd, static_cast<uint32_t>(ind.meas_id)};
    const auto& first = timers[timersBefore];
    const bool connected =
        timers.size() >= timersBefore + 2 && timers[timersBefore + 1].ctx == first.ctx;
    started[key] = connected;
    if (connected) {
        Smoothing& s = samplers[first.id];
        s.measurement = key;
        // The weight the measurement takes: the modem's, when given and strictly between 0 and 1.
        if (ind.alpha_valid != 0 && ind.alpha > 0.0F && ind.alpha < 1.0F) {
            s.alpha = ind.alpha;
        }
    }
}

int16_t SignalPollTap::Smoothing::fold(int16_t sample) {
    if (!seen) {
        seen = true;
        average = sample;
        return average;
    }
    // Single precision, each product rounded before the sum, truncated toward zero.
    const volatile float history = alpha * static_cast<float>(average);
    const volatile float fresh = (1.0F - alpha) * static_cast<float>(sample);
    average = static_cast<int16_t>(static_cast<int32_t>(history + fresh));
    return average;
}

bool SignalPollTap::replyRssi(const std::string& reply, int& rssi) {
    size_t pos = 0;
    while (pos < reply.size()) {
        if (reply.compare(pos, 5, "RSSI=") == 0) {
            rssi = static_cast<int16_t>(std::atoi(reply.c_str() + pos + 5));
            return true;
        }
        const size_t eol = reply.find('\n', pos);
        if (eol == std::string::npos) {
            break;
        }
        pos = eol + 1;
    }
    return false;
}

// The sampling timer that is running: timers due at one instant fire in id order, and each one
// that has fired has moved its due time a period ahead, so the running one is the highest such id.
SignalPollTap::Smoothing* SignalPollTap::samplingMeasurement() {
    const emu::Engine& e = emu::Engine::instance();
    Smoothing* found = nullptr;
    for (const auto& t : e.timers) {
        const auto it = samplers.find(t.id);
        if (it != samplers.end() && t.active && t.period > 0 && t.due == e.now() + t.period) {
            found = &it->second;
        }
    }
    return found;
}

bool SignalPollTap::command(int type, const std::string& cmd, std::string& reply) {
    const bool ok = inner->command(type, cmd, reply);
    emu::Engine& e = emu::Engine::instance();
    // Samples go out in the fire-and-forget form; the station status query polls with a reply
    // buffer and is no sample.
    const bool sample = type == 0 && cmd == VorSupplicantWrapper::signalPollCmd &&
                        !e.supplicantEvents.empty() &&
                        e.supplicantEvents.back().kind == emu::SupplicantEvent::CommandNoReply;
    if (!sample) {
        return ok;
    }
    if (Smoothing* m = samplingMeasurement()) {
        // A reply without an RSSI= line leaves the channel's value from the poll before, and
        // that is the sample the library takes.
        int rssi = e.supplicant()->rssi;
        if (ok) {
            replyRssi(reply, rssi);
        }
        const int average = ok ? m->fold(static_cast<int16_t>(rssi)) : m->average;
        taken.push_back({e.now(), m->measurement, ok, ok ? rssi : 0, average});
    }
    return ok;
}

}  // namespace ylmsim
