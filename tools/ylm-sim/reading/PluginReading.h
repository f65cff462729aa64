// The plug-in's own reading of the daemons' replies and the modem's requests, linked in from the
// library (ylm_static) so that the explanations and the picture say what the plug-in makes of a
// text without reading it a second way. Everything the engine sees still comes from the libylm.so
// the runner loaded; this linked copy has singletons and buffers of its own, but it logs through
// the same engine logger, so every call here runs with that logger detached.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <string>
#include <vector>

#include "MeasurementRequestReport.h"
#include "WifiInformationElementParser.h"
#include "dsd_wifi_v01.h"

namespace ylmsim::reading {

// One access point as the plug-in reads it from a scan table; row is the table row (1 = first
// after the header) that its BSSID came from.
struct ScanRecord {
    std::string bssid;
    std::string frequency;
    int16_t level = 0;
    std::string ssid;
    size_t row = 0;
};
std::vector<ScanRecord> scanTable(const std::string& text);

// The frequency a scan report carries for the access point.
uint16_t reportedFrequency(const ScanRecord& record);
// True when the plug-in reads the text as an address; a scan report carries any other BSSID as
// 00:00:00:00:00:00.
bool readsAsAddress(const std::string& bssid);

// A measurement as the plug-in takes its start indication.
struct Request {
    bool scanning = false;
    std::list<MeasurementRequestReport> filters;
};
Request request(const dsd_start_wifi_meas_ind_msg_v01& ind);

// The groups a scan report is built from: SSID key -> records, in report order.
using Groups = std::map<std::string, std::vector<ScanRecord>>;
Groups reportGroups(const std::vector<ScanRecord>& records,
                    const std::list<MeasurementRequestReport>& filters);

// The values of every occurrence of key in a key=value reply.
std::vector<std::string> replyValues(const std::string& reply, const std::string& key);

// Where the element walk over a hex "ie" text stopped: whether an element with an empty body ended
// it (which, and where), and what walks going on past each such element would have read.
struct ElementWalk {
    bool endedByEmpty = false;
    WifiInformationElementParser::Tlv empty;
    std::vector<WifiInformationElementParser::Tlv> unread;
};
ElementWalk walkElements(const std::string& hex);

// What the plug-in takes from a BSS reply for its reports: the Wi-Fi generation, HESSID and
// country code of the station's availability report, the channel utilization of a scan report.
struct BssFacts {
    int wifiMode = 0;
    std::string hessid;
    std::string countryCode;
    uint16_t channelUtilization = 0;
};
BssFacts bssFacts(const std::string& reply);
// The reply as it would read had each element walk gone on past its empty elements: every "ie"
// value written again without them.
std::string withWalkGoneOn(const std::string& reply);

// The RSSI smoothing of a connected-mode measurement.
class Smoothing {
  public:
    explicit Smoothing(const dsd_start_wifi_meas_ind_msg_v01& ind);
    // The average after a sample.
    int16_t fold(int16_t sample);
    int16_t average() const { return value; }

  private:
    float alpha;
    bool seen = false;
    int16_t value = 0;
};

// The status code a quality-status message carries for a failed verdict of this reason.
int32_t verdictStatusCode(int32_t reason);

}  // namespace ylmsim::reading
