// Scenarios written out as YAML text that the loader reads back to the same records, byte for
// byte: what --record writes of a run, and what the chaos driver writes of a failure.
#pragma once

#include <string>
#include <vector>

#include "scenario/Scenario.h"

namespace ylmsim {

// The bytes of a hex text ("0a1b..."); false when it is not an even number of hex digits.
bool hexBytes(const std::string& hex, std::string& bytes);

// A modem indication or quality-service record given as its bytes: fills the record of the step's
// kind from the hex text (a shorter text leaves the rest of the record zero).
// False, with why, when the text is not hex, is longer than the record, or the kind has no record.
bool readRawRecord(Step& step, const std::string& hex, std::string& why);

// The whole scenario as YAML, headed by the comment lines given. A daemon reply that is no UTF-8
// text goes as {hex: ...}; an indication whose record the fields cannot give exactly (a list
// length beyond its room, bytes after an SSID's end, a stray reserved byte) goes as its bytes.
std::string scenarioText(const Scenario& scenario, const std::vector<std::string>& comment);

}  // namespace ylmsim
