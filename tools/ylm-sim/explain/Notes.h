// Explanations of reports that look wrong but are what the plug-in must send: the simulator sees
// the same daemon replies and modem requests as the plug-in, reads them with the plug-in's own
// reading and says, when it happens, which row or BSSID made a report odd and how.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "emu/Engine.h"
#include "reading/PluginReading.h"
#include "run/SupplicantTap.h"

namespace ylmsim {

struct Note {
    std::string about;  // the command or message it concerns
    std::string text;
};

class Explainer {
  public:
    // The measurements whose requests filter the scans: accepted starts until their stop.
    void started(const VorTpxDsd* dsd, const dsd_start_wifi_meas_ind_msg_v01& ind);
    void stopped(const VorTpxDsd* dsd, int32_t measId);
    void stoppedAll(const VorTpxDsd* dsd);

    // A daemon reply as it came, and the room the plug-in gave it (0: it does not read it).
    void reply(int type, const std::string& cmd, const std::string& text, size_t room);
    // A message the plug-in sent to the modem.
    void message(const emu::DsdMessage& msg);

    // The notes since the last call, in the order they arose.
    std::vector<Note> take();

  private:
    void scanTable(const std::string& full, size_t room);
    void cutTable(const std::string& full, const std::string& seen);
    void emptyColumn(const std::string& seen);
    void escapedSsids();
    void bssReply(const std::string& cmd, const std::string& text);
    void crowdedReport(const emu::DsdMessage& msg);

    using RequestKey = std::pair<const VorTpxDsd*, int32_t>;
    struct Request {
        bool scanning = false;
        std::list<MeasurementRequestReport> filters;
    };
    std::map<RequestKey, Request> requests;
    std::vector<reading::ScanRecord> lastScan;  // the records of the latest scan table read
    std::vector<Note> pending;
};

// The supplicant channel the engine hands the plug-in, passing every reply on to the explainer.
class ExplainedSupplicant : public SupplicantTap {
  public:
    explicit ExplainedSupplicant(Explainer& explainer) : explainer(explainer) {}

    bool command(int type, const std::string& cmd, std::string& reply) override;

  private:
    Explainer& explainer;
};

}  // namespace ylmsim
