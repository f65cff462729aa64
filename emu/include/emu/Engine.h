// Control side of the host emulator (libvor.so): a small, deterministic, single-threaded engine
// that tests and ylm-sim drive. The plug-in only sees the engine classes declared in host/.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "VorCde.h"
#include "VorCom.h"
#include "VorSupplicantWrapper.h"
#include "VorTimer.h"
#include "VorTpxDsd.h"
#include "VorUtils.h"
#include "dsd_wifi_v01.h"

namespace emu {

// ---- DSD client ------------------------------------------------------------------------------
enum class DsdOp {
    WifiMeasurementReport,
    WifiAvailableStatus,
    WqeProfileStatus,
    NotifyDataSettings
};
const char* dsdOpName(DsdOp op);

struct DsdMessage {
    const VorTpxDsd* dsd;
    DsdOp op;
    int64_t time;  // virtual clock when sent
    std::vector<uint8_t> bytes;

    // The bytes as the record they are (checked size). Copies, so alignment never matters.
    template <class T>
    T as() const {
        T out{};
        if (bytes.size() == sizeof(T)) {
            std::memcpy(&out, bytes.data(), sizeof(T));
        }
        return out;
    }
};

// ---- logger ----------------------------------------------------------------------------------
struct LogLine {
    int level;
    int module;
    std::string file;
    int line;
    std::string text;
};

// ---- timers ----------------------------------------------------------------------------------
struct TimerEntry {
    int32_t id;
    int64_t period;
    VorTimer::Callback cb;
    void* ctx;
    int64_t due;
    bool active;
};

// ---- supplicant channel ----------------------------------------------------------------------
struct SupplicantEvent {
    enum Kind {
        Command,
        CommandNoReply,
        Connect,
        Disconnect,
        FrequencyFilter,
        BssidFilter,
        RegisterScanReady
    };
    Kind kind;
    int type;          // supplicantType_t of the call (0 when the form takes none)
    std::string text;  // command or filter text
    size_t replyRoom;  // in-length given with a reply buffer, 0 otherwise
};
const char* supplicantEventName(SupplicantEvent::Kind kind);

// Where supplicant commands go: scripted replies (tests) or a real wpa_supplicant (live mode).
class SupplicantBackend {
  public:
    virtual ~SupplicantBackend() = default;
    virtual bool command(int type, const std::string& cmd, std::string& reply) = 0;
    virtual bool connect(int type) = 0;
    virtual bool disconnect(int type) = 0;
    virtual bool setFrequencyFilter(const std::string& freqs) = 0;
    virtual bool setBssidFilter(const std::string& bssids) = 0;
};

// Replies per (interface type, command text). A command with no reply and no failure set fails.
class ScriptedSupplicant : public SupplicantBackend {
  public:
    void setReply(const std::string& cmd, std::string reply, int type = 0);
    void setFailure(const std::string& cmd, bool fail = true, int type = 0);
    void setConnectFailure(int type, bool fail = true);
    void clear();

    bool command(int type, const std::string& cmd, std::string& reply) override;
    bool connect(int type) override;
    bool disconnect(int type) override;
    bool setFrequencyFilter(const std::string&) override { return true; }
    bool setBssidFilter(const std::string&) override { return true; }

  private:
    std::map<std::pair<int, std::string>, std::string> replies;
    std::set<std::pair<int, std::string>> failures;
    std::set<int> connectFailures;
};

// ---- forkExec --------------------------------------------------------------------------------
struct ForkExecCall {
    std::string cmdLine;
    uint32_t words[10];  // the option words; word 1 holds the buffer address's low 32 bits
    bool bufferGiven;
    uint32_t bufferSize;
};

class ForkExecBackend {
  public:
    virtual ~ForkExecBackend() = default;
    // Runs the command line; output is what it printed. Returns 0 on success.
    virtual int run(const std::string& cmdLine, std::string& output) = 0;
};

// Output and return code per exact command line; an unknown line returns 127 with no output.
class ScriptedForkExec : public ForkExecBackend {
  public:
    void setResult(const std::string& cmdLine, std::string output, int rc = 0);
    void clear() { results.clear(); }
    int run(const std::string& cmdLine, std::string& output) override;

  private:
    std::map<std::string, std::pair<std::string, int>> results;
};

// ---- connectivity-quality service ------------------------------------------------------------
struct CasCall {
    enum Kind {
        RegisterWifiState,
        RegisterWifiNotification,
        DeregisterWlanNetConfig,
        DeregisterNoninternet
    };
    Kind kind;
    bool nameNull;
    std::string name;
    _CQEClientOverrides overrides;
    std::string operatorName;
    CasClientCb client;
    CasNotifyCb cb;
    CasWifiStateCb stateCb;
    void* ctx;
};
const char* casCallName(CasCall::Kind kind);

// ---- the engine ------------------------------------------------------------------------------
class Engine {
  public:
    static Engine& instance();

    // Back to a fresh engine: new service objects, empty records, virtual clock at 0, scripted
    // backends cleared, chipset type 0, decision engine present, logger echo off.
    void reset();

    VorCom* com() { return &comObj; }
    VorTimer* timer() { return &timerObj; }
    VorSupplicantWrapper* supplicant() { return &supplicantObj; }
    // DSD clients: index 0 is the one most tests use; others stand for further modem clients.
    VorTpxDsd* dsd(size_t index = 0);

    // Logger.
    std::vector<LogLine> logs;
    // Also print every line whose level is at least minLevel (null: stop printing).
    void setLogEcho(FILE* out, int minLevel);
    // Drop every line at the logger's door, unformatted and unrecorded, as an engine that filters
    // the plug-in's lines out does (benchmarks measure the plug-in's work, not the emulator's).
    bool discardLogs = false;
    void captureLog(int level, int module, const char* file, int line, const std::string& text);

    // DSD.
    std::vector<DsdMessage> messages;
    // Called with each message right after it is recorded, still inside the plug-in's send (empty:
    // none). Stands for an engine that handles another indication while a send is in progress.
    std::function<void(const DsdMessage&)> onDsd;
    void recordDsd(const VorTpxDsd* dsd, DsdOp op, const void* data, size_t size);

    // Timers, on a virtual clock in the timer service's own unit.
    int64_t now() const { return clock; }
    // Runs every callback due up to now + dt, in due-time order (ties by id), each recurring
    // every period until removed. Non-positive periods never fire.
    void advance(int64_t dt);
    // Time of the next due callback, or -1 when none is armed.
    int64_t nextDue() const;
    std::vector<TimerEntry> timers;  // every timer ever added, in order
    std::vector<int32_t> removedTimerIds;
    int32_t addTimer(int64_t period, VorTimer::Callback cb, void* ctx);
    void removeTimer(int32_t id);
    size_t activeTimerCount() const;

    // Supplicant channel.
    ScriptedSupplicant& scriptedSupplicant() { return scripted; }
    void setSupplicantBackend(SupplicantBackend* backend);  // null: the scripted one
    SupplicantBackend& supplicantBackend() { return *supplicantImpl; }
    std::vector<SupplicantEvent> supplicantEvents;
    VorSupplicantWrapper::ScanReadyCb scanReadyCb = nullptr;
    void* scanReadyCtx = nullptr;
    void* scanReadyHostCtx = nullptr;  // first argument handed to the scan-ready callback
    void fireScanReady();
    // Commands only (kind Command/CommandNoReply), as "type:text", in order.
    std::vector<std::string> commands() const;

    // forkExec.
    ScriptedForkExec& scriptedForkExec() { return scriptedFork; }
    void setForkExecBackend(ForkExecBackend* backend);  // null: the scripted one
    ForkExecBackend& forkExecBackend() { return *forkImpl; }
    std::vector<ForkExecCall> forkCalls;
    int chipsetType = 0;

    // Connectivity-quality service.
    bool decisionEnginePresent = true;
    std::vector<CasCall> casCalls;
    // Live registrations for quality notifications (registered and not deregistered), in order.
    std::vector<CasCall> liveNotificationRegistrations() const;
    // Calls every live notification callback registered under name (nullptr: the unnamed one).
    // Returns how many were called.
    size_t deliverNotification(const char* name, void* result);
    // Calls every Wi-Fi state callback ever registered. Returns how many were called.
    size_t deliverWifiState(bool wifiOn);

    // Operator look-up: ICCID text -> operator; unknown ICCIDs give "ERROR".
    std::map<std::string, std::string> operators;
    std::vector<std::string> operatorLookups;

  private:
    Engine();
    VorCom comObj;
    VorTimer timerObj;
    VorSupplicantWrapper supplicantObj{};
    std::vector<std::unique_ptr<VorTpxDsd>> dsds;
    int64_t clock = 0;
    int32_t nextTimerId = 1;
    ScriptedSupplicant scripted;
    SupplicantBackend* supplicantImpl;
    ScriptedForkExec scriptedFork;
    ForkExecBackend* forkImpl;
    FILE* echo = nullptr;
    int echoMinLevel = 0;
};

}  // namespace emu
