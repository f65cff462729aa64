#include "timeline/Printer.h"

#include <arpa/inet.h>

#include <nlohmann/json.hpp>

#include <set>
#include <vector>

#include "emu/DsdDecoder.h"

namespace ylmsim {
namespace {

using nlohmann::json;

// Columns: time, client, arrow, operation, details.
constexpr const char* kRowFormat = "%6s  %3s  %-2s %-26s %s\n";
constexpr int kDetailsColumn = 6 + 2 + 3 + 2 + 2 + 1 + 26 + 1;

std::string quoted(const json& v) {
    return v.dump(-1, ' ', true);
}

std::string num(const json& v) {
    return v.dump();
}

bool isSet(const json& j, const char* key) {
    return j.contains(key) && j[key] != 0;
}

std::string dotted(uint32_t v) {
    return std::to_string(v >> 24 & 255) + "." + std::to_string(v >> 16 & 255) + "." +
           std::to_string(v >> 8 & 255) + "." + std::to_string(v & 255);
}

std::string ipv6Text(const json& bytes) {
    uint8_t raw[16] = {};
    for (size_t i = 0; i < 16 && i < bytes.size(); ++i) {
        raw[i] = bytes[i].get<uint8_t>();
    }
    char buf[INET6_ADDRSTRLEN] = {};
    inet_ntop(AF_INET6, raw, buf, sizeof buf);
    return buf;
}

std::string describeReport(const json& j, std::vector<std::string>& subRows) {
    std::string d = "meas_id=" + num(j["meas_id"]) + " report_seq=" + num(j["report_seq"]) +
                    " last_report=" + num(j["last_report"]) + " ssid=" + quoted(j["ssid"]) +
                    " bssid_list_len=" + num(j["bssid_list_len"]);
    if (j["bssid_list_valid"] == 0) {
        d += " bssid_list_valid=0";
    }
    for (const auto& r : j["bssid_list"]) {
        char buf[160];
        std::snprintf(buf, sizeof buf,
                      "%s  frequency=%-5s rssi=%-4s param_mask=%-2s channel_utilization=%s",
                      r["bssid"].get<std::string>().c_str(), num(r["frequency"]).c_str(),
                      num(r["rssi"]).c_str(), num(r["param_mask"]).c_str(),
                      num(r["channel_utilization"]).c_str());
        subRows.emplace_back(buf);
    }
    return d;
}

std::string describeQuality(const json& j) {
    std::string d =
        "profile_type=" + num(j["profile_type"]) + " quality_status=" + num(j["quality_status"]);
    if (j["quality_status_valid"] == 0) {
        d += " quality_status_valid=0";
    }
    if (isSet(j, "status_code_valid")) {
        d += " status_code=" + num(j["status_code"]);
    }
    if (isSet(j, "meas_id_valid")) {
        d += " meas_id=" + num(j["meas_id"]);
    }
    return d;
}

std::string describeWlan(const json& j) {
    const bool p2p = isSet(j, "wlan_type_valid") && j["wlan_type"] <= 1;
    std::string d = "wlan_type=" + num(j["wlan_type"]);
    if (isSet(j, "conn_status_valid")) {
        d += " conn_status=" + num(j["conn_status"]);
    }
    if (isSet(j, "ssid_valid")) {
        d += " ssid=" + quoted(j["ssid"]);
    }
    if (j["bssid"] != "00:00:00:00:00:00") {
        d += " bssid=" + j["bssid"].get<std::string>();
    }
    if (isSet(j, "freq_valid")) {
        d += " freq=" + num(j["freq"]);
    }
    if (isSet(j, "ipv4_addr_valid")) {
        // Station addresses travel as a host-order number, P2P ones as the address bytes.
        const auto v = j["ipv4_addr"].get<uint32_t>();
        d += " ipv4_addr=" + (p2p ? dotted(ntohl(v)) : dotted(v));
    }
    if (isSet(j, "ipv6_addr_valid")) {
        d += " ipv6_addr=" + ipv6Text(j["ipv6_addr"]) + "/" + num(j["ipv6_prefix_len"]);
    }
    for (const char* k : {"dns_ipv4_1", "dns_ipv4_2"}) {
        if (isSet(j, (std::string(k) + "_valid").c_str())) {
            d += std::string(" ") + k + "=" + dotted(j[k].get<uint32_t>());
        }
    }
    for (const char* k : {"dns_ipv6_1", "dns_ipv6_2"}) {
        if (isSet(j, (std::string(k) + "_valid").c_str())) {
            d += std::string(" ") + k + "=" + ipv6Text(j[k]);
        }
    }
    if (isSet(j, "wifi_mode_valid")) {
        d += " wifi_mode=" + num(j["wifi_mode"]);
    }
    if (isSet(j, "net_flag_valid")) {
        d += " net_flag=" + num(j["net_flag"]);
    }
    if (isSet(j, "hessid_valid")) {
        d += " hessid=" + j["hessid"].get<std::string>();
    }
    if (isSet(j, "country_code_valid")) {
        d += " country_code=" + quoted(j["country_code"]);
    }
    return d;
}

// A log text on one line: line breaks and other control characters written as escapes.
std::string oneLine(const std::string& text) {
    std::string out;
    for (const char c : text) {
        if (c == '\n') {
            out += "\\n";
        } else if (c == '\t') {
            out += "\\t";
        } else if (static_cast<unsigned char>(c) < 0x20) {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\x%02x", static_cast<unsigned char>(c));
            out += buf;
        } else {
            out += c;
        }
    }
    return out;
}

std::string plural(size_t n, const char* one, const char* many) {
    return std::to_string(n) + " " + (n == 1 ? one : many);
}

std::string counts(const std::map<std::string, size_t>& byName) {
    std::string out;
    for (const auto& [name, n] : byName) {
        out += (out.empty() ? "" : ", ") + name + " " + std::to_string(n);
    }
    return out;
}

}  // namespace

Printer::Printer(FILE* o, FILE* e, OutputOptions options) : out(o), err(e), opts(options) {}

int Printer::clientIndex(const VorTpxDsd* dsd, size_t clients) {
    for (size_t i = 0; i < clients; ++i) {
        if (emu::Engine::instance().dsd(i) == dsd) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

std::string Printer::describe(const emu::DsdMessage& msg, std::vector<std::string>& subRows) {
    json j;
    try {
        j = json::parse(emu::toJson(msg));
    } catch (const json::exception& e) {
        return std::string("(undecodable: ") + e.what() + ")";
    }
    std::string d;
    if (j.contains("error")) {
        return "error=" + quoted(j["error"]);
    }
    switch (msg.op) {
        case emu::DsdOp::WifiMeasurementReport:
            d = describeReport(j, subRows);
            break;
        case emu::DsdOp::WqeProfileStatus:
            d = describeQuality(j);
            break;
        case emu::DsdOp::WifiAvailableStatus:
            d = describeWlan(j);
            break;
        case emu::DsdOp::NotifyDataSettings:
            d = "wifi_state=" + num(j["wifi_state"]);
            if (j["wifi_state_valid"] == 0) {
                d += " wifi_state_valid=0";
            }
            break;
    }
    if (j["reserved_zero"] == false) {
        d += " reserved_zero=false";
    }
    return d;
}

void Printer::header(const Scenario& sc, const std::string& mode) {
    if (opts.json) {
        return;
    }
    std::fprintf(out, "ylm-sim: %s\n", sc.name.empty() ? sc.file.c_str() : sc.name.c_str());
    size_t pos = 0;
    while (pos < sc.description.size()) {
        size_t eol = sc.description.find('\n', pos);
        if (eol == std::string::npos) {
            eol = sc.description.size();
        }
        std::fprintf(out, "  %s\n", sc.description.substr(pos, eol - pos).c_str());
        pos = eol + 1;
    }
    std::fprintf(out, "mode: %s\n\n", mode.c_str());
    std::fprintf(out, kRowFormat, "time", "dsd", "", "operation", "details");
}

void Printer::row(const std::string& client, const char* arrow, const std::string& op,
                  const std::string& details) {
    if (opts.json) {
        return;
    }
    const std::string time = std::to_string(emu::Engine::instance().now());
    if (!details.empty()) {
        std::fprintf(out, kRowFormat, time.c_str(), client.c_str(), arrow, op.c_str(),
                     details.c_str());
        return;
    }
    char text[128];
    std::snprintf(text, sizeof text, kRowFormat, time.c_str(), client.c_str(), arrow, op.c_str(),
                  "");
    std::string line = text;
    line.erase(line.find_last_not_of(" \n") + 1);
    std::fprintf(out, "%s\n", line.c_str());
}

void Printer::note(const std::string& text) {
    if (opts.json) {
        return;
    }
    const std::string time = std::to_string(emu::Engine::instance().now());
    std::fprintf(out, "%6s       # %s\n", time.c_str(), text.c_str());
}

void Printer::explanation(const std::string& about, const std::string& text) {
    if (!opts.json) {
        row("-", "!!", about, text);
        return;
    }
    const json note = {{"time", emu::Engine::instance().now()}, {"about", about}, {"note", text}};
    // Daemon texts need not be UTF-8; the object must still be one valid line.
    std::fprintf(err, "%s\n", note.dump(-1, ' ', false, json::error_handler_t::replace).c_str());
}

void Printer::subRow(const std::string& text) {
    std::fprintf(out, "%*s%s\n", kDetailsColumn, "", text.c_str());
}

void Printer::flush() {
    emu::Engine& e = emu::Engine::instance();
    for (; logsShown < e.logs.size(); ++logsShown) {
        const auto& l = e.logs[logsShown];
        if (opts.logLevel < 0 || l.level < opts.logLevel) {
            continue;
        }
        const std::string text = oneLine(l.text);
        if (opts.json) {
            std::fprintf(err, "[%d %d %s:%d] %s\n", l.level, l.module, l.file.c_str(), l.line,
                         text.c_str());
        } else {
            std::fprintf(out, "%*slog %d %s:%d  %s\n", kDetailsColumn - 4, "", l.level,
                         l.file.c_str(), l.line, text.c_str());
        }
    }
    for (; messagesShown < e.messages.size(); ++messagesShown) {
        const auto& m = e.messages[messagesShown];
        const int client = clientIndex(m.dsd, clients);
        if (opts.json) {
            std::string line = emu::toJson(m, client);
            if (opts.hex) {
                line.insert(line.size() - 1, ",\"hex\":\"" + emu::toHex(m.bytes) + "\"");
            }
            std::fprintf(out, "%s\n", line.c_str());
            continue;
        }
        std::vector<std::string> sub;
        const std::string details = describe(m, sub);
        std::fprintf(out, kRowFormat, std::to_string(m.time).c_str(),
                     client < 0 ? "?" : std::to_string(client).c_str(), "<-", emu::dsdOpName(m.op),
                     details.c_str());
        for (const auto& s : sub) {
            subRow(s);
        }
        if (opts.hex) {
            const std::string h = emu::toHex(m.bytes);
            for (size_t i = 0; i < h.size(); i += 64) {
                subRow(h.substr(i, 64));
            }
        }
    }
    std::fflush(out);
}

void Printer::summary(const std::map<std::string, size_t>& unanswered, size_t nClients, bool live) {
    if (opts.json) {
        return;
    }
    emu::Engine& e = emu::Engine::instance();
    std::map<std::string, size_t> byOp;
    std::map<std::string, size_t> byClient;
    size_t dirty = 0;
    for (const auto& m : e.messages) {
        ++byOp[emu::dsdOpName(m.op)];
        ++byClient["dsd " + std::to_string(clientIndex(m.dsd, nClients)) + ":"];
        for (const auto& [name, value] : emu::decodeDsd(m.op, m.bytes)) {
            dirty += name == "reserved_zero" && value == "false" ? 1 : 0;
        }
    }
    std::map<std::string, size_t> byCommand;
    size_t commands = 0;
    size_t filters = 0;
    for (const auto& ev : e.supplicantEvents) {
        if (ev.kind == emu::SupplicantEvent::Command ||
            ev.kind == emu::SupplicantEvent::CommandNoReply) {
            ++commands;
            ++byCommand[ev.text.substr(0, ev.text.find(' '))];
        } else if (ev.kind == emu::SupplicantEvent::FrequencyFilter ||
                   ev.kind == emu::SupplicantEvent::BssidFilter) {
            ++filters;
        }
    }
    std::set<std::string> forkLines;
    for (const auto& f : e.forkCalls) {
        forkLines.insert(f.cmdLine);
    }
    std::string live_;
    for (const auto& r : e.liveNotificationRegistrations()) {
        live_ += (live_.empty() ? "" : ", ") + (r.nameNull ? std::string("(unnamed)") : r.name);
    }
    size_t stateRegs = 0;
    size_t regs = 0;
    for (const auto& c : e.casCalls) {
        stateRegs += c.kind == emu::CasCall::RegisterWifiState ? 1 : 0;
        regs += c.kind == emu::CasCall::RegisterWifiNotification ? 1 : 0;
    }
    size_t warnings = 0;
    size_t errors = 0;
    for (const auto& l : e.logs) {
        warnings += l.level == 3 ? 1 : 0;
        errors += l.level >= 4 ? 1 : 0;
    }
    auto line = [this](const char* what, const std::string& text) {
        std::fprintf(out, "  %-20s %s\n", what, text.c_str());
    };
    std::fprintf(out, "\nsummary\n");
    line("time", std::to_string(e.now()) + " s" + (live ? "" : " (virtual)"));
    line("messages to modem",
         std::to_string(e.messages.size()) + (byOp.empty() ? "" : " (" + counts(byOp) + ")"));
    line("per client", byClient.empty() ? "none" : counts(byClient));
    line("daemon commands", std::to_string(commands) +
                                (byCommand.empty() ? "" : " (" + counts(byCommand) + ")") + ", " +
                                plural(filters, "scan filter", "scan filters"));
    if (!live) {
        line("unanswered commands", unanswered.empty() ? "none" : counts(unanswered));
    }
    std::string forks = std::to_string(e.forkCalls.size());
    for (const auto& l : forkLines) {
        forks += "\n" + std::string(23, ' ') + l;
    }
    line("forkExec runs", forks);
    line("quality service", plural(regs, "registration", "registrations") +
                                ", live: " + (live_.empty() ? "none" : live_) + "; " +
                                plural(stateRegs, "Wi-Fi state callback", "Wi-Fi state callbacks"));
    line("timers", std::to_string(e.activeTimerCount()) + " active of " +
                       std::to_string(e.timers.size()) + " armed");
    line("library log lines", std::to_string(e.logs.size()) +
                                  " (level 3: " + std::to_string(warnings) +
                                  ", level 4: " + std::to_string(errors) + ")");
    line("reserved bytes",
         dirty == 0 ? "all zero" : plural(dirty, "message", "messages") + " with non-zero");
    std::fflush(out);
}

}  // namespace ylmsim
