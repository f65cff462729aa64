#include "run/EngineSettings.h"

namespace ylmsim {

void startEngine(emu::Engine& e, const EngineConfig& config) {
    e.chipsetType = config.chipsetType.value_or(0);
    e.decisionEnginePresent = config.decisionEngine.value_or(true);
    e.operators = config.operators;
}

void changeEngine(emu::Engine& e, const EngineConfig& config) {
    if (config.chipsetType) {
        e.chipsetType = *config.chipsetType;
    }
    if (config.decisionEngine) {
        e.decisionEnginePresent = *config.decisionEngine;
    }
    for (const auto& [iccid, name] : config.operators) {
        e.operators[iccid] = name;
    }
}

void scriptForks(emu::Engine& e, const std::vector<ForkRule>& forks) {
    for (const auto& f : forks) {
        e.scriptedForkExec().setResult(f.command, f.output, f.rc);
    }
}

}  // namespace ylmsim
