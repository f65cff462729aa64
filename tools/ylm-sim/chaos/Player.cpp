#include "chaos/Player.h"

#include <algorithm>

#include "emu/Engine.h"
#include "run/EngineSettings.h"

namespace ylmsim::chaos {

Player::~Player() {
    emu::Engine::instance().setSupplicantBackend(nullptr);
}

void Player::keep(const DaemonConfig& config) {
    daemon.apply(config);
    for (const auto& r : config.rules) {
        rules[{r.type, r.command}] = r;
    }
    for (const auto& [type, fail] : config.connectFailure) {
        connectFailures[type] = fail;
    }
}

bool Player::setUp(const Scenario& sc, const std::string& library, std::string& error) {
    emu::Engine& e = emu::Engine::instance();
    e.reset();
    startEngine(e, sc.engine);
    keep(sc.daemon);
    e.setSupplicantBackend(&daemon);
    scriptForks(e, sc.forks);
    for (size_t i = 0; i < sc.dsdCount; ++i) {
        e.dsd(i);
    }
    if (!plugin.load(library, error)) {
        return false;
    }
    plugin.initializeLinks(e.com(), e.timer(), e.supplicant());
    return true;
}

bool Player::perform(const Step& s) {
    emu::Engine& e = emu::Engine::instance();
    VorTpxDsd* dsd = e.dsd(s.dsd);
    // Each call gets its own copy of the record, as the engine hands over its own buffer.
    switch (s.kind) {
        case StepKind::Advance:
            e.advance(s.seconds);
            break;
        case StepKind::At:
            e.advance(std::max<int64_t>(0, s.seconds - e.now()));
            break;
        case StepKind::ScanReady:
            e.fireScanReady();
            break;
        case StepKind::StartMeasurement: {
            auto ind = s.start;
            return plugin.startWifiMeasurement(dsd, ind);
        }
        case StepKind::StopMeasurement: {
            auto ind = s.stop;
            plugin.stopWifiMeasurement(dsd, ind);
            break;
        }
        case StepKind::ProfileInit: {
            auto ind = s.init;
            plugin.wqeProfileInit(dsd, ind);
            break;
        }
        case StepKind::ProfileMask: {
            auto ind = s.mask;
            plugin.setWqeProfile(dsd, ind);
            break;
        }
        case StepKind::DefaultProfile:
            plugin.createDefaultProfile(dsd);
            break;
        case StepKind::StopAll:
            plugin.stopAllRequests(dsd);
            break;
        case StepKind::CasVerdict:
        case StepKind::NetConfig: {
            CasWlanNetConfigType record = s.cas;
            e.deliverNotification(s.nameNull ? nullptr : s.text.c_str(), &record);
            break;
        }
        case StepKind::WifiState:
            e.deliverWifiState(s.flag);
            break;
        case StepKind::Daemon:
            keep(s.daemon);
            break;
        case StepKind::ForkExec:
            scriptForks(e, s.forks);
            break;
        case StepKind::Engine:
            changeEngine(e, s.engine);
            break;
        case StepKind::Note:
            break;
    }
    return false;
}

void Player::dropRecords() {
    emu::Engine& e = emu::Engine::instance();
    e.logs.clear();
    e.messages.clear();
    e.supplicantEvents.clear();
    e.forkCalls.clear();
    e.operatorLookups.clear();
    e.removedTimerIds.clear();
    e.timers.erase(std::remove_if(e.timers.begin(), e.timers.end(),
                                  [](const emu::TimerEntry& t) { return !t.active; }),
                   e.timers.end());
    // What the service still delivers: every Wi-Fi state registration (they are never taken
    // back) and the live notification registrations, each in its order.
    std::vector<emu::CasCall> kept;
    for (const auto& c : e.casCalls) {
        if (c.kind == emu::CasCall::RegisterWifiState) {
            kept.push_back(c);
        }
    }
    const auto live = e.liveNotificationRegistrations();
    kept.insert(kept.end(), live.begin(), live.end());
    e.casCalls.swap(kept);
}

void Player::renewDaemon() {
    // The records' room stays at the largest step's otherwise (a crowded scan logs thousands of
    // lines), which would read as growth.
    emu::Engine& e = emu::Engine::instance();
    e.logs.shrink_to_fit();
    e.messages.shrink_to_fit();
    e.supplicantEvents.shrink_to_fit();
    e.forkCalls.shrink_to_fit();
    e.operatorLookups.shrink_to_fit();
    e.removedTimerIds.shrink_to_fit();
    e.timers.shrink_to_fit();
    e.casCalls.shrink_to_fit();
    DaemonConfig config;
    for (const auto& [key, rule] : rules) {
        config.rules.push_back(rule);
    }
    config.connectFailure = connectFailures;
    daemon = SimSupplicant();
    daemon.apply(config);
}

}  // namespace ylmsim::chaos
