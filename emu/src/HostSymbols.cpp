// Definitions of the engine symbols that libylm.so imports, backed by emu::Engine.
#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "OperatorLookup.h"
#include "VorMsg.h"
#include "emu/Engine.h"
#include "emu/SupplicantText.h"

using emu::Engine;

// ---- logger ----------------------------------------------------------------------------------
namespace {
VorMsg gLogger;
// Looked up once: the logger is called for every line, even those it drops at its door.
Engine& gEngine = Engine::instance();
}  // namespace
VorMsg* VorMsg::vor_log_class_ptr = &gLogger;

void VorMsg::vor_log(int level, int module, const char* file, int line, const char* fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    vor_log_v(level, module, file, line, fmt, ap);
    va_end(ap);
}

void VorMsg::vor_log_v(int level, int module, const char* file, int line, const char* fmt,
                       va_list args) {
    if (gEngine.discardLogs) {
        return;
    }
    std::string text;
    if (fmt != nullptr) {
        va_list copy;
        va_copy(copy, args);
        // The analyzer cannot see that va_copy initialised the copy.
        const int n =
            std::vsnprintf(nullptr, 0, fmt, copy);  // NOLINT(clang-analyzer-valist.Uninitialized)
        va_end(copy);
        if (n > 0) {
            text.resize(static_cast<size_t>(n) + 1);
            std::vsnprintf(text.data(), text.size(), fmt, args);
            text.resize(static_cast<size_t>(n));
        }
    }
    Engine::instance().captureLog(level, module, file, line, text);
}

// ---- DSD client ------------------------------------------------------------------------------
bool VorTpxDsd::sendWifiMeasurementReport(dsd_wifi_meas_report_req_msg_v01& msg) {
    Engine::instance().recordDsd(this, emu::DsdOp::WifiMeasurementReport, &msg, sizeof msg);
    return true;
}
bool VorTpxDsd::sendWifiAvailableStatus(dsd_wlan_available_req_msg_v01& msg) {
    Engine::instance().recordDsd(this, emu::DsdOp::WifiAvailableStatus, &msg, sizeof msg);
    return true;
}
bool VorTpxDsd::sendWqeProfileStatus(dsd_set_wqe_profile_quality_status_req_msg_v01& msg) {
    Engine::instance().recordDsd(this, emu::DsdOp::WqeProfileStatus, &msg, sizeof msg);
    return true;
}
bool VorTpxDsd::sendNotifyDataSettings(dsd_notify_data_settings_req_msg_v01& msg) {
    Engine::instance().recordDsd(this, emu::DsdOp::NotifyDataSettings, &msg, sizeof msg);
    return true;
}

// ---- timers ----------------------------------------------------------------------------------
int32_t VorTimer::addTimedCallback(int64_t period, Callback cb, void* ctx) {
    return Engine::instance().addTimer(period, cb, ctx);
}
void VorTimer::removeTimedCallback(int32_t id) {
    Engine::instance().removeTimer(id);
}

// ---- supplicant channel ----------------------------------------------------------------------
const char* const VorSupplicantWrapper::statusCmd = "STATUS";
const char* const VorSupplicantWrapper::signalPollCmd = "SIGNAL_POLL";
const char* const VorSupplicantWrapper::scanCmd = "SCAN";
const char* const VorSupplicantWrapper::scanResultCmd = "SCAN_RESULTS";

namespace {
// The engine keeps the RSSI of the last successful signal poll in the channel object.
void noteSignalPoll(VorSupplicantWrapper* self, const char* cmd, const std::string& reply) {
    if (std::strcmp(cmd, VorSupplicantWrapper::signalPollCmd) == 0) {
        emu::signalPollRssi(reply, self->rssi);
    }
}

bool sendWithReply(VorSupplicantWrapper* self, const char* cmd, char* reply, size_t* replyLen,
                   int type) {
    Engine& e = Engine::instance();
    e.supplicantEvents.push_back({emu::SupplicantEvent::Command, type, cmd != nullptr ? cmd : "",
                                  replyLen != nullptr ? *replyLen : 0});
    if (cmd == nullptr || reply == nullptr || replyLen == nullptr) {
        return false;
    }
    std::string text;
    if (!e.supplicantBackend().command(type, cmd, text)) {
        return false;
    }
    // The caller keeps one byte past *replyLen for the terminating zero.
    const size_t n = std::min(text.size(), *replyLen);
    std::memcpy(reply, text.data(), n);
    reply[n] = '\0';
    *replyLen = n;
    noteSignalPoll(self, cmd, text);
    return true;
}
}  // namespace

bool VorSupplicantWrapper::sendCommandToSupplicant(const char* cmd) {
    Engine& e = Engine::instance();
    e.supplicantEvents.push_back(
        {emu::SupplicantEvent::CommandNoReply, 0, cmd != nullptr ? cmd : "", 0});
    if (cmd == nullptr) {
        return false;
    }
    std::string text;
    if (!e.supplicantBackend().command(0, cmd, text)) {
        return false;
    }
    noteSignalPoll(this, cmd, text);
    return true;
}

bool VorSupplicantWrapper::sendCommandToSupplicant(const char* cmd, char* reply, size_t* replyLen) {
    return sendWithReply(this, cmd, reply, replyLen, 0);
}

bool VorSupplicantWrapper::sendCommandToSupplicant(const char* cmd, char* reply, size_t* replyLen,
                                                   supplicantType_t type) {
    return sendWithReply(this, cmd, reply, replyLen, type);
}

bool VorSupplicantWrapper::connectToSupplicant(supplicantType_t type) {
    Engine& e = Engine::instance();
    e.supplicantEvents.push_back({emu::SupplicantEvent::Connect, type, "", 0});
    return e.supplicantBackend().connect(type);
}

bool VorSupplicantWrapper::disconnectFromSupplicant(supplicantType_t type) {
    Engine& e = Engine::instance();
    e.supplicantEvents.push_back({emu::SupplicantEvent::Disconnect, type, "", 0});
    return e.supplicantBackend().disconnect(type);
}

void VorSupplicantWrapper::registerForScanReadyCb(ScanReadyCb cb, void* ctx) {
    Engine& e = Engine::instance();
    e.supplicantEvents.push_back({emu::SupplicantEvent::RegisterScanReady, 0, "", 0});
    e.scanReadyCb = cb;
    e.scanReadyCtx = ctx;
    e.scanReadyHostCtx = this;
}

bool VorSupplicantWrapper::setFrequencyFilterForScan(const std::string& freqs) {
    Engine& e = Engine::instance();
    e.supplicantEvents.push_back({emu::SupplicantEvent::FrequencyFilter, 0, freqs, 0});
    return e.supplicantBackend().setFrequencyFilter(freqs);
}

bool VorSupplicantWrapper::setBssidFileterForScan(const std::string& bssids) {
    Engine& e = Engine::instance();
    e.supplicantEvents.push_back({emu::SupplicantEvent::BssidFilter, 0, bssids, 0});
    return e.supplicantBackend().setBssidFilter(bssids);
}

// ---- process helpers -------------------------------------------------------------------------
int VorUtils::forkExec(const char* cmdLine, _VorForkExecOpt* opt) {
    Engine& e = Engine::instance();
    emu::ForkExecCall call{};
    call.cmdLine = cmdLine != nullptr ? cmdLine : "";
    if (opt != nullptr) {
        const auto addr = reinterpret_cast<uintptr_t>(opt->outBuf);
        const uint32_t w[10] = {opt->word0,      static_cast<uint32_t>(addr),
                                opt->outBufSize, opt->word3,
                                opt->word4,      opt->word5,
                                opt->word6,      opt->word7,
                                opt->word8,      opt->word9};
        std::copy(std::begin(w), std::end(w), call.words);
        call.bufferGiven = opt->outBuf != nullptr;
        call.bufferSize = opt->outBufSize;
    }
    e.forkCalls.push_back(call);
    if (cmdLine == nullptr) {
        return -1;
    }
    std::string output;
    const int rc = e.forkExecBackend().run(cmdLine, output);
    if (opt != nullptr && opt->outBuf != nullptr && opt->outBufSize > 0) {
        // Output beyond the buffer is cut; a zero follows only when there is room for it.
        const size_t n = std::min<size_t>(output.size(), opt->outBufSize);
        std::memcpy(opt->outBuf, output.data(), n);
        if (n < opt->outBufSize) {
            opt->outBuf[n] = '\0';
        }
    }
    return rc;
}

int VorUtils::getWlanChipsetType() {
    return Engine::instance().chipsetType;
}

// ---- connectivity-quality service ------------------------------------------------------------
namespace {
VorCde gCde;
VorCdeCas gCas;
}  // namespace

VorCde* VorCde::getInstance() {
    return Engine::instance().decisionEnginePresent ? &gCde : nullptr;
}

VorCdeCas* VorCde::getCasInstance() {
    return &gCas;
}

void VorCdeCas::registerForWifiStateChangeNotification(CasWifiStateCb cb, void* ctx) {
    emu::CasCall c{};
    c.kind = emu::CasCall::RegisterWifiState;
    c.nameNull = true;
    c.stateCb = cb;
    c.ctx = ctx;
    Engine::instance().casCalls.push_back(c);
}

bool VorCdeCas::registerForWifiNotification(CasClientCb& client, const char* name,
                                            _CQEClientOverrides& overrides,
                                            const std::string& opName, CasNotifyCb cb, void* ctx) {
    emu::CasCall c{};
    c.kind = emu::CasCall::RegisterWifiNotification;
    c.nameNull = name == nullptr;
    c.name = name != nullptr ? name : "";
    c.overrides = overrides;
    c.operatorName = opName;
    c.client = client;
    c.cb = cb;
    c.ctx = ctx;
    Engine::instance().casCalls.push_back(c);
    return true;
}

void VorCdeCas::deregisterForWlanNetConfigChange(const CasClientCb& client) {
    emu::CasCall c{};
    c.kind = emu::CasCall::DeregisterWlanNetConfig;
    c.nameNull = true;
    c.client = client;
    c.cb = client.cb;
    c.ctx = client.ctx;
    Engine::instance().casCalls.push_back(c);
}

void VorCdeCas::deregisterForNoninternetService(const CasClientCb& client, const void* name,
                                                const std::string& opName,
                                                _CQEClientOverrides overrides) {
    emu::CasCall c{};
    c.kind = emu::CasCall::DeregisterNoninternet;
    c.nameNull = name == nullptr;
    c.name = name != nullptr ? static_cast<const char*>(name) : "";
    c.overrides = overrides;
    c.operatorName = opName;
    c.client = client;
    c.cb = client.cb;
    c.ctx = client.ctx;
    Engine::instance().casCalls.push_back(c);
}

// ---- operator look-up ------------------------------------------------------------------------
std::string OperatorLookup::lookupOperator(const std::string& iccid) {
    Engine& e = Engine::instance();
    e.operatorLookups.push_back(iccid);
    auto it = e.operators.find(iccid);
    return it != e.operators.end() ? it->second : std::string("ERROR");
}
