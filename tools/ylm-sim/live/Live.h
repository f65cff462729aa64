// Live mode: the engine's supplicant channel on a real wpa_supplicant control interface, and
// forkExec on a real shell.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "emu/Engine.h"
#include "live/CtrlSocket.h"
#include "live/LiveForkExec.h"

namespace ylmsim {

// The SCAN freq= list for a channel filter ("1,2437,3"): band codes 1, 2 and 3 become the channel
// frequencies of the 2.4, 3.6 and 5 GHz bands, other codes are frequencies in MHz. Empty when the
// scan may use every channel: an empty filter, or one that holds 65535.
std::string scanFrequencies(const std::string& channelFilter);

// The value of SET bssid_filter for a BSSID filter ("a,b"): the BSSIDs space-separated, or empty
// (no filter) when the list is empty or holds ff:ff:ff:ff:ff:ff.
std::string bssidFilterValue(const std::string& bssidFilter);

struct LiveOptions {
    std::string ctrlDir = "/var/run/wpa_supplicant";
    std::string iface = "wlan0";
    std::string p2pIface = "p2p-dev-wlan0";
    double timeout = 5.0;
};

class LiveSupplicant : public emu::SupplicantBackend {
  public:
    explicit LiveSupplicant(LiveOptions options);
    LiveSupplicant(const LiveSupplicant&) = delete;
    LiveSupplicant& operator=(const LiveSupplicant&) = delete;
    ~LiveSupplicant() override;

    // Reaches the station interface (PING) and attaches a monitor for its events.
    bool start(std::string& error);
    // Takes back what the run left in the daemon (the BSSID filter), detaches, closes.
    void finish();

    // -1 while the daemon is gone.
    int monitorDescriptor() const { return monitor.descriptor(); }
    // Reads the waiting monitor events; returns how many were scan-results events. Once the
    // daemon the monitor was attached to is gone, attaches to the one at the same path as soon
    // as there is one.
    size_t readEvents();
    // Lines for the timeline: commands as they went on the wire when they differ from what the
    // plug-in asked, failures, timeouts, the daemon going away.
    std::vector<std::string> takeNotices();

    bool command(int type, const std::string& cmd, std::string& reply) override;
    bool connect(int type) override;
    bool disconnect(int type) override;
    bool setFrequencyFilter(const std::string& freqs) override;
    bool setBssidFilter(const std::string& bssids) override;

  private:
    std::string serverPath(int type) const;
    bool openType(int type, std::string& error);
    bool attachMonitor(std::string& error);
    bool exchange(int type, const std::string& cmd, std::string& reply);
    void countScanEvents(const std::vector<std::string>& events);
    // The command link of that type has lost its daemon: closed, to be opened again on its next
    // use, once a daemon answers at the same path.
    void drop(int type, const std::string& why);

    LiveOptions opts;
    std::string tempDir;
    CtrlSocket sockets[2];
    CtrlSocket monitor;
    std::string scanFreqs;
    bool bssidFilterSet = false;
    std::vector<std::string> notices;
    size_t scanEvents = 0;
    bool lost[2] = {false, false};  // said that the daemon is gone, not yet that it is back
    bool monitorDropped = false;    // closed with a lost daemon, to be attached again
};

}  // namespace ylmsim
