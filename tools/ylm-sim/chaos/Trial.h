// One chaos run in a child process of its own: the plug-in's singletons start fresh for each, as
// after an engine restart, and a run that crashes takes only its child down. The parent never
// loads the plug-in, so it can start as many runs as shortening a failure takes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "chaos/Operations.h"

namespace ylmsim::chaos {

struct Outcome {
    bool failed = false;
    std::string invariant;  // "crash" when the child died, "hang" when it ran out of time
    std::string detail;
    uint64_t step = 0;   // index of the operation that broke it
    uint64_t steps = 0;  // operations played
    double seconds = 0;
    std::string summary;  // the run's heap and proxies, when it ran to its end
};

struct TrialSetup {
    const Expander* expander;
    std::string library;
    bool progress = false;  // a line on stderr every few seconds
    bool quiet = false;     // the child's stderr (sanitizer reports) goes nowhere
    double timeLimit = 0;   // seconds; 0: none
};

// The run of a seed: operations drawn as they go, steps of them, the heap checked along the way.
Outcome runSeed(const TrialSetup& setup, uint64_t seed, uint64_t steps);
// The given operations, in order; stops at the first broken invariant.
Outcome runOps(const TrialSetup& setup, const std::vector<Op>& ops);

}  // namespace ylmsim::chaos
