// The scenario's scripted wpa_supplicant: replies per command (in sequence), failures, and the
// scan-results events that accepted scan commands lead to.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "scenario/Scenario.h"
#include "emu/Engine.h"

namespace ylmsim {

class SimSupplicant : public emu::SupplicantBackend {
  public:
    // Adds the rules (a rule for a command already scripted replaces it, and starts its sequence
    // anew), and takes over the scan delay and connect failures that the config sets.
    void apply(const DaemonConfig& config);

    bool command(int type, const std::string& cmd, std::string& reply) override;
    bool connect(int type) override { return connectFailures.count(type) == 0; }
    bool disconnect(int /*type*/) override { return true; }
    bool setFrequencyFilter(const std::string& /*freqs*/) override { return true; }
    bool setBssidFilter(const std::string& /*bssids*/) override { return true; }

    // Earliest scan-results event still to come (virtual seconds), or -1.
    int64_t nextScanResults() const { return pendingScans.empty() ? -1 : pendingScans.front(); }
    void popScanResults() { pendingScans.pop_front(); }

    // Commands that had no scripted reply, as "sta: CMD" / "p2p: CMD", with how often.
    const std::map<std::string, size_t>& unanswered() const { return missing; }

  private:
    struct Script {
        std::vector<Reply> replies;
        size_t next = 0;
    };
    std::map<std::pair<int, std::string>, Script> scripts;
    std::set<int> connectFailures;
    int64_t scanDelay = -1;
    std::deque<int64_t> pendingScans;
    std::map<std::string, size_t> missing;
};

}  // namespace ylmsim
