#include "reading/PluginReading.h"

#include <cstdio>
#include <cstring>

#include "CasProxy.h"
#include "RawMeasurement.h"
#include "VorMsg.h"
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

// Each element of every walk over the text, the walk going on past the elements with an empty
// body that end it.
template <class Visit>
void everyWalk(Ie& parser, const char* hex, Visit&& visit) {
    Ie::Walk walk = parser.walk(hex);
    for (;;) {
        for (const auto& t : walk.elements) {
            visit(t);
        }
        if (!walk.endedByEmpty) {
            return;
        }
        walk = parser.walk(hex, walk.resume);
    }
}

void appendHex(std::string& out, size_t octet) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned>(octet));
    out += digits;
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
    const Ie::Walk walk = parser.walk(hex.c_str());
    ElementWalk out{walk.endedByEmpty, walk.empty, {}};
    if (walk.endedByEmpty) {
        everyWalk(parser, hex.c_str(), [&out](const Ie::Tlv& t) {
            if (t.at > out.empty.at) {
                out.unread.push_back(t);
            }
        });
    }
    return out;
}

BssFacts bssFacts(const std::string& reply) {
    const Detached quiet;
    WifiParser* parser = WifiParser::getInstance();
    // The generation needs the frequency, which the plug-in takes from the station's status.
    WifiStatus status;
    parser->parseStatusCmdData(reply.c_str(), status);
    parser->parseBssCmdWifiInfo(reply.c_str(), status);
    BssLoad load;
    parser->parseBssLoadCmdData(reply.c_str(), load);
    return {status.wifiMode, status.hessid, status.countryCode, load.channelUtilization};
}

std::string withWalkGoneOn(const std::string& reply) {
    const Detached quiet;
    std::string copy = reply;
    std::string out;
    Ie parser;
    for (const auto& pair : WifiParser::cutReply(copy.data())) {
        out += pair.key;
        if (pair.value == nullptr) {
            break;
        }
        out += '=';
        if (std::strcmp(pair.key, "ie") != 0) {
            out += pair.value;
        } else {
            everyWalk(parser, pair.value, [&](const Ie::Tlv& t) {
                appendHex(out, t.id);
                appendHex(out, t.length);
                for (size_t i = 0; i < t.length; ++i) {
                    appendHex(out, parser.octet(pair.value, t, i));
                }
            });
        }
        out += '\n';
    }
    return out;
}

Smoothing::Smoothing(const dsd_start_wifi_meas_ind_msg_v01& ind) : alpha(Raw::historyWeight(ind)) {}

int16_t Smoothing::fold(int16_t sample) {
    value = Raw::foldedRssi(alpha, seen, value, sample);
    seen = true;
    return value;
}

int32_t verdictStatusCode(int32_t reason) {
    const Detached quiet;
    return WifiMeasurementRequest::CasProxy::getTpxStatusCode(
        static_cast<VorWQEResultReason>(reason));
}

}  // namespace ylmsim::reading
