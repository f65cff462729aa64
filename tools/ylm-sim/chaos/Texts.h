// Daemon replies for the chaos driver: the genuine captures of tests/fixtures/real-daemons as they
// are, made over (other access points and values, elements of other lengths, hidden networks,
// crowded SSIDs), mutated byte by byte, empty, grown past the reply buffer, or bytes that are no
// reply at all.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "scenario/Scenario.h"
#include "chaos/Rng.h"

namespace ylmsim::chaos {

enum class ReplyKind {
    Status,       // STATUS on the station
    SignalPoll,   // SIGNAL_POLL
    Scan,         // SCAN
    ScanResults,  // SCAN_RESULTS
    Bss,          // BSS <bssid>
    P2pStatus,    // STATUS on the P2P interface
    Hostapd,      // hostapd_cli ... STATUS
};

class Texts {
  public:
    // Reads the captures from dir; false with the reason when one is missing.
    bool load(const std::string& dir, std::string& error);

    // A reply of that kind, or a failed command.
    Reply reply(ReplyKind kind, Rng& r) const;
    // One of the genuine captures of that kind.
    std::string genuine(ReplyKind kind, Rng& r) const;

    // The BSSIDs the scan tables use and the BSS replies are scripted for, so that they meet.
    static const std::vector<std::string>& bssids();

  private:
    std::string file(const std::string& name) const;
    std::string madeOver(ReplyKind kind, Rng& r) const;
    std::string scanTable(Rng& r) const;
    std::string bssReply(Rng& r) const;
    std::string keyValues(ReplyKind kind, Rng& r) const;

    std::map<std::string, std::string> files;
    std::vector<std::string> scanRows;  // the rows of the genuine scan tables
};

// A few random changes to the bytes: flipped, cut out, repeated, inserted, the text cut short.
std::string mutate(std::string text, Rng& r);

}  // namespace ylmsim::chaos
