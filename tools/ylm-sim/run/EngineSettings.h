// A scenario's settings of the engine emulator (chipset, decision engine, operators, scripted
// shell outputs), applied alike by a scripted run and a chaos run.
#pragma once

#include <vector>

#include "emu/Engine.h"
#include "scenario/Scenario.h"

namespace ylmsim {

// The settings a run starts with: unset ones take the engine's defaults.
void startEngine(emu::Engine& e, const EngineConfig& config);
// A step's settings: unset ones stay as they are, operators add to the known ones.
void changeEngine(emu::Engine& e, const EngineConfig& config);
void scriptForks(emu::Engine& e, const std::vector<ForkRule>& forks);

}  // namespace ylmsim
