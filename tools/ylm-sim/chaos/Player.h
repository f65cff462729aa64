// Plays scenario steps against the real libylm.so in this process, as ylm-sim plays a scripted
// scenario (the same engine calls, the same virtual clock), but lets go of what the engine saw
// once the checker has looked at it, so that days of steps run in bounded memory.
#pragma once

#include <map>
#include <string>
#include <utility>

#include "run/Plugin.h"
#include "scenario/Scenario.h"
#include "run/SimSupplicant.h"

namespace ylmsim::chaos {

class Player {
  public:
    Player() = default;
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;
    ~Player();

    // A fresh engine with the scenario's settings, replies and outputs, then the plug-in loaded
    // and linked; false with the reason when it cannot be loaded. Once per process: the plug-in's
    // singletons live as long as the process.
    bool setUp(const Scenario& sc, const std::string& library, std::string& error);

    // Performs the step; for a start, returns what startWifiMeasurement returned.
    bool perform(const Step& s);

    // Empties the engine's records (logs, messages, commands, quality-service calls that no
    // longer count, timers that were removed). The plug-in saw none of them.
    void dropRecords();
    // A scripted daemon built afresh from the replies in force: what it noted of unanswered
    // commands goes, what it answers stays.
    void renewDaemon();

  private:
    Plugin plugin;
    SimSupplicant daemon;
    // The replies in force per (interface, command), and the P2P link's failure.
    std::map<std::pair<int, std::string>, DaemonRule> rules;
    std::map<int, bool> connectFailures;
    void keep(const DaemonConfig& config);
};

}  // namespace ylmsim::chaos
