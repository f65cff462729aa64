// --record: what a run met — the engine operations, every daemon reply and shell output the
// plug-in got, and the engine's time of each — kept as a scenario that plays back scripted on the
// virtual clock to the same DSD messages. An odd report seen once against real daemons becomes a
// file anyone can replay.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "emu/Engine.h"
#include "run/SupplicantTap.h"
#include "scenario/Scenario.h"

namespace ylmsim {

class Recorder {
  public:
    // played: the scenario being run (its name and engine settings are kept); how: the mode, for
    // the file's heading.
    Recorder(const Scenario& played, std::string how);
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;
    ~Recorder();

    // Taps in front of the backends the engine uses; each passes every call on and keeps what
    // came back.
    emu::SupplicantBackend* supplicant(emu::SupplicantBackend* inner);
    emu::ForkExecBackend* forkExec(emu::ForkExecBackend* inner);

    // A step just performed: indications, quality-service deliveries, Wi-Fi state, engine
    // settings and notes are kept; time steps, scan waits and daemon scripts are not (the times
    // and replies stand for them).
    void step(const Step& s);
    // The scan-results callback, about to fire now.
    void scanReady();

    // Writes the scenario, up to the engine's time now; false with the reason when it cannot.
    bool write(const std::string& path, std::string& error);

  private:
    class SupplicantSide;
    class ForkSide;
    friend class SupplicantSide;
    friend class ForkSide;

    void reply(int type, const std::string& cmd, bool ok, const std::string& text);
    void connected(int type, bool ok);
    void forked(const std::string& cmdLine, const std::string& output, int rc);
    // Starts an event at the engine's time: an at step when time has passed, then the changes of
    // the shell and the P2P link that the event met.
    void mark();

    std::string how;
    Scenario out;
    std::map<std::pair<int, std::string>, size_t> rules;       // (interface, command) -> rule
    std::map<std::string, std::pair<std::string, int>> shell;  // what the script holds now
    std::map<int, bool> connectFails;                          // likewise, per interface
    std::vector<ForkRule> pendingForks;
    std::map<int, bool> pendingConnects;
    int64_t last = 0;
    std::vector<std::string> problems;
    std::unique_ptr<SupplicantSide> supplicantSide;
    std::unique_ptr<ForkSide> forkSide;
};

}  // namespace ylmsim
