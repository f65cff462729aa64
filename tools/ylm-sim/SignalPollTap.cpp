#include "SignalPollTap.h"

#include <cstdlib>

#include "VorSupplicantWrapper.h"

namespace ylmsim {

void SignalPollTap::attach() {
    emu::Engine& e = emu::Engine::instance();
    wrap(&e.supplicantBackend());
    e.setSupplicantBackend(this);
}

void SignalPollTap::measurementStarted(size_t dsd, uint32_t measId, size_t timersBefore) {
    const auto& timers = emu::Engine::instance().timers;
    if (timers.size() <= timersBefore) {
        return;  // refused: no timer, no report
    }
    const MeasurementKey key{dsd, measId};
    const auto& first = timers[timersBefore];
    const bool connected =
        timers.size() >= timersBefore + 2 && timers[timersBefore + 1].ctx == first.ctx;
    started[key] = connected;
    if (connected) {
        samplers[first.id] = key;
    }
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
const MeasurementKey* SignalPollTap::samplingMeasurement() const {
    const emu::Engine& e = emu::Engine::instance();
    const MeasurementKey* found = nullptr;
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
    if (const MeasurementKey* key = samplingMeasurement()) {
        // A reply without an RSSI= line leaves the channel's value from the poll before, and
        // that is the sample the library takes.
        int rssi = e.supplicant()->rssi;
        if (ok) {
            replyRssi(reply, rssi);
        }
        taken.push_back({e.now(), *key, ok, ok ? rssi : 0});
    }
    return ok;
}

}  // namespace ylmsim
