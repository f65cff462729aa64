// Sits in front of the engine's supplicant backend (scripted or live) and passes every call on;
// a subclass looks at the commands and their replies on the way back.
#pragma once

#include <string>

#include "emu/Engine.h"

namespace ylmsim {

class SupplicantTap : public emu::SupplicantBackend {
  public:
    void wrap(emu::SupplicantBackend* backend) { inner = backend; }

    bool connect(int type) override { return inner->connect(type); }
    bool disconnect(int type) override { return inner->disconnect(type); }
    bool setFrequencyFilter(const std::string& freqs) override {
        return inner->setFrequencyFilter(freqs);
    }
    bool setBssidFilter(const std::string& bssids) override {
        return inner->setBssidFilter(bssids);
    }

  protected:
    emu::SupplicantBackend* inner = nullptr;
};

}  // namespace ylmsim
