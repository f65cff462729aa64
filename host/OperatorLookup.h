// The engine's operator look-up by SIM ICCID.
#pragma once

#include <string>

class OperatorLookup {
  public:
    // The operator's name, or "ERROR" when the ICCID is unknown.
    static std::string lookupOperator(const std::string& iccid);
};
