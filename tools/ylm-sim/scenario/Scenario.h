// A scenario: what the modem, the daemons and the quality service do to the plug-in, in order.
// The loader turns the YAML text into ready-to-send records, so that a scenario that loads can
// no longer fail for a reason of its own while it runs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "VorCde.h"
#include "dsd_wifi_v01.h"

namespace ylmsim {

// A malformed scenario: where (file, 1-based line), which field (a path such as
// steps[2].start_measurement.meas_id) and what is wrong.
class ScenarioError : public std::runtime_error {
  public:
    ScenarioError(const std::string& file, int line, const std::string& field,
                  const std::string& message);
    std::string file;
    int line;
    std::string field;
    std::string message;
};

// One scripted daemon answer: a text, or a failed command.
struct Reply {
    bool fail = false;
    std::string text;
};

// Answers to one command on one interface (0 station, 1 P2P). With several replies each call
// takes the next one and the last one stays.
struct DaemonRule {
    int type = 0;
    std::string command;
    std::vector<Reply> replies;
};

struct DaemonConfig {
    std::vector<DaemonRule> rules;
    // Seconds from an accepted scan command to its scan-results event; unset: only scan_ready
    // steps deliver results.
    std::optional<int64_t> scanDelay;
    // connectToSupplicant failure per interface type, when set.
    std::map<int, bool> connectFailure;
};

struct ForkRule {
    std::string command;
    std::string output;
    int rc = 0;
};

struct EngineConfig {
    std::optional<int> chipsetType;
    std::optional<bool> decisionEngine;
    std::map<std::string, std::string> operators;  // ICCID text -> operator name
};

struct LiveConfig {
    double timeout = 5.0;  // seconds to wait for one reply of the real daemon
};

enum class StepKind {
    Advance,
    At,
    Note,
    StartMeasurement,
    StopMeasurement,
    ProfileInit,
    ProfileMask,
    DefaultProfile,
    StopAll,
    ScanReady,
    CasVerdict,
    NetConfig,
    WifiState,
    Daemon,
    ForkExec,
    Engine,
};

// One step. Only the members of its kind are meaningful.
struct Step {
    StepKind kind = StepKind::Note;
    int line = 0;
    size_t dsd = 0;       // DSD client index of an indication
    int64_t seconds = 0;  // Advance / At; ScanReady: live-mode wait
    std::string text;     // Note; CasVerdict / NetConfig: registration name
    bool nameNull = false;
    bool flag = false;  // WifiState: on
    dsd_start_wifi_meas_ind_msg_v01 start{};
    dsd_stop_wifi_meas_ind_msg_v01 stop{};
    dsd_wqe_profile_init_ind_msg_v01 init{};
    dsd_wqe_profile_type_ind_msg_v01 mask{};
    CasWlanNetConfigType cas{};
    DaemonConfig daemon;
    std::vector<ForkRule> forks;
    EngineConfig engine;
};

struct Scenario {
    std::string file;  // as named on the command line, or "<default>"
    std::string name;
    std::string description;
    EngineConfig engine;
    DaemonConfig daemon;
    std::vector<ForkRule> forks;
    LiveConfig live;
    std::vector<Step> steps;
    size_t dsdCount = 1;  // highest client index used + 1
};

// Both throw ScenarioError. file: paths inside the scenario are relative to baseDir (empty, or
// ending in a slash).
Scenario loadScenarioFile(const std::string& path);
Scenario loadScenarioText(const std::string& text, const std::string& file,
                          const std::string& baseDir);

// The embedded default scenario.
extern const char* const kDefaultScenario;

}  // namespace ylmsim
