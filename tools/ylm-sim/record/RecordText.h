// A step's record written as its fields by name when they read back as the same bytes, or as
// the bytes themselves.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "scenario/Scenario.h"

namespace ylmsim::recordtext {

// The record a step of this kind carries, as bytes; null for kinds without one.
std::pair<uint8_t*, size_t> recordOf(Step& s);
// The step as YAML: its fields when they read back as the same record, client and name; its
// bytes ({dsd or name, hex}) otherwise.
std::string recordStep(const Step& s);

}  // namespace ylmsim::recordtext
