// The plug-in's reading of daemon replies and its scan filtering, replayed step for step on the
// same text, so that the simulator can tell why a report came out as it did. Each function follows
// the library's own reading, odd corners included: an explanation is only right while both read
// alike, so a change of the library's reading must come here too.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "dsd_wifi_v01.h"

namespace ylmsim::replay {

// One access point as the scan-table reader makes it; row is the table row (1 = first after the
// header) that its BSSID text came from.
struct ScanRecord {
    std::string bssid;
    std::string frequency;
    int16_t level = 0;
    std::string ssid;
    size_t row = 0;
};

// The scan table as the reader takes it: tokens split on tabs, the SSID on tabs or line ends,
// empty columns skipped, a missing column keeping the previous row's value.
std::vector<ScanRecord> readScanTable(const std::string& text);

// The scan table as the daemon wrote it: the columns of each row after the header, empty ones
// included. A last line without its line end is included as it stands.
std::vector<std::vector<std::string>> tableRows(const std::string& text);

// One SSID entry of a measurement request: the SSID text ("AnySSID" for any) and the channel codes
// asked for per BSSID text.
struct Filter {
    std::string ssid;
    std::map<std::string, std::set<uint16_t>> bssidChannels;
};

// The filters of a start indication, with the list lengths bounded as the plug-in bounds them.
std::vector<Filter> requestFilters(const dsd_start_wifi_meas_ind_msg_v01& ind);
// Scan mode unless the first SSID entry is all zero (the connected network).
bool scanMode(const dsd_start_wifi_meas_ind_msg_v01& ind);

// The grouped matches a scan report is built from: SSID key -> records, in report order.
using Groups = std::map<std::string, std::vector<ScanRecord>>;
Groups groupMatches(const std::vector<ScanRecord>& records, const std::vector<Filter>& filters);

// The values of every occurrence of key in a key=value reply, tokenised as the plug-in does.
std::vector<std::string> replyValues(const std::string& reply, const std::string& key);

// One information element of a hex "ie" text; offset counts octets from the start.
struct Element {
    unsigned id = 0;
    size_t length = 0;
    size_t offset = 0;
};

// The element walk over a hex text: the elements read, and where a zero-length element ended it.
struct ElementWalk {
    std::vector<Element> read;
    bool endedByEmpty = false;
    Element empty;                // the zero-length element, when endedByEmpty
    std::vector<Element> unread;  // what a walk past it would have found
};
ElementWalk walkElements(const std::string& hex);

// An SSID as wpa_supplicant writes it (\xNN, \\, \", \n, \r, \t, \e escapes) back to its bytes.
std::string unescapeSsid(const std::string& text);

// True when the plug-in can turn the text into an address (six colon-separated hex numbers).
bool readsAsMac(const std::string& bssid);

}  // namespace ylmsim::replay
