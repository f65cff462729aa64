#include "reading/PluginReading.h"

#include <cstring>

#include "RawMeasurement.h"
#include "VorMsg.h"
#include "WifiInformationElementParser.h"
#include "WifiParser.h"
#include "WifiScanResult.h"

namespace ylmsim::reading {
namespace {

using Raw = WifiMeasurementRequest::RawMeasurement;
using Ie = WifiInformationElementParser;

// The engine's logger detached for the life of a call: the loaded plug-in's lines are the only
// ones the engine takes. The plug-in waits in an engine call meanwhile, so it logs nothing then.
class Detached {
  public:
    Detached() : logger(VorMsg::vor_log_class_ptr) { VorMsg::vor_log_class_ptr = nullptr; }
    ~Detached() { VorMsg::vor_log_class_ptr = logger; }
    Detached(const Detached&) = delete;
    Detached& operator=(const Detached&) = delete;

  private:
    VorMsg* logger;
};

BssidInfo infoOf(const ScanRecord& r) {
    BssidInfo info;
    info.bssid = r.bssid;
    info.frequency = r.frequency;
    info.level = r.level;
    info.ssid = r.ssid;
    return info;
}

Element elementOf(const Ie::Tlv& t) {
    return {t.id, t.length, t.at};
}

}  // namespace

std::vector<ScanRecord> scanTable(const std::string& text) {
    const Detached quiet;
    std::vector<ScanRecord> out;
    for (const auto& r : WifiParser::readScanTable(text.c_str())) {
        out.push_back(
            {std::string(r.bssid), std::string(r.frequency), r.level, std::string(r.ssid), r.row});
    }
    return out;
}

uint16_t reportedFrequency(const ScanRecord& record) {
    const Detached quiet;
    dsd_wifi_bssid_meas_type_v01 sent;
    std::memset(&sent, 0, sizeof sent);
    Raw::fillScanRecord(sent, infoOf(record));
    return sent.frequency;
}

bool readsAsAddress(const std::string& bssid) {
    unsigned char mac[6];
    return WifiParser::readMac(bssid.c_str(), mac);
}

Request request(const dsd_start_wifi_meas_ind_msg_v01& ind) {
    const Detached quiet;
    return {Raw::asksForScans(ind), Raw::decodeScanRequest(ind).reports};
}

Groups reportGroups(const std::vector<ScanRecord>& records,
                    const std::list<MeasurementRequestReport>& filters) {
    const Detached quiet;
    WifiScanResult result;
    for (const auto& r : records) {
        result.addData(r.bssid, r.frequency, r.level, r.ssid);
    }
    std::list<MeasurementRequestReport> asked = filters;
    result.filterData(asked);
    // Each access point of a group is the first record of its text keys, the one the store kept.
    Groups groups;
    for (const auto& [key, list] : result.reportBySsid) {
        auto& group = groups[std::string(key)];
        for (const BssidInfo& info : list) {
            for (const auto& r : records) {
                if (r.bssid == info.bssid && r.frequency == info.frequency &&
                    r.level == info.level && r.ssid == info.ssid) {
                    group.push_back(r);
                    break;
                }
            }
        }
    }
    return groups;
}

std::vector<std::string> replyValues(const std::string& reply, const std::string& key) {
    const Detached quiet;
    std::vector<std::string> values;
    std::string copy = reply;
    for (const auto& pair : WifiParser::cutReply(copy.data())) {
        if (pair.value != nullptr && key == pair.key) {
            values.emplace_back(pair.value);
        }
    }
    return values;
}

ElementWalk walkElements(const std::string& hex) {
    const Detached quiet;
    Ie parser;
    Ie::Walk walk = parser.walk(hex.c_str());
    ElementWalk out;
    for (const auto& t : walk.elements) {
        out.read.push_back(elementOf(t));
    }
    out.endedByEmpty = walk.endedByEmpty;
    out.empty = elementOf(walk.empty);
    // Walks that go on past each empty element find what the plug-in never reads.
    while (walk.endedByEmpty) {
        walk = parser.walk(hex.c_str(), walk.resume);
        for (const auto& t : walk.elements) {
            out.unread.push_back(elementOf(t));
        }
    }
    return out;
}

Smoothing::Smoothing(const dsd_start_wifi_meas_ind_msg_v01& ind) : alpha(Raw::historyWeight(ind)) {}

int16_t Smoothing::fold(int16_t sample) {
    value = Raw::foldedRssi(alpha, seen, value, sample);
    seen = true;
    return value;
}

}  // namespace ylmsim::reading
