#include "emu/Engine.h"

#include <algorithm>

namespace emu {

const char* dsdOpName(DsdOp op) {
    switch (op) {
        case DsdOp::WifiMeasurementReport:
            return "sendWifiMeasurementReport";
        case DsdOp::WifiAvailableStatus:
            return "sendWifiAvailableStatus";
        case DsdOp::WqeProfileStatus:
            return "sendWqeProfileStatus";
        case DsdOp::NotifyDataSettings:
            return "sendNotifyDataSettings";
    }
    return "?";
}

const char* supplicantEventName(SupplicantEvent::Kind kind) {
    switch (kind) {
        case SupplicantEvent::Command:
            return "command";
        case SupplicantEvent::CommandNoReply:
            return "command-no-reply";
        case SupplicantEvent::Connect:
            return "connect";
        case SupplicantEvent::Disconnect:
            return "disconnect";
        case SupplicantEvent::FrequencyFilter:
            return "frequency-filter";
        case SupplicantEvent::BssidFilter:
            return "bssid-filter";
        case SupplicantEvent::RegisterScanReady:
            return "register-scan-ready";
    }
    return "?";
}

const char* casCallName(CasCall::Kind kind) {
    switch (kind) {
        case CasCall::RegisterWifiState:
            return "registerForWifiStateChangeNotification";
        case CasCall::RegisterWifiNotification:
            return "registerForWifiNotification";
        case CasCall::DeregisterWlanNetConfig:
            return "deregisterForWlanNetConfigChange";
        case CasCall::DeregisterNoninternet:
            return "deregisterForNoninternetService";
    }
    return "?";
}

// ---- scripted backends -----------------------------------------------------------------------

void ScriptedSupplicant::setReply(const std::string& cmd, std::string reply, int type) {
    replies[{type, cmd}] = std::move(reply);
}

void ScriptedSupplicant::setFailure(const std::string& cmd, bool fail, int type) {
    if (fail) {
        failures.insert({type, cmd});
    } else {
        failures.erase({type, cmd});
    }
}

void ScriptedSupplicant::setConnectFailure(int type, bool fail) {
    if (fail) {
        connectFailures.insert(type);
    } else {
        connectFailures.erase(type);
    }
}

void ScriptedSupplicant::clear() {
    replies.clear();
    failures.clear();
    connectFailures.clear();
}

bool ScriptedSupplicant::command(int type, const std::string& cmd, std::string& reply) {
    if (failures.count({type, cmd}) != 0) {
        return false;
    }
    auto it = replies.find({type, cmd});
    if (it == replies.end()) {
        return false;
    }
    reply = it->second;
    return true;
}

bool ScriptedSupplicant::connect(int type) {
    return connectFailures.count(type) == 0;
}

bool ScriptedSupplicant::disconnect(int /*type*/) {
    return true;
}

void ScriptedForkExec::setResult(const std::string& cmdLine, std::string output, int rc) {
    results[cmdLine] = {std::move(output), rc};
}

int ScriptedForkExec::run(const std::string& cmdLine, std::string& output) {
    auto it = results.find(cmdLine);
    if (it == results.end()) {
        return 127;
    }
    output = it->second.first;
    return it->second.second;
}

// ---- engine ----------------------------------------------------------------------------------

Engine& Engine::instance() {
    static Engine* engine = new Engine();  // never destroyed: callbacks may run during exit
    return *engine;
}

Engine::Engine() : supplicantImpl(&scripted), forkImpl(&scriptedFork) {
    reset();
}

void Engine::reset() {
    logs.clear();
    messages.clear();
    timers.clear();
    removedTimerIds.clear();
    supplicantEvents.clear();
    forkCalls.clear();
    casCalls.clear();
    operators.clear();
    operatorLookups.clear();
    dsds.clear();
    clock = 0;
    nextTimerId = 1;
    scripted.clear();
    scriptedFork.clear();
    supplicantImpl = &scripted;
    forkImpl = &scriptedFork;
    supplicantObj.rssi = 0;
    scanReadyCb = nullptr;
    scanReadyCtx = nullptr;
    scanReadyHostCtx = nullptr;
    chipsetType = 0;
    decisionEnginePresent = true;
    echo = nullptr;
    echoMinLevel = 0;
    discardLogs = false;
    onDsd = nullptr;
}

VorTpxDsd* Engine::dsd(size_t index) {
    while (dsds.size() <= index) {
        dsds.push_back(std::make_unique<VorTpxDsd>());
    }
    return dsds[index].get();
}

void Engine::setLogEcho(FILE* out, int minLevel) {
    echo = out;
    echoMinLevel = minLevel;
}

void Engine::captureLog(int level, int module, const char* file, int line,
                        const std::string& text) {
    logs.push_back({level, module, file != nullptr ? file : "", line, text});
    if (echo != nullptr && level >= echoMinLevel) {
        std::fprintf(echo, "[%d %d %s:%d] %s\n", level, module, file != nullptr ? file : "", line,
                     text.c_str());
    }
}

void Engine::recordDsd(const VorTpxDsd* client, DsdOp op, const void* data, size_t size) {
    const auto* p = static_cast<const uint8_t*>(data);
    messages.push_back({client, op, clock, std::vector<uint8_t>(p, p + size)});
    if (onDsd) {
        // Copies: the hook may send again (growing the list) or replace itself.
        const auto hook = onDsd;
        const DsdMessage sent = messages.back();
        hook(sent);
    }
}

int32_t Engine::addTimer(int64_t period, VorTimer::Callback cb, void* ctx) {
    const int32_t id = nextTimerId++;
    timers.push_back({id, period, cb, ctx, clock + period, true});
    return id;
}

void Engine::removeTimer(int32_t id) {
    removedTimerIds.push_back(id);
    for (auto& t : timers) {
        if (t.id == id) {
            t.active = false;
        }
    }
}

size_t Engine::activeTimerCount() const {
    return static_cast<size_t>(
        std::count_if(timers.begin(), timers.end(), [](const TimerEntry& t) { return t.active; }));
}

int64_t Engine::nextDue() const {
    int64_t best = -1;
    for (const auto& t : timers) {
        if (t.active && t.period > 0 && (best < 0 || t.due < best)) {
            best = t.due;
        }
    }
    return best;
}

void Engine::advance(int64_t dt) {
    const int64_t end = clock + (dt > 0 ? dt : 0);
    for (;;) {
        // Pick the earliest due timer (ties by id); the list may grow or change in callbacks.
        int32_t pick = 0;
        int64_t due = 0;
        for (const auto& t : timers) {
            if (t.active && t.period > 0 && t.due <= end && (pick == 0 || t.due < due)) {
                pick = t.id;
                due = t.due;
            }
        }
        if (pick == 0) {
            break;
        }
        clock = due;
        VorTimer::Callback cb = nullptr;
        void* ctx = nullptr;
        for (auto& t : timers) {
            if (t.id == pick) {
                t.due += t.period;
                cb = t.cb;
                ctx = t.ctx;
            }
        }
        if (cb != nullptr) {
            cb(ctx);
        }
    }
    clock = end;
}

void Engine::setSupplicantBackend(SupplicantBackend* backend) {
    supplicantImpl = backend != nullptr ? backend : &scripted;
}

void Engine::fireScanReady() {
    if (scanReadyCb != nullptr) {
        scanReadyCb(scanReadyHostCtx, scanReadyCtx);
    }
}

std::vector<std::string> Engine::commands() const {
    std::vector<std::string> out;
    for (const auto& e : supplicantEvents) {
        if (e.kind == SupplicantEvent::Command || e.kind == SupplicantEvent::CommandNoReply) {
            out.push_back(std::to_string(e.type) + ":" + e.text);
        }
    }
    return out;
}

void Engine::setForkExecBackend(ForkExecBackend* backend) {
    forkImpl = backend != nullptr ? backend : &scriptedFork;
}

std::vector<CasCall> Engine::liveNotificationRegistrations() const {
    std::vector<CasCall> live;
    for (const auto& c : casCalls) {
        if (c.kind == CasCall::RegisterWifiNotification) {
            live.push_back(c);
        } else if (c.kind == CasCall::DeregisterWlanNetConfig ||
                   c.kind == CasCall::DeregisterNoninternet) {
            // A deregistration takes back the registration made with the same client record.
            auto it = std::find_if(live.begin(), live.end(), [&](const CasCall& r) {
                return r.client.cb == c.client.cb && r.client.ctx == c.client.ctx;
            });
            if (it != live.end()) {
                live.erase(it);
            }
        }
    }
    return live;
}

size_t Engine::deliverNotification(const char* name, void* result) {
    size_t n = 0;
    for (const auto& r : liveNotificationRegistrations()) {
        const bool match = name == nullptr ? r.nameNull : (!r.nameNull && r.name == name);
        if (match && r.cb != nullptr) {
            r.cb(result, r.ctx);
            ++n;
        }
    }
    return n;
}

size_t Engine::deliverWifiState(bool wifiOn) {
    std::vector<CasCall> regs;
    for (const auto& c : casCalls) {
        if (c.kind == CasCall::RegisterWifiState) {
            regs.push_back(c);
        }
    }
    for (const auto& r : regs) {
        r.stateCb(wifiOn, r.ctx);
    }
    return regs.size();
}

}  // namespace emu
