// ylm-sim --chaos: days of engine traffic in minutes. A seeded run of every engine operation and
// daemon behaviour against the real libylm.so, the invariants checked after every step; a broken
// one stops the run, and the steps that led there, shortened to as few as still break it, become
// a scenario that ylm-sim --check plays back to the same failure.
#pragma once

#include <string>
#include <vector>

#include "run/Runner.h"

namespace ylmsim::chaos {

// ylm-sim --chaos SEED [--steps N] [--out DIR] [--lib PATH] [--fixtures DIR] [--shrink-time S].
// 0: every invariant held; 1: one broke (the scenario is written); 2: a bad command line.
int chaosMain(const std::vector<std::string>& args, const std::string& defaultLibrary);

// --check: the invariants after every step of a scripted run; the first broken one is reported
// on stderr ("invariant broken at step K (line L): NAME: detail") and ends the run (status 3).
void checkEveryStep(RunOptions& opts);

}  // namespace ylmsim::chaos
