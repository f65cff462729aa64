#include "explain/Notes.h"

#include <algorithm>
#include <cstring>
#include <set>

#include "VorSupplicantWrapper.h"
#include "emu/SupplicantText.h"

namespace ylmsim {
namespace {

using reading::ScanRecord;

constexpr size_t kColumns = 5;          // bssid, frequency, signal level, flags, ssid
constexpr size_t kShownRecords = 3;     // misread records spelled out in one note
constexpr size_t kShownTextBytes = 40;  // of any daemon text quoted in a note

// A daemon text in quotes, on one line and of bounded length.
std::string quote(const std::string& text) {
    std::string out = "\"";
    for (size_t i = 0; i < text.size() && i < kShownTextBytes; ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (c < 0x20 || c == 0x7f) {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\x%02x", c);
            out += buf;
        } else {
            out += text[i];
        }
    }
    return out + (text.size() > kShownTextBytes ? "...\"" : "\"");
}

// A BSSID as it stands when it is one, else quoted like any other daemon text.
std::string bssidText(const std::string& bssid) {
    constexpr size_t kMacText = 17;
    return bssid.size() == kMacText && reading::readsAsAddress(bssid) ? bssid : quote(bssid);
}

std::string rowName(size_t row, const std::string& bssid) {
    return "row " + std::to_string(row) + (bssid.empty() ? "" : " (" + bssidText(bssid) + ")");
}

// A record as read; a frequency text that is no plain number shows what the report makes of it.
std::string describe(const ScanRecord& r) {
    const std::string sent = std::to_string(reading::reportedFrequency(r));
    return "BSSID " + quote(r.bssid) + " frequency " + quote(r.frequency) +
           (sent == r.frequency ? "" : " (sent as " + sent + ")") + " SSID " + quote(r.ssid);
}

std::string joined(const std::vector<std::string>& items) {
    std::string out;
    for (const auto& item : items) {
        out += (out.empty() ? "" : "; ") + item;
    }
    return out;
}

std::string listed(const std::vector<std::string>& items) {
    std::string out;
    for (size_t i = 0; i < items.size(); ++i) {
        out += (i == 0 ? "" : i + 1 == items.size() ? " and " : ", ") + items[i];
    }
    return out;
}

// A record is read right when it is what its row, read on its own, gives.
bool sameAsWritten(const ScanRecord& r, const std::vector<std::string>& columns) {
    if (columns.size() != kColumns) {
        return false;
    }
    std::string table = "\n";
    for (const auto& column : columns) {
        table += column + (&column == &columns.back() ? "\n" : "\t");
    }
    const auto alone = reading::scanTable(table);
    return alone.size() == 1 && r.bssid == alone[0].bssid && r.frequency == alone[0].frequency &&
           r.level == alone[0].level && r.ssid == alone[0].ssid;
}

// The scan table as the daemon wrote it: the columns of each row after the header, empty ones
// included. A last line without its line end is included as it stands.
std::vector<std::vector<std::string>> tableRows(const std::string& text) {
    std::vector<std::vector<std::string>> rows;
    size_t pos = text.find('\n');
    while (pos != std::string::npos && pos + 1 < text.size()) {
        const size_t start = pos + 1;
        pos = text.find('\n', start);
        const std::string line = text.substr(start, pos == std::string::npos ? pos : pos - start);
        std::vector<std::string> columns;
        size_t from = 0;
        for (size_t tab = line.find('\t'); tab != std::string::npos; tab = line.find('\t', from)) {
            columns.push_back(line.substr(from, tab - from));
            from = tab + 1;
        }
        columns.push_back(line.substr(from));
        rows.push_back(std::move(columns));
    }
    return rows;
}

// Rows of the part the plug-in read whose line end it saw.
size_t completeRows(const std::string& seen, size_t rows) {
    return !seen.empty() && seen.back() == '\n' ? rows : rows - std::min<size_t>(rows, 1);
}

// The facts a walk stopped early cost the reports: what the plug-in takes, against what the
// elements give when the walk goes on.
void lostFacts(const reading::BssFacts& taken, const reading::BssFacts& given,
               std::vector<std::string>& names, std::vector<std::string>& takenValues,
               std::vector<std::string>& givenValues) {
    auto add = [&](bool differ, const char* name, const std::string& a, const std::string& b) {
        if (differ) {
            names.push_back(name);
            takenValues.push_back(a);
            givenValues.push_back(b);
        }
    };
    add(taken.wifiMode != given.wifiMode, "Wi-Fi generation", std::to_string(taken.wifiMode),
        std::to_string(given.wifiMode));
    add(taken.countryCode != given.countryCode, "country code", quote(taken.countryCode),
        quote(given.countryCode));
    add(taken.channelUtilization != given.channelUtilization, "channel utilization",
        std::to_string(taken.channelUtilization), std::to_string(given.channelUtilization));
    add(taken.hessid != given.hessid, "HESSID", quote(taken.hessid), quote(given.hessid));
}

}  // namespace

void Explainer::started(const VorTpxDsd* dsd, const dsd_start_wifi_meas_ind_msg_v01& ind) {
    const reading::Request request = reading::request(ind);
    requests[{dsd, ind.meas_id}] = {request.scanning, request.filters};
}

void Explainer::stopped(const VorTpxDsd* dsd, int32_t measId) {
    requests.erase({dsd, measId});
}

void Explainer::stoppedAll(const VorTpxDsd* dsd) {
    for (auto it = requests.begin(); it != requests.end();) {
        it = it->first.first == dsd ? requests.erase(it) : std::next(it);
    }
}

std::vector<Note> Explainer::take() {
    std::vector<Note> out;
    out.swap(pending);
    return out;
}

void Explainer::reply(int type, const std::string& cmd, const std::string& text, size_t room) {
    if (room == 0 || type != 0) {
        return;
    }
    // The plug-in reads a C text: up to the first zero byte, and no further than its buffer.
    const std::string whole = text.substr(0, text.find('\0'));
    if (cmd == VorSupplicantWrapper::scanResultCmd) {
        scanTable(whole, room);
    } else if (cmd.compare(0, 4, "BSS ") == 0) {
        bssReply(cmd, whole.substr(0, room));
    }
}

void Explainer::message(const emu::DsdMessage& msg) {
    if (msg.op == emu::DsdOp::WifiMeasurementReport) {
        crowdedReport(msg);
    }
}

void Explainer::scanTable(const std::string& whole, size_t room) {
    const std::string seen = whole.substr(0, room);
    lastScan = reading::scanTable(seen);
    if (seen.size() < whole.size()) {
        cutTable(whole, seen);
    }
    emptyColumn(seen);
    escapedSsids();
}

void Explainer::cutTable(const std::string& whole, const std::string& seen) {
    const auto all = tableRows(whole);
    const auto read = tableRows(seen);
    const size_t complete = completeRows(seen, read.size());
    std::string text = "the table is " + std::to_string(whole.size()) +
                       " bytes but the plug-in's reply buffer holds " +
                       std::to_string(seen.size()) + " of them" +
                       ", and the daemon lists access points in the order it first saw them";
    if (all.size() > read.size()) {
        const size_t first = read.size() + 1;
        const size_t lost = all.size() - read.size();
        text += ": the last " +
                (lost == 1 ? rowName(first, all[first - 1][0]) + " never reaches"
                           : std::to_string(lost) + " rows (" + std::to_string(first) + " to " +
                                 std::to_string(all.size()) + ", from " +
                                 bssidText(all[first - 1][0]) + " on) never reach") +
                " the plug-in and " + (lost == 1 ? "is" : "are") + " missing from every report";
    }
    if (complete < read.size()) {
        const size_t row = read.size();
        std::vector<std::string> as;
        for (const auto& r : lastScan) {
            if (r.row == row) {
                as.push_back(describe(r));
            }
        }
        text += std::string(all.size() > read.size() ? "; " : ": ") + "row " + std::to_string(row) +
                " is cut short" + (as.empty() ? " and dropped" : " and read as " + joined(as)) +
                (read.back().size() < kColumns
                     ? ", the columns it lacks keeping the values of the row before"
                     : "");
    }
    pending.push_back({VorSupplicantWrapper::scanResultCmd, text});
}

void Explainer::emptyColumn(const std::string& seen) {
    const auto rows = tableRows(seen);
    const size_t complete = completeRows(seen, rows.size());
    static const char* const kNames[kColumns] = {"BSSID", "frequency", "signal level", "flags",
                                                 "SSID"};
    size_t odd = 0;
    std::string what;
    for (size_t i = 0; i < complete && odd == 0; ++i) {
        const auto& cols = rows[i];
        for (size_t c = 0; c < kColumns && c < cols.size() && odd == 0; ++c) {
            if (cols[c].empty()) {
                odd = i + 1;
                what = std::string("an empty ") + kNames[c] + " column" +
                       (c == kColumns - 1 ? " (hidden network)" : "");
            }
        }
        if (odd == 0 && cols.size() != kColumns) {
            odd = i + 1;
            what = std::to_string(cols.size()) + " columns instead of 5";
        }
    }
    if (odd == 0) {
        return;
    }
    // The records read from that row on, against the rows as the daemon wrote them.
    std::vector<const ScanRecord*> misread;
    for (const auto& r : lastScan) {
        if (r.row >= odd && (r.row > rows.size() || !sameAsWritten(r, rows[r.row - 1]))) {
            misread.push_back(&r);
        }
    }
    if (misread.empty()) {
        return;
    }
    std::vector<std::string> shown;
    std::vector<std::string> queries;
    for (const ScanRecord* r : misread) {
        if (shown.size() < kShownRecords) {
            shown.push_back(describe(*r));
        }
        if (!reading::readsAsAddress(r->bssid) && queries.size() < kShownRecords) {
            queries.push_back(quote("BSS " + r->bssid));
        }
    }
    std::string text = rowName(odd, rows[odd - 1][0]) + " has " + what +
                       ", and the reader takes each field from the next one in the table, "
                       "skipping empty ones, so from there on fields come from the wrong "
                       "columns: " +
                       std::to_string(misread.size()) + " record" +
                       (misread.size() == 1 ? "" : "s") + " read as " + joined(shown) +
                       (misread.size() > shown.size() ? "; ..." : "") +
                       ". Reports group them under those SSIDs";
    if (!queries.empty()) {
        text +=
            "; a BSSID that is no address is sent as 00:00:00:00:00:00 and its BSS load "
            "query goes out as " +
            listed(queries);
    }
    pending.push_back({VorSupplicantWrapper::scanResultCmd, text});
}

void Explainer::escapedSsids() {
    for (const auto& [key, request] : requests) {
        if (!request.scanning) {
            continue;
        }
        const auto found = reading::reportGroups(lastScan, request.filters);
        std::set<std::string> asked;
        for (const auto& f : request.filters) {
            // The daemon writes the SSID of a row escaped; the plug-in compares the request's
            // bytes with that text as it stands. What would the request find, had the modem
            // written its SSID the daemon's way?
            const std::string written = emu::writtenSsid(f.ssid);
            if (written == f.ssid || !asked.insert(f.ssid).second) {
                continue;
            }
            std::list<MeasurementRequestReport> rewritten = {f};
            rewritten.front().ssid = written;
            const auto would = reading::reportGroups(lastScan, rewritten);
            const auto wouldFind = would.find(written);
            if (wouldFind == would.end()) {
                continue;
            }
            std::set<std::pair<size_t, std::string>> matched;
            if (found.count(f.ssid) != 0) {
                for (const auto& r : found.at(f.ssid)) {
                    matched.insert({r.row, r.bssid});
                }
            }
            std::vector<const ScanRecord*> missed;
            for (const auto& r : wouldFind->second) {
                if (matched.count({r.row, r.bssid}) == 0) {
                    missed.push_back(&r);
                }
            }
            if (missed.empty()) {
                continue;
            }
            const ScanRecord& r = *missed[0];
            std::string text = rowName(r.row, r.bssid) + " has the SSID " + quote(r.ssid) +
                               (r.ssid == written ? ", the daemon's escaped writing of "
                                                  : ", which begins with the daemon's escaped "
                                                    "writing of ") +
                               quote(f.ssid) + "; the request for " + quote(f.ssid) + " (meas_id " +
                               std::to_string(key.second) +
                               ") is compared with the text as written and never matches it, so "
                               "that access point is missing from its report";
            if (missed.size() > 1) {
                text += " (" + std::to_string(missed.size() - 1) + " more alike)";
            }
            pending.push_back({VorSupplicantWrapper::scanResultCmd, text});
        }
    }
}

void Explainer::bssReply(const std::string& cmd, const std::string& text) {
    for (const auto& ie : reading::replyValues(text, "ie")) {
        const auto walk = reading::walkElements(ie);
        if (!walk.endedByEmpty || walk.unread.empty()) {
            continue;
        }
        std::vector<std::string> names;
        std::vector<std::string> taken;
        std::vector<std::string> given;
        lostFacts(reading::bssFacts(text), reading::bssFacts(reading::withWalkGoneOn(text)), names,
                  taken, given);
        if (names.empty()) {
            continue;  // nothing a report uses was lost
        }
        std::vector<std::string> ids;
        for (const auto& e : walk.unread) {
            ids.push_back(std::to_string(e.id));
        }
        const bool ssid = walk.empty.id == 0;  // a hidden network's SSID element
        const std::string element =
            ssid ? "SSID element" : "element " + std::to_string(walk.empty.id);
        const std::string where =
            walk.empty.at == 0
                ? " begin with " + std::string(ssid ? "an " : "a ") + element + " of length 0"
                : " hold " + element + " with length 0 at octet " + std::to_string(walk.empty.at);
        pending.push_back(
            {cmd, "the elements of " + bssidText(cmd.substr(4)) + where +
                      (ssid ? " (hidden network)" : "") + ", which ends the element walk: the " +
                      std::to_string(ids.size()) + " element" + (ids.size() == 1 ? "" : "s") +
                      " after it (id" + (ids.size() == 1 ? " " : "s ") + listed(ids) +
                      ") are never read, so the plug-in takes " + listed(names) + " as " +
                      listed(taken) + " where the elements give " + listed(given)});
        return;
    }
}

void Explainer::crowdedReport(const emu::DsdMessage& msg) {
    const auto report = msg.as<dsd_wifi_meas_report_req_msg_v01>();
    const auto it = requests.find({msg.dsd, static_cast<int32_t>(report.meas_id)});
    if (report.bssid_list_len < DSD_WIFI_MEAS_REPORT_BSSID_MAX_V01 || it == requests.end()) {
        return;
    }
    const std::string ssid(reinterpret_cast<const char*>(report.ssid),
                           std::min<size_t>(report.ssid_len, sizeof report.ssid));
    for (const auto& [key, group] : reading::reportGroups(lastScan, it->second.filters)) {
        if (key.substr(0, sizeof report.ssid) != ssid ||
            group.size() <= DSD_WIFI_MEAS_REPORT_BSSID_MAX_V01) {
            continue;
        }
        const auto kept = DSD_WIFI_MEAS_REPORT_BSSID_MAX_V01;
        const size_t left = group.size() - kept;
        pending.push_back({"sendWifiMeasurementReport",
                           quote(ssid) + " has " + std::to_string(group.size()) +
                               " matching access points but a report holds " +
                               std::to_string(kept) + " records: the " + std::to_string(left) +
                               " after " + bssidText(group[kept - 1].bssid) +
                               " in SSID and BSSID order (" + bssidText(group[kept].bssid) +
                               (left == 1 ? "" : " to " + bssidText(group.back().bssid)) +
                               ") are left out"});
        return;
    }
}

bool ExplainedSupplicant::command(int type, const std::string& cmd, std::string& reply) {
    if (!inner->command(type, cmd, reply)) {
        return false;
    }
    // The engine records each call before it reaches us; only the reply-buffer form is read back.
    const auto& events = emu::Engine::instance().supplicantEvents;
    const bool read = !events.empty() && events.back().kind == emu::SupplicantEvent::Command;
    explainer.reply(type, cmd, reply, read ? events.back().replyRoom : 0);
    return true;
}

}  // namespace ylmsim
