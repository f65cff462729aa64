// The plug-in's invariants, checked after every step from what the engine sees: the DSD messages
// the step brought, the timers armed, fired and removed, the supplicant commands, the
// quality-service calls and operator look-ups. The contract's quirks are encoded where they break
// an intuitive rule (see docs/decisions.md, chaos driver).
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "scenario/Scenario.h"
#include "emu/Engine.h"

namespace ylmsim::chaos {

struct Violation {
    std::string invariant;  // a short stable name: what a replay must break again
    std::string detail;
};

// What the engine saw during one step.
struct StepView {
    std::vector<const emu::DsdMessage*> messages;
    std::vector<size_t> messageClients;  // DSD client index of each message
    std::vector<const emu::SupplicantEvent*> events;
    std::vector<const emu::CasCall*> cas;
    std::vector<std::string> lookups;           // operator look-ups, by ICCID text
    std::vector<const emu::TimerEntry*> added;  // timers armed
    std::vector<int32_t> removed;               // timers removed
    std::map<int32_t, int64_t> fired;           // timer id -> how often it fired
    std::map<int32_t, int64_t> lastFired;       // timer id -> when it fired last

    size_t count(emu::SupplicantEvent::Kind kind, const std::string& text) const;
};

class RawModel;
class ProfileModel;

class Checker {
  public:
    Checker();
    Checker(const Checker&) = delete;
    Checker& operator=(const Checker&) = delete;
    ~Checker();

    // After each step; started: what startWifiMeasurement returned (start steps only).
    std::optional<Violation> afterStep(const Step& step, bool started);
    // The engine's records were emptied and its timers and quality-service calls compacted; the
    // checker reads on from where they now end.
    void recordsDropped();

    // Wi-Fi state registrations so far: each keeps a default-profile proxy for good.
    size_t keptProxies() const;

  private:
    StepView look();

    size_t messagesSeen = 0;
    size_t eventsSeen = 0;
    size_t casSeen = 0;
    size_t lookupsSeen = 0;
    size_t removedSeen = 0;
    int32_t lastTimerId = 0;
    struct Due {
        int64_t due;
        int64_t period;
    };
    std::map<int32_t, Due> dues;  // active timers before the step
    std::map<const VorTpxDsd*, size_t> clients;
    std::unique_ptr<RawModel> raw;
    std::unique_ptr<ProfileModel> profiles;
};

// The fields of every message in their bounds (sizes, lengths, valid flags, reserved bytes).
std::optional<Violation> checkMessage(const emu::DsdMessage& msg);

}  // namespace ylmsim::chaos
