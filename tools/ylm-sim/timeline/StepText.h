// The timeline's text of a scenario step: the records and settings it carries, field by field.
#pragma once

#include <string>

#include "scenario/Scenario.h"

namespace ylmsim {

// What the timeline shows for the step, from its records: the fields an indication has (optional
// ones when valid, those of a network configuration when not zero), or the settings it changes.
std::string describeStep(const Step& step);

}  // namespace ylmsim
