#include "record/ScenarioText.h"

#include <arpa/inet.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <sstream>
#include <utility>

#include "Yaml.h"
#include "emu/DsdDecoder.h"

namespace ylmsim {
namespace {

int hexValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

// The record a step of this kind carries, as bytes; null for kinds without one.
std::pair<uint8_t*, size_t> recordOf(Step& s) {
    switch (s.kind) {
        case StepKind::StartMeasurement:
            return {reinterpret_cast<uint8_t*>(&s.start), sizeof s.start};
        case StepKind::StopMeasurement:
            return {reinterpret_cast<uint8_t*>(&s.stop), sizeof s.stop};
        case StepKind::ProfileInit:
            return {reinterpret_cast<uint8_t*>(&s.init), sizeof s.init};
        case StepKind::ProfileMask:
            return {reinterpret_cast<uint8_t*>(&s.mask), sizeof s.mask};
        case StepKind::CasVerdict:
        case StepKind::NetConfig:
            return {reinterpret_cast<uint8_t*>(&s.cas), sizeof s.cas};
        default:
            return {nullptr, 0};
    }
}

std::string recordBytes(const Step& s) {
    const auto r = recordOf(const_cast<Step&>(s));
    return std::string(reinterpret_cast<const char*>(r.first), r.second);
}

// ---- text scalars ----------------------------------------------------------------------------

// The code points of a strict UTF-8 text (no overlong forms, no surrogates); false otherwise.
bool codePoints(const std::string& s, std::vector<uint32_t>& out) {
    out.clear();
    for (size_t i = 0; i < s.size();) {
        const auto b = static_cast<unsigned char>(s[i]);
        const size_t n = b < 0x80         ? 1
                         : (b >> 5) == 6  ? 2
                         : (b >> 4) == 14 ? 3
                         : (b >> 3) == 30 ? 4
                                          : 0;
        if (n == 0 || i + n > s.size()) {
            return false;
        }
        uint32_t c = n == 1 ? b : b & (0x7F >> n);
        for (size_t k = 1; k < n; ++k) {
            const auto t = static_cast<unsigned char>(s[i + k]);
            if ((t >> 6) != 2) {
                return false;
            }
            c = c << 6 | (t & 0x3F);
        }
        static const uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
        if (c < kLeast[n] || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
            return false;
        }
        out.push_back(c);
        i += n;
    }
    return true;
}

// Characters a YAML text may hold as they are (tab and line breaks aside).
bool printable(uint32_t c) {
    return (c >= 0x20 && c <= 0x7E) || (c >= 0xA0 && c <= 0xD7FF && c != 0x2028 && c != 0x2029) ||
           (c >= 0xE000 && c <= 0xFFFD && c != 0xFEFF) || c >= 0x10000;
}

void appendUtf8(std::string& out, uint32_t c) {
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | c >> 6);
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | c >> 12);
        out += static_cast<char>(0x80 | (c >> 6 & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | c >> 18);
        out += static_cast<char>(0x80 | (c >> 12 & 0x3F));
        out += static_cast<char>(0x80 | (c >> 6 & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

// A double-quoted scalar. With breakLines, a multi-line text goes on after each "\n" on a line
// of its own (an escaped line break adds nothing, and the next line's indentation is not part of
// the text).
std::string doubleQuoted(const std::vector<uint32_t>& text, const std::string& indent,
                         bool breakLines) {
    std::string out = "\"";
    bool lineStart = false;
    for (size_t i = 0; i < text.size(); ++i) {
        const uint32_t c = text[i];
        char buf[16];
        if (c == '\n') {
            out += "\\n";
            if (breakLines && i + 1 < text.size()) {
                out += "\\\n" + indent;
                lineStart = true;
            }
            continue;
        }
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c == '\t') {
            out += "\\t";
        } else if (c == ' ' && lineStart) {
            out += "\\x20";
        } else if (printable(c)) {
            appendUtf8(out, c);
        } else {
            std::snprintf(buf, sizeof buf,
                          c < 0x100     ? "\\x%02x"
                          : c < 0x10000 ? "\\u%04x"
                                        : "\\U%08x",
                          c);
            out += buf;
        }
        lineStart = false;
    }
    return out + "\"";
}

// A literal block scalar ("|" and the lines below it), or empty when the text is not one that a
// block holds exactly (a leading blank or line break, characters to escape) or is a single line.
std::string literalBlock(const std::string& text, const std::vector<uint32_t>& cps,
                         const std::string& indent) {
    const size_t eol = text.find('\n');
    if (eol == std::string::npos || eol + 1 == text.size() || text[0] == ' ' || text[0] == '\n') {
        return "";
    }
    for (uint32_t c : cps) {
        if (c != '\n' && c != '\t' && !printable(c)) {
            return "";
        }
    }
    size_t trailing = 0;
    while (trailing < text.size() && text[text.size() - 1 - trailing] == '\n') {
        ++trailing;
    }
    std::string out = trailing == 0 ? "|-" : trailing == 1 ? "|" : "|+";
    const std::string body = text.substr(0, text.size() - trailing);
    size_t pos = 0;
    for (;;) {
        const size_t eol = body.find('\n', pos);
        const std::string line = body.substr(pos, eol == std::string::npos ? eol : eol - pos);
        out += "\n" + (line.empty() ? "" : indent + line);
        if (eol == std::string::npos) {
            break;
        }
        pos = eol + 1;
    }
    for (size_t i = 1; i < trailing; ++i) {
        out += "\n";
    }
    return out;
}

// True when the YAML value reads back as exactly the text.
bool readsBack(const std::string& value, const std::string& text) {
    try {
        const yaml::Node root = yaml::load("v: " + value + "\n");
        return root.isMap() && root.size() == 1 && root.begin()->second.isScalar() &&
               root.begin()->second.scalar() == text;
    } catch (const yaml::Error&) {
        return false;
    }
}

std::string hexOf(const std::string& bytes) {
    return emu::toHex(std::vector<uint8_t>(bytes.begin(), bytes.end()));
}

// A text value: a literal block or a double-quoted scalar when it reads back exactly, else
// {hex: ...}. indent is where the continuation lines start.
std::string textValue(const std::string& bytes, const std::string& indent) {
    std::vector<uint32_t> cps;
    if (codePoints(bytes, cps)) {
        const std::string block = literalBlock(bytes, cps, indent);
        if (!block.empty() && readsBack(block, bytes)) {
            return block;
        }
        const std::string quoted = doubleQuoted(cps, indent, true);
        if (readsBack(quoted, bytes)) {
            return quoted;
        }
    }
    return "{hex: \"" + hexOf(bytes) + "\"}";
}

// A short text on one line (names, commands, SSIDs); false when it is no UTF-8.
bool oneLine(const std::string& bytes, std::string& out) {
    std::vector<uint32_t> cps;
    if (!codePoints(bytes, cps)) {
        return false;
    }
    out = doubleQuoted(cps, "", false);
    return true;
}

std::string hexNumber(uint64_t v) {
    std::ostringstream out;
    out << "0x" << std::hex << v;
    return out.str();
}

std::string mac(const uint8_t* b) {
    char buf[18];
    std::snprintf(buf, sizeof buf, "%02x:%02x:%02x:%02x:%02x:%02x", b[0], b[1], b[2], b[3], b[4],
                  b[5]);
    return buf;
}

// ---- records as fields -----------------------------------------------------------------------

class Fields {
  public:
    void add(const std::string& key, const std::string& value) {
        text += (text.empty() ? "" : ", ") + key + ": " + value;
    }
    void addText(const std::string& key, const std::string& bytes) {
        std::string v;
        if (!oneLine(bytes, v)) {
            ok = false;
            return;
        }
        add(key, v);
    }
    std::string map() const { return "{" + text + "}"; }
    bool ok = true;

  private:
    std::string text;
};

std::string ssidEntry(const dsd_wifi_ident_ssid_type_v01& e, bool& ok) {
    Fields f;
    const auto* b = reinterpret_cast<const uint8_t*>(e.ssid);
    size_t ones = 0;
    size_t zeros = 0;
    for (size_t i = 0; i < sizeof e.ssid; ++i) {
        ones += b[i] == 0xFF ? 1 : 0;
        zeros += b[i] == 0 ? 1 : 0;
    }
    if (zeros == sizeof e.ssid) {
        f.add("connected", "true");
    } else if (ones == 32 && b[32] == 0) {
        f.add("any", "true");
    } else {
        f.addText("ssid", std::string(e.ssid, strnlen(e.ssid, 32)));
    }
    if (e.bssid_list_len > 16) {
        ok = false;
    } else if (e.bssid_list_len > 0) {
        std::string list;
        for (uint32_t i = 0; i < e.bssid_list_len; ++i) {
            const auto& bssid = e.bssid_list[i];
            Fields bf;
            bf.add("bssid", mac(bssid.bssid));
            if (bssid.channel_list_len > 16) {
                ok = false;
                return "";
            }
            if (bssid.channel_list_len > 0) {
                std::string channels;
                for (uint32_t k = 0; k < bssid.channel_list_len; ++k) {
                    channels += (k != 0 ? ", " : "") + std::to_string(bssid.channel_list[k]);
                }
                bf.add("channel_list", "[" + channels + "]");
            }
            list += (i != 0 ? ", " : "") + bf.map();
        }
        f.add("bssid_list", "[" + list + "]");
    }
    ok = ok && f.ok;
    return f.map();
}

std::string ipv4Text(uint32_t networkOrder) {
    char buf[INET_ADDRSTRLEN] = {};
    inet_ntop(AF_INET, &networkOrder, buf, sizeof buf);
    return buf;
}

std::string ipv6Text(const uint8_t (&a)[16]) {
    char buf[INET6_ADDRSTRLEN] = {};
    inet_ntop(AF_INET6, a, buf, sizeof buf);
    return std::string("\"") + buf + "\"";
}

bool allZero(const uint8_t* p, size_t n) {
    for (size_t i = 0; i < n; ++i) {
        if (p[i] != 0) {
            return false;
        }
    }
    return true;
}

// The action and its value for an indication or a quality-service delivery, as fields; ok false
// when the fields cannot give that record.
std::string fieldsOf(const Step& s, bool& ok) {
    Fields f;
    if (s.kind != StepKind::CasVerdict && s.kind != StepKind::NetConfig && s.dsd != 0) {
        f.add("dsd", std::to_string(s.dsd));
    }
    switch (s.kind) {
        case StepKind::StartMeasurement: {
            const auto& m = s.start;
            f.add("meas_id", std::to_string(m.meas_id));
            f.add("meas_param_mask", hexNumber(m.meas_param_mask));
            if (m.sampling_interval_valid != 0) {
                f.add("sampling_interval", std::to_string(m.sampling_interval));
            }
            if (m.reporting_interval_valid != 0) {
                f.add("reporting_interval", std::to_string(m.reporting_interval));
            }
            if (m.alpha_valid != 0) {
                char buf[32];
                std::snprintf(buf, sizeof buf, "%.9g", static_cast<double>(m.alpha));
                f.add("alpha", buf);
            }
            if (m.ssid_list_valid != 0) {
                if (m.ssid_list_len > 8) {
                    ok = false;
                    return "";
                }
                std::string list;
                for (uint32_t i = 0; i < m.ssid_list_len; ++i) {
                    list += (i != 0 ? ", " : "") + ssidEntry(m.ssid_list[i], ok);
                }
                f.add("ssid_list", "[" + list + "]");
            }
            return "start_measurement: " + f.map();
        }
        case StepKind::StopMeasurement:
            f.add("meas_id", std::to_string(s.stop.meas_id));
            return "stop_measurement: " + f.map();
        case StepKind::ProfileInit: {
            const auto& m = s.init;
            f.add("profile_type", std::to_string(m.profile_type));
            if (m.rssi_low_valid != 0) {
                f.add("rssi_low", std::to_string(m.rssi_low));
            }
            if (m.rssi_high_valid != 0) {
                f.add("rssi_high", std::to_string(m.rssi_high));
            }
            if (m.iccid_valid != 0) {
                if (m.iccid_len > sizeof m.iccid) {
                    ok = false;
                    return "";
                }
                f.add("iccid",
                      "\"" +
                          hexOf(std::string(reinterpret_cast<const char*>(m.iccid), m.iccid_len)) +
                          "\"");
            }
            if (m.meas_id_valid != 0) {
                f.add("meas_id", std::to_string(m.meas_id));
            }
            return "profile_init: " + f.map();
        }
        case StepKind::ProfileMask:
            f.add("profile_type_mask", hexNumber(s.mask.profile_type_mask));
            if (s.mask.meas_id_valid != 0) {
                f.add("meas_id", std::to_string(s.mask.meas_id));
            }
            return "profile_mask: " + f.map();
        case StepKind::CasVerdict:
            if (s.nameNull) {
                ok = false;
                return "";
            }
            f.addText("name", s.text);
            f.add("pass", s.cas.isActive != 0 ? "true" : "false");
            f.add("reason", std::to_string(s.cas.reason));
            ok = ok && f.ok;
            return "cas_verdict: " + f.map();
        case StepKind::NetConfig: {
            const auto& c = s.cas;
            if (!s.nameNull) {
                f.addText("name", s.text);
            }
            static const std::map<int32_t, const char*> kTypes = {
                {1, "station"}, {100, "softap"}, {101, "p2p"}};
            const auto type = kTypes.find(c.netType);
            f.add("net_type",
                  type != kTypes.end() ? std::string(type->second) : std::to_string(c.netType));
            if (c.state != 0) {
                f.add("state", std::to_string(c.state));
            }
            if (c.ssid[0] != '\0') {
                f.addText("ssid", std::string(c.ssid, strnlen(c.ssid, sizeof c.ssid)));
            }
            if (c.bssid[0] != '\0') {
                f.addText("bssid", std::string(c.bssid, strnlen(c.bssid, sizeof c.bssid)));
            }
            if (c.ipv4Addr != 0) {
                f.add("ipv4_addr", ipv4Text(c.ipv4Addr));
            }
            if (!allZero(c.ipv6Addr, sizeof c.ipv6Addr)) {
                f.add("ipv6_addr", ipv6Text(c.ipv6Addr));
            }
            if (c.dnsIpv4[0] != 0 || c.dnsIpv4[1] != 0) {
                f.add("dns_ipv4", "[" + ipv4Text(c.dnsIpv4[0]) +
                                      (c.dnsIpv4[1] != 0 ? ", " + ipv4Text(c.dnsIpv4[1]) : "") +
                                      "]");
            }
            if (!allZero(c.dnsIpv6[0], 16) || !allZero(c.dnsIpv6[1], 16)) {
                f.add("dns_ipv6",
                      "[" + ipv6Text(c.dnsIpv6[0]) +
                          (!allZero(c.dnsIpv6[1], 16) ? ", " + ipv6Text(c.dnsIpv6[1]) : "") + "]");
            }
            for (const auto& [key, v] : {std::pair<const char*, uint8_t>{"net_flag", c.netFlag},
                                         {"station_flag", c.stationFlag},
                                         {"is_active", c.isActive}}) {
                if (v != 0) {
                    f.add(key, std::to_string(v));
                }
            }
            if (c.reason != 0) {
                f.add("reason", std::to_string(c.reason));
            }
            if (c.countryCode[0] != '\0') {
                f.addText("country_code", std::string(c.countryCode, strnlen(c.countryCode, 2)));
            }
            ok = ok && f.ok;
            return "net_config: " + f.map();
        }
        default:
            ok = false;
            return "";
    }
}

// The step as its bytes: {dsd or name, hex}, trailing zero bytes left out.
std::string rawForm(const Step& s) {
    std::string bytes = recordBytes(s);
    while (!bytes.empty() && bytes.back() == '\0') {
        bytes.pop_back();
    }
    Fields f;
    const bool cas = s.kind == StepKind::CasVerdict || s.kind == StepKind::NetConfig;
    if (cas && !s.nameNull) {
        f.addText("name", s.text);
    } else if (!cas && s.dsd != 0) {
        f.add("dsd", std::to_string(s.dsd));
    }
    f.add("hex", "\"" + hexOf(bytes) + "\"");
    static const std::map<StepKind, const char*> kNames = {
        {StepKind::StartMeasurement, "start_measurement"},
        {StepKind::StopMeasurement, "stop_measurement"},
        {StepKind::ProfileInit, "profile_init"},
        {StepKind::ProfileMask, "profile_mask"},
        {StepKind::CasVerdict, "cas_verdict"},
        {StepKind::NetConfig, "net_config"}};
    return std::string(kNames.at(s.kind)) + ": " + f.map();
}

// The fields when they read back as the same record, client and name; the bytes otherwise.
std::string recordStep(const Step& s) {
    bool ok = true;
    const std::string fields = fieldsOf(s, ok);
    if (ok) {
        try {
            const Scenario back = loadScenarioText("steps:\n  - " + fields + "\n", "<check>", "");
            const Step& b = back.steps.at(0);
            if (b.kind == s.kind && b.dsd == s.dsd && b.nameNull == s.nameNull &&
                b.text == s.text && recordBytes(b) == recordBytes(s)) {
                return fields;
            }
        } catch (const ScenarioError&) {
        }
    }
    return rawForm(s);
}

// ---- the document ----------------------------------------------------------------------------

class Document {
  public:
    explicit Document(const Scenario& sc) {
        countTexts(sc.daemon, sc.forks);
        for (const auto& s : sc.steps) {
            countTexts(s.daemon, s.forks);
        }
    }

    std::string text;

    void line(const std::string& l) { text += l + "\n"; }

    void engine(const std::string& indent, const std::string& key, const EngineConfig& e) {
        Fields f;
        if (e.chipsetType) {
            f.add("chipset_type", std::to_string(*e.chipsetType));
        }
        if (e.decisionEngine) {
            f.add("decision_engine", *e.decisionEngine ? "true" : "false");
        }
        if (!e.operators.empty()) {
            Fields ops;
            for (const auto& [iccid, name] : e.operators) {
                std::string k;
                std::string v;
                if (oneLine(iccid, k) && oneLine(name, v)) {
                    ops.add(k, v);
                }
            }
            f.add("operators", ops.map());
        }
        line(indent + key + f.map());
    }

    void daemon(const std::string& indent, const DaemonConfig& d) {
        if (d.scanDelay) {
            line(indent + "scan_delay: " + std::to_string(*d.scanDelay));
        }
        if (!d.connectFailure.empty()) {
            Fields f;
            for (const auto& [type, fail] : d.connectFailure) {
                f.add(type == 1 ? "p2p" : "sta", fail ? "true" : "false");
            }
            line(indent + "connect_failure: " + f.map());
        }
        if (d.rules.empty()) {
            return;
        }
        line(indent + "replies:");
        for (const auto& r : d.rules) {
            std::string cmd;
            if (!oneLine(r.command, cmd)) {
                line(indent +
                     "  # a command that is no UTF-8 text is left out: " + hexOf(r.command));
                continue;
            }
            line(indent + "  - command: " + cmd);
            if (r.type == 1) {
                line(indent + "    iface: p2p");
            }
            if (r.replies.size() == 1) {
                line(indent + "    reply: " + reply(r.replies[0], indent + "      "));
                continue;
            }
            line(indent + "    replies:");
            for (const auto& rep : r.replies) {
                line(indent + "      - " + reply(rep, indent + "        "));
            }
        }
    }

    void forks(const std::string& indent, const std::vector<ForkRule>& rules) {
        for (const auto& r : rules) {
            std::string cmd;
            if (!oneLine(r.command, cmd)) {
                continue;
            }
            line(indent + "- command: " + cmd);
            line(indent + "  output: " + shared(r.output, indent + "    "));
            line(indent + "  rc: " + std::to_string(r.rc));
        }
    }

    void step(const Step& s) {
        switch (s.kind) {
            case StepKind::Advance:
                line("  - advance: " + std::to_string(s.seconds));
                break;
            case StepKind::At:
                line("  - at: " + std::to_string(s.seconds));
                break;
            case StepKind::Note: {
                std::string t;
                line("  - note: " + (oneLine(s.text, t) ? t : "\"(no UTF-8 text)\""));
                break;
            }
            case StepKind::ScanReady:
                line("  - scan_ready:");
                break;
            case StepKind::WifiState:
                line(std::string("  - wifi_state: ") + (s.flag ? "on" : "off"));
                break;
            case StepKind::DefaultProfile:
            case StepKind::StopAll: {
                const char* name =
                    s.kind == StepKind::DefaultProfile ? "default_profile" : "stop_all";
                line(std::string("  - ") + name + ":" +
                     (s.dsd != 0 ? " {dsd: " + std::to_string(s.dsd) + "}" : ""));
                break;
            }
            case StepKind::Daemon:
                line("  - daemon:");
                daemon("      ", s.daemon);
                break;
            case StepKind::ForkExec:
                line("  - forkexec:");
                forks("      ", s.forks);
                break;
            case StepKind::Engine:
                engine("  - ", "engine: ", s.engine);
                break;
            default:
                line("  - " + recordStep(s));
                break;
        }
    }

  private:
    void countTexts(const DaemonConfig& d, const std::vector<ForkRule>& forks) {
        for (const auto& r : d.rules) {
            for (const auto& rep : r.replies) {
                ++uses[rep.text];
            }
        }
        for (const auto& f : forks) {
            ++uses[f.output];
        }
    }

    // A text that comes more than once is written once, anchored, and named after that.
    std::string shared(const std::string& bytes, const std::string& indent) {
        if (bytes.size() < 8 || uses[bytes] < 2) {
            return textValue(bytes, indent);
        }
        auto it = anchors.find(bytes);
        if (it != anchors.end()) {
            return "*" + it->second;
        }
        const std::string name = "r" + std::to_string(anchors.size() + 1);
        anchors.emplace(bytes, name);
        return "&" + name + " " + textValue(bytes, indent);
    }

    std::string reply(const Reply& r, const std::string& indent) {
        return r.fail ? "{fail: true}" : shared(r.text, indent);
    }

    std::map<std::string, size_t> uses;
    std::map<std::string, std::string> anchors;
};

}  // namespace

bool hexBytes(const std::string& hex, std::string& bytes) {
    if (hex.size() % 2 != 0) {
        return false;
    }
    bytes.clear();
    for (size_t i = 0; i < hex.size(); i += 2) {
        const int hi = hexValue(hex[i]);
        const int lo = hexValue(hex[i + 1]);
        if (hi < 0 || lo < 0) {
            return false;
        }
        bytes += static_cast<char>(hi * 16 + lo);
    }
    return true;
}

bool readRawRecord(Step& step, const std::string& hex, std::string& why) {
    const auto record = recordOf(step);
    std::string bytes;
    if (record.first == nullptr) {
        why = "this action carries no record";
        return false;
    }
    if (!hexBytes(hex, bytes)) {
        why = "expected the record's bytes as an even number of hex digits";
        return false;
    }
    if (bytes.size() > record.second) {
        why = "the record has " + std::to_string(record.second) + " bytes, got " +
              std::to_string(bytes.size());
        return false;
    }
    std::memset(record.first, 0, record.second);
    std::memcpy(record.first, bytes.data(), bytes.size());
    step.summary = "record of " + std::to_string(bytes.size()) + " bytes";
    switch (step.kind) {
        case StepKind::StartMeasurement:
        case StepKind::StopMeasurement: {
            int32_t id = 0;
            std::memcpy(&id, record.first, sizeof id);
            step.summary = "meas_id=" + std::to_string(id) + " (" + step.summary + ")";
            break;
        }
        default:
            break;
    }
    return true;
}

std::string scenarioText(const Scenario& sc, const std::vector<std::string>& comment) {
    Document doc(sc);
    for (const auto& c : comment) {
        doc.line("# " + c);
    }
    std::string v;
    if (!sc.name.empty() && oneLine(sc.name, v)) {
        doc.line("name: " + v);
    }
    if (!sc.description.empty() && oneLine(sc.description, v)) {
        doc.line("description: " + v);
    }
    if (sc.engine.chipsetType || sc.engine.decisionEngine || !sc.engine.operators.empty()) {
        doc.engine("", "engine: ", sc.engine);
    }
    const DaemonConfig& d = sc.daemon;
    if (d.scanDelay || !d.connectFailure.empty() || !d.rules.empty()) {
        doc.line("daemon:");
        doc.daemon("  ", d);
    }
    if (!sc.forks.empty()) {
        doc.line("forkexec:");
        doc.forks("  ", sc.forks);
    }
    doc.line(sc.steps.empty() ? "steps: []" : "steps:");
    for (const auto& s : sc.steps) {
        doc.step(s);
    }
    return doc.text;
}

}  // namespace ylmsim
