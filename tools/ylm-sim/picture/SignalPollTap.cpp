#include "picture/SignalPollTap.h"

#include "VorSupplicantWrapper.h"
#include "emu/SupplicantText.h"

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
        samplers.insert_or_assign(first.id, Sampler{key, reading::Smoothing(ind)});
    }
}

// The sampling timer that is running: timers due at one instant fire in id order, and each one
// that has fired has moved its due time a period ahead, so the running one is the highest such id.
SignalPollTap::Sampler* SignalPollTap::samplingMeasurement() {
    const emu::Engine& e = emu::Engine::instance();
    Sampler* found = nullptr;
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
    if (Sampler* m = samplingMeasurement()) {
        // A reply without an RSSI= line leaves the channel's value from the poll before, and
        // that is the sample the library takes.
        int16_t rssi = e.supplicant()->rssi;
        if (ok) {
            emu::signalPollRssi(reply, rssi);
        }
        const int average = ok ? m->smoothing.fold(rssi) : m->smoothing.average();
        taken.push_back({e.now(), m->measurement, ok, ok ? rssi : 0, average});
    }
    return ok;
}

}  // namespace ylmsim
