// The chaos driver's operations: every engine operation and daemon behaviour, drawn from a seed.
// An operation is small (a kind, a client, a seed of its own); the scenario step it stands for is
// drawn from its own seed, so that a run of millions of steps is generated as it goes, and the
// steps of a failure can be shortened without changing the ones that remain.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "scenario/Scenario.h"
#include "chaos/Rng.h"
#include "chaos/Texts.h"

namespace ylmsim::chaos {

enum class OpKind : uint8_t {
    Advance,         // time passes: 0 to 6 s, now and then minutes (timers firing late)
    ScanReady,       // the daemon's scan-results event
    StartScan,       // a scan-mode measurement, filters valid or out of range
    StartConnected,  // a connected-mode measurement
    StartOdd,        // a start record with lengths past its room and stray bytes
    Stop,            // stopWifiMeasurement
    StopAll,         // stopAllRequests
    ProfileInit,     // wqeProfileInit
    ProfileMask,     // setWqeProfile
    DefaultProfile,  // createDefaultProfile, again and again
    Verdict,         // a quality verdict of the service
    NetConfig,       // a network configuration of the service
    WifiState,       // Wi-Fi on or off
    Daemon,    // a daemon reply changes: genuine, made over, failing, empty, oversized, garbage
    ForkExec,  // hostapd_cli's output changes
    Engine,    // the decision engine goes or comes back; the chipset type changes
    Count
};

const char* opName(OpKind kind);

struct Op {
    OpKind kind;
    uint8_t dsd;    // DSD client index, 0 or 1
    uint64_t seed;  // everything else of the step
    // Profile indications: the profile, the meas_id field and its valid flag, the mask.
    int32_t profile = 0;
    uint8_t valid = 0;
    uint64_t measId = 0;
    uint64_t mask = 0;
};

// The run's operations, one by one, weighted so that the rare paths of the engine's contract
// (stopAllRequests, the default profile again, Wi-Fi off, no decision engine, records out of
// range) come often. Masks mostly switch profiles that earlier initialisations named, under
// their measurement id marked valid or not, so that the registry's look-up under 0 and its start
// under the field meet.
class Generator {
  public:
    explicit Generator(uint64_t seed) : rng(seed) {}
    Op next();

  private:
    void profileOp(Op& op);

    struct Init {
        uint8_t dsd;
        int32_t profile;
        uint64_t measId;
    };
    Rng rng;
    uint64_t defaults = 0;    // createDefaultProfile operations so far
    std::vector<Init> inits;  // the latest initialisations asked for
};

// The scenario steps the operations stand for, and the world at step 0.
class Expander {
  public:
    explicit Expander(const Texts& texts) : texts(texts) {}

    // Engine settings, daemon replies and shell outputs before the first step (genuine).
    Scenario base() const;
    Step step(const Op& op) const;

  private:
    void start(Step& s, Rng& r, OpKind kind) const;
    void netConfig(Step& s, Rng& r) const;
    void daemon(Step& s, Rng& r) const;

    const Texts& texts;
};

// The ICCID, as the modem's BCD octets in hex, of the SIM whose operator the engine knows.
constexpr const char* kKnownIccidDigits = "89014103211118510720";

}  // namespace ylmsim::chaos
